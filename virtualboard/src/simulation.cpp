#include "simulation.h"

#include <algorithm>

#include "board.h"

namespace vboard {

namespace {

// Simulated times stay far inside int64_t whatever the time scale says.
constexpr double kLongestNs = 1e18;
// Edges nobody collects are dropped beyond this many.
constexpr size_t kEdgeCapacity = 1 << 20;
// On running time a block left alone longer than this (100 ms) skips ahead instead of simulating
// everything it missed: catching up on an hour of a fast encoder would take minutes.
constexpr int64_t kCatchUpTicks = 100'000'000 / kDesignTickNs;

const std::string kTrigger = "Device1_Process1_Trigger_", kCam = kTrigger + "TriggerCam0_";

}  // namespace

int64_t Simulation::nowLocked() {
    if (held_) return anchorNs_;
    const double elapsed = std::chrono::duration<double, std::nano>(Clock::now() - anchor_).count();
    return static_cast<int64_t>(std::min(static_cast<double>(anchorNs_) + elapsed * scale_, kLongestNs));
}

int64_t Simulation::nowNs() {
    std::lock_guard lock(m_);
    observed_ = true;
    return nowLocked();
}

void Simulation::setTimeScale(double factor) {
    if (!(factor > 0.0)) return;
    std::lock_guard lock(m_);
    anchorNs_ = nowLocked();
    anchor_ = Clock::now();
    scale_ = factor;
}

double Simulation::timeScale() {
    std::lock_guard lock(m_);
    return scale_;
}

void Simulation::hold(bool held) {
    std::lock_guard lock(m_);
    // Time nobody has looked at since power-on is taken back: a test held right after a reset
    // starts at 0.
    anchorNs_ = observed_ ? nowLocked() : 0;
    anchor_ = Clock::now();
    held_ = held;
}

void Simulation::advance(int64_t ns) {
    std::lock_guard lock(m_);
    observed_ = true;
    if (held_ && ns > 0) anchorNs_ = std::min<int64_t>(anchorNs_ + ns, static_cast<int64_t>(kLongestNs));
}

void Simulation::reset(std::vector<SignalDescription> inputs) {
    std::lock_guard lock(m_);
    chain_ = TriggerChain(std::move(inputs));
    anchor_ = Clock::now();
    anchorNs_ = 0;
    scale_ = 1.0;
    held_ = false;
    edges_.clear();
    publishedOnce_ = false;
    observed_ = false;
}

void Simulation::setInputs(std::vector<SignalDescription> inputs) {
    std::lock_guard lock(m_);
    // The new block starts where the old one stood; the signals are on board time.
    const int64_t tick = chain_.now();
    chain_ = TriggerChain(std::move(inputs));
    chain_.apply(board_.triggerSettings(), tick, false);  // commands written so far are done
}

bool Simulation::held() {
    std::lock_guard lock(m_);
    return held_;
}

int64_t Simulation::update() {
    std::lock_guard lock(m_);
    observed_ = true;
    const int64_t now = nowLocked(), tick = now / kDesignTickNs;
    const auto collect = [&](int64_t t, int line, bool high) {
        if (listening_ && edges_.size() < kEdgeCapacity) edges_.push_back({t * kDesignTickNs, line, high});
    };
    if (!held_ && tick - chain_.now() > kCatchUpTicks) chain_.skipTo(tick - kCatchUpTicks);
    // What happened since the last look happened under the settings of then; the new ones (read
    // under this lock, so two updates never apply them out of order) count from now.
    chain_.run(tick, collect);
    chain_.apply(board_.triggerSettings(), tick);
    chain_.run(tick, collect);
    publish(chain_.readouts());
    return now;
}

// Only what the block changed: a value a test preset stays until the block moves it.
void Simulation::publish(const TriggerReadouts& r) {
    const TriggerReadouts& was = published_;
    const auto put = [&](const std::string& name, uint64_t before, uint64_t now) {
        if (before != now || !publishedOnce_) board_.setReadout(name, now);
    };
    put(kCam + "Generators_Generator_MaximumReached_Status", was.generatorReady, r.generatorReady);
    put(kCam + "Generators_QueueValue_Status", was.queued, r.queued);
    put(kTrigger + "Monitoring_ReadQueueStatus_Status", was.queueFull ? 2 : 0, r.queueFull ? 2 : 0);
    put(kTrigger + "TriggerInput_InputStatus_Status", was.inputLevels, r.inputLevels);
    put(kCam + "InputStatistics_ReadPulses_Status", was.inputPulses, r.inputPulses);
    put(kCam + "InputStatistics_ReadPeriod_Status", was.inputPeriod, r.inputPeriod);
    put(kCam + "InputStatistics_ReadMin_Status", was.inputMinPeriod, r.inputMinPeriod);
    put(kCam + "InputStatistics_ReadMax_Status", was.inputMaxPeriod, r.inputMaxPeriod);
    put(kTrigger + "Monitoring_CheckForMissingFrame_Cam0_Missing_Status", was.missing, r.missing);
    put(kTrigger + "Monitoring_CheckPeriod_Cam0_Exceeded_Status", was.exceeded, r.exceeded);
    put(kCam + "OutputStatistics_ReadPulses_Status", was.outputPulses, r.outputPulses);
    published_ = r;
    publishedOnce_ = true;
}

void Simulation::listen(bool on) {
    if (on) update();  // what happened before is not news to the new listener
    std::lock_guard lock(m_);
    listening_ = on;
    edges_.clear();
}

std::vector<LineEdge> Simulation::takeEdges() {
    std::lock_guard lock(m_);
    std::vector<LineEdge> out;
    out.swap(edges_);
    return out;
}

TriggerReadouts Simulation::readouts() {
    update();
    std::lock_guard lock(m_);
    return chain_.readouts();
}

void Simulation::cameraMissed() {
    std::lock_guard lock(m_);
    chain_.cameraMissed();
}

}  // namespace vboard
