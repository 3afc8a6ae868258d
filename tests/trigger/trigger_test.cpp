// The trigger system through the applet's exported interface on the virtual board: limits and
// conversions, write orders, refusals, restore on failure, read-outs and the legacy mode.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "applet_fixture.h"

namespace {

using ::testing::ElementsAre;
using Writes = std::vector<std::string>;
namespace vc = vboard::control;

std::string t(const std::string& name) {
    return "Device1_Process1_Trigger_" + name;
}
std::string cam(const std::string& name) {
    return t("TriggerCam0_" + name);
}
std::string pfg(int g, const std::string& name) {
    return cam("PulseFormGenerators_PulseFormGenerator" + std::to_string(g) + "_" + name);
}

const std::string kMinimumPeriod = cam("Generators_Generator_MinimumPeriod_Number");
const std::string kSoftwarePulse = cam("TriggerMode_SoftwareTrigger_Mode");
const std::string kReady = cam("Generators_Generator_MaximumReached_Status");
const std::string kQueued = cam("Generators_QueueValue_Status");

enum : uint32_t { Generator = 1, External = 2, Software = 4, Active = 0, AsyncStop = 1, SyncStop = 2 };

class Trigger : public AppletOnBoard {
  protected:
    const RegisterInfo* record(int id) { return description(id); }
    int access(int id) { return record(id)->accessFlags; }
    // Software mode, active, with the queue on or off and the generator ready.
    void softwareMode(uint32_t queue) {
        ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
        ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
        ASSERT_EQ(setUInt(FG_TRIGGERQUEUE_MODE, queue), 0);
        vc::setValue(kReady, 1);
    }
};

// ---- frequency, period limits and pulse form generators ----

TEST_F(Trigger, FrequencyBecomesAPeriodInTheStatedOperationOrder) {
    // The fastest rate needs every generator's pulse per period below 160 ns: 1 us over 7 periods.
    for (int g = 0; g < 4; ++g) {
        ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN0_WIDTH + 4 * g, 1.0), 0);
        ASSERT_EQ(setUInt(FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE + 4 * g, 7), 0);
    }
    const struct {
        double hz;
        int result;
        uint64_t period;
    } cases[] = {
        {1.0, 0, 62499990},  // one tick short of the exact quotient, as the order gives it
        {6.25e6, 0, 1},     {0.01455191522836685, 0, 4294967287},
        {8.0, 0, 7812490},  {std::numeric_limits<double>::quiet_NaN(), FG_VALUE_OUT_OF_RANGE, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hz);
        vc::setValue(kMinimumPeriod, 0);
        EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, c.hz), c.result);
        if (c.result == 0) {
            EXPECT_EQ(vc::value(kMinimumPeriod), c.period);
        }
    }
    EXPECT_EQ(getDouble(FG_TRIGGER_FRAMESPERSECOND), 8.0) << "refused values leave the cache";

    // A restart re-applies the frequency; at the lowest one too.
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 0.01455191522836685), 0);
    vc::setValue(kMinimumPeriod, 0);
    EXPECT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    EXPECT_EQ(vc::value(kMinimumPeriod), 4294967287u);
    EXPECT_EQ(getDouble(FG_TRIGGER_FRAMESPERSECOND), 0.01455191522836685);
}

TEST_F(Trigger, PeriodLimitsAgainstThePulseFormGenerators) {
    // The default width of generator 0 (4000 us) is longer than a 1000 Hz period.
    EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 1000.0), FG_TRIGGER_PERIOD_CONFLICT);
    ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN0_WIDTH, 500.0), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 1000.0), 0);
    EXPECT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN0_WIDTH, 1000.0), FG_TRIGGER_PERIOD_CONFLICT);
    EXPECT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN0_WIDTH, 999.9), 0);
    EXPECT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN1_DELAY, 1000.0), FG_TRIGGER_PERIOD_CONFLICT);
    // Delay and width are each compared with the period, never their sum.
    EXPECT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN0_DELAY, 999.0), 0);

    // A downscale spreads a generator over several periods; taking it back is a downscale conflict.
    ASSERT_EQ(setUInt(FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, 2), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN2_WIDTH, 1500.0), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, 1), FG_PULSEFORM_DOWNSCALE_CONFLICT);
    EXPECT_EQ(getUInt(FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE), 2u);
    EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 1300.0), FG_TRIGGER_PERIOD_CONFLICT)
        << "750 us per pulse";

    // 62.5 Hz is exactly a 16000 us delay; 62.4 Hz is longer.
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 8.0), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN3_DELAY, 16000.0), 0);
    EXPECT_EQ(vc::value(pfg(3, "Delay_Delay")), 1000000u);
    EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 62.5), FG_TRIGGER_PERIOD_CONFLICT);
    EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 62.4), 0);
}

