// Region of interest, camera interface, image selector, status read-outs, output format, Bayer
// pattern and white balance.
#include <cmath>
#include <limits>

#include "image_path_fixture.h"

namespace {

using ::testing::ElementsAre;
namespace control = vboard::control;

const std::string kHalf0 = "Device1_Process0_Buffer_0_DRAM_A_0_";
const std::string kHalf1 = "Device1_Process0_Buffer_0_DRAM_A_1_";

struct Step {
    int id;
    uint32_t value;
    int rc;
};

TEST_F(ImagePath, RoiRangeComesBeforeAlignmentAndPartnersFollow) {
    // From the defaults: 1024 x 1024 at offset 0.
    const Step steps[] = {
        {FG_WIDTH, 8, FG_VALUE_OUT_OF_RANGE},
        {FG_WIDTH, 17, FG_NOT_ALIGNED},
        {FG_WIDTH, 16384, 0},
        {FG_XOFFSET, 16, FG_VALUE_OUT_OF_RANGE},
        {FG_WIDTH, 16368, 0},
        {FG_XOFFSET, 8, FG_NOT_ALIGNED},
        {FG_XOFFSET, 16, 0},
        {FG_WIDTH, 16384, FG_VALUE_OUT_OF_RANGE},
        {FG_WIDTH, 16385, FG_VALUE_OUT_OF_RANGE},
        {FG_XOFFSET, 17, FG_VALUE_OUT_OF_RANGE},
        {FG_WIDTH, 16, 0},
        {FG_XOFFSET, 17, FG_NOT_ALIGNED},
        {FG_HEIGHT, 3, FG_VALUE_OUT_OF_RANGE},
        {FG_HEIGHT, 4, 0},
        {FG_HEIGHT, 65535, 0},
        {FG_YOFFSET, 1, FG_VALUE_OUT_OF_RANGE},
        {FG_HEIGHT, 65534, 0},
        {FG_YOFFSET, 1, 0},
        {FG_HEIGHT, 65535, FG_VALUE_OUT_OF_RANGE},
        {FG_HEIGHT, 4, 0},
        {FG_YOFFSET, 65531, 0},
        {FG_YOFFSET, 65532, FG_VALUE_OUT_OF_RANGE},
    };
    uint32_t width = 1024, height = 1024, x = 0, y = 0;
    for (const Step& s : steps) {
        SCOPED_TRACE(testing::Message() << s.id << "=" << s.value);
        EXPECT_EQ(setUInt(s.id, s.value), s.rc);
        if (s.rc == 0) {
            (s.id == FG_WIDTH ? width : s.id == FG_HEIGHT ? height : s.id == FG_XOFFSET ? x : y) = s.value;
        }
        EXPECT_EQ(getUInt(FG_WIDTH), width);
        EXPECT_EQ(getUInt(FG_HEIGHT), height);
        EXPECT_EQ(getUInt(FG_XOFFSET), x);
        EXPECT_EQ(getUInt(FG_YOFFSET), y);
        EXPECT_EQ(maximumOf(FG_XOFFSET), 16384 - width);
        EXPECT_EQ(maximumOf(FG_WIDTH), 16384 - x);
        EXPECT_EQ(maximumOf(FG_YOFFSET), 65535 - height);
        EXPECT_EQ(maximumOf(FG_HEIGHT), 65535 - y);
    }
}

TEST_F(ImagePath, GeometryWritesBothHalvesThenBothBayerRegisters) {
    ASSERT_EQ(setUInt(FG_BAYERINIT, 3), 0);
    control::clearJournal();
    EXPECT_EQ(setUInt(FG_WIDTH, 512), 0);
    EXPECT_EQ(setUInt(FG_HEIGHT, 480), 0);
    EXPECT_EQ(setUInt(FG_YOFFSET, 1), 0);
    EXPECT_EQ(setUInt(FG_XOFFSET, 16), 0);
    EXPECT_THAT(
        control::writes(),
        ElementsAre(kHalf0 + "XLength=512", kHalf1 + "XLength=512", kHalf0 + "YLength=480",
                    kHalf1 + "YLength=480", kHalf0 + "YOffset=1", kHalf1 + "YOffset=1",
                    "Device1_Process0_Bayer_White_BayerInit=1", "Device1_Process0_Bayer_Bayer_BayerInit=1",
                    kHalf0 + "XOffset=16", kHalf1 + "XOffset=16", "Device1_Process0_Bayer_White_BayerInit=1",
                    "Device1_Process0_Bayer_Bayer_BayerInit=1"));

    // The user's pattern reads back; the design gets it with the odd line swapped in.
    control::clearJournal();
    EXPECT_EQ(setUInt(FG_BAYERINIT, 3), 0);
    EXPECT_EQ(setUInt(FG_BAYERINIT, 0), 0);
    EXPECT_EQ(setUInt(FG_BAYERINIT, 4), FG_VALUE_OUT_OF_RANGE);
    EXPECT_THAT(
        control::writes(),
        ElementsAre("Device1_Process0_Bayer_White_BayerInit=1", "Device1_Process0_Bayer_Bayer_BayerInit=1",
                    "Device1_Process0_Bayer_White_BayerInit=2", "Device1_Process0_Bayer_Bayer_BayerInit=2"));
    EXPECT_EQ(getUInt(FG_BAYERINIT), 0u);
}

TEST_F(ImagePath, BayerCodeFollowsBothOffsetParities) {
    const uint32_t expected[4][4] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {2, 3, 0, 1}, {3, 2, 1, 0}};
    ASSERT_EQ(setUInt(FG_HEIGHT, 16), 0);
    for (uint32_t user = 0; user < 4; ++user) {
        for (uint32_t y : {0u, 1u}) {
            ASSERT_EQ(setUInt(FG_BAYERINIT, user), 0);
            ASSERT_EQ(setUInt(FG_YOFFSET, y), 0);
            // Offsets are multiples of 16, so only the line parity can change the code here.
            EXPECT_EQ(control::value("Device1_Process0_Bayer_White_BayerInit"), expected[user][y * 2]);
            EXPECT_EQ(control::value("Device1_Process0_Bayer_Bayer_BayerInit"), expected[user][y * 2]);
            EXPECT_EQ(getUInt(FG_BAYERINIT), user);
        }
    }
}

