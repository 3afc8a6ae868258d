// The design's trigger block as a simulation on design clock ticks (16 ns): the eight inputs driven
// by the bench's signals, input selection, polarity, debounce, the input downscaler, the queue and
// the generator that paces it, pulse multiplication, the four pulse form generators and the
// camera-control line multiplexers. Nothing in it reads a clock: the same settings and signals
// give the same pulses at the same ticks.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "bench.h"
#include "c_api.h"

namespace vboard {

constexpr int64_t kDesignTickNs = 16;

// The trigger block's settings as its design parameters hold them.
struct TriggerSettings {
    uint32_t inputSelect = 0;
    bool inputInvert = false;
    uint32_t debounce = 0;  // units of 48 ns
    uint32_t bypassSelect = 0;
    uint32_t inputDownscale = 1, inputSelected = 1;  // the selected pulse counts from 1
    bool selectExternal = false;
    bool pulseFormEnable = false;
    bool queueHeldCleared = true;
    bool queueInPath = false;
    uint64_t periodTicks = 9;
    uint32_t queueCapacity = 1;
    uint32_t pulsesPerEvent = 1;
    struct PulseForm {
        uint32_t downscale = 1, selected = 1;
        uint64_t delay = 0, width = 0;  // ticks
    };
    std::array<PulseForm, 4> pulseForm{};
    struct Line {
        uint32_t select = 5;  // 0..3 pulse form generator, 4 input bypass, else the constant low level
        bool invert = false;
    };
    std::array<Line, 4> cameraControl{};
    std::array<Line, 8> triggerOutput{};
    uint32_t queueOnLevel = 0, queueOffLevel = 0;  // the queue's fill-level event turns on and off
    uint32_t outputStatisticsSelect = 0;
    uint32_t clearMinMax = 0;  // its toggling clears the input's minimum and maximum period
    // Clear commands and software triggers written so far; the simulation acts on new ones.
    struct Commands {
        uint64_t inputDownscale = 0, inputPulses = 0, generatorDownscale = 0, missing = 0, exceeded = 0,
                 outputPulses = 0, softwareTriggers = 0;
        std::array<uint64_t, 4> pulseFormDownscale{};
    } commands{};
};

// The read-outs the trigger block answers.
struct TriggerReadouts {
    uint32_t inputLevels = 0;  // one bit per input, as driven
    uint32_t inputPulses = 0;
    uint32_t inputPeriod = 0, inputMinPeriod = 0, inputMaxPeriod = 0;  // ticks between accepted events
    bool generatorReady = true;
    uint32_t queued = 0;
    bool queueFull = false;
    bool missing = false;   // the camera missed a pulse
    bool exceeded = false;  // events came faster than the queue and the period allow
    uint32_t outputPulses = 0;
    uint32_t outputLevels = 0;    // one bit per trigger output
    bool queueFillEvent = false;  // on since the fill level reached the on level
    uint32_t queueEventsOn = 0, queueEventsOff = 0;
};

class VBOARD_EXPORT TriggerChain {
  public:
    explicit TriggerChain(std::vector<SignalDescription> inputs = {});

    // The settings from `tick` on (events before it belong to the old ones: run up to it first).
    // New commands take effect at that tick, unless `commands` is false: then they count as done.
    void apply(const TriggerSettings& s, int64_t tick, bool commands = true);
    // Jumps to `tick` without simulating what lies between: the inputs, pending pulses and the
    // generator's phase are as they would be, the statistics miss what was skipped.
    void skipTo(int64_t tick);
    // Runs the block up to and including `until`. `onEdge(tick, line, high)` hears every level
    // change of the four camera-control lines in time order.
    void run(int64_t until, const std::function<void(int64_t, int, bool)>& onEdge);
    // The camera could not take a pulse on its line.
    void cameraMissed() { missing_ = true; }
    TriggerReadouts readouts() const;
    int64_t now() const { return now_; }
    // The next tick at which something happens, or INT64_MAX.
    int64_t nextEvent() const;
    // Level of input `i` as driven at `tick`.
    bool inputLevel(int i, int64_t tick) const;

  private:
    struct Edge {
        int64_t tick = INT64_MAX;
        bool high = false;
    };
    Edge nextInputEdge(int input, int64_t after) const;
    int64_t nextInternalEvent() const;
    void acceptEdge(bool high, int64_t tick);
    void triggerEvent(int64_t tick);
    void enqueue(int64_t tick);
    void generatorPulse(int64_t tick);
    bool level(const TriggerSettings::Line& l) const;
    void fillLevelChanged();
    bool bypassUsed() const;
    void emitLines(int64_t tick, const std::function<void(int64_t, int, bool)>& onEdge);

    std::vector<SignalDescription> signals_;
    TriggerSettings s_;
    int64_t now_ = 0;
    // Selected input: raw level, and the level the debouncer waits to accept.
    bool raw_ = false, debounced_ = false;
    int64_t pendingAt_ = INT64_MAX;
    int64_t lastInputEdge_ = -1;  // the last raw edge taken, so the next one is searched after it
    bool bypassLevel_ = false;
    // Input statistics and downscaler.
    uint64_t inputCount_ = 0;
    uint32_t pulses_ = 0, period_ = 0, minPeriod_ = 0, maxPeriod_ = 0;
    int64_t lastEvent_ = -1;
    // Queue and generator.
    uint32_t queued_ = 0;
    int64_t nextPulse_ = INT64_MAX;  // next generator pulse of a running sequence or free run
    uint32_t sequenceLeft_ = 0;
    int64_t readyAt_ = 0;  // the generator takes the next event from here on
    bool freeRunning_ = false;
    bool exceeded_ = false, missing_ = false;
    // Pulse form generators: pulses counted since the last clear, and the output intervals due.
    std::array<uint64_t, 4> formCount_{};
    std::array<std::deque<std::pair<int64_t, int64_t>>, 4> outputs_{};
    std::array<bool, 4> formLevel_{};
    uint32_t outputPulses_ = 0;
    std::array<bool, 4> lineLevels_{};
    bool queueEvent_ = false;
    uint32_t queueEventsOn_ = 0, queueEventsOff_ = 0;
};

}  // namespace vboard
