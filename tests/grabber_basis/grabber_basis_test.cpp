// The basis libraries: parameter registry, configuration and LUT file parsers, log, temporary files.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <clocale>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Fg_Log.h"
#include "Fg_LutFileParser.h"
#include "TempFiles.h"
#include "fg_constants.h"
#include "parameterInfo.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> topLevelNames(Fg_ParameterInfo& reg, int port) {
    std::vector<std::string> names;
    for (RegisterInfo* r = reg.getNextRegisterInfo(nullptr, port); r; r = reg.getNextRegisterInfo(r, port))
        names.emplace_back(r->name);
    return names;
}

RegisterInfo* addInt(Fg_ParameterInfo& reg, RegisterInfo* parent, const char* name, int port = 0) {
    return reg.addInfoInt(parent, name, name, 0, 10, 1, 7, 1, 1, nullptr, 100, port);
}

TEST(ParameterInfo, TreeLinksCountersAndRefusals) {
    Fg_ParameterInfo reg;
    RegisterInfo* a = reg.addGroupInfo(0, nullptr, "A");
    RegisterInfo* top = reg.addGroupInfo(0, nullptr, "Top");
    ASSERT_NE(reg.addGroupInfo(1, nullptr, "other port"), nullptr);
    EXPECT_EQ(topLevelNames(reg, 0), (std::vector<std::string>{"Top", "A"})) << "newest first";
    EXPECT_TRUE(reg.getRegisterInfo(0) == top && top->previous == nullptr && a->previous == top);
    EXPECT_EQ(topLevelNames(reg, 1), std::vector<std::string>{"other port"});

    RegisterInfo* leaf = addInt(reg, top, "leaf");
    RegisterInfo* sub = reg.addGroupInfo(0, top, "Sub");
    RegisterInfo* subsub = reg.addGroupInfo(0, sub, "SubSub");
    ASSERT_TRUE(leaf && sub && subsub);
    EXPECT_TRUE(sub->index == 1 && sub->depth == 1 && subsub->depth == 2 && leaf->depth == 0);
    EXPECT_EQ(std::string(sub->parentName) + "/" + subsub->parentName, "Top/Sub");
    // A sub-group under a leaf is refused, yet the leaf's child counter moves on; its fields stay.
    EXPECT_EQ(reg.addGroupInfo(0, leaf, "under leaf"), nullptr);
    RegisterInfo* child = addInt(reg, leaf, "child of leaf");
    ASSERT_NE(child, nullptr);
    EXPECT_TRUE(child->index == 1 && leaf->u.iReg.from == 0 && leaf->u.iReg.to == 10 &&
                leaf->u.iReg.steps == 1);
    // The element array grows with every insert and keeps its order.
    std::vector<RegisterInfo*> added{leaf, sub};
    for (int i = 2; i < 300; ++i)
        added.push_back(i % 7 == 3 ? reg.addGroupInfo(0, top, "g") : addInt(reg, top, "p"));
    ASSERT_TRUE(top->u.gReg.nrOfElements == 300 && top->u.gReg.autoIndex == 300);
    for (int i = 0; i < 300; ++i)
        EXPECT_TRUE(top->u.gReg.elements[i] == added[i] && added[i]->index == i) << i;

    EXPECT_EQ(addInt(reg, nullptr, "orphan"), nullptr);
    for (int bad : {-1, 4}) {
        EXPECT_TRUE(!reg.addGroupInfo(bad, nullptr, "X") && !addInt(reg, top, "x", bad) &&
                    !reg.getRegisterInfo(bad) && !reg.getNextRegisterInfo(top, bad))
            << bad;
        reg.finalize(bad), reg.init(bad), reg.destroy(bad);
    }
    reg.finalize(0);
    EXPECT_TRUE(!reg.addGroupInfo(0, nullptr, "late") && !reg.addGroupInfo(0, top, "late sub") &&
                !addInt(reg, top, "late leaf") && top->u.gReg.nrOfElements == 300);
    EXPECT_NE(reg.addGroupInfo(1, nullptr, "port 1 still open"), nullptr);
    reg.init(0);
    EXPECT_EQ(reg.getRegisterInfo(0), nullptr);
    ASSERT_NE(reg.addGroupInfo(0, nullptr, "again"), nullptr);
}

