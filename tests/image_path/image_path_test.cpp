// The image path through the applet on board 0: geometry, camera interface, status, output format,
// Bayer pattern, white balance, camera simulator and lookup tables.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "applet_fixture.h"

namespace {

namespace control = vboard::control;

// A setting and what it gives: the result and the design writes it makes, as the board's journal
// texts without the common "Device1_Process0_" prefix, joined by spaces ("*": not looked at).
struct Step {
    int id;
    double value;
    int rc;
    std::string writes = "";
};

constexpr int kOut = FG_VALUE_OUT_OF_RANGE;
inline const char* const kLutR = "Device1_Process0_LookupTable_R_LUTcontent";
inline const char* const kLutG = "Device1_Process0_LookupTable_G_LUTcontent";
inline const char* const kLutB = "Device1_Process0_LookupTable_B_LUTcontent";

class ImagePath : public AppletOnBoard {
  protected:
    bool isDouble(int id) { return description(id)->format == REG_FORMAT_DOUBLE; }
    int set(int id, double v) { return isDouble(id) ? setDouble(id, v) : setUInt(id, uint32_t(v)); }
    double get(int id) { return isDouble(id) ? getDouble(id) : getUInt(id); }
    // The writes since the journal was last cleared; clears it.
    std::string drained() {
        std::string out;
        for (std::string w : vboard::control::writes())
            out += (out.empty() ? "" : " ") + (w.starts_with("Device1_Process0_") ? w.substr(17) : w);
        vboard::control::clearJournal();
        return out;
    }
    // Each step in turn; a refused or failed setting leaves the old value readable.
    template <size_t N>
    void run(const Step (&steps)[N]) {
        for (const Step& s : steps) {
            SCOPED_TRACE(testing::Message() << s.id << "=" << s.value);
            const double before = get(s.id);
            drained();
            EXPECT_EQ(set(s.id, s.value), s.rc);
            EXPECT_EQ(s.writes == "*" ? "*" : drained(), s.writes);
            EXPECT_EQ(get(s.id), s.rc == 0 ? s.value : before);
        }
    }
    uint32_t maximumOf(int id) { return description(id)->u.uiReg.to; }
    int setString(int id, const char* s) {
        return A().Fg_setParameterWithType(&fg, id, s, 0, FG_PARAM_TYPE_CHAR_PTR);
    }
    std::string getString(int id) {
        char buffer[4096] = "";
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, buffer, 0, FG_PARAM_TYPE_CHAR_PTR), 0) << id;
        return buffer;
    }
    int setEntry(int id, uint32_t index, uint32_t value) {
        FieldParameterInt_s e{value, index};
        return A().Fg_setParameterWithType(&fg, id, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
    }
    // An entry, read with the result `rc`.
    uint32_t entry(int id, uint32_t index, int rc = 0) {
        FieldParameterInt_s e{0, index};
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT), rc)
            << index;
        return e.value;
    }
    // A file of the test's own, written when there is content; removed at the end.
    std::string file(const std::string& name, const std::string& content = "") {
        files.push_back(testing::TempDir() + "image_path_" + std::to_string(getpid()) + "_" + name);
        if (!content.empty()) std::ofstream(files.back()) << content;
        return files.back();
    }
    void TearDown() override {
        for (const std::string& f : files) std::remove(f.c_str());
        AppletOnBoard::TearDown();
    }
    std::vector<std::string> files;
    std::vector<uint64_t> table(int id) {
        std::vector<uint64_t> out(4096);
        for (uint32_t i = 0; i < out.size(); ++i) out[i] = entry(id, i);
        return out;
    }
};

const std::string kHalf0 = "Device1_Process0_Buffer_0_DRAM_A_0_",
                  kHalf1 = "Device1_Process0_Buffer_0_DRAM_A_1_";
const std::string kBlocks =
    "LookupTable_R_LUTcontent[0+4096] LookupTable_G_LUTcontent[0+4096] LookupTable_B_LUTcontent[0+4096]";