TEST_F(Trigger, PulseFormTimesAreQuantisedTo16Ns) {
    const struct {
        double us;
        uint64_t ticks;
        double readBack;
    } cases[] = {{10.0, 625, 10.0}, {10.01, 626, 10.016}, {1.0, 63, 1.008}};
    for (const auto& c : cases) {
        ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN1_WIDTH, c.us), 0);
        EXPECT_EQ(vc::value(pfg(1, "Width_Width")), c.ticks);
        EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGER_PULSEFORMGEN1_WIDTH), c.readBack);
    }
}

TEST_F(Trigger, PulseFormGeneratorsReadTheDesignAs32BitValues) {
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, 2), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN2_DELAY, 1.0), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_PULSEFORMGEN2_WIDTH, 2.0), 0);
    getDouble(FG_TRIGGER_PULSEFORMGEN2_DELAY);
    getDouble(FG_TRIGGER_PULSEFORMGEN2_WIDTH);
    const std::string delay = pfg(2, "Delay_Delay:uint32"), width = pfg(2, "Width_Width:uint32");
    EXPECT_THAT(vc::reads(), ElementsAre(delay, width, width, delay, delay, width));
}

TEST_F(Trigger, DownscaleAndPhasePublishEachOthersLimits) {
    struct Family {
        int downscale, phase;
        std::string selected;
    };
    const Family families[] = {
        {FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE,
         pfg(2, "Downscale_SelectedPulse")},
        {FG_TRIGGERIN_DOWNSCALE, FG_TRIGGERIN_DOWNSCALE_PHASE, cam("Downscale_Downscale_SelectedPulse")},
    };
    for (const Family& f : families) {
        SCOPED_TRACE(f.downscale);
        ASSERT_EQ(setUInt(f.downscale, 4), 0);
        EXPECT_EQ(record(f.phase)->u.uiReg.to, 3u);
        EXPECT_EQ(setUInt(f.phase, 4), FG_VALUE_OUT_OF_RANGE);
        ASSERT_EQ(setUInt(f.phase, 3), 0);
        EXPECT_EQ(vc::value(f.selected), 4u) << "the design counts from 1";
        EXPECT_EQ(record(f.downscale)->u.uiReg.from, 4u);
        EXPECT_EQ(setUInt(f.downscale, 3), FG_VALUE_OUT_OF_RANGE);
        ASSERT_EQ(setUInt(f.phase, 0), 0);
        EXPECT_EQ(setUInt(f.downscale, 1), 0);
        EXPECT_EQ(setUInt(f.downscale, 0), FG_VALUE_OUT_OF_RANGE);
    }
    EXPECT_EQ(setUInt(FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, 8), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_DOWNSCALE, 8), 0) << "the input downscaler has no upper bound";
    EXPECT_EQ(record(FG_TRIGGERIN_DOWNSCALE_PHASE)->u.uiReg.to, 7u);
}

// ---- sequencer, queue and software trigger ----

TEST_F(Trigger, PulsesPerEventNeverLeaveTheSelectedPulseAboveTheDownscale) {
    const std::string down = cam("Generators_Sequence_Downscale"),
                      sel = cam("Generators_Sequence_SelectedPulse"),
                      clear = cam("Generators_ClearDownscale_Mode=2");
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_TRIGGER_MULTIPLY_PULSES, 5), 0);
    ASSERT_EQ(setUInt(FG_TRIGGER_MULTIPLY_PULSES, 3), 0);
    ASSERT_EQ(setUInt(FG_TRIGGER_MULTIPLY_PULSES, 3), 0);
    EXPECT_THAT(vc::writes(), ElementsAre(down + "=5", sel + "=5", clear, sel + "=3", down + "=3", clear,
                                          sel + "=3", down + "=3", clear));
}