// A group's element array is replaced at every insert; the old ones must not pile up.
TEST(ParameterInfo, GrowingGroupsKeepNoOldArrays) {
    const size_t before = mallinfo2().uordblks;
    for (int round = 0; round < 20; ++round) {
        Fg_ParameterInfo reg;
        RegisterInfo* g = reg.addGroupInfo(0, nullptr, "G");
        for (int i = 0; i < 300; ++i) addInt(reg, g, "p");
    }
    EXPECT_LT(mallinfo2().uordblks - before, 1024u * 1024) << "a leaking round leaves 350 KB behind";
}

TEST(ParameterInfo, EnumEntriesAreCopiedReplacedAndChecked) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(0, nullptr, "G");
    RegisterInfo* e = reg.addInfoEnum(g, "Mode", "FG_MODE", 3, 7, 1, 1, nullptr, 42, 0);
    ASSERT_TRUE(e && e->u.eReg.nrOfElements == 3);
    const EnumReg_S& er = e->u.eReg;
    char name[] = "Free Run";
    ASSERT_EQ(reg.addEnumNameValue(e, 1, name, 5, "ATM_FREE"), 0);
    name[0] = 'X';
    EXPECT_EQ(std::string(er.enumNames[1]) + "/" + er.enumDefName[1] + "/" + std::to_string(er.enumValues[1]),
              "Free Run/ATM_FREE/5");
    // Replacing drops the old symbolic name when none is given.
    ASSERT_EQ(reg.addEnumNameValue(e, 1, "Generator", -3, nullptr), 0);
    EXPECT_TRUE(std::string(er.enumNames[1]) == "Generator" && !er.enumDefName[1] && er.enumValues[1] == -3);

    RegisterInfo* notEnum = addInt(reg, g, "i");
    RegisterInfo* empty = reg.addInfoEnum(g, "Empty", "FG_EMPTY", -2, 7, 1, 1, nullptr, 43, 0);
    RegisterInfo foreign = *e;
    foreign.port = 4;
    const std::tuple<RegisterInfo*, int, const char*> bad[] = {
        {nullptr, 0, "n"}, {e, -1, "n"},       {e, 3, "n"},    {notEnum, 0, "n"},
        {e, 0, nullptr},   {&foreign, 0, "n"}, {empty, 0, "n"}};
    for (const auto& [rec, index, text] : bad)
        EXPECT_EQ(reg.addEnumNameValue(rec, index, text, 1, "d"), FG_INVALID_PARAMETER) << index;
    EXPECT_TRUE(!er.enumNames[0] && !er.enumDefName[0] && er.enumValues[0] == 0);
    EXPECT_STREQ(er.enumNames[1], "Generator");
}

