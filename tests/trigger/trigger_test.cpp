// The trigger system through the applet's exported interface on the virtual board: limits and
// conversions, write orders, refusals, restore on failure, read-outs and the legacy mode.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "applet_fixture.h"

namespace {

namespace vc = vboard::control;

enum : uint32_t { Generator = 1, External = 2, Software = 4, Active = 0, AsyncStop = 1, SyncStop = 2 };
enum : int { Downscale, Phase, Delay, Width };
constexpr int kOut = FG_VALUE_OUT_OF_RANGE, kConflict = FG_TRIGGER_PERIOD_CONFLICT;
constexpr int kInvalid = FG_INVALID_PARAMETER, kFps = FG_TRIGGER_FRAMESPERSECOND,
              kSend = FG_SENDSOFTWARETRIGGER;
constexpr int kRead = FG_ACCESS_READ, kRwc = FG_ACCESS_READ_WRITE_CHANGE;
constexpr double kSlowest = 0.01455191522836685;

// A parameter of pulse form generator g.
constexpr int pfg(int g, int field) {
    return FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE + 4 * g + field;
}

const std::string kTrigger = "Device1_Process1_Trigger_", kCam = kTrigger + "TriggerCam0_";
const std::string kPeriod = "Generators_Generator_MinimumPeriod_Number",
                  kPulse = "TriggerMode_SoftwareTrigger_Mode";
const std::string kReady = "Generators_Generator_MaximumReached_Status",
                  kQueued = "Generators_QueueValue_Status";

// A setting, its result and the design writes it makes: journal texts without the trigger
// system's name prefixes, joined by spaces ("*": not looked at).
struct Step {
    int id;
    double value;
    int rc = 0;
    std::string writes = "*";
};

class Trigger : public AppletOnBoard {
  protected:
    bool isDouble(int id) { return description(id)->format == REG_FORMAT_DOUBLE; }
    int set(int id, double v) {
        return isDouble(id) ? setDouble(id, v) : setUInt(id, static_cast<uint32_t>(v));
    }
    double get(int id) { return isDouble(id) ? getDouble(id) : getUInt(id); }
    // The writes since the journal was last cleared; clears it.
    std::string drained() {
        std::string out;
        for (std::string w : vc::writes()) {
            w.erase(0, w.starts_with(kCam) ? kCam.size() : w.starts_with(kTrigger) ? kTrigger.size() : 0);
            out += (out.empty() ? "" : " ") + w;
        }
        vc::clearJournal();
        return out;
    }
    static Step step(int id, double value, int rc = 0, std::string writes = "*") {
        return {id, value, rc, std::move(writes)};
    }
    void run(std::initializer_list<Step> steps) {
        for (const Step& s : steps) {
            SCOPED_TRACE(testing::Message() << s.id << "=" << s.value);
            drained();
            EXPECT_EQ(set(s.id, s.value), s.rc);
            if (s.writes != "*") {
                EXPECT_EQ(drained(), s.writes);
            }
        }
    }
    // A parameter and the value or access mode it should have.
    static std::pair<int, double> is(int id, double v) { return {id, v}; }
    void expectReads(std::initializer_list<std::pair<int, double>> values) {
        for (auto [id, v] : values) EXPECT_DOUBLE_EQ(get(id), v) << id;
    }
    void expectAccess(std::initializer_list<std::pair<int, double>> modes) {
        for (auto [id, a] : modes) EXPECT_EQ(description(id)->accessFlags, a) << id;
    }
    uint64_t value(const std::string& name) { return vc::value(kCam + name); }
    void setValue(const std::string& name, uint64_t v) { vc::setValue(kCam + name, v); }
};

// ---- frequency, period limits and pulse form generators ----

TEST_F(Trigger, FrequencyBecomesAPeriodInTheStatedOperationOrder) {
    // The fastest rate needs every generator's pulse per period below 160 ns: 1 us over 7 periods.
    for (int g = 0; g < 4; ++g) run({step(pfg(g, Width), 1.0), step(pfg(g, Downscale), 7)});
    // 1 Hz is one tick short of the exact quotient, as the operation order gives it.
    run({step(kFps, 1.0, 0, kPeriod + "=62499990"), step(kFps, 6.25e6, 0, kPeriod + "=1"),
         step(kFps, kSlowest, 0, kPeriod + "=4294967287"), step(kFps, 8.0, 0, kPeriod + "=7812490"),
         step(kFps, std::nan(""), kOut, "")});
    EXPECT_EQ(getDouble(kFps), 8.0) << "refused values leave the cache";

    // A restart re-applies the frequency; at the lowest one too.
    ASSERT_EQ(setDouble(kFps, kSlowest), 0);
    setValue(kPeriod, 0);
    EXPECT_EQ(setUInt(FG_TRIGGERSTATE, Active), 0);
    EXPECT_EQ(value(kPeriod), 4294967287u);
    EXPECT_EQ(getDouble(kFps), kSlowest);
}

TEST_F(Trigger, PeriodLimitsAgainstThePulseFormGenerators) {
    // The default width of generator 0 (4000 us) is longer than a 1000 Hz period. Delay and width
    // are each compared with the period, never their sum.
    run({step(kFps, 1000, kConflict, ""), step(pfg(0, Width), 500), step(kFps, 1000),
         step(pfg(0, Width), 1000, kConflict, ""), step(pfg(0, Width), 999.9),
         step(pfg(1, Delay), 1000, kConflict, ""), step(pfg(0, Delay), 999)});
    // A downscale spreads a generator over several periods (750 us per pulse at 1300 Hz); taking it
    // back is a downscale conflict.
    run({step(pfg(2, Downscale), 2), step(pfg(2, Width), 1500),
         step(pfg(2, Downscale), 1, FG_PULSEFORM_DOWNSCALE_CONFLICT, ""), step(kFps, 1300, kConflict, "")});
    EXPECT_EQ(getUInt(pfg(2, Downscale)), 2u);
    // 62.5 Hz is exactly a 16000 us delay; 62.4 Hz is longer.
    run({step(kFps, 8),
         step(pfg(3, Delay), 16000, 0, "PulseFormGenerators_PulseFormGenerator3_Delay_Delay=1000000"),
         step(kFps, 62.5, kConflict), step(kFps, 62.4)});
}

TEST_F(Trigger, PulseFormTimesAreQuantisedTo16NsAndReadAs32BitValues) {
    using Case = std::tuple<double, int, double>;  // microseconds, ticks, read back
    for (auto [us, ticks, readBack] :
         {Case{10.0, 625, 10.0}, Case{10.01, 626, 10.016}, Case{1.0, 63, 1.008}}) {
        run({step(pfg(1, Width), us, 0,
                  "PulseFormGenerators_PulseFormGenerator1_Width_Width=" + std::to_string(ticks))});
        expectReads({is(pfg(1, Width), readBack)});
    }
    vc::clearJournal();
    ASSERT_EQ(setUInt(pfg(2, Downscale), 2), 0);
    ASSERT_EQ(setDouble(pfg(2, Delay), 1.0), 0);
    ASSERT_EQ(setDouble(pfg(2, Width), 2.0), 0);
    getDouble(pfg(2, Delay));
    getDouble(pfg(2, Width));
    const std::string delay = kCam + "PulseFormGenerators_PulseFormGenerator2_Delay_Delay:uint32",
                      width = kCam + "PulseFormGenerators_PulseFormGenerator2_Width_Width:uint32";
    EXPECT_THAT(vc::reads(), testing::ElementsAre(delay, width, width, delay, delay, width));
}

TEST_F(Trigger, DownscaleAndPhasePublishEachOthersLimits) {
    const struct {
        int downscale, phase;
        std::string selected;
    } families[] = {
        {pfg(2, Downscale), pfg(2, Phase), "PulseFormGenerators_PulseFormGenerator2_Downscale_SelectedPulse"},
        {FG_TRIGGERIN_DOWNSCALE, FG_TRIGGERIN_DOWNSCALE_PHASE, "Downscale_Downscale_SelectedPulse"},
    };
    for (const auto& f : families) {
        SCOPED_TRACE(f.downscale);
        ASSERT_EQ(setUInt(f.downscale, 4), 0);
        EXPECT_EQ(description(f.phase)->u.uiReg.to, 3u);
        // The design counts pulses from 1.
        run({step(f.phase, 4, kOut), step(f.phase, 3, 0, f.selected + "=4")});
        EXPECT_EQ(description(f.downscale)->u.uiReg.from, 4u);
        run({step(f.downscale, 3, kOut), step(f.phase, 0), step(f.downscale, 1), step(f.downscale, 0, kOut)});
        // What a previous session left is no start for the next one.
        run({step(f.downscale, 4), step(f.phase, 3)});
        reopen();
        EXPECT_EQ(value(f.selected), 1u);
    }
    EXPECT_EQ(setUInt(pfg(2, Downscale), 8), kOut);
    EXPECT_EQ(setUInt(FG_TRIGGERIN_DOWNSCALE, 8), 0) << "the input downscaler has no upper bound";
    EXPECT_EQ(description(FG_TRIGGERIN_DOWNSCALE_PHASE)->u.uiReg.to, 7u);
}

// ---- sequencer, queue and software trigger ----

TEST_F(Trigger, SoftwareTriggerRefusalsAndBursts) {
    // Without the queue a pulse waits for a ready generator and an empty queue.
    setValue(kReady, 0);
    run({step(kSend, 1, FG_SOFTWARE_TRIGGER_WRONG_MODE, ""), step(FG_AREATRIGGERMODE, Software),
         step(FG_TRIGGERSTATE, SyncStop), step(kSend, 1, FG_SOFTWARE_TRIGGER_NOT_ACTIVE, ""),
         step(FG_TRIGGERSTATE, Active), step(kSend, 1, FG_SOFTWARE_TRIGGER_PENDING, "")});
    setValue(kReady, 1);
    setValue(kQueued, 1);
    run({step(kSend, 1, FG_SOFTWARE_TRIGGER_PENDING, "")});
    setValue(kQueued, 0);
    run({step(kSend, 2, kOut, ""), step(kSend, 0, kOut, ""), step(kSend, 1, 0, kPulse + "=2"),
         step(FG_AREATRIGGERMODE, External), step(kSend, 1, FG_SOFTWARE_TRIGGER_WRONG_MODE, ""),
         step(FG_AREATRIGGERMODE, Software)});

    // With the queue, bursts up to its capacity, 160 ns or more between pulses; a failed pulse ends one.
    run({step(FG_TRIGGERQUEUE_MODE, 0), step(FG_TRIGGERQUEUE_MODE, 1), step(kSend, 2041, kOut, "")});
    EXPECT_EQ(value(kPeriod), 7812490u) << "the frequency limits the queue's output again";
    EXPECT_EQ(description(kSend)->u.uiReg.to, 2040u);
    ASSERT_EQ(setUInt(kSend, 2040), 0);
    const std::vector<vc::JournalEntry> pulses = vc::journal();
    ASSERT_EQ(pulses.size(), 2040u);
    for (size_t i = 1; i < pulses.size(); ++i) ASSERT_GE(pulses[i].timeNs - pulses[i - 1].timeNs, 160) << i;
    vc::failWrite(kCam + kPulse, 3, -77);
    run({step(kSend, 10, -77, kPulse + "=2 " + kPulse + "=2 " + kPulse + "=2 !-77")});
}

TEST_F(Trigger, BusyFlagAndFillLevels) {
    // Mode, queue status, events queued, generator ready; then the fill level, the software
    // trigger's fill level and busy flag. An event not yet taken by the generator counts as queued.
    const std::array<uint32_t, 7> cases[] = {
        {Generator, 2, 5, 0, 0, 0, 0}, {External, 2, 5, 1, 2040, 0, 0}, {External, 0, 5, 1, 5, 0, 0},
        {External, 0, 0, 1, 0, 0, 0},  {External, 0, 0, 0, 1, 0, 0},    {External, 1, 0, 0, 1, 0, 0},
        {Software, 0, 7, 0, 7, 7, 1},  {Software, 0, 0, 1, 0, 0, 0},    {Software, 0, 0, 0, 1, 1, 1},
    };
    run({step(FG_TRIGGERSTATE, Active)});
    for (auto [mode, status, queued, ready, fill, softwareFill, busy] : cases) {
        SCOPED_TRACE(testing::Message() << mode << ": " << status << queued << ready);
        run({step(FG_AREATRIGGERMODE, mode)});
        vc::setValue(kTrigger + "Monitoring_ReadQueueStatus_Status", status);
        setValue(kQueued, queued);
        setValue(kReady, ready);
        expectReads({is(FG_TRIGGERQUEUE_FILLLEVEL, fill),
                     is(FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL, softwareFill),
                     is(FG_SOFTWARETRIGGER_IS_BUSY, busy)});
    }
    run({step(FG_TRIGGERSTATE, AsyncStop)});
    setValue(kQueued, 7);
    EXPECT_EQ(getUInt(FG_TRIGGERQUEUE_FILLLEVEL), 0u) << "async stop";
    vc::failRead(kCam + kReady, 1, -55);
    uint32_t v = 0;
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_SOFTWARETRIGGER_IS_BUSY, &v, 0, FG_PARAM_TYPE_UINT32_T),
              -55);
}

