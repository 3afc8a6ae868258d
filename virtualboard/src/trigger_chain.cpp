#include "trigger_chain.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vboard {

namespace {

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
// Pulses a generator holds while their delay runs; a longer backlog of delayed pulses is dropped.
constexpr size_t kMaxPendingPulses = 4096;

// Inputs are sampled on the design clock.
int64_t toTick(double ns) {
    return static_cast<int64_t>(std::llround(ns / kDesignTickNs));
}

}  // namespace

namespace {

struct Pulse {
    int64_t rise, fall;
};

// A signal's pulses on ticks: pulse k rises at its start and falls `width` later, and a glitch may
// follow it halfway to the next one. These are `n` pulses from index `k` on, with their glitches.
void pulsesFrom(const SignalDescription& s, uint64_t k, size_t n, std::vector<Pulse>& out) {
    const uint64_t total = s.periodic ? (s.count == 0 ? UINT64_MAX : s.count) : s.timesNs.size();
    const double period = s.periodic ? 1e9 / s.rateHz : 0.0;
    auto start = [&](uint64_t i) {
        return s.periodic ? static_cast<double>(s.startNs) + static_cast<double>(i) * period
                          : static_cast<double>(s.timesNs[i]);
    };
    for (uint64_t i = k; i < total && n > 0; ++i, --n) {
        const double begin = start(i);
        out.push_back({toTick(begin), toTick(begin + static_cast<double>(s.widthNs))});
        if (s.glitchEvery != 0 && (i + 1) % s.glitchEvery == 0 && i + 1 < total) {
            const double at = (begin + start(i + 1)) / 2;
            out.push_back({toTick(at), toTick(at + static_cast<double>(s.glitchWidthNs))});
        }
    }
}

// Index of the first pulse that may still matter at `tick`.
uint64_t firstPulseNear(const SignalDescription& s, int64_t tick) {
    const double ns = static_cast<double>(tick) * kDesignTickNs;
    if (s.periodic) {
        const double period = 1e9 / s.rateHz;
        const double k =
            std::floor((ns - static_cast<double>(s.startNs) - static_cast<double>(s.widthNs)) / period);
        return k < 2 ? 0 : static_cast<uint64_t>(k) - 2;
    }
    const auto it =
        std::upper_bound(s.timesNs.begin(), s.timesNs.end(), static_cast<int64_t>(ns) - s.widthNs);
    const auto k = static_cast<uint64_t>(it - s.timesNs.begin());
    return k < 2 ? 0 : k - 2;
}

bool levelOf(const std::vector<Pulse>& pulses, int64_t tick) {
    for (const Pulse& p : pulses)
        if (p.rise <= tick && tick < p.fall) return true;
    return false;
}

}  // namespace

// Every input is low before tick 0, so a pulse that begins at 0 is an edge.
TriggerChain::TriggerChain(std::vector<SignalDescription> inputs) : signals_(std::move(inputs)) {}

bool TriggerChain::inputLevel(int input, int64_t tick) const {
    std::vector<Pulse> pulses;
    for (const SignalDescription& s : signals_) {
        if (s.input != input) continue;
        pulses.clear();
        pulsesFrom(s, firstPulseNear(s, tick), 6, pulses);
        if (levelOf(pulses, tick)) return true;
    }
    return false;
}

TriggerChain::Edge TriggerChain::nextInputEdge(int input, int64_t after) const {
    Edge best;
    std::vector<Pulse> pulses;
    std::vector<int64_t> ticks;
    for (const SignalDescription& s : signals_) {
        if (s.input != input) continue;
        // Widen the window until an edge turns up or the signal ends; pulses that round to nothing
        // on the design clock make no edge, so the search gives up after a while.
        uint64_t k = firstPulseNear(s, after);
        for (int window = 0; window < 256; ++window, k += 4) {
            pulses.clear();
            pulsesFrom(s, k, 8, pulses);
            if (pulses.empty()) break;
            ticks.clear();
            for (const Pulse& p : pulses) ticks.insert(ticks.end(), {p.rise, p.fall});
            std::sort(ticks.begin(), ticks.end());
            bool found = false;
            for (int64_t t : ticks) {
                if (t <= after || t >= best.tick) continue;
                const bool high = levelOf(pulses, t);
                if (high != levelOf(pulses, t - 1)) {
                    best = {t, high};
                    found = true;
                    break;
                }
            }
            if (found || pulses.front().rise >= best.tick) break;
        }
    }
    return best;
}