const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST_F(ImagePath, RoiRangeAlignmentPartnersAndWrites) {
    const int W = FG_WIDTH, H = FG_HEIGHT, X = FG_XOFFSET, Y = FG_YOFFSET, AL = FG_NOT_ALIGNED;
    // From the defaults: 1024 x 1024 at offset 0.
    const Step steps[] = {{W, 8, kOut},       {W, 17, AL},     {W, 16384, 0, "*"}, {X, 16, kOut},
                          {W, 16368, 0, "*"}, {X, 8, AL},      {X, 16, 0, "*"},    {W, 16384, kOut},
                          {W, 16385, kOut},   {X, 17, kOut},   {W, 16, 0, "*"},    {X, 17, AL},
                          {H, 3, kOut},       {H, 4, 0, "*"},  {H, 65535, 0, "*"}, {Y, 1, kOut},
                          {H, 65534, 0, "*"}, {Y, 1, 0, "*"},  {H, 65535, kOut},   {H, 4, 0, "*"},
                          {Y, 65531, 0, "*"}, {Y, 65532, kOut}};
    run(steps);
    // A set narrows what its partner may take, in the published description too.
    EXPECT_EQ((std::vector<uint32_t>{maximumOf(X), maximumOf(W), maximumOf(Y), maximumOf(H)}),
              (std::vector<uint32_t>{16384 - 16, 16384 - 16, 65535 - 4, 65535 - 65531}));
    // Both halves get every value, half 0 first; offsets rewrite the Bayer code (odd line swapped in).
    ASSERT_EQ(setUInt(FG_BAYERINIT, 3), 0);
    const std::string bayer = "Bayer_White_BayerInit=1 Bayer_Bayer_BayerInit=1";
    run({{FG_YOFFSET, 1, 0, "Buffer_0_DRAM_A_0_YOffset=1 Buffer_0_DRAM_A_1_YOffset=1 " + bayer},
         {FG_HEIGHT, 480, 0, "Buffer_0_DRAM_A_0_YLength=480 Buffer_0_DRAM_A_1_YLength=480"},
         {FG_WIDTH, 512, 0, "Buffer_0_DRAM_A_0_XLength=512 Buffer_0_DRAM_A_1_XLength=512"},
         {FG_XOFFSET, 32, 0, "Buffer_0_DRAM_A_0_XOffset=32 Buffer_0_DRAM_A_1_XOffset=32 " + bayer},
         {FG_BAYERINIT, 3, 0, bayer},
         {FG_BAYERINIT, 0, 0, "Bayer_White_BayerInit=2 Bayer_Bayer_BayerInit=2"},
         {FG_BAYERINIT, 4, kOut}});
}

// A failed write fails the setting and restores it; earlier writes stay, later ones are not made.
TEST_F(ImagePath, FailedWritesRestoreTheSettingAndKeepWhatWasWritten) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    const std::pair<std::string, Step> cases[] = {
        {kHalf1 + "XLength",
         {FG_WIDTH, 512, -77, "Buffer_0_DRAM_A_0_XLength=512 Buffer_0_DRAM_A_1_XLength=512 !-77"}},
        {"Device1_Process0_Bayer_Bayer_BayerInit", {FG_YOFFSET, 1, -78, "*"}},
        {"Device1_Process0_OutputFormat_VirtualTrash_EnableTrash_Value",
         {FG_FORMAT, 6, -79,
          "OutputFormat_FG_FORMAT_SelectSource=0 OutputFormat_VirtualTrash_EnableTrash_Value=0 !-79"}},
        {"AAGenLineWidth", {FG_GEN_WIDTH, 2000, -77, "AAGenWidth=500 AAGenLineWidth=501 !-77"}},
        {"AAGenPassive", {FG_GEN_ACCURACY, 50, -78, "AAGenActive=32 AAGenPassive=18 !-78"}},
        {kLutG, {FG_PROCESSING_INVERT, 1, -77, kBlocks.substr(0, kBlocks.rfind(' ')) + " !-77"}}};
    for (const auto& [target, step] : cases) {
        control::failWrite(target, 1, step.rc);
        run({step});
    }
    // No partner narrowed; the active count stays written; red and green computed, only red written.
    EXPECT_EQ((std::vector<uint64_t>{maximumOf(FG_XOFFSET), maximumOf(FG_HEIGHT), getUInt(FG_GEN_ACTIVE),
                                     getUInt(FG_GEN_PASSIVE)}),
              (std::vector<uint64_t>{16384 - 1024, 65535, 32, 9}));
    EXPECT_EQ((std::vector<uint64_t>{entry(FG_LUT_VALUE_RED, 10), entry(FG_LUT_VALUE_GREEN, 10),
                                     entry(FG_LUT_VALUE_BLUE, 10), control::fieldEntry(kLutR, 10),
                                     control::fieldEntry(kLutG, 10), control::fieldEntry(kLutB, 10)}),
              (std::vector<uint64_t>{4085, 4085, 10, 4085, 10, 10}));
}