// Clearing the minimum and maximum frequency is a toggle of its design value.
TEST_F(Trigger, MinMaxClearTogglesItsDesignValue) {
    const std::string toggle = "InputStatistics_ClearMinMax_Value=";
    run({step(FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR, 1, 0, toggle + "1"),
         step(FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR, 1, 0, toggle + "0")});
}

TEST_F(Trigger, ModeAndStateSettersRestoreOnFailure) {
    // A write failing in the middle of the full restart: the mode stays, the writes done stay.
    run({step(FG_TRIGGERSTATE, Active)});
    vc::failWrite(kCam + "Generators_EnableQueue_Select", 1, -77);
    vc::clearJournal();
    EXPECT_EQ(setUInt(FG_AREATRIGGERMODE, External), -77);
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), Generator);
    const std::vector<std::string> w = vc::writes();
    ASSERT_EQ(w.size(), 12u + 1 + 1 + 1) << "outputs off, input clear, queue hold, the failed write";
    EXPECT_EQ(w.back(), kCam + "Generators_EnableQueue_Select=1 !-77");

    // The re-applied frequency may fail too: the state is restored.
    run({step(FG_TRIGGERSTATE, SyncStop)});
    vc::failWrite(kCam + kPeriod, 1, -78);
    run({step(FG_TRIGGERSTATE, Active, -78)});
    EXPECT_EQ(getUInt(FG_TRIGGERSTATE), SyncStop);
    EXPECT_EQ(getDouble(kFps), 8.0);

    // So may every output line switched back on by a restart.
    for (int line = 0; line < 12; ++line) {
        const std::string select = line < 4 ? "CameraControl_Select" + std::to_string(line)
                                            : "TriggerOutput_Select" + std::to_string(line - 4);
        run({step(FG_TRIGGERSTATE, AsyncStop)});
        vc::failWrite(kCam + select + "_Select_Select", 1, -79);
        run({step(FG_TRIGGERSTATE, Active, -79)});
        EXPECT_EQ(getUInt(FG_TRIGGERSTATE), AsyncStop) << line;
    }
}