TEST_F(Trigger, QueueModeRoutesOnlyOutsideGeneratorModeAndSetsTheSoftwareTriggerLimit) {
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_TRIGGERQUEUE_MODE, 1), 0);
    EXPECT_TRUE(vc::writes().empty()) << "Generator mode";
    EXPECT_EQ(record(FG_SENDSOFTWARETRIGGER)->u.uiReg.to, 2040u);

    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_TRIGGERQUEUE_MODE, 0), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERQUEUE_MODE, 1), 0);
    const std::string full = cam("Generators_Queue_QueueFullValue_Number"),
                      on = cam("Generators_Queue_QueueEnabled_Select");
    EXPECT_THAT(vc::writes(), ElementsAre(kMinimumPeriod + "=10", full + "=1", on + "=0",
                                          kMinimumPeriod + "=7812490", full + "=2040", on + "=1"));

    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD, 2), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD, 2047), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD, 1), FG_VALUE_OUT_OF_RANGE);
    EXPECT_THAT(vc::writes(),
                ElementsAre(cam("Hysteresis_OnLevel_Number=2"), cam("Hysteresis_OffLevel_Number=2047")));
}

TEST_F(Trigger, SoftwareTriggerRefusals) {
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), FG_SOFTWARE_TRIGGER_WRONG_MODE) << "Generator mode";
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, SyncStop), 0);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), FG_SOFTWARE_TRIGGER_NOT_ACTIVE);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), FG_SOFTWARE_TRIGGER_PENDING) << "generator not ready";
    vc::setValue(kReady, 1);
    vc::setValue(kQueued, 1);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), FG_SOFTWARE_TRIGGER_PENDING) << "an event still queued";
    vc::setValue(kQueued, 0);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 2), FG_VALUE_OUT_OF_RANGE) << "queue off";
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 0), FG_VALUE_OUT_OF_RANGE);
    EXPECT_TRUE(vc::writes().empty());
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), 0);
    EXPECT_THAT(vc::writes(), ElementsAre(kSoftwarePulse + "=2"));

    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, External), 0);
    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), FG_ACCESS_READ);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), FG_SOFTWARE_TRIGGER_WRONG_MODE);
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), FG_ACCESS_READ_WRITE_CHANGE);
}

TEST_F(Trigger, BurstKeepsAtLeast160NsBetweenPulses) {
    softwareMode(1);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 2041), FG_VALUE_OUT_OF_RANGE);
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 2040), 0);
    std::vector<int64_t> times;
    for (const vc::JournalEntry& e : vc::journal()) {
        if (e.name == kSoftwarePulse && e.value == 2) times.push_back(e.timeNs);
    }
    ASSERT_EQ(times.size(), 2040u);
    for (size_t i = 1; i < times.size(); ++i) ASSERT_GE(times[i] - times[i - 1], 160) << i;
}

TEST_F(Trigger, AFailedPulseEndsTheBurst) {
    softwareMode(1);
    vc::clearJournal();
    vc::failWrite(kSoftwarePulse, 3, -77);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 10), -77);
    EXPECT_EQ(vc::writes().size(), 3u);
}

