// The pellucid tool run as its own process: what each command prints, what it writes, and how
// it fails.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "png_reader.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

class CliTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() / ("pellucid_cli_" + std::to_string(getpid()) + "_" + info->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs the tool with `args` (none holds a single quote), after the shell assignments `env`.
    Outcome run(const std::vector<std::string>& args, const std::string& env = "") {
        std::string command = env + " '" PELLUCID_TOOL "'";
        for (const std::string& a : args) command += " '" + a + "'";
        const fs::path out = dir_ / "stdout", err = dir_ / "stderr";
        const int status =
            std::system((command + " </dev/null >" + out.string() + " 2>" + err.string()).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err)};
    }

    fs::path dir_;
};

TEST_F(CliTest, ListShowsNestedGroupsWithValuesRangesUnitsAndAccess) {
    const Outcome r = run({"list"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const char* line :
         {"[Output Format]\n", "  FG_FORMAT (700) = 2 (FG_COL24, Color 24bit): enum {", "[Lookup Table]\n  ",
          "  [Processing]\n", "    FG_PROCESSING_GAIN (300002) = 0: double 0..4096",
          "  FG_WIDTH (100) = 1024: uint 16..16384 step 16, RW, pixel\n",
          "FG_PIXELDEPTH (4000) = 12: uint 0..128 step 1, R\n",
          "FG_LUT_VALUE_RED (300009) = -: uint field [4096] 0..4095, RWC\n"}) {
        EXPECT_NE(r.out.find(line), std::string::npos) << line;
    }
}

TEST_F(CliTest, SetAcceptsEntryNamesDisplayNamesNumbersAndDotDecimalsInAnyLocale) {
    const std::pair<std::string, std::string> cases[] = {
        {"FG_FORMAT=FG_COL48", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_FORMAT=Color 48bit", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_FORMAT=6", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_WIDTH=512", "FG_WIDTH=512"},
        {"FG_PROCESSING_GAIN=1.5", "FG_PROCESSING_GAIN=1.5"},
    };
    for (const auto& [assignment, printed] : cases) {
        const Outcome r = run({"set", assignment}, "LC_ALL=de_DE.UTF-8 LANG=de_DE.UTF-8");
        EXPECT_EQ(r.exitCode, 0) << assignment << ": " << r.err;
        EXPECT_EQ(r.out, printed + "\n") << assignment;
    }
}

TEST_F(CliTest, SavedConfigurationLoadsAndCarriesTheSettings) {
    const std::string mcf = (dir_ / "sim.mcf").string();
    ASSERT_EQ(run({"save", mcf, "--set", "FG_GEN_ENABLE=FG_GENERATOR", "--set", "FG_PROCESSING_GAMMA=1.25"})
                  .exitCode,
              0);
    EXPECT_NE(slurp(mcf).find("FG_GEN_ENABLE=1;"), std::string::npos);
    EXPECT_EQ(run({"load", mcf}).exitCode, 0);
    // The shipped simulator configuration turns on everything a frame needs.
    for (auto [file, expected] :
         {std::pair<std::string, std::string>{
              mcf, "FG_GEN_ENABLE=1 (FG_GENERATOR, Generator)\nFG_PROCESSING_GAMMA=1.25\n"},
          {PELLUCID_SIMULATOR_MCF,
           "FG_GEN_ENABLE=1 (FG_GENERATOR, Generator)\nFG_PROCESSING_GAMMA=1\n"
           "FG_PROCESSING_GAIN=1\nFG_TRIGGERSTATE=0 (TS_ACTIVE, Active)\n"}}) {
        const Outcome r = run({"get", "--config", file, "FG_GEN_ENABLE", "FG_PROCESSING_GAMMA",
                               "FG_PROCESSING_GAIN", "FG_TRIGGERSTATE"});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(r.out.substr(0, expected.size()), expected) << file;
    }
}

// The document itself is checked by the GenApi tests, the reference by the docs freshness test.
TEST_F(CliTest, XmlAndDocsGoToStandardOutputOrAFileAlike) {
    for (const char* command : {"xml", "docs"}) {
        const Outcome toStdout = run({command});
        const fs::path file = dir_ / command;
        EXPECT_EQ(std::pair(toStdout.exitCode, run({command, file.string()}).exitCode), std::pair(0, 0))
            << command;
        EXPECT_EQ(slurp(file), toStdout.out) << command;
    }
}

TEST_F(CliTest, EveryFailureNamesItsSubjectAndTheErrorAndExitsNonZero) {
    struct Case {
        std::vector<std::string> args;
        std::vector<std::string> inMessage;
    } cases[] = {
        {{"get", "FG_NOPE"}, {"unknown parameter \"FG_NOPE\"", "(-2070)"}},
        {{"set", "FG_NOPE=1"}, {"\"FG_NOPE\"", "(-2070)"}},
        {{"set", "FG_WIDTH=32768"}, {"FG_WIDTH", "(-6000)", "allowed: 16..16384 step 16"}},
        {{"set", "FG_FORMAT=FG_COL99"}, {"FG_FORMAT has no entry \"FG_COL99\"", "FG_COL24 (2, Color 24bit)"}},
        {{"set", "FG_FORMAT=1"}, {"FG_FORMAT", "(-6000)", "FG_COL48 (6, Color 48bit)"}},
        {{"set", "FG_PROCESSING_GAIN=1,5"}, {"FG_PROCESSING_GAIN", "\"1,5\" is not a number"}},
        {{"set", "FG_WIDTH=-16"}, {"FG_WIDTH", "not an unsigned"}},
        {{"set", "FG_PIXELDEPTH=12"}, {"FG_PIXELDEPTH", "(-12)", "read-only"}},
        {{"set", "FG_WIDTH"}, {"\"FG_WIDTH\" is not NAME=VALUE"}},
        {{"get", "FG_LUT_VALUE_RED"}, {"FG_LUT_VALUE_RED", "field"}},
        {{"load", "/nonexistent/x.mcf"}, {"\"/nonexistent/x.mcf\"", "(-2076)"}},
        {{"save", "/nonexistent/x.mcf"}, {"\"/nonexistent/x.mcf\"", "(-5001)"}},
        {{"--board", "7", "list"}, {"board 7", "(-2002)"}},
        {{"--bench", PELLUCID_SIMULATOR_MCF, "list"},
         {PELLUCID_SIMULATOR_MCF ": line 1: syntax error", "(-5000)"}},
        {{"grab", "--frames", "1", "--out", dir_ / "off", "--timeout", "1", "--set", "FG_GEN_ENABLE=1",
          "--set", "FG_GEN_START=0"},
         {"no picture 1 within 1 s", "(-2120)"}},
    };
    for (const Case& c : cases) {
        const Outcome r = run(c.args);
        EXPECT_EQ(r.exitCode, 1) << c.args.front() << " " << c.args.back();
        EXPECT_EQ(r.err.rfind("pellucid: ", 0), 0u) << r.err;
        for (const std::string& part : c.inMessage)
            EXPECT_NE(r.err.find(part), std::string::npos) << part << " in " << r.err;
    }
}

TEST_F(CliTest, WrongUsageExitsWithTwoAndTheParsersMessage) {
    for (const char* line : {"", "get", "set", "--board x list", "grab --out d", "grab --frames 0 --out d",
                             "get --config /nonexistent.mcf FG_WIDTH", "list --frobnicate"}) {
        std::istringstream words(line);
        const Outcome r = run({std::istream_iterator<std::string>(words), {}});
        EXPECT_EQ(r.exitCode, 2) << line;
        EXPECT_NE(r.err.find("--help"), std::string::npos) << r.err;
    }
    EXPECT_EQ(run({"--help"}).exitCode, 0);
}

// The simulator, the camera on the port, and the defaults (the camera, through a table that maps
// everything to black).
TEST_F(CliTest, GrabWritesOnePngPerFrameInTheFormatsBitDepth) {
    const std::tuple<const char*, const char*, int, bool> cases[] = {
        {PELLUCID_SIMULATOR_MCF, "FG_COL24", 8, true},
        {PELLUCID_SIMULATOR_MCF, "FG_COL48", 16, true},
        {PELLUCID_CAMERA_MCF, "FG_COL24", 8, true},
        {"", "FG_COL24", 8, false}};
    for (const auto& [config, format, bitDepth, lit] : cases) {
        const fs::path out = dir_ / (std::string(format) + std::to_string(std::strlen(config)));
        std::vector<std::string> args = {"grab",
                                         "--frames",
                                         "3",
                                         "--out",
                                         out.string(),
                                         "--set",
                                         std::string("FG_FORMAT=") + format,
                                         "--set",
                                         "FG_WIDTH=256",
                                         "--set",
                                         "FG_HEIGHT=64",
                                         "--timeout",
                                         "3"};
        if (*config) args.insert(args.end(), {"--config", config});
        const Outcome r = run(args);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("3 frames in "), std::string::npos) << r.out;
        for (int n = 1; n <= 3; ++n) expectFrame(out, n, 256, 64, bitDepth, lit);
        EXPECT_FALSE(fs::exists(out / "frame_0004.png"));
    }
}

}  // namespace