// ---- trigger input, outputs and read-outs ----

TEST_F(Trigger, EveryOutputChoiceBecomesASelectAndAnInvertBit) {
    const char* const selectAndInvert[] = {"00", "10", "20", "30", "50", "51",
                                           "01", "11", "21", "31", "40", "41"};
    const std::string line = "TriggerOutput_Select3_";
    for (int choice = 0; choice < 12; ++choice) {
        const char* c = selectAndInvert[choice];
        run({step(FG_TRIGGEROUT_SELECT3, static_cast<double>(choice), 0,
                  line + "Select_Select=" + c[0] + " " + line + "Polarity_Invert=" + c[1])});
    }
    vc::failWrite(kCam + "CameraControl_Select2_Polarity_Invert", 1, -77);
    EXPECT_EQ(setUInt(FG_TRIGGERCC_SELECT2, 6), -77);
    EXPECT_EQ(getUInt(FG_TRIGGERCC_SELECT2), 5u);
}

// On held board time a software trigger's pulse on output 3 (pulse form generator 0, 4 ms) lasts
// that long from the moment it is sent; a new bench starts a new block, which does not send it again.
TEST_F(Trigger, OutputPulsesFollowBoardTime) {
    vc::holdTime(true);
    run({step(FG_AREATRIGGERMODE, Software), step(FG_TRIGGERSTATE, Active), step(FG_TRIGGEROUT_SELECT3, 0),
         step(kSend, 1)});
    const auto after = [](int64_t ns) { return vc::advanceTime(ns), vc::triggerOutputLevels() & 8; };
    EXPECT_EQ((std::tuple{after(0), after(3'990'000), after(20'000)}), std::tuple(8u, 8u, 0u));
    vc::loadBench(PELLUCID_BENCH_EXAMPLES "/chart-noise.json");
    EXPECT_EQ(after(0), 0u);
}

// ---- legacy mode ----

TEST_F(Trigger, LegacyOnAppliesTheCachedParametersAndOwnsTheTriggerSystem) {
    // Flash on line 1 and a period of 100000 us.
    run({step(FG_EXPOSURE, 2000), step(FG_STROBEPULSEDELAY, 10240.0, kOut), step(FG_STROBEPULSEDELAY, 32.0),
         step(FG_CCSEL1, 2), step(FG_FLASHON, 1), step(FG_DIGIO_OUTPUT, 2), step(FG_TRIGGERSTATE, Active),
         step(kFps, 10.0), step(FG_TRIGGER_LEGACY_MODE, 1)});
    EXPECT_EQ(value("PulseFormGenerators_PulseFormGenerator0_Width_Width"), 125000u);
    EXPECT_EQ(value("PulseFormGenerators_PulseFormGenerator2_Delay_Delay"), 2000u);
    // Exsync off: line 0 at its idle level. Free Run, the cached trigger mode, stops the trigger.
    expectReads({is(FG_TRIGGERCC_SELECT1, 2), is(FG_TRIGGERCC_SELECT0, 4), is(FG_TRIGGEROUT_SELECT0, 4),
                 is(FG_TRIGGEROUT_SELECT1, 5), is(FG_TRIGGERSTATE, AsyncStop)});
    expectAccess({is(FG_EXPOSURE, kRwc), is(FG_TRIGGERMODE, kRwc), is(FG_AREATRIGGERMODE, kRead),
                  is(FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR, kRead)});

    // The new interface is locked, except the input line and its polarity.
    run({step(FG_AREATRIGGERMODE, Software, kInvalid, ""), step(kFps, 10.0, kInvalid, ""),
         step(FG_TRIGGERCC_SELECT3, 0, kInvalid, ""), step(FG_TRIGGERIN_BYPASS_SRC, 1, kInvalid, ""),
         step(FG_TRIGGERIN_SRC, 1), step(FG_TRIGGERIN_POLARITY, 1)});
    EXPECT_EQ(getUInt(FG_AREATRIGGERMODE), Generator);
    ASSERT_EQ(setUInt(FG_TRIGGERMODE, 4), 0);
    expectReads({is(FG_AREATRIGGERMODE, Software), is(FG_TRIGGERSTATE, Active), is(FG_TRIGGERQUEUE_MODE, 0)});
    expectAccess({is(FG_AREATRIGGERMODE, kRead)});  // transitions keep the interface locked
    // Outside Grabber controlled the generator only limits the rate.
    EXPECT_EQ(value(kPeriod), 10u);
    setValue(kReady, 1);
    EXPECT_EQ(setUInt(kSend, 1), 0) << "no legacy guard";
    ASSERT_EQ(setUInt(FG_TRIGGERMODE, 1), 0);
    EXPECT_EQ(value(kPeriod), 6249991u);
    // The exposure is generator 0's width, within the 10 Hz period.
    run({step(FG_EXPOSURE, 100), step(FG_EXPOSURE, 124990, kConflict)});
    expectReads({is(pfg(0, Width), 100), is(FG_EXPOSURE, 100)});

    // Off: the trigger system stays as legacy mode left it, and the new interface opens again.
    run({step(FG_TRIGGERMODE, 2), step(FG_TRIGGER_LEGACY_MODE, 0)});
    expectReads({is(FG_AREATRIGGERMODE, External), is(FG_TRIGGERSTATE, Active)});
    expectAccess({is(FG_EXPOSURE, kRead), is(FG_AREATRIGGERMODE, kRwc), is(kSend, kRead)});
    EXPECT_EQ(setUInt(FG_TRIGGERCC_SELECT3, 0), 0);
}

// Legacy mode publishes the new trigger interface read-only, and every setter of it refuses a
// value it would otherwise take. The input line, its polarity and the software pulse stay open.
TEST_F(Trigger, LegacyModeGuardsEverySetterItPublishesReadOnly) {
    std::vector<std::pair<int, double>> writable;
    for (int i = 0; i < A().Fg_getNrOfParameter(&fg); ++i) {
        const int id = A().Fg_getParameterId(&fg, i);
        const RegisterInfo& r = *description(id);
        if ((r.accessFlags & FG_ACCESS_READ_WRITE) != FG_ACCESS_READ_WRITE) continue;
        if (r.format == REG_FORMAT_UINT) {
            writable.emplace_back(id, std::clamp(getUInt(id), r.u.uiReg.from, r.u.uiReg.to));
        } else if (r.format == REG_FORMAT_ENUM) {
            writable.emplace_back(id, r.u.eReg.enumValues[0]);
        } else if (r.format == REG_FORMAT_DOUBLE) {
            writable.emplace_back(id, getDouble(id));
        }
    }
    ASSERT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 1), 0);
    int locked = 0;
    for (auto [id, v] : writable) {
        if ((description(id)->accessFlags & FG_ACCESS_READ_WRITE) == FG_ACCESS_READ_WRITE) continue;
        ++locked;
        const bool open = id == FG_TRIGGERIN_SRC || id == FG_TRIGGERIN_POLARITY || id == kSend;
        if (!open) run({step(id, v, kInvalid, "")});
    }
    EXPECT_GT(locked, 30);
}

TEST_F(Trigger, LegacyCameraControlLinesFollowPolaritiesAndEnables) {
    enum : uint32_t { Exsync = 0, NotExsync = 6, Flash = 2, NotFlash = 8, Gnd = 4, Vcc = 5 };
    ASSERT_EQ(setUInt(FG_TRIGGER_LEGACY_MODE, 1), 0);
    // Selection, exsync and flash polarity, exsync and flash on, the line's output choice.
    const std::array<double, 6> cases[] = {
        {Exsync, 0, 0, 1, 0, Exsync}, {Exsync, 1, 0, 1, 0, NotExsync}, {NotExsync, 1, 0, 1, 0, Exsync},
        {Exsync, 0, 0, 0, 1, Gnd},    {Exsync, 1, 0, 0, 1, Vcc},       {NotExsync, 0, 0, 0, 1, Vcc},
        {Flash, 0, 0, 0, 1, Flash},   {Flash, 0, 1, 0, 1, NotFlash},   {NotFlash, 0, 1, 1, 1, Flash},
        {Flash, 0, 0, 1, 0, Gnd},     {Flash, 0, 1, 1, 0, Vcc},        {Gnd, 1, 1, 0, 0, Gnd},
        {Vcc, 1, 1, 1, 1, Vcc},
    };
    for (auto [selection, exsyncPolarity, flashPolarity, exsyncOn, flashOn, line] : cases) {
        SCOPED_TRACE(testing::Message() << selection << " pol " << exsyncPolarity << flashPolarity << " on "
                                        << exsyncOn << flashOn);
        run({step(FG_CCSEL3, selection), step(FG_EXSYNCPOLARITY, exsyncPolarity),
             step(FG_FLASH_POLARITY, flashPolarity), step(FG_EXSYNCON, exsyncOn), step(FG_FLASHON, flashOn)});
        expectReads({is(FG_TRIGGERCC_SELECT3, line)});
    }
}

TEST_F(Trigger, LegacyFailureSwitchingOnLeavesItOff) {
    run({step(FG_EXPOSURE, 3000)});
    vc::failWrite(kCam + "PulseFormGenerators_PulseFormGenerator0_Width_Width", 1, -77);
    run({step(FG_TRIGGER_LEGACY_MODE, 1, -77)});
    expectReads({is(FG_TRIGGER_LEGACY_MODE, 0), is(FG_EXPOSURE, 3000)});
    expectAccess({is(FG_EXPOSURE, kRead), is(FG_AREATRIGGERMODE, kRwc)});
    EXPECT_EQ(setUInt(FG_AREATRIGGERMODE, Software), 0);
}

}  // namespace