TEST_F(Trigger, BusyFlagAndFillLevels) {
    const std::string full = t("Monitoring_ReadQueueStatus_Status");
    EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_IS_BUSY), 0u) << "Generator mode";
    EXPECT_EQ(getUInt(FG_TRIGGERQUEUE_FILLLEVEL), 0u);
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, External), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    const struct {
        uint64_t status, queued, ready;
        uint32_t fill;
    } cases[] = {{2, 5, 1, 2040}, {0, 5, 1, 5}, {0, 0, 1, 0}, {0, 0, 0, 1}, {1, 0, 0, 1}};
    for (const auto& c : cases) {
        vc::setValue(full, c.status);
        vc::setValue(kQueued, c.queued);
        vc::setValue(kReady, c.ready);
        EXPECT_EQ(getUInt(FG_TRIGGERQUEUE_FILLLEVEL), c.fill) << c.status << c.queued << c.ready;
        EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL), 0u) << "not Software mode";
        EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_IS_BUSY), 0u);
    }
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
    vc::setValue(full, 0);
    vc::setValue(kQueued, 7);
    EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL), 7u);
    EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_IS_BUSY), 1u);
    vc::setValue(kQueued, 0);
    vc::setValue(kReady, 1);
    EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_IS_BUSY), 0u);
    vc::setValue(kReady, 0);
    EXPECT_EQ(getUInt(FG_SOFTWARETRIGGER_IS_BUSY), 1u);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, AsyncStop), 0);
    vc::setValue(kQueued, 7);
    EXPECT_EQ(getUInt(FG_TRIGGERQUEUE_FILLLEVEL), 0u) << "async stop";
    vc::failRead(kReady, 1, -55);
    uint32_t v = 0;
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_SOFTWARETRIGGER_IS_BUSY, &v, 0, FG_PARAM_TYPE_UINT32_T),
              -55);
}

// ---- mode and state setters ----

TEST_F(Trigger, ModeAndStateSettersRestoreOnFailure) {
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    // Same mode again in Generator mode, Active: nothing to do.
    vc::clearJournal();
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, Generator), 0);
    EXPECT_TRUE(vc::writes().empty());

    // A write failing in the middle of the full restart: the mode stays, the writes done stay.
    vc::failWrite(cam("Generators_EnableQueue_Select"), 1, -77);
    EXPECT_EQ(setUInt(FG_AREATRIGGERMODE, External), -77);
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), Generator);
    const Writes w = vc::writes();
    ASSERT_FALSE(w.empty());
    EXPECT_EQ(w.back(), cam("Generators_EnableQueue_Select=1 !-77"));
    EXPECT_EQ(w.size(), 12u + 1 + 1 + 1) << "outputs off, input clear, queue hold, the failed write";

    // The re-applied frequency may fail too: the state is restored.
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, SyncStop), 0);
    vc::failWrite(kMinimumPeriod, 1, -78);
    EXPECT_EQ(setUInt(FG_TRIGGERSTATE, Active), -78);
    EXPECT_EQ(getUInt(FG_TRIGGERSTATE), SyncStop);
    EXPECT_EQ(getDouble(FG_TRIGGER_FRAMESPERSECOND), 8.0);
}

// ---- trigger input ----

TEST_F(Trigger, DebounceIn48NsUnits) {
    const std::string reg = t("TriggerInput_Debounce8_Prescale_Period");
    const struct {
        double us;
        int result;
        uint64_t units;
    } cases[] = {{0.096, 0, 2}, {3.024, 0, 63}, {1.0, 0, 21}, {std::nan(""), 0, 0}};
    for (const auto& c : cases) {
        vc::setValue(reg, 99);
        EXPECT_EQ(setDouble(FG_TRIGGERIN_DEBOUNCE, c.us), c.result) << c.us;
        if (c.result == 0) {
            EXPECT_EQ(vc::value(reg), c.units) << c.us;
        }
    }
    vc::setValue(reg, 63);
    EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGERIN_DEBOUNCE), 3.024);
}

TEST_F(Trigger, InputSelectionAndClears) {
    const std::string toggle = cam("InputStatistics_ClearMinMax_Value");
    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_TRIGGERIN_SRC, 7), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_POLARITY, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_BYPASS_SRC, 3), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR, 0), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR, 1), 0);
    EXPECT_THAT(vc::writes(),
                ElementsAre(cam("InputSelect_Select_Select=7"), cam("InputSelect_Polarity_Invert=1"),
                            cam("InputSelect_BypassSelect_Select=3"),
                            cam("InputStatistics_ClearPulses_Mode=2"), toggle + "=1", toggle + "=0"));
    EXPECT_EQ(getUInt(FG_TRIGGERIN_SRC), 7u);
}

// ---- outputs ----

