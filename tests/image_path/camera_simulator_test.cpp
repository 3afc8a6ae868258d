// The camera simulator's registers: widths in clocks of the enabled taps, the tap mask and the
// clock pattern, and what a change of taps rewrites.
#include <limits>

#include "image_path_fixture.h"

namespace {

using ::testing::ElementsAre;
namespace control = vboard::control;

TEST_F(ImagePath, SimulatorDefaultsGiveTheirClockPattern) {
    // 1024 + 4 pixels over four taps; 40 of 62.5 MHz in a pattern of 25 clocks.
    EXPECT_EQ(control::value("AAGenWidth"), 256u);
    EXPECT_EQ(control::value("AAGenLineWidth"), 257u);
    EXPECT_EQ(control::value("AAGenMask"), 15u);
    EXPECT_EQ(getUInt(FG_GEN_ACTIVE), 16u);
    EXPECT_EQ(getUInt(FG_GEN_PASSIVE), 9u);
    EXPECT_EQ(getUInt(FG_GEN_LINE_WIDTH), 1028u);
    EXPECT_EQ(getDouble(FG_GEN_FREQ), 40.0);
}

TEST_F(ImagePath, SimulatorWritesItsRegistersInTapClocks) {
    control::clearJournal();
    EXPECT_EQ(setUInt(FG_GEN_WIDTH, 1000), 0);
    EXPECT_EQ(setUInt(FG_GEN_LINE_GAP, 7), 0);
    EXPECT_EQ(setUInt(FG_GEN_TAP4, 0), 0);
    EXPECT_EQ(setUInt(FG_GEN_TAP2, 0), 0);
    EXPECT_EQ(setDouble(FG_GEN_FREQ, 62.5), 0);
    EXPECT_EQ(setUInt(FG_GEN_ACCURACY, 255), 0);
    EXPECT_EQ(setDouble(FG_GEN_FREQ, 1.0), 0);
    EXPECT_EQ(setUInt(FG_GEN_ENABLE, 1), 0);
    EXPECT_EQ(setUInt(FG_GEN_START, 0), 0);
    EXPECT_EQ(setUInt(FG_GEN_HEIGHT, 480), 0);
    EXPECT_EQ(setUInt(FG_GEN_ROLL, 1), 0);
    EXPECT_THAT(control::writes(),
                ElementsAre("AAGenWidth=250", "AAGenLineWidth=251",                 // 1000, 1004 / 4
                            "AAGenLineWidth=252",                                   // 1007 / 4
                            "AAGenMask=7", "AAGenWidth=334", "AAGenLineWidth=336",  // / 3
                            "AAGenMask=5", "AAGenWidth=500", "AAGenLineWidth=504",  // / 2
                            "AAGenActive=25", "AAGenPassive=0",                     // 62.5 of 25
                            "AAGenActive=255", "AAGenPassive=0",                    // 62.5 of 255
                            "AAGenActive=4", "AAGenPassive=251",                    // 1.0 of 255
                            "AAGenEnable=1", "AAGenStart=0", "AAGenHeight=480", "AAGenRoll=1"));
    EXPECT_EQ(getUInt(FG_GEN_ACTIVE), 4u);
    EXPECT_EQ(getUInt(FG_GEN_PASSIVE), 251u);
    EXPECT_EQ(getUInt(FG_GEN_LINE_WIDTH), 1007u);
    EXPECT_EQ(getUInt(FG_GEN_TAP2), 0u);
}

TEST_F(ImagePath, SimulatorRefusesBadValuesAndTheLastTap) {
    ASSERT_EQ(setUInt(FG_GEN_TAP2, 0), 0);
    ASSERT_EQ(setUInt(FG_GEN_TAP3, 0), 0);
    ASSERT_EQ(setUInt(FG_GEN_TAP4, 0), 0);
    control::clearJournal();
    const struct {
        int id;
        double value;
        int rc;
    } cases[] = {
        {FG_GEN_TAP1, 0, FG_VALUE_OUT_OF_RANGE},  // would leave no tap
        {FG_GEN_TAP1, 2, FG_VALUE_OUT_OF_RANGE},       {FG_GEN_ENABLE, 2, FG_VALUE_OUT_OF_RANGE},
        {FG_GEN_START, 2, FG_VALUE_OUT_OF_RANGE},      {FG_GEN_WIDTH, 65536, FG_VALUE_OUT_OF_RANGE},
        {FG_GEN_ROLL, 2, FG_VALUE_OUT_OF_RANGE},       {FG_GEN_ACCURACY, 0, FG_VALUE_OUT_OF_RANGE},
        {FG_GEN_ACCURACY, 256, FG_VALUE_OUT_OF_RANGE}, {FG_GEN_ACTIVE, 1, FG_NOT_AVAILABLE},
        {FG_GEN_PASSIVE, 1, FG_NOT_AVAILABLE},         {FG_GEN_LINE_WIDTH, 1, FG_NOT_AVAILABLE},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(setUInt(c.id, static_cast<uint32_t>(c.value)), c.rc) << c.id << "=" << c.value;
    }
    for (double freq : {0.999, 62.501, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(setDouble(FG_GEN_FREQ, freq), FG_VALUE_OUT_OF_RANGE) << freq;
    }
    EXPECT_TRUE(control::writes().empty());
    EXPECT_EQ(getUInt(FG_GEN_TAP1), 1u);
    EXPECT_EQ(control::value("AAGenMask"), 1u);
}

TEST_F(ImagePath, SimulatorFailureRestoresTheParameterButKeepsEarlierRegisters) {
    control::failWrite("AAGenLineWidth", 1, -77);
    EXPECT_EQ(setUInt(FG_GEN_WIDTH, 2000), -77);
    EXPECT_EQ(getUInt(FG_GEN_WIDTH), 1024u);
    EXPECT_EQ(control::value("AAGenWidth"), 500u);
    EXPECT_EQ(control::value("AAGenLineWidth"), 257u);
    control::failWrite("AAGenPassive", 1, -78);
    EXPECT_EQ(setUInt(FG_GEN_ACCURACY, 50), -78);
    EXPECT_EQ(getUInt(FG_GEN_ACCURACY), 25u);
    EXPECT_EQ(getUInt(FG_GEN_ACTIVE), 32u) << "the active count was written";
    EXPECT_EQ(getUInt(FG_GEN_PASSIVE), 9u);
}

}  // namespace