TEST(ParameterInfo, EveryKindStoresItsFields) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(2, nullptr, "G");
    const int A = 3, R = 2, V = 1, ID = 300123, P = 2;
    char n[] = "Display", pn[] = "FG_PARAM", un[] = "us";
    std::vector<const RegisterInfo*> all;
    // The type-specific part must be `part` and zero bytes after it.
    auto check = [&](const RegisterInfo* r, REG_FORMAT format, const auto& part) {
        decltype(RegisterInfo::u) want;
        memset(&want, 0, sizeof want);
        memcpy(&want, &part, sizeof part);
        ASSERT_NE(r, nullptr) << format;
        all.push_back(r);
        EXPECT_EQ(r->format, format);
        EXPECT_EQ(memcmp(&want, &r->u, sizeof want), 0) << format;
    };
    check(reg.addInfoInt(g, n, pn, -5, 9, 2, A, R, V, un, ID, P), REG_FORMAT_INT, IntReg_S{-5, 9, 2, 0});
    check(reg.addInfoUInt(g, n, pn, 1, ~0u, 4, A, R, V, un, ID, P), REG_FORMAT_UINT, UIntReg_S{1, ~0u, 4, 0});
    check(reg.addInfoInt64(g, n, pn, -1, INT64_MAX, 3, A, R, V, un, ID, P), REG_FORMAT_INT64,
          IntReg64_S{~0ull, INT64_MAX, 3, 0});
    check(reg.addInfoUInt64(g, n, pn, 2, UINT64_MAX, 8, A, R, V, un, ID, P), REG_FORMAT_UINT64,
          IntReg64_S{2, UINT64_MAX, 8, 0});
    check(reg.addInfoDouble(g, n, pn, 0.5, 6.25e6, 1e-3, A, R, V, un, ID, P), REG_FORMAT_DOUBLE,
          DoubleReg_S{0.5, 6.25e6, 1e-3, 0});
    check(reg.addInfoIntField(g, n, pn, 4096, -1, 4095, 7, A, R, V, un, ID, P), REG_FORMAT_INTFIELD,
          IntFieldReg_S{-1, 4095, 4096, 0, 7});
    check(reg.addInfoUIntField(g, n, pn, 16, 1, 99, 9, A, R, V, un, ID, P), REG_FORMAT_UINTFIELD,
          UIntFieldReg_S{1, 99, 16, 0, 9});
    check(reg.addInfoDoubleField(g, n, pn, 3, -1.5, 2.5, .25, A, R, V, un, ID, P), REG_FORMAT_DOUBLEFIELD,
          DoubleFieldReg_S{-1.5, 2.5, 3, 0, 0.25});
    const RegisterInfo* s = reg.addInfoString(g, n, pn, "lut", A, R, V, un, ID, P);
    const RegisterInfo* e = reg.addInfoEnum(g, n, pn, 2, A, R, V, un, ID, P);
    ASSERT_TRUE(s && e && s->format == REG_FORMAT_STRING && e->format == REG_FORMAT_ENUM);
    EXPECT_TRUE(std::string(s->u.sReg.FileExtension) == "lut" && s->u.sReg.string == nullptr &&
                s->u.sReg.strLen == 0);
    all.push_back(s), all.push_back(e);
    n[0] = pn[0] = un[0] = '?';  // borrowed strings: the records must hold copies
    ASSERT_EQ(all.size(), 10u);
    for (int i = 0; i < 10; ++i) {
        const RegisterInfo* r = all[i];
        EXPECT_EQ(std::string(r->name) + r->parameterName + r->unit, "DisplayFG_PARAMus") << i;
        EXPECT_TRUE(r->accessFlags == A && r->rangeFlags == R && r->visibilityFlags == V && r->id == ID &&
                    r->port == P && r->index == i && r->depth == 0 && !r->next && !r->previous &&
                    !r->parentName)
            << i;
    }
}

// A file of the test's own, removed at the end.
class WithFile : public ::testing::Test {
  protected:
    void TearDown() override { fs::remove(path); }
    const char* write(const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
        return path.c_str();
    }
    std::string text() {
        std::stringstream s;
        s << std::ifstream(path, std::ios::binary).rdbuf();
        return s.str();
    }
    const std::string path =
        (fs::temp_directory_path() / ("pellucid-basis-" + std::to_string(getpid()) + ".mcf")).string();
};
// Numbers keep their decimal point under a decimal-comma locale (where one is installed).
struct CommaLocale {
    const std::string saved = std::setlocale(LC_ALL, nullptr);
    CommaLocale() { std::setlocale(LC_ALL, "de_DE.UTF-8"); }
    ~CommaLocale() { std::setlocale(LC_ALL, saved.c_str()); }
};

// The LUT file parser: the exact text it writes and the reader's rules.
class LutFile : public WithFile {
  protected:
    void TearDown() override {
        for (LookupTable_s& t : read) std::free(t.lut);
        for (KneeLookupTable_s& t : knee) std::free(t.value);
        WithFile::TearDown();
    }
    static std::vector<uint32_t> entries(const LookupTable_s& t) { return {t.lut, t.lut + t.nrOfElements}; }
    int readThree(const char* p) { return parser.getLutFromFile(p, &read[0], &read[1], &read[2]); }

    Fg_LutFileParser parser;
    LookupTable_s read[3] = {};
    KneeLookupTable_s knee[3] = {};
};