TEST_F(Trigger, EveryOutputChoiceBecomesASelectAndAnInvertBit) {
    const uint32_t select[] = {0, 1, 2, 3, 5, 5, 0, 1, 2, 3, 4, 4};
    for (uint32_t choice = 0; choice < 12; ++choice) {
        vc::clearJournal();
        ASSERT_EQ(setUInt(FG_TRIGGEROUT_SELECT3, choice), 0);
        const bool inverted = choice == 5 || (choice >= 6 && choice <= 9) || choice == 11;
        EXPECT_THAT(vc::writes(),
                    ElementsAre(cam("TriggerOutput_Select3_Select_Select=") + std::to_string(select[choice]),
                                cam("TriggerOutput_Select3_Polarity_Invert=") + (inverted ? "1" : "0")))
            << choice;
    }
    vc::failWrite(cam("CameraControl_Select2_Polarity_Invert"), 1, -77);
    EXPECT_EQ(setUInt(FG_TRIGGERCC_SELECT2, 6), -77);
    EXPECT_EQ(getUInt(FG_TRIGGERCC_SELECT2), 5u);
}

TEST_F(Trigger, DisabledOutputsIdleAtTheirInvertLevel) {
    ASSERT_EQ(setUInt(FG_TRIGGEROUT_SELECT5, 5), 0);  // Vcc: select 5, invert 1
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, AsyncStop), 0);
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(vc::value(cam("TriggerOutput_Select" + std::to_string(k) + "_Select_Select")), 5u);
    EXPECT_EQ(vc::value(cam("TriggerOutput_Select5_Polarity_Invert")), 1u);
    EXPECT_EQ(vc::value(cam("TriggerOutput_Select0_Polarity_Invert")), 1u)
        << "Not Pulse Generator 0 by default";
    EXPECT_EQ(vc::value(cam("TriggerOutput_Select2_Polarity_Invert")), 1u);
}

// ---- read-outs ----

TEST_F(Trigger, ReadOuts) {
    vc::setValue(cam("InputStatistics_ReadPulses_Status"), 0x12345);
    EXPECT_EQ(getUInt(FG_TRIGGERIN_STATS_PULSECOUNT), 0x2345u) << "16-bit counter";
    vc::setValue(cam("InputStatistics_ReadPeriod_Status"), 62500);  // 1 ms
    vc::setValue(cam("InputStatistics_ReadMax_Status"), 625000);
    vc::setValue(cam("InputStatistics_ReadMin_Status"), 0);
    EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGERIN_STATS_FREQUENCY), 1000.0);
    EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGERIN_STATS_MINFREQUENCY), 100.0);
    EXPECT_EQ(getDouble(FG_TRIGGERIN_STATS_MAXFREQUENCY), 0.0) << "no period seen";

    vc::setValue(cam("OutputStatistics_ReadPulses_Status"), 77);
    EXPECT_EQ(getUInt(FG_TRIGGEROUT_STATS_PULSECOUNT), 77u);
    vc::setValue(t("Monitoring_CheckPeriod_Cam0_Exceeded_Status"), 1);
    EXPECT_EQ(getUInt(FG_TRIGGER_EXCEEDED_PERIOD_LIMITS), 1u);
    EXPECT_EQ(getUInt(FG_MISSING_CAMERA_FRAME_RESPONSE), 0u);
    vc::setValue(t("Monitoring_CheckForMissingFrame_Cam0_Missing_Status"), 1);
    EXPECT_EQ(getUInt(FG_MISSING_CAMERA_FRAME_RESPONSE), 1u);

    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_TRIGGEROUT_STATS_SOURCE, 3), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_OUTPUT_EVENT_SELECT, 2), 0);
    EXPECT_EQ(setUInt(FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR, 1), 0);
    EXPECT_EQ(setUInt(FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGER_EXCEEDED_PERIOD_LIMITS, 0), FG_INVALID_PARAMETER) << "a read-out";
    EXPECT_THAT(vc::writes(),
                ElementsAre(cam("OutputStatistics_Select_Select=3"), cam("OutputEvent_Select_Select=2"),
                            cam("OutputStatistics_ClearPulses_Mode=2"),
                            t("Monitoring_CheckPeriod_Cam0_ResetExceeded_Mode=2"),
                            t("Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode=2")));
}

