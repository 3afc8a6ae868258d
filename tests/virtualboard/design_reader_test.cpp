// Design files: the project's design, malformed input, and the register and event queries.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>

#include "fg_constants.h"
#include "haprt.h"
#include "vboard/haprt_ext.h"

namespace {

using namespace std::string_literals;

const std::string kSmall =
    "QORV-DESIGN 1\n"
    "# a comment\n"
    "name Small\n"
    "version 0.1\n"
    "typecode 7\n"
    "uid abc\n"
    "register A 8 rw   # trailing comment\n"
    "register B 64 ro\n"
    "register C 1 wo\n"
    "param P uint 3 rw\n"
    "param D double 12 10 rw\n"
    "param F field 16 12 ro\n"
    "event E0\n"
    "event E1\n"
    "bitstream 3 9b7d3864775a96f7\n"
    "\0\n\xff\n"  // configuration data: raw bytes, then a line end
    "end\n"s;

struct Design {
    explicit Design(std::string_view text) : d(HapLoadDesignFromBuffer(text.data(), text.size(), 1)) {}
    ~Design() {
        if (d != nullptr) HapUnloadHapFile(d);
    }
    fpga_design* d;
};

std::string readAll(const char* path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Replaces the first occurrence of `from` in the small design.
std::string smallWith(const std::string& from, const std::string& to) {
    std::string text = kSmall;
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(DesignFile, ProjectDesignLoadsFromFileAndBufferAlike) {
    fpga_design* fromFile = HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2628, 1);
    ASSERT_NE(fromFile, nullptr) << HapGetLastErrorText();
    EXPECT_STREQ(HapGetLastErrorText(), "");
    const std::string text = readAll(VBOARD_DESIGN_FILE);
    Design fromBuffer(text);
    ASSERT_NE(fromBuffer.d, nullptr) << HapGetLastErrorText();

    for (fpga_design* d : {fromFile, fromBuffer.d}) {
        ASSERT_EQ(HapGetNrOfRegister(d), 9);
        const char* names[] = {"AAGenEnable", "AAGenStart",   "AAGenWidth", "AAGenLineWidth", "AAGenHeight",
                               "AAGenActive", "AAGenPassive", "AAGenMask",  "AAGenRoll"};
        const int widths[] = {1, 1, 32, 32, 32, 8, 8, 4, 1};
        for (int i = 0; i < 9; ++i) {
            EXPECT_STREQ(HapGetRegisterName(d, i + 1), names[i]);
            EXPECT_EQ(HapGetRegisterByName(d, names[i]), i + 1);
            EXPECT_EQ(HapGetRegisterBitRange(d, i + 1), widths[i]) << names[i];
            EXPECT_EQ(HapGetRegisterDirection(d, i + 1), 0);
        }
        const char* events[] = {FG_EVENT_NAME_LIST};
        for (int i = 0; i < FG_EVENT_COUNT; ++i) {
            const HapEvent* e = HapGetEvent(d, i);
            ASSERT_NE(e, nullptr);
            EXPECT_STREQ(e->name, events[i]);
            EXPECT_EQ(e->mask, uint64_t{1} << i);
        }
        EXPECT_EQ(HapGetEvent(d, FG_EVENT_COUNT), nullptr);
    }
    EXPECT_EQ(HapUnloadHapFile(fromFile), 0);
}

// The design tool's file: plain ASCII items, then the configuration data, as large as the real one.
TEST(DesignFile, ProjectDesignHasItsFullSizeAndIntactData) {
    const std::string text = readAll(VBOARD_DESIGN_FILE);
    EXPECT_EQ(text.size(), 2836503u);
    const size_t data = text.find("\nbitstream ");
    ASSERT_NE(data, std::string::npos);
    for (unsigned char c : text.substr(0, data)) ASSERT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f)) << int(c);

    std::string altered = text;
    altered[text.size() / 2] ^= 1;
    EXPECT_EQ(Design(altered).d, nullptr);
    EXPECT_NE(std::string(HapGetLastErrorText()).find(": configuration data altered (checksum "),
              std::string::npos)
        << HapGetLastErrorText();
    EXPECT_EQ(Design(std::string_view(text).substr(0, text.size() / 2)).d, nullptr);
    EXPECT_NE(std::string(HapGetLastErrorText()).find(": configuration data truncated ("), std::string::npos)
        << HapGetLastErrorText();
}

