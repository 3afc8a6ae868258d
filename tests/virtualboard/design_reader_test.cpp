// Design files: the project's design, malformed input, and the register and event queries.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>
#include <tuple>

#include "fg_constants.h"
#include "haprt.h"
#include "vboard/haprt_ext.h"

namespace {

using namespace std::string_literals;

// Every kind of item; the configuration data is raw bytes, then a line end.
const std::string kSmall =
    "QORV-DESIGN 1\n# a comment\nname Small\nversion 0.1\ntypecode 7\nuid abc\n"
    "register A 8 rw   # trailing comment\nregister B 64 ro\nregister C 1 wo\nparam P uint 3 rw\n"
    "param D double 12 10 rw\nparam F field 16 12 ro\nevent E0\nevent E1\n"
    "bitstream 3 9b7d3864775a96f7\n\0\n\xff\nend\n"s;

struct Design {
    explicit Design(std::string_view text) : d(HapLoadDesignFromBuffer(text.data(), text.size(), 1)) {}
    ~Design() { HapUnloadHapFile(d); }
    fpga_design* d;
};

// The small design with the first occurrence of `from` replaced.
std::string smallWith(const std::string& from, const std::string& to) {
    std::string text = kSmall;
    return text.replace(text.find(from), from.size(), to);
}

const auto lastError = [] { return std::string(HapGetLastErrorText()); };

// The design tool's file: plain ASCII items, then the configuration data, as large as the real one;
// it loads with the events the SDK names.
TEST(DesignFile, ProjectDesign) {
    const std::string text = (std::stringstream() << std::ifstream(VBOARD_DESIGN_FILE).rdbuf()).str();
    EXPECT_EQ(text.size(), 2836503u);
    const size_t data = text.find("\nbitstream ");
    ASSERT_NE(data, std::string::npos);
    for (unsigned char c : text.substr(0, data)) ASSERT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f)) << int(c);
    std::string altered = text;
    altered[text.size() / 2] ^= 1;
    for (auto [bad, message] : {std::pair(altered, "altered (checksum "),
                                std::pair(text.substr(0, text.size() / 2), "truncated (")}) {
        EXPECT_EQ(Design(bad).d, nullptr);
        EXPECT_NE(lastError().find(": configuration data "s + message), std::string::npos) << lastError();
    }

    fpga_design* d = HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2628, 1);
    ASSERT_NE(d, nullptr) << lastError();
    const char* events[] = {FG_EVENT_NAME_LIST};
    for (int i = 0; i < FG_EVENT_COUNT; ++i) {
        ASSERT_NE(HapGetEvent(d, i), nullptr);
        EXPECT_STREQ(HapGetEvent(d, i)->name, events[i]);
        EXPECT_EQ(HapGetEvent(d, i)->mask, uint64_t{1} << i);
    }
    EXPECT_EQ(HapUnloadHapFile(d), 0);
}

// Registers count from 1, events from 0; outside them, or without a design, there is nothing.
TEST(DesignFile, RegisterAndEventQueries) {
    Design s(kSmall);
    std::string got = std::to_string(HapGetNrOfRegister(s.d)) + ":";  // then name/number/width/access
    for (int n = -1; n <= 4; ++n) {
        const char* name = HapGetRegisterName(s.d, n);
        got += std::string(name ? name : "-") + "/" + std::to_string(HapGetRegisterByName(s.d, name)) + "/" +
               std::to_string(HapGetRegisterBitRange(s.d, n)) + "/" +
               std::to_string(HapGetRegisterDirection(s.d, n)) + " ";
    }
    EXPECT_EQ(got, "3:-/-1/-1/-1 -/-1/-1/-1 A/1/8/0 B/2/64/1 C/3/1/2 -/-1/-1/-1 ");
    EXPECT_EQ(std::tuple(HapGetRegisterByName(s.d, "P"), HapGetRegisterByName(s.d, "a")), std::tuple(-1, -1));
    EXPECT_EQ(std::tuple(HapGetEvent(s.d, -1), HapGetEvent(s.d, 2), HapGetEvent(nullptr, 0)),
              std::tuple(nullptr, nullptr, nullptr));
    EXPECT_EQ(
        std::tuple(HapGetNrOfRegister(nullptr), HapGetRegisterName(nullptr, 1), HapUnloadHapFile(nullptr)),
        std::tuple(-1, nullptr, FG_INVALID_PARAMETER));
}