TEST_F(LutFile, WritersGiveTheDocumentedTextOrRefuse) {
    uint32_t v[] = {5, 6};
    const LookupTable_s gray{v, 7, 2, 1, 3}, broken{nullptr, 0, 4, 0, 0};
    double kv[] = {0.5, 1.0 / 3};
    const KneeLookupTable_s k{kv, nullptr, 0, 2, 0, 0}, none{nullptr, nullptr, 0, 0, 0, 0};
    const int matrix[] = {-1, 2};
    const char* p = path.c_str();
    const std::string kneeLines = "0,0.500000000000;\n1,0.333333333333;\n";
    auto saved = [&](int rc) { return std::to_string(rc) + ":" + text(); };
    EXPECT_EQ(
        saved(parser.saveLutToFile(p, &gray)),
        "0:# Lut data file v1.1\n\n\n\n[gray]\n\nid=7;\nnrOfElements=2;\nformat=1;\nnumber=3;\n0,5;\n1,6;\n");
    EXPECT_EQ(saved(parser.saveLutToFile(p, &k, "[gray]")),
              "0:# KneeLut data file v1.0\n\n[gray]\n\n" + kneeLines);
    EXPECT_EQ(saved(parser.saveLutToFile(p, &none, &none, &k)),
              "0:# KneeLut data file v1.1\n\n[red]\n\n\n\n[green]\n\n\n\n[blue]\n\n" + kneeLines);
    EXPECT_EQ(saved(parser.saveMatrixToFile(p, "# m\n", matrix, 2)), "0:# m\nnrOfElements=2;\n0,-1;\n1,2;\n");
    EXPECT_EQ(saved(parser.saveMatrixToFile(p, "# m\n", nullptr, 0)), "0:# m\nnrOfElements=0;\n");
    ASSERT_TRUE(parser.setSaveFile(p));
    parser.writeLutFileHeader("# h\n");
    EXPECT_EQ(text(), "# h\n") << "each write is on disk before the file is closed";
    parser.writeIntDouble(3, 0.5);
    EXPECT_EQ(text(), "# h\n3,0.500000000000;\n");
    parser.writeDoubleKey("gain", 1.0 / 3), parser.writeLutFileValue("n", "'x'", "=");
    parser.writeLutFileValue("n", "x", nullptr), parser.writeLutFileValue(nullptr, "x", "="),
        parser.closeFile();
    const std::string written = "# h\n3,0.500000000000;\ngain=0.333333333333;\nn='x';\n";
    EXPECT_EQ(saved(0), "0:" + written);
    // Refused before the file is touched.
    EXPECT_EQ(saved(parser.saveLutToFile(p, &gray, &broken, &gray)), "-1:" + written);
    EXPECT_EQ(parser.saveLutToFile(p, static_cast<const LookupTable_s*>(nullptr)), -1);
    EXPECT_EQ(parser.saveMatrixToFile(p, "h", nullptr, 1), -1);
    EXPECT_EQ(parser.saveLutToFile(p, &k, nullptr), -1);
    EXPECT_EQ(parser.saveLutToFile("/nonexistent/lut.txt", &gray), -1);
    EXPECT_EQ(parser.saveLutToFile(nullptr, &gray, &gray, &gray), -1);
    int into[2];
    EXPECT_EQ(parser.getMatrixFromFile(p, into, 2), -1);
}

TEST_F(LutFile, TablesRoundTrip) {
    uint32_t r[] = {1, 4095, 0}, g[] = {7, 8, 9}, b[] = {4, 5, 6};
    const LookupTable_s red{r, 0, 3, 0, 0}, green{g, 1, 3, 0, 0}, blue{b, 2, 3, 0, 0};
    const char* p = path.c_str();
    ASSERT_EQ(parser.saveLutToFile(p, &red, &green, &blue), 0);
    read[0].lut = static_cast<uint32_t*>(std::malloc(16));  // released by the reader
    ASSERT_EQ(readThree(p), 0);
    EXPECT_EQ(entries(read[0]), (std::vector<uint32_t>{1, 4095, 0}));
    EXPECT_EQ(entries(read[2]), (std::vector<uint32_t>{4, 5, 6}));
    EXPECT_EQ(read[2].id, 0u) << "keys come from the top of the file";

    double kv[3] = {0.25, 1.5, 1e-12};
    const KneeLookupTable_s k{kv, nullptr, 0, 3, 0, 0};
    ASSERT_EQ(parser.saveLutToFile(p, &k, &k, &k), 0);
    for (KneeLookupTable_s& t : knee) t.nrOfElements = 3;
    ASSERT_EQ(parser.getLutFromFile(p, &knee[0], &knee[1], &knee[2]), 0);
    EXPECT_TRUE(knee[2].value[0] == 0.25 && knee[2].value[1] == 1.5 && knee[2].value[2] == 1e-12);
}

