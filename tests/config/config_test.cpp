// Saving and loading the applet's configuration through the exported functions.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <thread>

#include "applet_fixture.h"

namespace {

namespace fs = std::filesystem;

std::string readText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeText(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

class Configuration : public AppletOnBoard {
  protected:
    void SetUp() override {
        AppletOnBoard::SetUp();
        folder = fs::temp_directory_path() / ("pellucid-config-" + std::to_string(getpid()));
        fs::create_directories(folder);
    }
    void TearDown() override {
        fs::remove_all(folder);
        AppletOnBoard::TearDown();
    }
    std::string save(const std::string& name) {
        const fs::path path = folder / name;
        EXPECT_EQ(A().Fg_saveConfig(&fg, path.c_str()), 0);
        return readText(path);
    }
    int load(const fs::path& path) { return A().Fg_loadConfig(&fg, path.c_str()); }
    fs::path folder;
};

TEST_F(Configuration, DefaultConfigurationIsSavedByteForByte) {
    EXPECT_EQ(save("default.mcf"), readText(PELLUCID_EXPECTED_DEFAULT_MCF));
}

TEST_F(Configuration, DoublesAreWrittenWithAPointUnderACommaLocale) {
    const std::string old = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "install the de_DE.UTF-8 locale";
    ASSERT_EQ(setDouble(FG_SCALINGFACTOR_RED, 1.5), 0);
    const std::string text = save("comma.mcf");
    ASSERT_EQ(load(folder / "comma.mcf"), 0);
    const double red = getDouble(FG_SCALINGFACTOR_RED);
    std::setlocale(LC_ALL, old.c_str());
    EXPECT_NE(text.find("FG_SCALINGFACTOR_RED=1.5;\n"), std::string::npos);
    EXPECT_EQ(red, 1.5);
}

// A state, set through the exported interface, that a saved file must bring back.
struct State {
    const char* name;
    std::vector<std::pair<int, double>> settings;  // in this order; doubles by the parameter's kind
};

void PrintTo(const State& s, std::ostream* os) {
    *os << s.name;
}

class RoundTrip : public Configuration, public ::testing::WithParamInterface<State> {};

TEST_P(RoundTrip, ASavedFileLoadsBackFromAnotherState) {
    for (auto [id, v] : GetParam().settings) {
        const bool isDouble = description(id)->format == REG_FORMAT_DOUBLE;
        ASSERT_EQ(isDouble ? setDouble(id, v) : setUInt(id, static_cast<uint32_t>(v)), 0) << id;
    }
    const std::string saved = save("state.mcf");
    reopen();
    ASSERT_EQ(setUInt(FG_WIDTH, 2048), 0);  // start from somewhere else
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 3.0), 0);
    ASSERT_EQ(load(folder / "state.mcf"), 0) << lastError();
    EXPECT_EQ(lastError(), 0);
    EXPECT_EQ(save("again.mcf"), saved) << "every cached value is back";
    EXPECT_EQ(vboard::control::value("Device1_Process0_Buffer_0_DRAM_A_0_XLength"), getUInt(FG_WIDTH))
        << "and applied";
}