TEST_F(ImagePath, StatusBitsAssembleFillOverflowAndBoardBits) {
    // Overflow, fill levels of both halves, board bits; the fill level and extended status they give.
    const uint64_t cases[][6] = {{1, 10, 20, 0x1F, 100, 0xFF}, {0, 25, 3, 0x00, 25, 0x40},
                                 {0, 10, 75, 0x01, 75, 0xC1},  {0, 24, 0, 0x00, 24, 0x00},
                                 {0, 50, 49, 0x00, 50, 0x80},  {0, 0, 74, 0x1E3, 74, 0x183}};
    for (const auto& c : cases) {
        control::setValue("Device1_Process0_Overflow_OverflowOccurred", c[0]);
        control::setValue(kHalf0 + "FillLevel", c[1]);
        control::setValue(kHalf1 + "FillLevel", c[2]);
        control::setSdkValue(FG_CAMSTATUS_EXTENDED, c[3]);
        EXPECT_EQ((std::vector<uint64_t>{getUInt(FG_FILLLEVEL), getUInt(FG_OVERFLOW),
                                         getUInt(FG_CAMSTATUS_EXTENDED), getUInt(FG_CAMSTATUS)}),
                  (std::vector<uint64_t>{c[4], c[0], c[5], c[5] & 1}))
            << c[1] << "/" << c[2];
    }
    control::failRead("Device1_Process0_Overflow_OverflowOccurred", 1, -55);
    uint32_t v = 0;
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_FILLLEVEL, &v, 0, FG_PARAM_TYPE_UINT32_T), -55);
}

// The entry as the processing values define it, written out independently of the applet: a value
// that does not fit 32 bits counts as the most negative one, and invert wraps in 32 bits.
uint32_t reference(double o, double g, double c, bool invert, uint32_t i) {
    const double x = (i / 4095.0 + o) * g;
    long long e = 0;
    if (!(x < 0.0)) {
        const double v = std::pow(x, 1.0 / c) * 4095.0 + 0.5;
        e = std::isfinite(v) && std::fabs(v) < 2147483648.0 ? static_cast<long long>(std::trunc(v))
                                                            : INT32_MIN;
    }
    if (invert) e = static_cast<int32_t>(static_cast<uint32_t>(4095 - e));
    return static_cast<uint32_t>(std::clamp<long long>(e, 0, 4095));
}

TEST_F(ImagePath, ProcessorTablesFollowTheFormula) {
    // Offset, gain, gamma and invert. A gamma of 0 gives an infinite exponent, pow(0, -1) is
    // infinite, a NaN ends as 0 (inverted too), and the clamp comes after the invert.
    const double cases[][4] = {{0, 1, 1, 0},    {0, 1, 1, 1},    {0, 1, 2, 0},        {-1, 1, 1, 0},
                               {0, 0, 1, 0},    {0, 0, 1, 1},    {0, 1, 0, 0},        {0, 1, -1, 0},
                               {kNaN, 1, 1, 1}, {0, 4096, 1, 1}, {0.1, 2.5, 0.45, 1}, {-0.3, 1.7, 2.2, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c[0] << " " << c[1] << " " << c[2] << " " << c[3]);
        ASSERT_EQ(setDouble(FG_PROCESSING_OFFSET, c[0]), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, c[1]), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, c[2]), 0);
        ASSERT_EQ(setUInt(FG_PROCESSING_INVERT, static_cast<uint32_t>(c[3])), 0);
        std::vector<uint64_t> want(4096);
        for (uint32_t i = 0; i < 4096; ++i) want[i] = reference(c[0], c[1], c[2], c[3] == 1, i);
        for (const char* lut : {kLutR, kLutG, kLutB}) EXPECT_EQ(control::field(lut), want) << lut;
        EXPECT_EQ(table(FG_LUT_VALUE_GREEN), want);
    }
}

TEST_F(ImagePath, SingleEntriesAreCheckedWrittenAndRestored) {
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 4096, 5), kOut);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 5, 4096), kOut);
    entry(FG_LUT_VALUE_GREEN, 4096, FG_INVALID_PARAMETER);
    drained();
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 17, 4095), 0);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_RED, 0, 1), 0);
    EXPECT_EQ(drained(), "LookupTable_G_LUTcontent[17]=4095 LookupTable_R_LUTcontent[0]=1");
    control::failWrite(kLutG, 1, -77);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 17, 100), -77);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 17), 4095u);
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 0), 1u);
}