TEST_F(ImagePath, FailedWritesRestoreTheCacheAndKeepWhatWasWritten) {
    control::failWrite(kHalf1 + "XLength", 1, -77);
    control::clearJournal();
    EXPECT_EQ(setUInt(FG_WIDTH, 512), -77);
    EXPECT_THAT(control::writes(), ElementsAre(kHalf0 + "XLength=512", kHalf1 + "XLength=512 !-77"));
    EXPECT_EQ(getUInt(FG_WIDTH), 1024u);
    EXPECT_EQ(control::value(kHalf0 + "XLength"), 512u);
    EXPECT_EQ(control::value(kHalf1 + "XLength"), 1024u);
    EXPECT_EQ(maximumOf(FG_XOFFSET), 16384u - 1024u);

    control::failWrite("Device1_Process0_Bayer_Bayer_BayerInit", 1, -78);
    EXPECT_EQ(setUInt(FG_YOFFSET, 1), -78);
    EXPECT_EQ(getUInt(FG_YOFFSET), 0u);
    EXPECT_EQ(maximumOf(FG_HEIGHT), 65535u);

    control::failWrite("Device1_Process0_OutputFormat_VirtualTrash_EnableTrash_Value", 1, -79);
    EXPECT_EQ(setUInt(FG_FORMAT, 6), -79);
    EXPECT_EQ(getUInt(FG_FORMAT), 2u);
    EXPECT_EQ(control::value("Device1_Process0_OutputFormat_FG_FORMAT_SelectSource"), 0u);
}

struct Coded {
    int id;
    uint32_t value;
    int rc;
    std::vector<std::string> writes;
};

TEST_F(ImagePath, EnumeratedSettingsWriteTheirDesignCodes) {
    const Coded cases[] = {
        {FG_CAMERA_LINK_CAMTYPE, 210, 0, {"Device1_Process0_Camera_Format=1"}},
        {FG_CAMERA_LINK_CAMTYPE, 212, 0, {"Device1_Process0_Camera_Format=2"}},
        {FG_CAMERA_LINK_CAMTYPE, 208, 0, {"Device1_Process0_Camera_Format=0"}},
        {FG_CAMERA_LINK_CAMTYPE, 12, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_USEDVAL, 0, 0, {"Device1_Process0_Camera_UseDval=0"}},
        {FG_USEDVAL, 2, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_FORMAT,
         6,
         0,
         {"Device1_Process0_OutputFormat_FG_FORMAT_SelectSource=0",
          "Device1_Process0_OutputFormat_VirtualTrash_EnableTrash_Value=0"}},
        {FG_FORMAT,
         2,
         0,
         {"Device1_Process0_OutputFormat_FG_FORMAT_SelectSource=1",
          "Device1_Process0_OutputFormat_VirtualTrash_EnableTrash_Value=1"}},
        {FG_FORMAT, 1, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_BITALIGNMENT, 0, 0, {"Device1_Process0_OutputFormat_FG_BITALIGNMENT_Value=0"}},
        {FG_BITALIGNMENT, 2, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_IMG_SELECT, 1, FG_VALUE_OUT_OF_RANGE, {}},  // the period is 1
        {FG_IMG_SELECT_PERIOD, 3, 0, {"Device1_Process0_ImageSelector_FG_IMG_SELECT_PERIOD_Divisor=3"}},
        {FG_IMG_SELECT, 3, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_IMG_SELECT, 2, 0, {"Device1_Process0_ImageSelector_FG_IMG_SELECT_PHASE_Number=2"}},
        {FG_IMG_SELECT_PERIOD, 2, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_IMG_SELECT_PERIOD, 257, FG_VALUE_OUT_OF_RANGE, {}},
        {FG_IMG_SELECT, 256, FG_VALUE_OUT_OF_RANGE, {}},
    };
    for (const Coded& c : cases) {
        SCOPED_TRACE(testing::Message() << c.id << "=" << c.value);
        const uint32_t before = getUInt(c.id);
        control::clearJournal();
        EXPECT_EQ(setUInt(c.id, c.value), c.rc);
        EXPECT_EQ(control::writes(), c.writes);
        EXPECT_EQ(getUInt(c.id), c.rc == 0 ? c.value : before);
        EXPECT_EQ(getUInt(FG_PIXELDEPTH), 12u);
    }
}

