// The trigger block's simulation on ticks: what reaches the camera-control lines, and when.
#include <gtest/gtest.h>

#include <vector>

#include "trigger_chain.h"

namespace vboard {
namespace {

using Ticks = std::vector<int64_t>;

// External events through the queue to pulse form generator 0 on line CC1; the generator at its
// fastest, pulses 100 ticks wide.
TriggerSettings externalToLine0() {
    TriggerSettings s;
    s.selectExternal = s.pulseFormEnable = s.queueInPath = true, s.queueHeldCleared = false;
    s.periodTicks = 10, s.queueCapacity = 2040, s.pulseForm[0].width = 100, s.cameraControl[0].select = 0;
    return s;
}

SignalDescription periodic(double rateHz, int64_t widthNs, uint64_t count) {
    return {.rateHz = rateHz, .count = count, .widthNs = widthNs};
}

struct Lines {
    Ticks rising, falling;
    TriggerReadouts readouts;
};

// Line `line`'s edges from tick 0 to `until`.
Lines run(const std::vector<SignalDescription>& inputs, const TriggerSettings& s, int64_t until,
          int line = 0) {
    TriggerChain chain(inputs);
    chain.apply(s, 0);
    Lines r;
    chain.run(until, [&](int64_t t, int l, bool high) {
        if (l == line) (high ? r.rising : r.falling).push_back(t);
    });
    r.readouts = chain.readouts();
    return r;
}

// 10 kHz, 10 us pulses: one every 6250 ticks, 625 wide; a glitch halfway after each.
TEST(TriggerChain, DebounceRejectsGlitchesShorterThanItAndDelaysTheEvent) {
    SignalDescription signal = periodic(10000, 10000, 3);
    signal.glitchEvery = 1;
    const struct {
        uint32_t debounce;  // 48 ns units
        int64_t glitchNs;
        Ticks rising;
    } cases[] = {
        {2, 32, {6, 6256, 12506}},                    // a 2-tick glitch under 6 ticks of debounce
        {2, 160, {6, 3131, 6256, 9381, 12506}},       // 10 ticks pass 6
        {0, 32, {0, 3125, 6250, 9375, 12500}},        // without debounce every edge counts
        {63, 10000, {189, 3314, 6439, 9564, 12689}},  // the longest debounce still takes 625 ticks
    };
    for (const auto& c : cases) {
        signal.glitchWidthNs = c.glitchNs;
        TriggerSettings s = externalToLine0();
        s.debounce = c.debounce;
        const Lines r = run({signal}, s, 20000);
        EXPECT_EQ(r.rising, c.rising) << c.debounce << " " << c.glitchNs;
        EXPECT_EQ(r.readouts.inputPulses, c.rising.size());
    }
}

// Event k (from 0) at tick 100 k; the selected pulse counts from 1.
TEST(TriggerChain, DownscalePhaseMultiplyDelayAndWidthShapeTheLine) {
    const SignalDescription signal = periodic(625000, 800, 9);  // 100 ticks apart, 50 wide
    const struct {
        const char* what;
        void (*set)(TriggerSettings&);
        Ticks rising, falling;
    } cases[] = {
        {"downscale 3 phase 1: pulses 2, 5, 8",
         [](TriggerSettings& s) { s.inputDownscale = 3, s.inputSelected = 2; },
         {100, 400, 700},
         {200, 500, 800}},
        {"delay and width",
         [](TriggerSettings& s) {
             s.inputDownscale = 4, s.pulseForm[0].delay = 1000, s.pulseForm[0].width = 30;
         },
         {1000, 1400, 1800},
         {1030, 1430, 1830}},
        {"generator downscale 2 phase 2 from its clear, and an inverted line",
         [](TriggerSettings& s) {
             s.inputDownscale = 4, s.pulseForm[0].downscale = 2, s.pulseForm[0].selected = 2,
             s.cameraControl[0].invert = true, s.commands.pulseFormDownscale[0] = 1;
         },
         {0, 500},
         {400}},
        {"three pulses an event, 20 ticks apart",
         [](TriggerSettings& s) {
             s.inputDownscale = 8, s.pulsesPerEvent = 3, s.periodTicks = 20, s.pulseForm[0].width = 5;
         },
         {0, 20, 40, 800, 820, 840},
         {5, 25, 45, 805, 825, 845}},
    };
    for (const auto& c : cases) {
        TriggerSettings s = externalToLine0();
        c.set(s);
        const Lines r = run({signal}, s, 5000);
        EXPECT_EQ(r.rising, c.rising) << c.what;
        EXPECT_EQ(r.falling, c.falling) << c.what;
    }
}

// Events every 10 ticks against a generator that takes one every 1000: the queue fills to its
// size, then events are lost and reported.
TEST(TriggerChain, QueueHoldsItsSizeAndReportsWhatItLoses) {
    SignalDescription signal = periodic(6.25e6, 80, 0);
    for (uint32_t capacity : {1u, 4u}) {
        TriggerSettings s = externalToLine0();
        s.queueCapacity = capacity, s.queueOnLevel = 3;
        s.periodTicks = 1000;
        const Lines r = run({signal}, s, 2500);
        EXPECT_EQ(r.rising, (Ticks{0, 1000, 2000})) << capacity;
        EXPECT_EQ(r.readouts.queued, capacity);
        EXPECT_TRUE(r.readouts.queueFull && r.readouts.exceeded && !r.readouts.generatorReady);
        EXPECT_EQ(r.readouts.queueFillEvent, capacity >= 3);  // its on level
    }
}

// Without an external source the generator runs on its own, or paces software triggers.
TEST(TriggerChain, FreeRunAndSoftwareTriggers) {
    TriggerSettings s = externalToLine0();
    s.selectExternal = s.queueInPath = false;
    s.periodTicks = 1000;
    EXPECT_EQ(run({}, s, 3500).rising, (Ticks{0, 1000, 2000, 3000}));
    // Skipping ahead keeps the generator's phase; a period of 0 is the shortest, 1 tick
    TriggerChain skipping;
    skipping.apply(s, 0);
    skipping.skipTo(10500);
    Ticks after;
    skipping.run(12000, [&](int64_t t, int, bool high) { after.resize(after.size() + high, t); });
    EXPECT_EQ(after, (Ticks{11000, 12000}));
    s.periodTicks = 0;
    EXPECT_EQ(run({}, s, 3).readouts.outputPulses, 4u);  // at 0, 1, 2 and 3
    s.periodTicks = 1000;
    // Pulses shorter than a tick make no edge, and looking for one ends.
    EXPECT_EQ(run({periodic(1e6, 4, 0)}, externalToLine0(), 100000).readouts.inputPulses, 0u);

    TriggerChain chain;
    s.queueInPath = true;
    chain.apply(s, 0);
    Ticks rising;
    const auto record = [&](int64_t t, int, bool high) { rising.resize(rising.size() + high, t); };
    s.commands.softwareTriggers = 7;
    chain.apply(s, 0, false);  // commands that count as done before
    EXPECT_EQ(chain.readouts().queued, 0u);
    s.commands.softwareTriggers = 10, s.queueOnLevel = 2, s.queueOffLevel = 0;
    chain.apply(s, 500);
    chain.run(5000, record);
    EXPECT_EQ(rising, (Ticks{500, 1500, 2500}));
    const TriggerReadouts r = chain.readouts();  // the fill-level event went on at 2 and off at 0
    EXPECT_TRUE(!r.queueFillEvent && r.queueEventsOn == 1 && r.queueEventsOff == 1);
    // Holding the queue cleared drops what it holds.
    s.commands.softwareTriggers = 12;
    chain.apply(s, 6000);
    EXPECT_EQ(chain.readouts().queued, 2u);
    s.queueHeldCleared = true;
    chain.apply(s, 6000);
    s.queueHeldCleared = false;
    chain.apply(s, 6000);
    chain.run(9000, record);
    EXPECT_EQ(rising.size(), 3u);
}

// Input statistics follow the selected input; the bypass line follows its own input as driven.
TEST(TriggerChain, StatisticsAndBypass) {
    const SignalDescription a = periodic(625000, 800, 4),
                            b{.input = 3, .periodic = false, .timesNs = {1600, 4800}, .widthNs = 320};
    TriggerSettings s = externalToLine0();
    s.cameraControl[1] = {4, false};
    s.triggerOutput[2] = {4, true}, s.triggerOutput[5] = {5, true};  // not the bypass, and high
    s.bypassSelect = 3;
    TriggerChain chain({a, b});
    chain.apply(s, 0);
    Ticks bypass;
    chain.run(1000, [&](int64_t t, int line, bool) { bypass.resize(bypass.size() + (line == 1), t); });
    EXPECT_EQ(bypass, (Ticks{100, 120, 300, 320}));
    const auto statistics = [&] {
        const TriggerReadouts r = chain.readouts();
        return std::vector<uint32_t>({r.inputPulses, r.inputPeriod, r.inputMinPeriod, r.inputMaxPeriod,
                                      r.outputPulses, r.generatorReady, r.outputLevels});
    };
    EXPECT_EQ(statistics(), std::vector<uint32_t>({4, 100, 100, 100, 4, 1, 0b100100}));
    s.commands.inputPulses = s.clearMinMax = s.commands.outputPulses = 1;
    chain.apply(s, 1000);
    EXPECT_EQ(statistics(), std::vector<uint32_t>({0, 100, 0, 0, 0, 1, 0b100100}));
}

}  // namespace
}  // namespace vboard
