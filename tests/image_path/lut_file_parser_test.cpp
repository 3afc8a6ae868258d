// The LUT file parser on its own: the exact text it writes, the reader's rules and bad files.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Fg_LutFileParser.h"

namespace {

class LutFile : public ::testing::Test {
  protected:
    void TearDown() override {
        for (const std::string& f : files) std::remove(f.c_str());
        for (LookupTable_s& t : read) std::free(t.lut);
        for (KneeLookupTable_s& t : knee) std::free(t.value);
    }
    std::string path(const std::string& content = "") {
        files.push_back(testing::TempDir() + "lut_parser_" + std::to_string(getpid()) + "_" +
                        std::to_string(files.size()) + ".txt");
        if (!content.empty()) std::ofstream(files.back(), std::ios::binary) << content;
        return files.back();
    }
    static std::string text(const std::string& p) {
        std::stringstream s;
        s << std::ifstream(p, std::ios::binary).rdbuf();
        return s.str();
    }
    std::vector<uint32_t> entries(const LookupTable_s& t) { return {t.lut, t.lut + t.nrOfElements}; }
    int readThree(const std::string& p) {
        return parser.getLutFromFile(p.c_str(), &read[0], &read[1], &read[2]);
    }

    Fg_LutFileParser parser;
    LookupTable_s read[3] = {};
    KneeLookupTable_s knee[3] = {};
    std::vector<std::string> files;
};

TEST_F(LutFile, WritesTheDocumentedText) {
    uint32_t values[] = {5, 6};
    const LookupTable_s gray{values, 7, 2, 1, 3};
    const std::string one = path();
    ASSERT_EQ(parser.saveLutToFile(one.c_str(), &gray), 0);
    EXPECT_EQ(
        text(one),
        "# Lut data file v1.1\n\n\n\n[gray]\n\nid=7;\nnrOfElements=2;\nformat=1;\nnumber=3;\n0,5;\n1,6;\n");

    const LookupTable_s empty{nullptr, 0, 0, 0, 0};
    ASSERT_EQ(parser.saveLutToFile(one.c_str(), &empty, &gray, &empty), 0);
    EXPECT_EQ(
        text(one),
        "# Lut data file "
        "v1.1\n\n[red]\n\nid=0;\nnrOfElements=0;\nformat=0;\nnumber=0;\n\n\n[green]\n\nid=7;\n"
        "nrOfElements=2;\nformat=1;\nnumber=3;\n0,5;\n1,6;\n\n\n[blue]\n\nid=0;\nnrOfElements=0;\nformat=0;\n"
        "number=0;\n");

    double kv[] = {0.5, 1.0 / 3};
    const KneeLookupTable_s k{kv, nullptr, 0, 2, 0, 0}, none{nullptr, nullptr, 0, 0, 0, 0};
    ASSERT_EQ(parser.saveLutToFile(one.c_str(), &k, "[gray]"), 0);
    EXPECT_EQ(text(one), "# KneeLut data file v1.0\n\n[gray]\n\n0,0.500000000000;\n1,0.333333333333;\n");
    ASSERT_EQ(parser.saveLutToFile(one.c_str(), &none, &none, &k), 0);
    EXPECT_EQ(text(one),
              "# KneeLut data file v1.1\n\n[red]\n\n\n\n[green]\n\n\n\n[blue]\n\n0,0.500000000000;\n"
              "1,0.333333333333;\n");

    const int matrix[] = {-1, 2};
    ASSERT_EQ(parser.saveMatrixToFile(one.c_str(), "# matrix\n", matrix, 2), 0);
    EXPECT_EQ(text(one), "# matrix\nnrOfElements=2;\n0,-1;\n1,2;\n");
    ASSERT_EQ(parser.saveMatrixToFile(one.c_str(), "# matrix\n", nullptr, 0), 0);
    EXPECT_EQ(text(one), "# matrix\nnrOfElements=0;\n");
    int into[2];
    EXPECT_EQ(parser.getMatrixFromFile(one.c_str(), into, 2), -1);

    ASSERT_TRUE(parser.setSaveFile(one.c_str()));
    parser.writeDoubleKey("gain", 1.0 / 3);
    parser.writeLutFileValue("name", "'x'", "=");
    parser.closeFile();
    EXPECT_EQ(text(one), "gain=0.333333333333;\nname='x';\n");
}

TEST_F(LutFile, WritersRefuseWhatTheyCannotWrite) {
    uint32_t v[1] = {1};
    const LookupTable_s t{v, 0, 1, 0, 0}, broken{nullptr, 0, 4, 0, 0};
    EXPECT_EQ(parser.saveLutToFile("/nonexistent/lut.txt", &t), -1);
    EXPECT_EQ(parser.saveLutToFile(nullptr, &t, &t, &t), -1);
    EXPECT_EQ(parser.saveLutToFile(path().c_str(), &t, &broken, &t), -1);
    EXPECT_EQ(parser.saveLutToFile(path().c_str(), static_cast<const LookupTable_s*>(nullptr)), -1);
    EXPECT_EQ(parser.saveMatrixToFile(path().c_str(), "h", nullptr, 3), -1);
}

TEST_F(LutFile, ThreeTablesRoundTrip) {
    std::vector<uint32_t> r(4096), g(4096), b(4096);
    for (uint32_t i = 0; i < 4096; ++i) {
        r[i] = i;
        g[i] = (i * 7919) % 4096;
        b[i] = 4095 - i;
    }
    const LookupTable_s red{r.data(), 0, 4096, 0, 0}, green{g.data(), 1, 4096, 0, 0},
        blue{b.data(), 2, 4096, 0, 0};
    const std::string p = path();
    ASSERT_EQ(parser.saveLutToFile(p.c_str(), &red, &green, &blue), 0);
    read[0].lut = static_cast<uint32_t*>(std::malloc(16));  // released by the reader
    ASSERT_EQ(readThree(p), 0);
    EXPECT_EQ(entries(read[0]), r);
    EXPECT_EQ(entries(read[1]), g);
    EXPECT_EQ(entries(read[2]), b);
    // Keys come from the top of the file: every table gets the first section's id.
    EXPECT_EQ(read[2].id, 0u);

    double kv[3] = {0.25, 1.5, 1e-12};
    const KneeLookupTable_s k{kv, nullptr, 0, 3, 0, 0};
    ASSERT_EQ(parser.saveLutToFile(p.c_str(), &k, &k, &k), 0);
    for (KneeLookupTable_s& t : knee) t.nrOfElements = 3;
    ASSERT_EQ(parser.getLutFromFile(p.c_str(), &knee[0], &knee[1], &knee[2]), 0);
    EXPECT_EQ(knee[2].value[1], 1.5);
    EXPECT_EQ(knee[2].value[2], 1e-12);
}

struct ReadCase {
    const char* what;
    std::string content;
    int rc;
    std::vector<uint32_t> red, green;
};

TEST_F(LutFile, ReaderFollowsItsRules) {
    std::string shifted = "nrOfElements=10;\n[red]\n";
    for (int i = 0; i < 20; ++i) {
        if (i != 7) shifted += std::to_string(i) + "," + std::to_string(100 + i) + ";\n";
    }
    const ReadCase cases[] = {
        {"entry 7 missing: 17 stands in and the rest shift",
         shifted,
         0,
         {100, 101, 102, 103, 104, 105, 106, 117, 118, 119},
         {0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"sizes come from the first section",
         "[red]\nnrOfElements=2;\n0,1;\n1,2;\n[green]\nnrOfElements=4096;\n0,3;\n1,4;\n",
         0,
         {1, 2},
         {3, 4}},
        {"quoted and spaced values",
         "nrOfElements='3';\n[red]\n0, 7;\n1,'8';\n2,9\n",
         0,
         {7, 0, 9},
         {0, 0, 0}},
        {"out of order", "nrOfElements=3;\n[red]\n1,11;\n0,10;\n2,12;\n", 0, {10, 0, 0}, {0, 0, 0}},
        {"no keys at all", "[red]\n0,1;\n", 0, {}, {}},
        {"negative count", "nrOfElements=-1;\n[red]\n0,1;\n", -1, {}, {}},
        {"count past the limit", "nrOfElements=16777217;\n", -1, {}, {}},
        {"long lines are read in pieces",
         "nrOfElements=2;\n[red]\n" + std::string(300, 'x') + "\n" + std::string(260, 'y') + "0,5;\n1,6;\n",
         0,
         {5, 6},
         {0, 0}},
        {"binary garbage",
         "nrOfElements=2;\n[red]\n" + std::string("\0\xff\x01,\n", 5) + "0,3;\n" + std::string("\0\n", 2) +
             "1,4;\n",
         0,
         {3, 4},
         {0, 0}},
    };
    for (const ReadCase& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(readThree(path(c.content)), c.rc);
        if (c.rc != 0) {
            EXPECT_EQ(read[0].nrOfElements, 0u);
            continue;
        }
        EXPECT_EQ(entries(read[0]), c.red);
        EXPECT_EQ(entries(read[1]), c.green);
    }
    EXPECT_EQ(readThree("/nonexistent/lut.txt"), -1);
    EXPECT_EQ(readThree(testing::TempDir()), -1) << "a folder is not a file";
    EXPECT_EQ(parser.getLutFromFile(path("x").c_str(), &read[0], nullptr), -1);
    knee[0].nrOfElements = Fg_LutFileParser::kMaxElements + 1;
    EXPECT_EQ(parser.getLutFromFile(path("x").c_str(), &knee[0], "[red]"), -1);
}

TEST_F(LutFile, LargestCountIsStillRead) {
    ASSERT_EQ(
        parser.getLutFromFile(path("nrOfElements=16777216;\n[gray]\n0,1;\n").c_str(), &read[0], "[gray]"), 0);
    ASSERT_EQ(read[0].nrOfElements, 16777216u);
    EXPECT_EQ(read[0].lut[0], 1u);
    EXPECT_EQ(read[0].lut[16777215], 0u);
}

TEST_F(LutFile, TruncatedFilesReadWithoutHarm) {
    std::vector<uint32_t> v(12);
    for (uint32_t i = 0; i < v.size(); ++i) v[i] = i * 300;
    const LookupTable_s t{v.data(), 0, 12, 0, 0};
    const std::string full = path();
    ASSERT_EQ(parser.saveLutToFile(full.c_str(), &t, &t, &t), 0);
    const std::string content = text(full);
    for (size_t cut = 0; cut <= content.size(); ++cut) {
        ASSERT_GE(readThree(path(content.substr(0, cut))), -1) << cut;
        for (const LookupTable_s& r : read) ASSERT_LE(r.nrOfElements, 12u) << cut;
    }
    EXPECT_EQ(entries(read[2]), v);
}

}  // namespace
