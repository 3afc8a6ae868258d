// The pellucid tool run as its own process: what each command prints, what it writes, and how
// it fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "png_reader.h"

extern char** environ;

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

    // Runs the tool with `args`; `env` entries are added to (and override) the environment.
    Outcome run(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
        const fs::path out = dir_ / "stdout", err = dir_ / "stderr";
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        std::vector<std::string> argStrings{PELLUCID_TOOL};
        argStrings.insert(argStrings.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (auto& a : argStrings) argv.push_back(a.data());
        argv.push_back(nullptr);
        std::vector<std::string> envStrings = env;
        for (char** e = environ; *e != nullptr; ++e) envStrings.emplace_back(*e);
        std::vector<char*> envp;
        for (auto& e : envStrings) envp.push_back(e.data());
        envp.push_back(nullptr);
        pid_t pid = 0;
        Outcome r;
        if (posix_spawn(&pid, PELLUCID_TOOL, &actions, nullptr, argv.data(), envp.data()) == 0) {
            int status = 0;
            waitpid(pid, &status, 0);
            r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        posix_spawn_file_actions_destroy(&actions);
        r.out = slurp(out);
        r.err = slurp(err);
        return r;
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

TEST_F(CliTest, GetPrintsValuesByTypeInTheOrderAsked) {
    const Outcome r =
        run({"get", "FG_WIDTH", "FG_FORMAT", "FG_PROCESSING_GAIN", "FG_HAP_FILE", "FG_GEN_FREQ"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out,
              "FG_WIDTH=1024\nFG_FORMAT=2 (FG_COL24, Color 24bit)\nFG_PROCESSING_GAIN=0\n"
              "FG_HAP_FILE=\"Pellucid.hap\"\nFG_GEN_FREQ=40\n");
}

TEST_F(CliTest, SetAcceptsEntryNamesDisplayNamesNumbersAndDotDecimalsInAnyLocale) {
    struct Case {
        std::string assignment;
        std::string printed;
    } cases[] = {
        {"FG_FORMAT=FG_COL48", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_FORMAT=Color 48bit", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_FORMAT=6", "FG_FORMAT=6 (FG_COL48, Color 48bit)"},
        {"FG_WIDTH=512", "FG_WIDTH=512"},
        {"FG_PROCESSING_GAIN=1.5", "FG_PROCESSING_GAIN=1.5"},
    };
    for (const Case& c : cases) {
        const Outcome r = run({"set", c.assignment}, {"LC_ALL=de_DE.UTF-8", "LANG=de_DE.UTF-8"});
        EXPECT_EQ(r.exitCode, 0) << c.assignment << ": " << r.err;
        EXPECT_EQ(r.out, c.printed + "\n") << c.assignment;
    }
}

TEST_F(CliTest, SavedConfigurationLoadsAndCarriesTheSettings) {
    const std::string mcf = (dir_ / "sim.mcf").string();
    Outcome r =
        run({"save", mcf, "--set", "FG_GEN_ENABLE=FG_GENERATOR", "--set", "FG_PROCESSING_GAMMA=1.25"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(slurp(mcf).find("FG_GEN_ENABLE=1;"), std::string::npos);

    r = run({"load", mcf});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    r = run({"get", "--config", mcf, "FG_GEN_ENABLE", "FG_PROCESSING_GAMMA"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, "FG_GEN_ENABLE=1 (FG_GENERATOR, Generator)\nFG_PROCESSING_GAMMA=1.25\n");
}

TEST_F(CliTest, ShippedSimulatorConfigurationTurnsOnEverythingAFrameNeeds) {
    const Outcome r = run({"get", "--config", PELLUCID_SIMULATOR_MCF, "FG_GEN_ENABLE", "FG_PROCESSING_GAIN",
                           "FG_PROCESSING_GAMMA", "FG_TRIGGERSTATE"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out,
              "FG_GEN_ENABLE=1 (FG_GENERATOR, Generator)\nFG_PROCESSING_GAIN=1\nFG_PROCESSING_GAMMA=1\n"
              "FG_TRIGGERSTATE=0 (TS_ACTIVE, Active)\n");
}

TEST_F(CliTest, XmlAndDocsGoToStandardOutputOrAFileAlike) {
    for (const char* command : {"xml", "docs"}) {
        const Outcome toStdout = run({command});
        ASSERT_EQ(toStdout.exitCode, 0) << command << ": " << toStdout.err;
        const fs::path file = dir_ / (std::string(command) + ".out");
        const Outcome toFile = run({command, file.string()});
        ASSERT_EQ(toFile.exitCode, 0) << command << ": " << toFile.err;
        EXPECT_EQ(slurp(file), toStdout.out) << command;
    }
    const Outcome xml = run({"xml"});
    EXPECT_EQ(xml.out.rfind("<?xml", 0), 0u);
    EXPECT_NE(xml.out.find("</RegisterDescription>"), std::string::npos);

    const Outcome docs = run({"docs"});
    for (const char* part : {"\n## Lookup Table / Processing\n",
                             "| `FG_WIDTH` | 100 | uint | 16..16384 step 16 | `1024` | RW | pixel | ",
                             "`FG_COL48` = 6 (Color 48bit)", "| µs |"}) {
        EXPECT_NE(docs.out.find(part), std::string::npos) << part;
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
    const std::vector<std::string> cases[] = {{},
                                              {"get"},
                                              {"set"},
                                              {"--board", "x", "list"},
                                              {"grab", "--out", "d"},
                                              {"grab", "--frames", "0", "--out", "d"},
                                              {"get", "--config", "/nonexistent.mcf", "FG_WIDTH"},
                                              {"list", "--frobnicate"}};
    for (const auto& args : cases) {
        const Outcome r = run(args);
        EXPECT_EQ(r.exitCode, 2) << (args.empty() ? "(none)" : args.front());
        EXPECT_NE(r.err.find("--help"), std::string::npos) << r.err;
    }
    EXPECT_EQ(run({"--help"}).exitCode, 0);
}

TEST_F(CliTest, GrabWithTheSimulatorOffTimesOutClearly) {
    const Outcome r = run({"grab", "--frames", "1", "--out", (dir_ / "frames").string(), "--timeout", "1"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("no picture 1 within 1 s"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("(-2120)"), std::string::npos) << r.err;
    EXPECT_FALSE(fs::exists(dir_ / "frames" / "frame_0001.png"));
}

TEST_F(CliTest, GrabWritesOnePngPerFrameInTheFormatsBitDepth) {
    struct Case {
        const char* format;
        int bitDepth;
    } cases[] = {{"FG_COL24", 8}, {"FG_COL48", 16}};
    for (const Case& c : cases) {
        const fs::path out = dir_ / c.format;
        const Outcome r = run({"grab", "--frames", "3", "--out", out.string(), "--config",
                               PELLUCID_SIMULATOR_MCF, "--set", std::string("FG_FORMAT=") + c.format, "--set",
                               "FG_WIDTH=256", "--set", "FG_HEIGHT=64", "--timeout", "3"});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find("3 frames in "), std::string::npos) << r.out;
        for (int n = 1; n <= 3; ++n) {
            char name[32];
            std::snprintf(name, sizeof name, "frame_%04d.png", n);
            const PngImage image = readPng((out / name).string());
            ASSERT_TRUE(image.ok) << name;
            EXPECT_EQ(image.width, 256u);
            EXPECT_EQ(image.height, 64u);
            EXPECT_EQ(image.colorType, PNG_COLOR_TYPE_RGB);
            EXPECT_EQ(image.bitDepth, c.bitDepth);
            bool lit = false;
            for (unsigned char b : image.rows) lit = lit || b != 0;
            EXPECT_TRUE(lit) << name << ": the simulator configuration gives a black picture";
        }
        EXPECT_FALSE(fs::exists(out / "frame_0004.png"));
    }
}

}  // namespace