TEST(DesignFile, QueriesOutsideTheDesignAnswerNothing) {
    Design s(kSmall);
    ASSERT_NE(s.d, nullptr) << HapGetLastErrorText();
    EXPECT_EQ(HapGetRegisterDirection(s.d, 2), 1);
    EXPECT_EQ(HapGetRegisterDirection(s.d, 3), 2);
    EXPECT_EQ(HapGetRegisterBitRange(s.d, 2), 64);
    for (int n : {0, 4, -1}) {
        EXPECT_EQ(HapGetRegisterName(s.d, n), nullptr);
        EXPECT_EQ(HapGetRegisterBitRange(s.d, n), -1);
        EXPECT_EQ(HapGetRegisterDirection(s.d, n), -1);
    }
    EXPECT_EQ(HapGetRegisterByName(s.d, "P"), -1);  // a parameter, not a register
    EXPECT_EQ(HapGetRegisterByName(s.d, "a"), -1);  // case matters
    EXPECT_EQ(HapGetRegisterByName(s.d, nullptr), -1);
    EXPECT_EQ(HapGetEvent(s.d, -1), nullptr);
    EXPECT_EQ(HapGetEvent(s.d, 2), nullptr);

    EXPECT_EQ(HapGetNrOfRegister(nullptr), -1);
    EXPECT_EQ(HapGetRegisterName(nullptr, 1), nullptr);
    EXPECT_EQ(HapGetEvent(nullptr, 0), nullptr);
    EXPECT_EQ(HapUnloadHapFile(nullptr), FG_INVALID_PARAMETER);
}

TEST(DesignFile, WindowsLineEndsAndMissingFinalNewlineAreAccepted) {
    // The configuration data is raw bytes: its LF stays as it is.
    const size_t data = kSmall.find("bitstream");
    std::string crlf;
    for (char c : kSmall.substr(0, data)) {
        if (c == '\n') crlf += '\r';
        crlf += c;
    }
    crlf += kSmall.substr(data);
    EXPECT_NE(Design(crlf).d, nullptr) << HapGetLastErrorText();
    std::string noNewline = kSmall;
    noNewline.pop_back();
    EXPECT_NE(Design(noNewline).d, nullptr) << HapGetLastErrorText();
}

struct Malformed {
    const char* label;
    std::string text;
    std::string message;  // expected error text
};

// Names the case in test listings.
void PrintTo(const Malformed& m, std::ostream* os) {
    *os << m.label;
}

