// The configuration file parser: the bytes it writes and the search rules of its readers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Fg_ConfigFileParser.h"
#include "fg_constants.h"

namespace {

namespace fs = std::filesystem;

class ConfigFile : public ::testing::Test {
  protected:
    void SetUp() override {
        path =
            (fs::temp_directory_path() / ("pellucid-config-" + std::to_string(getpid()) + ".mcf")).string();
    }
    void TearDown() override { fs::remove(path); }

    void writeText(const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
    std::string readText() {
        std::ifstream in(path, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    std::string path;
};

TEST_F(ConfigFile, WritesHeaderPortSectionAndEveryLineForm) {
    {
        Fg_ConfigFileParser parser(nullptr, nullptr, false);
        ASSERT_EQ(parser.setSaveFile(path.c_str()), 1);
        parser.writeConfigFileHeader();
        parser.writeConfigFile("Typ", "Pellucid");
        parser.writeConfigFileIntKey("AktivePort", 0);
        parser.writeConfigFilePortA();
        parser.writeConfigFileIntKey("FG_WIDTH", -16);
        parser.writeConfigFileUInt64Key("BIG", 18446744073709551615ull);
        parser.writeConfigFileDoubleKey("D1", 0.1);
        parser.writeConfigFileDoubleKey("D2", 1.0 / 3.0);
        parser.writeConfigFileDoubleKey("D3", 6.25e6);
        parser.writeConfigFileDoubleKey("D4", 1e-20);
        parser.writeConfigFileValue("RAW", "x y");
        parser.writeConfigFilePortB();
    }
    EXPECT_EQ(
        readText(),
        "[Kamerasektion]\n\nConfigFileVersion=2.0;\nTyp='Pellucid';\nAktivePort=0;\n\n[Port A]\n"
        "FG_WIDTH=-16;\nBIG=18446744073709551615;\nD1=0.1;\nD2=0.333333333333;\nD3=6250000;\nD4=1e-20;\n"
        "RAW=x y;\n\n[Port B]\n");
}

TEST_F(ConfigFile, DoublesUseAPointUnderADecimalCommaLocale) {
    const std::string old = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "install the de_DE.UTF-8 locale";
    {
        Fg_ConfigFileParser parser(nullptr, nullptr, false);
        ASSERT_EQ(parser.setSaveFile(path.c_str()), 1);
        parser.writeConfigFilePortA();
        parser.writeConfigFileDoubleKey("GAIN", 2.5);
    }
    Fg_ConfigFileParser reader(nullptr, path.c_str(), true);
    double gain = 0;
    EXPECT_EQ(reader.parseDoubleKeySection(0, "GAIN", gain), 0);
    std::setlocale(LC_ALL, old.c_str());
    EXPECT_EQ(readText(), "\n[Port A]\nGAIN=2.5;\n");
    EXPECT_EQ(gain, 2.5);
}

TEST_F(ConfigFile, SaveRefusesPathsWithoutTheTypeAndUnwritablePlaces) {
    Fg_ConfigFileParser parser(nullptr, nullptr, false);
    EXPECT_EQ(parser.setSaveFile("/tmp/settings.txt"), 0);
    EXPECT_EQ(parser.setSaveFile(nullptr), 0);
    EXPECT_EQ(parser.setSaveFile("/no/such/folder/a.mcf"), 0);
    EXPECT_EQ(parser.checkFileType("a.mcf.bak"), 1) << "the type check looks for the text anywhere";
    EXPECT_EQ(parser.checkFileType("a.MCF"), 0);
}

TEST_F(ConfigFile, SectionReadersFollowTheirSearchRules) {
    writeText(
        "[Kamerasektion]\n\nConfigFileVersion=2.0;\nHersteller='Varnholt GmbH';\nAktivePort=0;\n"
        "\n[Port A]\nFG_WIDTH=1024;\nFG_WIDTHX=7;\nFG_EMPTY=;\nFG_PATH='/tmp/my lut.txt';\nFG_GAIN=1.5;\n"
        "FG_CRLF=\r\n\n[Port B]\nFG_ONLY_B=42;\n");
    Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
    std::string text;
    int i = -1;
    double d = -1;
    EXPECT_EQ(parser.parseIntKeySection(0, "FG_WIDTHX", i), 0);
    EXPECT_EQ(i, 7) << "a key that another key begins with is told apart by the '='";
    EXPECT_EQ(parser.parseIntKeySection(0, "FG_WIDTH", i), 0);
    EXPECT_EQ(i, 1024);
    EXPECT_EQ(parser.parseKeySection(0, "FG_PATH", text), 0);
    EXPECT_EQ(text, "/tmp/my lut.txt");
    EXPECT_EQ(parser.parseKeySection(0, "FG_EMPTY", text), 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(parser.parseIntKeySection(0, "FG_EMPTY", i), 0);
    EXPECT_EQ(i, 0);
    EXPECT_EQ(parser.parseKeySection(0, "FG_CRLF", text), 0);
    EXPECT_EQ(text, "");
    EXPECT_EQ(parser.parseDoubleKeySection(0, "FG_GAIN", d), 0);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(parser.parseIntKeySection(0, "FG_ONLY_B", i), 0) << "the search runs on past the next section";
    EXPECT_EQ(i, 42);
    EXPECT_EQ(parser.parseIntKeySection(1, "FG_WIDTH", i), -1)
        << "port B's section is searched from its header";
    EXPECT_EQ(i, 42) << "a failed read leaves the value alone";
    EXPECT_EQ(parser.parseKeySection(2, "FG_WIDTH", text), FG_CONFIG_KEY_NOT_FOUND);
    EXPECT_EQ(text, "Error");
    EXPECT_EQ(parser.parseIntKeySection(0, nullptr, i), -1);
    EXPECT_EQ(parser.parseIntKeyFromHeader("AktivePort", i), 0);
    EXPECT_EQ(i, 0);
    EXPECT_EQ(parser.parseKeyFromLine("Hersteller", text), 0);
    EXPECT_EQ(text, "Varnholt GmbH");
    EXPECT_EQ(parser.parseKeyFromLine("AktivePort", text), 0);
    EXPECT_EQ(text, "0;\n") << "an unquoted value keeps what follows it";
    EXPECT_EQ(parser.parseKeyFromLine("Nowhere", text), FG_CONFIG_KEY_NOT_FOUND);
    EXPECT_EQ(text, "Error");
}

TEST_F(ConfigFile, LongLinesAreReadInPiecesOf255Characters) {
    // A line longer than the reader's buffer continues as a "line" of its own, which can then
    // qualify as a key line.
    writeText("\n[Port A]\nFG_NOTE=" + std::string(255 - 8, 'x') + "FG_HIDDEN=5;\n");
    Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
    int v = 0;
    EXPECT_EQ(parser.parseIntKeySection(0, "FG_HIDDEN", v), 0);
    EXPECT_EQ(v, 5);
}

TEST_F(ConfigFile, MissingOrForeignFilesOpenNothing) {
    Fg_ConfigFileParser missing(nullptr, "/no/such/file.mcf", true);
    EXPECT_FALSE(missing.isOpen());
    std::string text;
    EXPECT_EQ(missing.parseKeySection(0, "FG_WIDTH", text), FG_CONFIG_KEY_NOT_FOUND);
    const std::string other = fs::path(path).replace_extension(".txt").string();
    std::ofstream(other) << "\n[Port A]\nFG_WIDTH=1;\n";
    Fg_ConfigFileParser wrongType(nullptr, other.c_str(), true);
    EXPECT_FALSE(wrongType.isOpen()) << "an existing file without the type is not opened";
    fs::remove(other);
}

TEST_F(ConfigFile, TruncatedAndGarbledFilesNeverCrash) {
    const std::string good =
        "[Kamerasektion]\n\nConfigFileVersion=2.0;\nTyp='Pellucid';\n\n[Port "
        "A]\nFG_WIDTH=1024;\nFG_GAIN=2.5;\n";
    for (size_t cut = 0; cut <= good.size(); ++cut) {
        std::string damaged = good.substr(0, cut);
        if (cut % 7 == 3) damaged += std::string("\0\xff\x01=;'", 6);
        writeText(damaged);
        Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
        std::string text;
        int i = 0;
        double d = 0;
        parser.parseKeyFromLine("Typ", text);
        parser.parseIntKeySection(0, "FG_WIDTH", i);
        parser.parseDoubleKeySection(0, "FG_GAIN", d);
        if (cut == good.size()) {
            EXPECT_EQ(i, 1024);
            EXPECT_EQ(d, 2.5);
        }
    }
}

}  // namespace