void TriggerChain::apply(const TriggerSettings& s, int64_t tick, bool commands) {
    tick = std::max(tick, now_);
    TriggerSettings old = s_;
    if (!commands) old.commands = s.commands;
    s_ = s;
    if (s_.inputDownscale == 0) s_.inputDownscale = 1;
    if (s_.periodTicks == 0) s_.periodTicks = 1;
    now_ = tick;
    const auto& c = s.commands;
    const auto& o = old.commands;
    if (s.inputSelect != old.inputSelect) {
        raw_ = debounced_ = inputLevel(static_cast<int>(s.inputSelect), tick);
        pendingAt_ = kNever;
        lastInputEdge_ = tick;
    }
    if (c.inputDownscale != o.inputDownscale) inputCount_ = 0;
    if (c.inputPulses != o.inputPulses) pulses_ = 0;
    if (s.clearMinMax != old.clearMinMax) minPeriod_ = maxPeriod_ = 0;
    if (c.missing != o.missing) missing_ = false;
    if (c.exceeded != o.exceeded) exceeded_ = false;
    if (c.outputPulses != o.outputPulses) outputPulses_ = 0;
    for (int g = 0; g < 4; ++g)
        if (c.pulseFormDownscale[g] != o.pulseFormDownscale[g]) formCount_[g] = 0;
    if (s.queueHeldCleared) {
        queued_ = 0;
        fillLevelChanged();
        sequenceLeft_ = 0;
        readyAt_ = tick;
        if (!freeRunning_) nextPulse_ = kNever;
    } else if (c.generatorDownscale != o.generatorDownscale && sequenceLeft_ > 0) {
        sequenceLeft_ = 0;
        nextPulse_ = kNever;
        readyAt_ = tick + static_cast<int64_t>(s.periodTicks);
    }
    const bool freeRun = !s.selectExternal && !s.queueInPath && s.pulseFormEnable && !s.queueHeldCleared;
    if (freeRun != freeRunning_) nextPulse_ = freeRun ? tick : kNever;
    freeRunning_ = freeRun;
    if (!s.selectExternal)
        for (uint64_t i = o.softwareTriggers; i < c.softwareTriggers; ++i) enqueue(tick);
}

void TriggerChain::triggerEvent(int64_t tick) {
    ++pulses_;
    if (lastEvent_ >= 0) {
        const auto gap = static_cast<uint32_t>(std::min<int64_t>(tick - lastEvent_, UINT32_MAX));
        period_ = gap;
        minPeriod_ = minPeriod_ == 0 ? gap : std::min(minPeriod_, gap);
        maxPeriod_ = std::max(maxPeriod_, gap);
    }
    lastEvent_ = tick;
    const uint64_t k = inputCount_++;
    if (k % s_.inputDownscale + 1 != s_.inputSelected) return;
    if (s_.selectExternal) enqueue(tick);
}

void TriggerChain::enqueue(int64_t) {
    if (s_.queueHeldCleared || (!s_.queueInPath && !s_.selectExternal)) return;
    const uint32_t capacity = s_.queueInPath ? std::max<uint32_t>(s_.queueCapacity, 1) : 1;
    if (queued_ >= capacity) {
        exceeded_ = true;
        return;
    }
    ++queued_;
    fillLevelChanged();
}

void TriggerChain::generatorPulse(int64_t tick) {
    const auto period = static_cast<int64_t>(s_.periodTicks);
    if (freeRunning_) {
        nextPulse_ = tick + period;
    } else if (--sequenceLeft_ > 0) {
        nextPulse_ = tick + period;
    } else {
        nextPulse_ = kNever;
        readyAt_ = tick + period;
    }
    if (!s_.pulseFormEnable) return;
    for (int g = 0; g < 4; ++g) {
        const TriggerSettings::PulseForm& f = s_.pulseForm[g];
        const uint64_t k = formCount_[g]++;
        if (f.downscale == 0 || k % f.downscale + 1 != f.selected || f.width == 0) continue;
        const int64_t begin = tick + static_cast<int64_t>(f.delay),
                      end = begin + static_cast<int64_t>(f.width);
        auto& q = outputs_[g];
        if (!q.empty() && begin <= q.back().second) {
            q.back().second = std::max(q.back().second, end);  // overlapping pulses merge
        } else if (q.size() < kMaxPendingPulses) {
            q.emplace_back(begin, end);
        }
        if (static_cast<uint32_t>(g) == s_.outputStatisticsSelect) ++outputPulses_;
    }
}

int64_t TriggerChain::nextEvent() const {
    return std::min(nextInputEdge(static_cast<int>(s_.inputSelect), lastInputEdge_).tick,
                    nextInternalEvent());
}

int64_t TriggerChain::nextInternalEvent() const {
    int64_t next = std::min(pendingAt_, nextPulse_);
    if (queued_ > 0 && sequenceLeft_ == 0 && !s_.queueHeldCleared)
        next = std::min(next, std::max(readyAt_, now_));
    for (int g = 0; g < 4; ++g)
        if (!outputs_[g].empty())
            next = std::min(next, formLevel_[g] ? outputs_[g].front().second : outputs_[g].front().first);
    if (bypassUsed()) next = std::min(next, nextInputEdge(static_cast<int>(s_.bypassSelect), now_).tick);
    return next;
}