class MalformedDesign : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedDesign, IsRefusedNamingTheLine) {
    Design d(GetParam().text);
    EXPECT_EQ(d.d, nullptr);
    EXPECT_EQ(std::string(HapGetLastErrorText()), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MalformedDesign,
    ::testing::Values(
        Malformed{"version2", "QORV-DESIGN 2\n", "line 1: unsupported format version '2'"},
        Malformed{"noMagic", "\n# only a comment\nHAP 1\n",
                  "line 3: not a design file (expected 'QORV-DESIGN 1')"},
        Malformed{"onlyComments", "# nothing\n", "line 1: not a design file (no 'QORV-DESIGN 1' line)"},
        Malformed{"width0", smallWith("register A 8 rw", "register A 0 rw"), "line 7: width must be 1..64"},
        Malformed{"width65", smallWith("register A 8 rw", "register A 65 rw"), "line 7: width must be 1..64"},
        Malformed{"badNumber", smallWith("register A 8 rw", "register A 8x rw"), "line 7: bad number '8x'"},
        Malformed{"badAccess", smallWith("register A 8 rw", "register A 8 rx"),
                  "line 7: access must be rw, ro or wo, not 'rx'"},
        Malformed{"missingArgument", smallWith("register A 8 rw", "register A 8"),
                  "line 7: expected 'register NAME WIDTH ACCESS'"},
        Malformed{"badName", smallWith("register A 8 rw", "register 1A 8 rw"), "line 7: bad name '1A'"},
        Malformed{"duplicateRegister", smallWith("register B 64 ro", "register A 64 ro"),
                  "line 8: duplicate name 'A'"},
        Malformed{"duplicateAcrossKinds", smallWith("param P uint 3 rw", "param A uint 3 rw"),
                  "line 10: duplicate name 'A'"},
        Malformed{"unknownKind", smallWith("param P uint 3 rw", "param P int 3 rw"),
                  "line 10: unknown parameter kind 'int' (uint, double or field)"},
        Malformed{"fractionTooLarge", smallWith("param D double 12 10 rw", "param D double 12 13 rw"),
                  "line 11: fraction must be 0..12"},
        Malformed{"noEntries", smallWith("param F field 16 12 ro", "param F field 0 12 ro"),
                  "line 12: entries must be 1..1048576"},
        Malformed{"fieldTooWide", smallWith("param F field 16 12 ro", "param F field 16 33 ro"),
                  "line 12: width must be 1..32"},
        Malformed{"duplicateEvent", smallWith("event E1", "event E0"), "line 14: duplicate event 'E0'"},
        Malformed{"typeCodeTooLarge", smallWith("typecode 7", "typecode 2147483648"),
                  "line 5: type code must be 0..2147483647"},
        Malformed{"duplicateHeader", smallWith("uid abc", "uid abc\nname Again"), "line 7: duplicate 'name'"},
        Malformed{"missingUid", smallWith("uid abc\n", ""), "line 15: missing 'uid'"},
        Malformed{"unknownKeyword", smallWith("event E0", "evnt E0"), "line 13: unknown keyword 'evnt'"},
        Malformed{"truncated", smallWith("end\n", ""), "line 15: design ends without 'end' (truncated?)"},
        Malformed{"textAfterEnd", smallWith("end\n", "end\nregister Z 1 rw\n"), "line 17: text after 'end'"},
        Malformed{"notAscii", smallWith("name Small", "name Sm\xe4ll"),
                  "line 3: character 228 is not printable ASCII"},
        Malformed{"nulByte", smallWith("name Small", std::string("name Sm\0ll", 10)), "line 3: NUL byte"},
        Malformed{"noBitstream", smallWith("bitstream 3 9b7d3864775a96f7\n\0\n\xff\n"s, ""),
                  "line 15: missing 'bitstream' (the design carries no configuration data)"},
        Malformed{"badChecksum", smallWith("9b7d3864775a96f7", "9b7d3864775a96f"),
                  "line 15: checksum must be 16 hex digits, not '9b7d3864775a96f'"},
        Malformed{"noLineEndAfterData", smallWith("\xff\n", "\xff"),
                  "line 15: no line end after the configuration data"},
        Malformed{"endWithArgument", smallWith("end", "end extra"), "line 16: expected 'end'"}));

TEST(DesignFile, LinesUpTo1024BytesAreAccepted) {
    const std::string comment = "#" + std::string(1022, 'x') + "\n";  // 1023 bytes
    EXPECT_NE(Design(smallWith("uid abc\n", "uid abc\n" + comment)).d, nullptr);
    EXPECT_NE(Design(smallWith("uid abc\n", "uid abc\n " + comment)).d, nullptr) << HapGetLastErrorText();
    EXPECT_EQ(Design(smallWith("uid abc\n", "uid abc\n  " + comment)).d, nullptr);
    EXPECT_STREQ(HapGetLastErrorText(), "line 7: line longer than 1024 bytes");
    EXPECT_EQ(Design(std::string(1 << 20, 'x')).d, nullptr);
    EXPECT_STREQ(HapGetLastErrorText(), "line 1: line longer than 1024 bytes");
}

TEST(DesignFile, MoreThan64EventsAreRefused) {
    std::string events;
    for (int i = 0; i < 65; ++i) events += "event E" + std::to_string(i) + "\n";
    EXPECT_EQ(Design(smallWith("event E0\nevent E1\n", events)).d, nullptr);
    EXPECT_STREQ(HapGetLastErrorText(), "line 77: more than 64 events");
}

TEST(DesignFile, EveryTruncationFailsCleanly) {
    const std::string text = kSmall;
    const size_t endLine = text.rfind("end");
    for (size_t n = 1; n < text.size(); ++n) {
        Design d(std::string_view(text.data(), n));
        if (n >= endLine + 3) {
            EXPECT_NE(d.d, nullptr) << n;
        } else {
            EXPECT_EQ(d.d, nullptr) << n;
            EXPECT_EQ(std::string(HapGetLastErrorText()).rfind("line ", 0), 0u)
                << n << ": " << HapGetLastErrorText();
        }
    }
}

TEST(DesignFile, BadBuffersAndFiles) {
    EXPECT_EQ(HapLoadDesignFromBuffer(nullptr, 10, 1), nullptr);
    EXPECT_STREQ(HapGetLastErrorText(), "no design data");
    EXPECT_EQ(HapLoadDesignFromBuffer(kSmall.data(), 0, 1), nullptr);
    EXPECT_STREQ(HapGetLastErrorText(), "line 1: empty design");

    EXPECT_EQ(HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2629, 1), nullptr);
    EXPECT_NE(std::string(HapGetLastErrorText()).find("has type code 2628, not 2629"), std::string::npos);
    EXPECT_EQ(HapLoadHapFileWithType("/nonexistent/Pellucid.hap", 2628, 1), nullptr);
    EXPECT_NE(std::string(HapGetLastErrorText()).find("cannot open"), std::string::npos);
    EXPECT_EQ(HapLoadHapFileWithType(nullptr, 2628, 1), nullptr);
    EXPECT_EQ(HapLoadHapFileWithType("/", 2628, 1), nullptr);  // a folder reads as nothing
    const std::string fifo = testing::TempDir() + "design_fifo_" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(HapLoadHapFileWithType(fifo.c_str(), 2628, 1), nullptr);  // no writer: no waiting
    EXPECT_NE(std::string(HapGetLastErrorText()).find("not a regular file"), std::string::npos);
    unlink(fifo.c_str());
}

TEST(DesignFile, ErrorTextBelongsToTheThread) {
    EXPECT_EQ(HapLoadDesignFromBuffer(nullptr, 1, 1), nullptr);
    std::thread([] {
        Design d(kSmall);
        EXPECT_STREQ(HapGetLastErrorText(), "");
    }).join();
    EXPECT_STREQ(HapGetLastErrorText(), "no design data");
}

}  // namespace