TEST_F(LutFile, ReaderFollowsItsRules) {
    std::string shifted = "nrOfElements=10;\n[red]\n";
    for (int i = 0; i < 20; ++i)
        shifted += i == 7 ? "" : std::to_string(i) + "," + std::to_string(100 + i) + ";\n";
    // What was read as "<result>: <red entries> | <green entries>".
    auto got = [&](const std::string& content) {
        std::string s = std::to_string(readThree(write(content))) + ":";
        for (int c = 0; c < 2; ++c, s += " |")
            for (uint32_t i = 0; i < read[c].nrOfElements; ++i) s += " " + std::to_string(read[c].lut[i]);
        return s;
    };
    const std::pair<std::string, std::string> cases[] = {
        // Entry 7 is missing: 17 stands in and the rest shift.
        {shifted, "0: 100 101 102 103 104 105 106 117 118 119 | 0 0 0 0 0 0 0 0 0 0 |"},
        // Sizes come from the first section.
        {"[red]\nnrOfElements=2;\n0,1;\n1,2;\n[green]\nnrOfElements=4096;\n0,3;\n1,4;\n", "0: 1 2 | 3 4 |"},
        {"nrOfElements='3';\n[red]\n0, 7;\n1,'8';\n2,9\n", "0: 7 0 9 | 0 0 0 |"},
        {"nrOfElements=3;\n[red]\n1,11;\n0,10;\n2,12;\n", "0: 10 0 0 | 0 0 0 |"},
        {"[red]\n0,1;\n", "0: | |"},
        {"nrOfElements=-1;\n[red]\n0,1;\n", "-1: | |"},
        {"nrOfElements=16777217;\n", "-1: | |"},
        {"nrOfElements=2;\n[red]\n" + std::string(300, 'x') + "\n" + std::string(260, 'y') + "0,5;\n1,6;\n",
         "0: 5 6 | 0 0 |"},
        {"nrOfElements=2;\n[red]\n" + std::string("\0\xff\x01,\n", 5) + "0,3;\n" + std::string("\0\n", 2) +
             "1,4;\n",
         "0: 3 4 | 0 0 |"},
    };
    for (const auto& [content, expected] : cases) EXPECT_EQ(got(content), expected);
    EXPECT_EQ(readThree("/nonexistent/lut.txt"), -1);
    EXPECT_EQ(readThree(nullptr), -1);
    EXPECT_EQ(readThree(testing::TempDir().c_str()), -1) << "a folder is not a file";
    EXPECT_EQ(parser.getLutFromFile(write("x"), &read[0], nullptr), -1);
    knee[0].nrOfElements = Fg_LutFileParser::kMaxElements + 1;
    EXPECT_EQ(parser.getLutFromFile(write("x"), &knee[0], "[red]"), -1);
    // The largest count is still read.
    ASSERT_EQ(parser.getLutFromFile(write("nrOfElements=16777216;\n[gray]\n0,1;\n"), &read[0], "[gray]"), 0);
    ASSERT_EQ(read[0].nrOfElements, 16777216u);
    EXPECT_TRUE(read[0].lut[0] == 1u && read[0].lut[16777215] == 0u);

    // Without stdin a file opens as descriptor 0; a key's text is cut to the caller's size.
    const int in = dup(0);
    close(0);
    char value[8] = "-------";
    const bool opened = parser.setOpenFile(write("gain=12345;\n"), true);
    parser.parseKeyFromLine("gain", "=;", value, 5), parser.closeFile(), dup2(in, 0), close(in);
    EXPECT_TRUE(opened && std::strcmp(value, "1234") == 0) << value;
}