void TriggerChain::skipTo(int64_t tick) {
    if (tick <= now_) return;
    now_ = lastInputEdge_ = tick;
    raw_ = debounced_ = inputLevel(static_cast<int>(s_.inputSelect), tick);
    pendingAt_ = kNever;
    bypassLevel_ = inputLevel(static_cast<int>(s_.bypassSelect), tick);
    const auto period = static_cast<int64_t>(s_.periodTicks);
    if (freeRunning_ && nextPulse_ < tick) {
        nextPulse_ += (tick - nextPulse_ + period - 1) / period * period;  // in step with before
    } else if (!freeRunning_ && sequenceLeft_ > 0) {
        sequenceLeft_ = 0;
        nextPulse_ = kNever;
        readyAt_ = tick;
    }
    for (int g = 0; g < 4; ++g) {
        auto& q = outputs_[g];
        while (!q.empty() && q.front().second <= tick) q.pop_front();
        formLevel_[g] = !q.empty() && q.front().first <= tick;
    }
}

bool TriggerChain::bypassUsed() const {
    const auto bypass = [](const auto& l) { return l.select == 4; };
    return std::any_of(s_.cameraControl.begin(), s_.cameraControl.end(), bypass) ||
           std::any_of(s_.triggerOutput.begin(), s_.triggerOutput.end(), bypass);
}

// The queue's fill-level event follows the fill level with hysteresis.
void TriggerChain::fillLevelChanged() {
    if (!queueEvent_ && s_.queueOnLevel > 0 && queued_ >= s_.queueOnLevel) {
        queueEvent_ = true;
        ++queueEventsOn_;
    } else if (queueEvent_ && queued_ <= s_.queueOffLevel) {
        queueEvent_ = false;
        ++queueEventsOff_;
    }
}

// A camera-control line or trigger output: its multiplexer's source through its inverter.
bool TriggerChain::level(const TriggerSettings::Line& l) const {
    const bool source = l.select < 4 ? formLevel_[l.select] : l.select == 4 ? bypassLevel_ : false;
    return source != l.invert;
}

void TriggerChain::emitLines(int64_t tick, const std::function<void(int64_t, int, bool)>& onEdge) {
    for (int line = 0; line < 4; ++line) {
        const bool high = level(s_.cameraControl[line]);
        if (high == lineLevels_[line]) continue;
        lineLevels_[line] = high;
        if (onEdge) onEdge(tick, line, high);
    }
}

void TriggerChain::run(int64_t until, const std::function<void(int64_t, int, bool)>& onEdge) {
    emitLines(now_, onEdge);  // a new select or inverter changes a line at once
    const int input = static_cast<int>(s_.inputSelect);
    for (;;) {
        const Edge raw = nextInputEdge(input, lastInputEdge_);
        const int64_t t = std::min(raw.tick, nextInternalEvent());
        if (t > until || t == kNever) break;
        now_ = t;
        if (raw.tick == t) {
            lastInputEdge_ = t;
            raw_ = raw.high;
            pendingAt_ = raw_ == debounced_ ? kNever : t + 3 * static_cast<int64_t>(s_.debounce);
        }
        if (pendingAt_ == t) {
            debounced_ = raw_;
            pendingAt_ = kNever;
            if (debounced_ != s_.inputInvert) triggerEvent(t);
        }
        if (nextPulse_ == t) generatorPulse(t);
        if (queued_ > 0 && sequenceLeft_ == 0 && !s_.queueHeldCleared && t >= readyAt_) {
            --queued_;
            fillLevelChanged();
            sequenceLeft_ = std::max<uint32_t>(s_.pulsesPerEvent, 1);
            generatorPulse(t);
        }
        for (int g = 0; g < 4; ++g) {
            auto& q = outputs_[g];
            while (!q.empty()) {
                if (!formLevel_[g] && q.front().first <= t) formLevel_[g] = true;
                if (!formLevel_[g] || q.front().second > t) break;
                formLevel_[g] = false;
                q.pop_front();
            }
        }
        if (bypassUsed()) bypassLevel_ = inputLevel(static_cast<int>(s_.bypassSelect), t);
        emitLines(t, onEdge);
    }
    now_ = std::max(now_, until);
}

TriggerReadouts TriggerChain::readouts() const {
    TriggerReadouts r;
    for (int i = 0; i < 8; ++i)
        if (inputLevel(i, now_)) r.inputLevels |= 1u << i;
    r.inputPulses = pulses_;
    r.inputPeriod = period_;
    r.inputMinPeriod = minPeriod_;
    r.inputMaxPeriod = maxPeriod_;
    r.generatorReady = !s_.queueHeldCleared && sequenceLeft_ == 0 && now_ >= readyAt_;
    r.queued = queued_;
    r.queueFull = queued_ >= (s_.queueInPath ? std::max<uint32_t>(s_.queueCapacity, 1) : 1);
    r.missing = missing_;
    r.exceeded = exceeded_;
    r.outputPulses = outputPulses_;
    for (int i = 0; i < 8; ++i)
        if (level(s_.triggerOutput[i])) r.outputLevels |= 1u << i;
    r.queueFillEvent = queueEvent_;
    r.queueEventsOn = queueEventsOn_;
    r.queueEventsOff = queueEventsOff_;
    return r;
}

}  // namespace vboard
