// The pellucid tool run as its own process: what each command prints, what it writes, and how
// it fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
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
    // Each test keeps its boards' settings and locks in a folder of its own.
    Outcome run(const std::vector<std::string>& args, const std::string& env = "") {
        std::string command = "XDG_STATE_HOME='" + state().string() + "' " + env + " '" PELLUCID_TOOL "'";
        for (const std::string& a : args) command += " '" + a + "'";
        const fs::path out = dir_ / "stdout", err = dir_ / "stderr";
        const int status =
            std::system((command + " </dev/null >" + out.string() + " 2>" + err.string()).c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), slurp(out), slurp(err)};
    }

    fs::path state() const { return dir_ / "state"; }
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
          "FG_LUT_VALUE_RED (300009) = -: uint field [4096] 0..4095, RWC\n",
          "FG_EXSYNCDELAY (8400) = 0: double 0..10230 step 10, R, \xC2\xB5s\n"}) {
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

TEST_F(CliTest, SetAndLoadLastForLaterCommandsOfTheirBoardUntilReset) {
    auto out = [this](std::vector<std::string> args) {
        const Outcome r = run(args);
        EXPECT_EQ(r.exitCode, args[0] == "set" && args.size() > 3 ? 1 : 0) << r.err;
        return r.out;
    };
    EXPECT_EQ(out({"set", "fg_width=512", "processing_gain=1.5"}), "FG_WIDTH=512\nFG_PROCESSING_GAIN=1.5\n");
    // A command's own settings, and a set that fails part way, leave the working ones alone.
    EXPECT_EQ(out({"get", "FG_WIDTH", "--set", "FG_WIDTH=256"}), "FG_WIDTH=256\n");
    out({"set", "FG_WIDTH=256", "FG_HEIGHT=2", "FG_FORMAT=FG_COL48"});
    EXPECT_EQ(out({"get", "100", "FG_PROCESSING_GAIN", "--board", "0"}),
              "FG_WIDTH=512\nFG_PROCESSING_GAIN=1.5\n");
    EXPECT_EQ(out({"--board", "1", "get", "FG_WIDTH"}), "FG_WIDTH=1024\n");
    EXPECT_EQ(out({"status"}), "board 0: settings in " + (state() / "pellucid/board0.mcf").string() +
                                   "\nFG_PROCESSING_GAIN=1.5 (default 0)\nFG_WIDTH=512 (default 1024)\n");

    EXPECT_EQ(out({"load", PELLUCID_SIMULATOR_MCF}), "loaded " PELLUCID_SIMULATOR_MCF "\n");
    EXPECT_EQ(out({"get", "FG_GEN_ENABLE", "FG_WIDTH"}),
              "FG_GEN_ENABLE=1 (FG_GENERATOR, Generator)\nFG_WIDTH=1024\n");
    EXPECT_EQ(out({"reset"}), "board 0: back to the applet's defaults\n");
    EXPECT_EQ(out({"get", "FG_GEN_ENABLE"}), "FG_GEN_ENABLE=0 (FG_CAMPORT, Camera)\n");
    EXPECT_EQ(out({"status"}), "board 0: the applet's defaults (no saved settings)\n");
}

TEST_F(CliTest, ABoardInUseIsRefusedAndSavedSettingsThatDoNotLoadAreIgnoredWhole) {
    fs::create_directories(state() / "pellucid");
    const int fd = open((state() / "pellucid/board0.lock").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_EQ(flock(fd, LOCK_EX), 0);
    ASSERT_GT(write(fd, "4242\n", 5), 0);
    const Outcome busy = run({"set", "FG_WIDTH=512"});
    EXPECT_EQ(busy.exitCode, 1);
    EXPECT_EQ(busy.err, "pellucid: board 0 is in use by process 4242\n");
    EXPECT_EQ(run({"--board", "1", "get", "FG_WIDTH"}).exitCode, 0);
    close(fd);

    // Cut short after the width: loading the rest of it would leave the width half-applied.
    ASSERT_EQ(run({"set", "FG_WIDTH=512"}).exitCode, 0);
    const fs::path saved = state() / "pellucid/board0.mcf";
    const std::string text = slurp(saved);
    std::ofstream(saved) << text.substr(0, text.find("FG_XOFFSET"));
    const Outcome r = run({"get", "FG_WIDTH"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "FG_WIDTH=1024\n");
    EXPECT_NE(r.err.find("warning: ignoring the board's saved settings in \"" + saved.string() + "\""),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("no key FG_XOFFSET"), std::string::npos) << r.err;
}

TEST_F(CliTest, ARefusedLoadNamesItsFirstFaultyKeyAndLine) {
    const std::string good = slurp(PELLUCID_SIMULATOR_MCF);
    auto edited = [&](const std::string& from, const std::string& to) {
        std::string text = good;
        text.replace(text.find(from), from.size(), to);
        return text;
    };
    const std::pair<std::string, std::string> cases[] = {
        {edited("FG_HEIGHT=1024;", "FG_HEIGHT=99999;"),
         "line 16: FG_HEIGHT=99999: cannot set FG_HEIGHT to 99999: value out of range (-6000); allowed: 4.."},
        {edited("FG_FORMAT=2;", "FG_FORMAT=abc;"), "line 19: FG_FORMAT=abc: FG_FORMAT has no entry \"abc\""},
        {edited("Typ='Pellucid'", "Typ='Other'"), "line 5: the file is for 'Other', not for 'Pellucid'"},
        {edited("FG_GEN_ROLL=0;\n", ""), "the file has no key FG_GEN_ROLL in [Port A]"},
        {edited("[Port A]", "[Port B]"), "the file has no section [Port A]"},
    };
    for (const auto& [text, why] : cases) {
        const fs::path file = dir_ / "bad.mcf";
        std::ofstream(file) << text;
        const Outcome r = run({"load", file.string()});
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find("the configuration could not be loaded (-5000); " + why), std::string::npos)
            << r.err;
        EXPECT_FALSE(fs::exists(state() / "pellucid/board0.mcf"));
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
    // Exit 2: the command line names what does not exist or is not of its type; 1: the board, the
    // applet or the file system refused.
    struct Case {
        int exitCode;
        std::vector<std::string> args;
        std::vector<std::string> inMessage;
    } cases[] = {
        {2, {"get", "FG_NOPE"}, {"unknown parameter \"FG_NOPE\"", "(-2070)"}},
        {2, {"get", "FG_WIDHT"}, {"did you mean FG_WIDTH?"}},
        {2, {"set", "gain=1"}, {"\"gain\"", "(-2070)", "did you mean FG_PROCESSING_GAIN?"}},
        {1, {"set", "FG_WIDTH=32768"}, {"FG_WIDTH", "(-6000)", "allowed: 16..16384 step 16"}},
        {2,
         {"set", "FG_FORMAT=FG_COL99"},
         {"FG_FORMAT has no entry \"FG_COL99\"", "FG_COL24 (2, Color 24bit)"}},
        {1, {"set", "FG_FORMAT=1"}, {"FG_FORMAT", "(-6000)", "FG_COL48 (6, Color 48bit)"}},
        {2, {"set", "FG_PROCESSING_GAIN=1,5"}, {"FG_PROCESSING_GAIN", "\"1,5\" is not a number"}},
        {2, {"set", "FG_WIDTH=-16"}, {"FG_WIDTH", "not an unsigned"}},
        {1, {"set", "FG_PIXELDEPTH=12"}, {"FG_PIXELDEPTH", "(-12)", "read-only"}},
        {1, {"set", "FG_TRIGGER_LEGACY_MODE=1", "FG_TRIGGERSTATE=0"}, {"FG_TRIGGERSTATE is read-only now"}},
        {2, {"set", "FG_WIDTH"}, {"\"FG_WIDTH\" is not NAME=VALUE"}},
        {1, {"get", "FG_LUT_VALUE_RED"}, {"FG_LUT_VALUE_RED", "field"}},
        {1, {"load", "/nonexistent/x.mcf"}, {"\"/nonexistent/x.mcf\"", "(-2076)"}},
        {1, {"save", "/nonexistent/x.mcf"}, {"\"/nonexistent/x.mcf\"", "(-5001)"}},
        {1, {"save", dir_ / "x.cfg"}, {"(-5001)", "the name must contain \".mcf\""}},
        {1, {"--board", "7", "list"}, {"board 7", "(-2002)"}},
        {1, {"list", "--board", "7"}, {"board 7", "(-2002)"}},
        {1,
         {"--bench", PELLUCID_SIMULATOR_MCF, "list"},
         {PELLUCID_SIMULATOR_MCF ": line 1: syntax error", "(-5000)"}},
        {1,
         {"grab", "--frames", "1", "--out", dir_ / "off", "--timeout", "1", "--set", "FG_GEN_ENABLE=1",
          "--set", "FG_GEN_START=0"},
         {"no picture 1 within 1 s", "(-2120)"}},
    };
    for (const Case& c : cases) {
        const Outcome r = run(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.args.front() << " " << c.args.back();
        EXPECT_EQ(r.err.rfind("pellucid: ", 0), 0u) << r.err;
        for (const std::string& part : c.inMessage)
            EXPECT_NE(r.err.find(part), std::string::npos) << part << " in " << r.err;
    }
}

TEST_F(CliTest, WrongUsageExitsWithTwoAndTheParsersMessage) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "a command is required: list, get, set, save, load, reset, status, xml, docs, grab, view"},
        {"frobnicate", "unknown command 'frobnicate'; commands: list, get"},
        {"--board 1 lsit",
         "unknown command 'lsit'; commands: list, get, set, save, load, reset, status, xml, "
         "docs, grab, view; did you mean list?"},
        {"get", "NAME is required"},
        {"set", ""},
        {"--board x list", ""},
        {"grab", ""},
        {"grab --frames 0 --out d", ""},
        {"grab --frames 2 --continuous --out d", ""},
        {"grab --buffers 1 --out d", ""},
        {"grab --format jpeg --out d", "png"},
        {"grab --software-trigger 0 --out d", ""},
        {"grab --software-trigger 1e9 --out d", ""},
        {"get --config /nonexistent.mcf FG_WIDTH", ""},
        {"list --frobnicate", ""}};
    for (const auto& [line, message] : cases) {
        std::istringstream words(line);
        const Outcome r = run({std::istream_iterator<std::string>(words), {}});
        EXPECT_EQ(r.exitCode, 2) << line;
        EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
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
        fs::create_directories(out);  // empty: allowed
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
        EXPECT_FALSE(fs::exists(out / "frame_000004.png"));
        // A second grab into the same folder would hide this one's gaps.
        const Outcome again = run(args);
        EXPECT_EQ(again.exitCode, 2);
        EXPECT_NE(again.err.find("is not empty"), std::string::npos) << again.err;
    }
}

// A real signal to a running continuous grab: it ends with the picture in hand, the summary and
// 128 + the signal, and leaves only complete pictures, each listed.
TEST_F(CliTest, ContinuousGrabStopsCleanlyOnSigintAndSigterm) {
    for (const int sig : {SIGINT, SIGTERM}) {
        const fs::path out = dir_ / std::to_string(sig);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            std::freopen((dir_ / "stdout").c_str(), "w", stdout);
            std::freopen("/dev/null", "w", stderr);
            setenv("XDG_STATE_HOME", state().c_str(), 1);
            execl(PELLUCID_TOOL, PELLUCID_TOOL, "grab", "--continuous", "--out", out.c_str(), "--config",
                  PELLUCID_SIMULATOR_MCF, "--set", "FG_WIDTH=256", "--set", "FG_HEIGHT=256", nullptr);
            _exit(127);
        }
        // Wait until pictures are being written, so that the signal lands in the middle of it.
        int status = 0;
        while (std::ranges::count(slurp(out / "frames.csv"), '\n') < 6 && waitpid(pid, &status, WNOHANG) == 0)
            usleep(1000);
        kill(pid, sig);
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 128 + sig);
        EXPECT_NE(slurp(dir_ / "stdout").find(" frames in "), std::string::npos);
        std::set<std::string> files, listed;
        for (const auto& e : fs::directory_iterator(out)) {
            const std::string name = e.path().filename().string();
            if (name == "frames.csv") continue;
            files.insert(name);
            EXPECT_TRUE(readPng(e.path().string()).ok) << name;
        }
        std::istringstream list(slurp(out / "frames.csv"));
        std::string line;
        std::getline(list, line);
        while (std::getline(list, line)) {
            char name[32];
            std::snprintf(name, sizeof name, "frame_%06ld.png", std::stol(line));
            listed.insert(name);
        }
        EXPECT_GE(files.size(), 5u);
        EXPECT_EQ(files, listed);
    }
}

}  // namespace