// ---- legacy mode ----

class Legacy : public Trigger {};

TEST_F(Legacy, OffItOnlyRemembersItsParameters) {
    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_EXPOSURE, 2000), 0);
    EXPECT_EQ(setUInt(FG_EXPOSURE, 5), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setDouble(FG_EXSYNCDELAY, 20.0), 0);
    EXPECT_EQ(setUInt(FG_CCSEL1, 3), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_CCSEL1, 8), 0);
    EXPECT_EQ(setUInt(FG_DIGIO_OUTPUT, 4), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setDouble(FG_PRESCALER, 20.0), 0);
    EXPECT_TRUE(vc::writes().empty());
    EXPECT_EQ(getUInt(FG_EXPOSURE), 2000u);
    EXPECT_EQ(setUInt(FG_TRIGGERMODE, 3), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_TRIGGERMODE, 2), FG_INVALID_PARAMETER);
    EXPECT_EQ(getUInt(FG_TRIGGERMODE), 0u);
    EXPECT_EQ(access(FG_EXPOSURE), FG_ACCESS_READ);
}

TEST_F(Legacy, OnAppliesTheCachedParametersAndOwnsTheTriggerSystem) {
    ASSERT_EQ(setUInt(FG_EXPOSURE, 2000), 0);
    ASSERT_EQ(setDouble(FG_STROBEPULSEDELAY, 32.0), 0);
    ASSERT_EQ(setUInt(FG_CCSEL1, 2), 0);  // Flash
    ASSERT_EQ(setUInt(FG_FLASHON, 1), 0);
    ASSERT_EQ(setUInt(FG_DIGIO_OUTPUT, 2), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 10.0), 0);  // a period of 100000 us

    ASSERT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 1), 0);
    EXPECT_EQ(vc::value(pfg(0, "Width_Width")), 125000u);
    EXPECT_EQ(vc::value(pfg(2, "Delay_Delay")), 2000u);
    EXPECT_EQ(getUInt(FG_TRIGGERCC_SELECT1), 2u);
    EXPECT_EQ(getUInt(FG_TRIGGERCC_SELECT0), 4u) << "exsync off: its idle level";
    EXPECT_EQ(getUInt(FG_TRIGGEROUT_SELECT0), 4u);
    EXPECT_EQ(getUInt(FG_TRIGGEROUT_SELECT1), 5u);
    EXPECT_EQ(getUInt(FG_TRIGGERSTATE), AsyncStop) << "Free Run, the cached trigger mode";
    EXPECT_EQ(access(FG_EXPOSURE), FG_ACCESS_READ_WRITE_CHANGE);
    EXPECT_EQ(access(FG_TRIGGERMODE), FG_ACCESS_READ_WRITE_CHANGE);
    EXPECT_EQ(access(FG_AREATRIGGERMODE), FG_ACCESS_READ);
    EXPECT_EQ(access(FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR), FG_ACCESS_READ);

    // The new interface is locked, except the input line and its polarity.
    EXPECT_EQ(setUInt(FG_AREATRIGGERMODE, Software), FG_INVALID_PARAMETER);
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), Generator);
    EXPECT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 10.0), FG_INVALID_PARAMETER);
    EXPECT_EQ(setUInt(FG_TRIGGERCC_SELECT3, 0), FG_INVALID_PARAMETER);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_BYPASS_SRC, 1), FG_INVALID_PARAMETER);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_SRC, 1), 0);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_POLARITY, 1), 0);

    ASSERT_EQ(setUInt(FG_TRIGGERMODE, 4), 0);
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), Software);
    EXPECT_EQ(getUInt(FG_TRIGGERSTATE), Active);
    EXPECT_EQ(getUInt(FG_TRIGGERQUEUE_MODE), 0u);
    EXPECT_EQ(access(FG_AREATRIGGERMODE), FG_ACCESS_READ) << "transitions keep the interface locked";
    // Outside Grabber controlled the generator only limits the rate.
    EXPECT_EQ(vc::value(kMinimumPeriod), 10u);
    vc::setValue(kReady, 1);
    EXPECT_EQ(setUInt(FG_SENDSOFTWARETRIGGER, 1), 0) << "no legacy guard";
    ASSERT_EQ(setUInt(FG_TRIGGERMODE, 1), 0);
    EXPECT_EQ(vc::value(kMinimumPeriod), 6249991u);

    ASSERT_EQ(setUInt(FG_EXPOSURE, 100), 0);
    EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGER_PULSEFORMGEN0_WIDTH), 100.0);
    EXPECT_EQ(setUInt(FG_EXPOSURE, 124990), FG_TRIGGER_PERIOD_CONFLICT) << "longer than the 10 Hz period";
    EXPECT_EQ(getUInt(FG_EXPOSURE), 100u);

    // Off: the trigger system stays as legacy mode left it, and the new interface opens again.
    ASSERT_EQ(setUInt(FG_TRIGGERMODE, 2), 0);
    ASSERT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 0), 0);
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), External);
    EXPECT_EQ(getUInt(FG_TRIGGERSTATE), Active);
    EXPECT_EQ(access(FG_EXPOSURE), FG_ACCESS_READ);
    EXPECT_EQ(access(FG_AREATRIGGERMODE), FG_ACCESS_READ_WRITE_CHANGE);
    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), FG_ACCESS_READ) << "External mode";
    EXPECT_EQ(setUInt(FG_TRIGGERCC_SELECT3, 0), 0);
}