INSTANTIATE_TEST_SUITE_P(States, RoundTrip,
                         ::testing::Values(State{"defaults", {}},
                                           State{"imagePath",
                                                 {{FG_WIDTH, 512},
                                                  {FG_XOFFSET, 16},
                                                  {FG_YOFFSET, 3},
                                                  {FG_FORMAT, 6},
                                                  {FG_BAYERINIT, 1},
                                                  {FG_PROCESSING_GAIN, 1.25},
                                                  {FG_PROCESSING_GAMMA, 2.2},
                                                  {FG_IMG_SELECT_PERIOD, 4},
                                                  {FG_IMG_SELECT, 3},
                                                  {FG_GEN_FREQ, 12.5},
                                                  {FG_GEN_TAP3, 0}}},
                                           State{"softwareTrigger",
                                                 {{FG_AREATRIGGERMODE, 4},
                                                  {FG_TRIGGERSTATE, 0},
                                                  {FG_TRIGGERQUEUE_MODE, 1},
                                                  {FG_TRIGGER_FRAMESPERSECOND, 100.0},
                                                  {FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE, 3},
                                                  {FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE_PHASE, 2},
                                                  {FG_TRIGGER_PULSEFORMGEN1_DELAY, 100.0},
                                                  {FG_TRIGGERIN_DOWNSCALE, 5},
                                                  {FG_TRIGGEROUT_SELECT3, 11}}},
                                           State{"legacyTrigger",
                                                 {{FG_TRIGGER_LEGACY_MODE, 1},
                                                  {FG_TRIGGERMODE, 1},
                                                  {FG_EXSYNCON, 1},
                                                  {FG_EXPOSURE, 2000},
                                                  {FG_CCSEL1, 2},
                                                  {FG_DIGIO_OUTPUT, 1}}}),
                         [](const ::testing::TestParamInfo<State>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(Configuration, HeaderRulesDecideWhetherALoadStarts) {
    const std::string good = save("good.mcf");
    auto replaced = [&](const std::string& from, const std::string& to) {
        std::string t = good;
        t.replace(t.find(from), from.size(), to);
        return t;
    };
    // Each refused: another applet's file, no maker, no active port, no port section, a width off
    // the 16-pixel grid, a value outside its enumeration, width and x offset beyond the buffer, and
    // a good file under a name that is not a configuration file's.
    const std::pair<std::string, std::string> cases[] = {
        {"1.mcf", replaced("Typ='Pellucid'", "Typ='Other'")},
        {"2.mcf", replaced("Hersteller=", "Maker=")},
        {"3.mcf", replaced("AktivePort=", "Port=")},
        {"4.mcf", replaced("[Port A]", "[Port Z]")},
        {"5.mcf", replaced("FG_WIDTH=1024;", "FG_WIDTH=1000;")},
        {"6.mcf", replaced("FG_FORMAT=2;", "FG_FORMAT=3;")},
        {"7.mcf", replaced("FG_XOFFSET=0;", "FG_XOFFSET=15376;")},
        {"good.txt", good}};
    for (const auto& [file, text] : cases) {
        writeText(folder / file, text);
        EXPECT_EQ(load(folder / file), FG_CONFIG_LOAD_FAILED) << file;
        EXPECT_EQ(lastError(), FG_CONFIG_LOAD_FAILED) << file;
    }
    ASSERT_EQ(load(folder / "good.mcf"), 0);
    EXPECT_EQ(load(folder / "missing.mcf"), FG_FILE_NOT_FOUND);
    EXPECT_EQ(lastError(), FG_CONFIG_LOAD_FAILED) << "the last error says the load failed";
    EXPECT_EQ(A().Fg_saveConfig(&fg, (folder / "no" / "such.mcf").c_str()), FG_FILE_ACCESS_FAILED);
    EXPECT_EQ(A().Fg_saveConfig(&fg, (folder / "plain.txt").c_str()), FG_FILE_ACCESS_FAILED);
    EXPECT_EQ(lastError(), FG_FILE_ACCESS_FAILED);
    EXPECT_EQ(load(folder / "good.mcf"), 0);

    // A key given twice: the first line after the section header counts.
    writeText(folder / "twice.mcf", replaced("FG_HEIGHT=1024;", "FG_HEIGHT=480;\nFG_HEIGHT=1024;"));
    EXPECT_EQ(load(folder / "twice.mcf"), 0);
    EXPECT_EQ(getUInt(FG_HEIGHT), 480u);
}

TEST_F(Configuration, TruncatedFilesFailCleanly) {
    const std::string good = save("good.mcf");
    // Every cut before the last key's "=" loses that key; after it the key reads, perhaps empty.
    const size_t lastKey = good.find("FG_DIGIO_OUTPUT=");
    ASSERT_NE(lastKey, std::string::npos);
    for (size_t cut = 0; cut < lastKey + 16; ++cut) {
        writeText(folder / "cut.mcf", good.substr(0, cut));
        EXPECT_EQ(load(folder / "cut.mcf"), FG_CONFIG_LOAD_FAILED) << cut;
    }
    const size_t lineStart = good.find('\n', 300) + 1;
    writeText(folder / "garbage.mcf",
              good.substr(0, lineStart) + std::string("\0\xff=;'\n", 6) + good.substr(lineStart));
    EXPECT_EQ(load(folder / "garbage.mcf"), 0) << "a garbled line between keys is skipped";
}

// Numbers no conversion can hold reach every floating-point parameter and every configuration
// key. Each is answered with a result; none may overflow a conversion on the way (the sanitizer
// build checks float-to-integer casts).
TEST_F(Configuration, ExtremeNumbersNeverOverflowAConversion) {
    const double inf = std::numeric_limits<double>::infinity();
    for (int i = 0; i < A().Fg_getNrOfParameter(&fg); ++i) {
        const int id = A().Fg_getParameterId(&fg, i);
        const RegisterInfo* r = description(id);
        if (r == nullptr || r->format != REG_FORMAT_DOUBLE) continue;
        for (double v : {std::nan(""), inf, -inf, 1e300, -1e300, 4294967296.0}) setDouble(id, v);
    }
    const std::string good = save("good.mcf");
    const size_t port = good.find("[Port A]");
    for (size_t at = good.find('=', port); at != std::string::npos; at = good.find('=', at + 1)) {
        const size_t end = good.find(';', at);
        for (const char* v : {"nan", "inf", "-inf", "1e400", "-1e400", "99999999999", "-99999999999"}) {
            writeText(folder / "extreme.mcf", good.substr(0, at + 1) + v + good.substr(end));
            const int rc = load(folder / "extreme.mcf");
            EXPECT_TRUE(rc == 0 || rc == FG_CONFIG_LOAD_FAILED) << good.substr(at - 20, 30) << v;
        }
        reopen();
    }
}

// A name that leads to a FIFO, a device or a directory answers at once and leaves the board
// alive: no read that never ends, no memory without bound, no SIGPIPE.
TEST_F(Configuration, PathsThatAreNoRegularFileAnswerAtOnce) {
    const fs::path fifo = folder / "fifo.mcf", device = folder / "zero.mcf", dir = folder / "dir.mcf";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", device);
    fs::create_directory(dir);
    for (const fs::path& p : {fifo, device}) {
        EXPECT_EQ(load(p), FG_CONFIG_LOAD_FAILED) << p;
        EXPECT_EQ(A().Fg_saveConfig(&fg, p.c_str()), FG_FILE_ACCESS_FAILED) << p;
        ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
        EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_LUT_CUSTOM_FILE, p.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR),
                  FG_FILE_ACCESS_FAILED)
            << p;
        EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_LUT_SAVE_FILE, p.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR),
                  FG_FILE_ACCESS_FAILED)
            << p;
    }
    // A reader that goes away: refused before a byte is written.
    std::thread reader([&] { close(open(fifo.c_str(), O_RDONLY)); });
    const int writer = open(fifo.c_str(), O_WRONLY);  // meets the reader, keeps the FIFO open
    reader.join();
    EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_LUT_SAVE_FILE, fifo.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR),
              FG_FILE_ACCESS_FAILED);
    close(writer);
    // Directories keep their answers: the load finds no keys, the LUT file does not exist.
    EXPECT_EQ(load(dir), FG_CONFIG_LOAD_FAILED);
    EXPECT_EQ(A().Fg_saveConfig(&fg, dir.c_str()), FG_FILE_ACCESS_FAILED);
    EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_LUT_CUSTOM_FILE, dir.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR),
              FG_FILE_NOT_FOUND);

    // A file larger than what a read keeps is searched from the disk: the same answers.
    const std::string good = save("good.mcf");
    std::string large = good;
    for (int i = 0; i < 4000; ++i) large += "; padding line " + std::to_string(i) + " of a long file\n";
    writeText(folder / "large.mcf", large);
    ASSERT_EQ(setUInt(FG_WIDTH, 512), 0);
    EXPECT_EQ(load(folder / "large.mcf"), 0);
    EXPECT_EQ(getUInt(FG_WIDTH), 1024u);
}

}  // namespace