TEST_F(ImagePath, SavedTablesLoadBackThroughTheUserFileType) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    ASSERT_EQ(setEntry(FG_LUT_VALUE_RED, 5, 4000), 0);
    ASSERT_EQ(setEntry(FG_LUT_VALUE_BLUE, 4095, 7), 0);
    const std::string path = file("saved.txt");
    ASSERT_EQ(setString(FG_LUT_SAVE_FILE, path.c_str()), 0);
    std::string want = "# Lut data file v1.1";
    const char* names[] = {"red", "green", "blue"};
    for (int c = 0; c < 3; ++c) {
        want += "\n\n[" + std::string(names[c]) + "]\n\nid=" + std::to_string(c) +
                ";\nnrOfElements=4096;\nformat=0;\nnumber=0;\n";
        for (int i = 0; i < 4096; ++i) {
            const int v = c == 0 && i == 5 ? 4000 : c == 2 && i == 4095 ? 7 : i;
            want += std::to_string(i) + "," + std::to_string(v) + ";\n";
        }
    }
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), want);
    const std::vector<uint64_t> red = table(FG_LUT_VALUE_RED), blue = table(FG_LUT_VALUE_BLUE);

    ASSERT_EQ(setUInt(FG_PROCESSING_INVERT, 1), 0);
    drained();
    EXPECT_EQ(setString(FG_LUT_CUSTOM_FILE, path.c_str()), 0);
    EXPECT_EQ(drained(), "") << "only remembered while the processor fills the tables";
    ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
    EXPECT_EQ(drained(), kBlocks);
    EXPECT_EQ(table(FG_LUT_VALUE_RED), red);
    EXPECT_EQ(control::field(kLutB), blue);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 100), 100u);
}

TEST_F(ImagePath, BadFilesAndPathsGiveTheirErrorNumbers) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
    const std::string good = file("good.txt",
                                  "# Lut data file v1.1\n\n[red]\n\nid=0;\nnrOfElements=16;\n"
                                  "0,9;\n1,9;\n2,9;\n3,9;\n4,9;\n5,9;\n6,9;\n7,9;\n8,9;\n9,9;\n");
    ASSERT_EQ(setString(FG_LUT_CUSTOM_FILE, good.c_str()), 0);
    // Only red is there, and only 10 of its 16 entries: the rest read as 0, past 16 the old stay.
    EXPECT_EQ((std::vector<uint32_t>{entry(FG_LUT_VALUE_RED, 9), entry(FG_LUT_VALUE_RED, 10),
                                     entry(FG_LUT_VALUE_RED, 16), entry(FG_LUT_VALUE_GREEN, 5),
                                     entry(FG_LUT_VALUE_BLUE, 15), entry(FG_LUT_VALUE_BLUE, 16)}),
              (std::vector<uint32_t>{9, 0, 16, 0, 0, 16}));
    ASSERT_EQ(setEntry(FG_LUT_VALUE_RED, 100, 55), 0);

    // The format carries 12-bit entries; others make the file malformed before anything changes.
    const std::string blue = "nrOfElements=2;\n[red]\n0,1;\n1,2;\n[green]\n[blue]\n0,3;\n1,";
    const int F = FG_LUT_CUSTOM_FILE;
    const std::tuple<int, std::string, int> cases[] = {
        {F, "/nonexistent/lut.txt", FG_FILE_NOT_FOUND},
        {F, testing::TempDir(), FG_FILE_NOT_FOUND},
        {F, file("huge.txt", "# Lut data file v1.1\n\n[red]\n\nnrOfElements=4000000000;\n0,1;\n"),
         FG_FILE_ACCESS_FAILED},
        {F, file("4096.txt", blue + "4096;\n"), kOut},
        {F, file("negative.txt", blue + "-1;\n"), kOut},
        {F, file("wraps.txt", blue + "4294967301;\n"), kOut},
        {FG_LUT_SAVE_FILE, "/nonexistent/lut.txt", FG_FILE_ACCESS_FAILED}};
    for (const auto& [id, path, rc] : cases) {
        drained();
        EXPECT_EQ(setString(id, path.c_str()), rc) << path;
        EXPECT_EQ(getString(F), good);
        EXPECT_TRUE(entry(FG_LUT_VALUE_RED, 0) == 9 && entry(FG_LUT_VALUE_RED, 100) == 55);
        EXPECT_EQ(drained(), "");
    }
    EXPECT_EQ(getString(FG_LUT_SAVE_FILE), "/nonexistent/lut.txt") << "the name is kept";
    EXPECT_EQ(setString(FG_LUT_SAVE_FILE, ""), 0);
    EXPECT_EQ(getString(FG_LUT_SAVE_FILE) + drained(), "");
}

}  // namespace