TEST_F(Legacy, CameraControlLinesFollowPolaritiesAndEnables) {
    enum : uint32_t { Exsync = 0, NotExsync = 6, Flash = 2, NotFlash = 8, Gnd = 4, Vcc = 5 };
    ASSERT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 1), 0);
    const struct {
        uint32_t selection, exsyncPolarity, flashPolarity, exsyncOn, flashOn, line;
    } cases[] = {
        {Exsync, 0, 0, 1, 0, Exsync}, {Exsync, 1, 0, 1, 0, NotExsync}, {NotExsync, 1, 0, 1, 0, Exsync},
        {Exsync, 0, 0, 0, 1, Gnd},    {Exsync, 1, 0, 0, 1, Vcc},       {NotExsync, 0, 0, 0, 1, Vcc},
        {Flash, 0, 0, 0, 1, Flash},   {Flash, 0, 1, 0, 1, NotFlash},   {NotFlash, 0, 1, 1, 1, Flash},
        {Flash, 0, 0, 1, 0, Gnd},     {Flash, 0, 1, 1, 0, Vcc},        {Gnd, 1, 1, 0, 0, Gnd},
        {Vcc, 1, 1, 1, 1, Vcc},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(setUInt(FG_CCSEL3, c.selection), 0);
        ASSERT_EQ(setUInt(FG_EXSYNCPOLARITY, c.exsyncPolarity), 0);
        ASSERT_EQ(setUInt(FG_FLASH_POLARITY, c.flashPolarity), 0);
        ASSERT_EQ(setUInt(FG_EXSYNCON, c.exsyncOn), 0);
        ASSERT_EQ(setUInt(FG_FLASHON, c.flashOn), 0);
        EXPECT_EQ(getUInt(FG_TRIGGERCC_SELECT3), c.line)
            << c.selection << " pol " << c.exsyncPolarity << c.flashPolarity << " on " << c.exsyncOn
            << c.flashOn;
    }
}

TEST_F(Legacy, AFailureSwitchingOnLeavesLegacyModeOff) {
    ASSERT_EQ(setUInt(FG_EXPOSURE, 3000), 0);
    vc::failWrite(pfg(0, "Width_Width"), 1, -77);
    EXPECT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 1), -77);
    EXPECT_EQ(getUInt(FG_TRIGGER_LEGACY_MODE), 0u);
    EXPECT_EQ(getUInt(FG_EXPOSURE), 3000u);
    EXPECT_EQ(access(FG_EXPOSURE), FG_ACCESS_READ);
    EXPECT_EQ(access(FG_AREATRIGGERMODE), FG_ACCESS_READ_WRITE_CHANGE);
    EXPECT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
}

}  // namespace