// Refused naming the line: (text of the small design to replace or empty, replacement, error or empty
// where it loads). Windows line ends (not in the data) and 1024-byte lines load.
TEST(DesignFile, MalformedDesignsAreRefusedNamingTheLine) {
    const size_t data = kSmall.find("bitstream");
    std::string crlf, events;
    for (char c : kSmall.substr(0, data)) crlf += c == '\n' ? "\r\n" : std::string(1, c);
    for (int i = 0; i < 65; ++i) events += "event E" + std::to_string(i) + "\n";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"", "QORV-DESIGN 2\n", "line 1: unsupported format version '2'"},
        {"", "\n# only a comment\nHAP 1\n", "line 3: not a design file (expected 'QORV-DESIGN 1')"},
        {"", "#", "line 1: not a design file (no 'QORV-DESIGN 1' line)"},
        {"", "", "line 1: empty design"},
        {"", crlf + kSmall.substr(data), ""},
        {"uid abc\n", "uid abc\n #" + std::string(1022, 'x') + "\n", ""},
        {"uid abc\n", "uid abc\n  #" + std::string(1022, 'x') + "\n", "line 7: line longer than 1024 bytes"},
        {"A 8 rw", "A 65 rw", "line 7: width must be 1..64"},
        {"A 8 rw", "A 8x rw", "line 7: bad number '8x'"},
        {"A 8 rw", "A 8 rx", "line 7: access must be rw, ro or wo, not 'rx'"},
        {"A 8 rw", "A 8", "line 7: expected 'register NAME WIDTH ACCESS'"},
        {"A 8 rw", "1A 8 rw", "line 7: bad name '1A'"},
        {"B 64 ro", "A 64 ro", "line 8: duplicate name 'A'"},
        {"P uint", "A uint", "line 10: duplicate name 'A'"},
        {"P uint", "P int", "line 10: unknown parameter kind 'int' (uint, double or field)"},
        {"12 10 rw", "12 13 rw", "line 11: fraction must be 0..12"},
        {"F field 16", "F field 0", "line 12: entries must be 1..1048576"},
        {"16 12 ro", "16 33 ro", "line 12: width must be 1..32"},
        {"event E1", "event E0", "line 14: duplicate event 'E0'"},
        {"event E0\nevent E1\n", events, "line 77: more than 64 events"},
        {"typecode 7", "typecode 2147483648", "line 5: type code must be 0..2147483647"},
        {"typecode 7", "typecode 7 8", "line 5: expected 'typecode NUMBER'"},
        {"P uint 3 rw", "P uint", "line 10: expected 'param NAME uint BITS ACCESS'"},
        {"uid abc", "uid abc\nname Again", "line 7: duplicate 'name'"},
        {"name Small\n", "", "line 15: missing 'name'"},
        {"event E0", "evnt E0", "line 13: unknown keyword 'evnt'"},
        {"end\n", "", "line 15: design ends without 'end' (truncated?)"},
        {"end\n", "end\nregister Z 1 rw\n", "line 17: text after 'end'"},
        {"Small", "Sm\xe4ll", "line 3: character 228 is not printable ASCII"},
        {"Small", "Sm\0ll"s, "line 3: NUL byte"},
        {"bitstream 3 9b7d3864775a96f7\n\0\n\xff\n"s, "",
         "line 15: missing 'bitstream' (the design carries no configuration data)"},
        {"bitstream 3", "bitstream 1073741825", "line 15: configuration data length must be 0..1073741824"},
        {"96f7", "96f70123456789abcdef01",
         "line 15: checksum must be 16 hex digits, not '9b7d3864775a96f70123456789abcdef'"},
        {"\xff\n", "\xff", "line 15: no line end after the configuration data"},
        {"end\n", "end extra\n", "line 16: expected 'end'"}};
    for (const auto& [from, to, message] : cases) {
        EXPECT_EQ(Design(from.empty() ? to : smallWith(from, to)).d != nullptr, message.empty()) << message;
        EXPECT_EQ(lastError(), message);
    }
    // Cut before its end a design is refused.
    const size_t endLine = kSmall.rfind("end");
    for (size_t n = 1; n < kSmall.size(); ++n) {
        const bool loads = Design(std::string_view(kSmall.data(), n)).d != nullptr;
        EXPECT_EQ(loads, n >= endLine + 3) << n;
        EXPECT_TRUE(loads || lastError().rfind("line ", 0) == 0) << n << ": " << lastError();
    }
}

TEST(DesignFile, BadBuffersAndFiles) {
    EXPECT_EQ(HapLoadDesignFromBuffer(nullptr, 10, 1), nullptr);
    EXPECT_EQ(lastError(), "no design data");
    const std::string fifo = testing::TempDir() + "design_fifo_" + std::to_string(getpid());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);  // with no writer: loading must not wait
    const std::tuple<const char*, int, const char*> files[] = {
        {nullptr, 2628, ""},
        {VBOARD_DESIGN_FILE, 2629, "has type code 2628, not 2629"},
        {"/nonexistent/Pellucid.hap", 2628, "cannot open"},
        {fifo.c_str(), 2628, "not a regular file"},
        {"/proc/self/mem", 2628, "cannot read '"}};  // a regular file whose reads fail
    for (const auto& [path, type, message] : files) {
        EXPECT_EQ(HapLoadHapFileWithType(path, type, 1), nullptr) << message;
        EXPECT_NE(lastError().find(message), std::string::npos) << lastError();
    }
    unlink(fifo.c_str());
    // The error text belongs to the thread.
    std::thread([] {
        Design d(kSmall);
        EXPECT_EQ(lastError(), "");
    }).join();
    EXPECT_NE(lastError().find("cannot read '"), std::string::npos);
}

}  // namespace