// `run` in a child process without root's right to write any file and with files limited to
// 1000 bytes: its result, or -99 when it dies.
int limitedChild(const std::function<int()>& run) {
    const pid_t pid = fork();
    if (pid == 0) {
        const rlimit small{1000, 1000};
        signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails instead of ending the process
        _exit((geteuid() != 0 || setuid(65534) == 0) && setrlimit(RLIMIT_FSIZE, &small) == 0 ? run() : -99);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? static_cast<int8_t>(WEXITSTATUS(status)) : -99;
}

TEST_F(LutFile, ReadOnlyFilesLoadAndAFailedWriteIsReported) {
    std::vector<uint32_t> v(200, 4095);  // more than the limit, less than a stdio buffer
    const LookupTable_s big{v.data(), 0, 200, 0, 0};
    write("nrOfElements=1;\n[gray]\n0,9;\n");
    fs::permissions(path, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    const std::string full = path + ".full";
    EXPECT_EQ(limitedChild([&] { return parser.getLutFromFile(path.c_str(), &read[0], "[gray]"); }), 0);
    EXPECT_EQ(limitedChild([&] { return parser.saveLutToFile(full.c_str(), &big); }), -1);
    fs::remove(full);
}

// What `write` has flushed to an in-memory stream attached to a fresh log once it returns.
std::string flushed(const std::function<void(Fg_Log&)>& write) {
    char* data = nullptr;
    size_t size = 0;
    std::string text;
    {
        CommaLocale comma;
        Fg_Log log;
        log.attachStream(open_memstream(&data, &size));
        write(log);
        text.assign(data, size);
    }
    free(data);
    return text;
}

TEST(FgLog, LineFormatsFlushedAtOnce) {
    const std::pair<std::function<void(Fg_Log&)>, const char*> cases[] = {
        {[](Fg_Log& l) { l.Error("bad key"); }, "korvex::Error >> bad key;\n"},
        {[](Fg_Log& l) { l.Info("count", -17); }, "korvex::Info >> count >> -17;\n"},
        {[](Fg_Log& l) { l.ErrorInt("parse", "line", 42); }, "korvex::Error >> parse >> line >> 42;\n"},
        {[](Fg_Log& l) { l.ErrorDouble("lut", "gamma", 0.1); }, "korvex::Error >> lut >> gamma >> 0.1;\n"},
        // Raw text waits for the next flush.
        {[](Fg_Log& l) { l.UsrDbg("raw %d-%s|", 7, "x"), l.UsrDbg(nullptr), l.Error(nullptr); },
         "raw 7-x|korvex::Error >> (null);\n"},
        {[](Fg_Log& l) { l.CloseLogFile(), l.Error("c"), l.UsrDbg("c"), l.ErrorDouble("c", "c", 1); }, ""},
    };
    for (const auto& [write, expected] : cases) EXPECT_EQ(flushed(write), expected);
    const std::string rule = std::string(73, '-') + "\n", text = flushed([](Fg_Log&l) { l.WriteWelcome(); });
    EXPECT_TRUE(std::regex_match(
        text,
        std::regex(rule + "Copyright Varnholt GmbH\nContents: Log details for korvex Dll\n" +
                   "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n" + rule)))
        << text;
}

TEST(FgLog, DoubleTextMatchesPrintfG12) {
    using L = std::numeric_limits<double>;
    std::vector<double> values = {
        0.0,          -0.0,          1e11,           123456789012.0, 1234567890123.0,
        1.5e-4,       1e-5,          L::max(),       L::min(),       L::denorm_min(),
        L::epsilon(), L::infinity(), -L::infinity(), L::quiet_NaN()};
    for (int e = -310; e <= 308; e += 3)
        for (double m : {1.0, -1.2345678901234567, 9.99999999999951}) values.push_back(m * std::pow(10.0, e));
    for (double v : values) {
        char g12[64];
        snprintf(g12, sizeof g12, "%.*g", 12, v);
        EXPECT_EQ(flushed([v](Fg_Log& l) { l.ErrorDouble("w", "t", v); }),
                  "korvex::Error >> w >> t >> " + std::string(g12) + ";\n");
    }
}

TEST(TempFiles, MalformedTemplatesAreRefusedAndMadeFilesArePrivate) {
    const std::pair<const char*, int> cases[] = {{"coef-XXXXXX.tiff", 6}, {"coef-XXXXX.tiff", 5},
                                                 {"coef-XXXXXX.tiff", 4}, {"coef-XXXXXX.tiff", -1},
                                                 {"XXXXXX", 1},           {"XXXXX", 0}};
    for (const auto& [templ, suffix] : cases) {
        std::string buf = templ;
        uint64_t state = 99;
        EXPECT_EQ(qorv::mkstemps(buf.data(), suffix), -1) << templ << " " << suffix;
        EXPECT_EQ(qorv::mkstempsFrom(buf.data(), suffix, state), -1);
        EXPECT_TRUE(buf == templ && state == 99u);
    }
    EXPECT_EQ(qorv::mkstemps(nullptr, 0), -1);
    // Files made from the fixed template are private and distinct.
    char* first = qorv::createTempFile();
    char* second = qorv::createTempFile();
    ASSERT_TRUE(first && second);
    EXPECT_STRNE(first, second);
    EXPECT_TRUE(std::regex_match(first, std::regex(R"(/tmp/coef-[a-zA-Z0-9]{6}\.tiff)"))) << first;
    struct stat st;
    ASSERT_EQ(lstat(first, &st), 0);
    EXPECT_EQ(st.st_mode & (S_IFMT | 07777), S_IFREG | 0600u);
    const std::string name = first;
    qorv::deleteTempFile(first);
    qorv::deleteTempFile(second);
    qorv::deleteTempFile(nullptr);
    EXPECT_FALSE(fs::exists(name));
}

}  // namespace