struct Status {
    uint64_t overflow, half0, half1, board;
    uint32_t fill, extended;
};

TEST_F(ImagePath, StatusBitsAssembleFillOverflowAndBoardBits) {
    const Status cases[] = {
        {1, 10, 20, 0x1F, 100, 0xFF}, {0, 25, 3, 0x00, 25, 0x40},  {0, 10, 75, 0x01, 75, 0xC1},
        {0, 24, 0, 0x00, 24, 0x00},   {0, 50, 49, 0x00, 50, 0x80}, {0, 0, 74, 0x1E3, 74, 0x183},
    };
    for (const Status& s : cases) {
        SCOPED_TRACE(testing::Message() << s.half0 << "/" << s.half1);
        control::setValue("Device1_Process0_Overflow_OverflowOccurred", s.overflow);
        control::setValue(kHalf0 + "FillLevel", s.half0);
        control::setValue(kHalf1 + "FillLevel", s.half1);
        control::setSdkValue(FG_CAMSTATUS_EXTENDED, s.board);
        EXPECT_EQ(getUInt(FG_FILLLEVEL), s.fill);
        EXPECT_EQ(getUInt(FG_OVERFLOW), s.overflow);
        EXPECT_EQ(getUInt(FG_CAMSTATUS_EXTENDED), s.extended);
        EXPECT_EQ(getUInt(FG_CAMSTATUS), s.extended & 1u);
    }
    // An overflow answers at once: the fill levels are not read.
    control::setValue("Device1_Process0_Overflow_OverflowOccurred", 1);
    control::failRead(kHalf0 + "FillLevel", 1, -99);
    EXPECT_EQ(getUInt(FG_FILLLEVEL), 100u);
    control::clearFailures();
    control::failRead("Device1_Process0_Overflow_OverflowOccurred", 1, -55);
    uint32_t v = 0;
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_FILLLEVEL, &v, 0, FG_PARAM_TYPE_UINT32_T), -55);
    EXPECT_EQ(setUInt(FG_FILLLEVEL, 1), FG_INVALID_PARAMETER);
}

TEST_F(ImagePath, WhiteBalanceFactorsAreWrittenAsDoubles) {
    const struct {
        int id;
        const char* reg;
    } factors[] = {{FG_SCALINGFACTOR_RED, "Device1_Process0_Bayer_White_RedCoefficient"},
                   {FG_SCALINGFACTOR_GREEN, "Device1_Process0_Bayer_White_GreenCoefficient"},
                   {FG_SCALINGFACTOR_BLUE, "Device1_Process0_Bayer_White_BlueCoefficient"}};
    for (const auto& f : factors) {
        SCOPED_TRACE(f.reg);
        EXPECT_EQ(setDouble(f.id, 4.0), FG_VALUE_OUT_OF_RANGE);
        EXPECT_EQ(setDouble(f.id, -0.001), FG_VALUE_OUT_OF_RANGE);
        control::clearJournal();
        EXPECT_EQ(setDouble(f.id, 3.9990234375), 0);
        EXPECT_EQ(setDouble(f.id, -0.0), 0);
        EXPECT_EQ(setDouble(f.id, std::numeric_limits<double>::quiet_NaN()), 0);
        EXPECT_EQ(setDouble(f.id, 1.5), 0);
        const std::vector<control::JournalEntry> j = control::journal();
        ASSERT_EQ(j.size(), 4u);
        EXPECT_EQ(j[0].doubleValue, 3.9990234375);
        EXPECT_TRUE(std::signbit(j[1].doubleValue));
        EXPECT_TRUE(std::isnan(j[2].doubleValue));
        for (const auto& e : j) {
            EXPECT_EQ(e.name, f.reg);
            EXPECT_EQ(e.type, FG_PARAM_TYPE_DOUBLE);
        }
        EXPECT_EQ(getDouble(f.id), 1.5);
        EXPECT_EQ(control::doubleValue(f.reg), 1.5);
    }
}

}  // namespace
