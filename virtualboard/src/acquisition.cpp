#include "acquisition.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <deque>
#include <limits>
#include <system_error>

#include "board.h"
#include "fg_constants.h"

namespace vboard {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kTickNs = 16;  // one design clock
constexpr int64_t kIdle = -1;
// Settings and software triggers are looked at this often while nothing else is due.
constexpr auto kPoll = std::chrono::milliseconds(1);
constexpr size_t kQueueCapacity = 4096;
// A frame source further behind than this (simulated time) skips the frames it could not make in
// time rather than chase them, so that a stop is never kept waiting for a backlog.
constexpr int64_t kMaxLagNs = 100'000'000;
// Simulated times stay far inside int64_t whatever the registers and the time scale say.
constexpr double kLongestNs = 1e18;

const char* const kFillLevels[] = {"Device1_Process0_Buffer_0_DRAM_A_0_FillLevel",
                                   "Device1_Process0_Buffer_0_DRAM_A_1_FillLevel"};
constexpr const char* kOverflow = "Device1_Process0_Overflow_OverflowOccurred";
constexpr const char* kReady =
    "Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MaximumReached_Status";
constexpr const char* kQueued = "Device1_Process1_Trigger_TriggerCam0_Generators_QueueValue_Status";

// Duration of one frame in ns: lines of the line width in tap clocks, of which `active` in every
// active + passive design clocks move pixels. 0 when the simulator makes no frames.
int64_t frameNs(const CameraSettings& c) {
    if (!c.on || c.mask == 0 || c.active == 0 || c.width == 0 || c.height == 0) return 0;
    const double clockNs = double(kTickNs) * (c.active + c.passive) / c.active;
    const double ns = double(c.height) * std::max(c.lineWidth, c.width) * clockNs;
    return static_cast<int64_t>(std::clamp(ns, 1.0, kLongestNs));
}

}  // namespace

// The frame source's own state, on simulated time in ns since the start.
struct Acquisition::Simulation {
    bool busy = false;  // a frame is being read out of the camera
    int64_t frameEnd = 0;
    int64_t cameraFree = 0;  // when the camera can begin the next frame
    CameraSettings frameCamera;
    long frameIndex = 0;
    long framesBegun = 0;
    bool generatorOn = false;
    int64_t generatorStart = 0;
    std::deque<int64_t> queue;  // software pulses waiting for the generator and the camera
    int64_t lastPulse = std::numeric_limits<int64_t>::min() / 2;
    uint64_t pulsesSeen = 0;
    RawFrame raw;
};

Acquisition::Acquisition(Board& board) : board_(board) {}

Acquisition::~Acquisition() {
    {
        std::lock_guard lock(m_);
        running_ = false;
        stopping_ = true;
    }
    wakeCv_.notify_all();
    join();
}

void Acquisition::join() {
    std::lock_guard lock(joinM_);
    if (thread_.joinable()) thread_.join();
}

int Acquisition::start(const void* owner, long pictures, const void* memory, long bufferCount,
                       unsigned char* data, size_t bufferSize) {
    std::lock_guard joinLock(joinM_);
    if (thread_.joinable()) {
        {
            std::lock_guard lock(m_);
            if (running_) return FG_ACQUISITION_RUNNING;
        }
        thread_.join();  // a run that ended with its picture count
    }
    {
        std::lock_guard lock(m_);
        running_ = true;
        stopping_ = false;
        owner_ = owner;
        memory_ = memory;
        data_ = data;
        bufferSize_ = bufferSize;
        wanted_ = pictures;
        bufferCount_ = bufferCount;
        last_ = 0;
        asked_ = 0;
        overflow_ = false;
        counters_ = {};
        pulsesAtStart_ = board_.softwarePulses();
    }
    // The simulated trigger takes every pulse at once: always ready, nothing queued in the design.
    board_.setReadout(kReady, 1);
    board_.setReadout(kQueued, 0);
    publish();
    try {
        thread_ = std::thread(&Acquisition::run, this);
    } catch (const std::system_error&) {
        std::lock_guard lock(m_);
        running_ = false;
        owner_ = nullptr;
        return FG_NOT_ENOUGH_MEMORY;
    }
    return 0;
}

int Acquisition::stop(bool finishFrame) {
    bool wasRunning;
    {
        std::lock_guard lock(m_);
        wasRunning = running_;
        if (finishFrame && running_) {
            finishFrame_ = true;
        } else {
            running_ = false;
            stopping_ = true;  // also for a finished thread still on its way out
        }
        owner_ = nullptr;
    }
    wakeCv_.notify_all();
    join();
    {
        std::lock_guard lock(m_);
        running_ = false;
        stopping_ = false;
        finishFrame_ = false;
    }
    cv_.notify_all();
    return wasRunning ? 0 : FG_ACQUISITION_NOT_RUNNING;
}

void Acquisition::stopOwnedBy(const void* owner) {
    bool mine;
    {
        std::lock_guard lock(m_);
        mine = running_ && owner_ == owner;
    }
    if (mine) stop();
}

bool Acquisition::running() const {
    std::lock_guard lock(m_);
    return running_;
}

bool Acquisition::uses(const void* memory) const {
    std::lock_guard lock(m_);
    return running_ && memory != nullptr && memory_ == memory;
}

long Acquisition::lastPicture() const {
    std::lock_guard lock(m_);
    return last_;
}

long Acquisition::wanted() const {
    std::lock_guard lock(m_);
    return wanted_;
}

long Acquisition::bufferCount() const {
    std::lock_guard lock(m_);
    return bufferCount_;
}

AcquisitionCounters Acquisition::counters() const {
    std::lock_guard lock(m_);
    return counters_;
}

int Acquisition::fillLevelLocked() const {
    if (bufferCount_ < 1) return 0;
    const long held = std::clamp(last_ - asked_, 0L, bufferCount_);
    return static_cast<int>(held * 100 / bufferCount_);
}

int Acquisition::fillLevel() const {
    std::lock_guard lock(m_);
    return fillLevelLocked();
}

void Acquisition::publish() {
    int level;
    bool overflow;
    {
        std::lock_guard lock(m_);
        level = fillLevelLocked();
        overflow = overflow_;
    }
    for (const char* name : kFillLevels) board_.setReadout(name, static_cast<uint64_t>(level));
    board_.setReadout(kOverflow, overflow ? 1 : 0);
}

long Acquisition::waitForPicture(long number, int timeoutSeconds) {
    long result;
    {
        std::unique_lock lock(m_);
        asked_ = std::max(asked_, number);
        const auto deadline = Clock::now() + std::chrono::seconds(std::max(timeoutSeconds, 0));
        result = cv_.wait_until(lock, deadline, [&] { return last_ >= number; }) ? last_ : FG_TIMEOUT_ERR;
    }
    publish();
    return result;
}

bool Acquisition::overwritten(const void* memory, long number) {
    {
        std::lock_guard lock(m_);
        if (memory == nullptr || memory != memory_) return false;
        if (number <= last_ - bufferCount_) return true;
        asked_ = std::max(asked_, std::min(number, last_));
    }
    publish();
    return false;
}

void Acquisition::forget(const void* memory) {
    std::lock_guard lock(m_);
    if (!running_ && memory_ == memory) {
        memory_ = nullptr;
        data_ = nullptr;
    }
}

void Acquisition::endLocked() {
    running_ = false;
    owner_ = nullptr;
}

void Acquisition::deliver(unsigned frames) {
    {
        std::lock_guard lock(m_);
        for (unsigned i = 0; i < frames && running_; ++i) {
            ++last_;
            ++counters_.delivered;
            if (wanted_ > 0 && last_ >= wanted_) endLocked();
        }
    }
    cv_.notify_all();
}

void Acquisition::reset() {
    stop();
    {
        std::lock_guard lock(m_);
        memory_ = nullptr;
        data_ = nullptr;
        bufferSize_ = 0;
        wanted_ = 0;
        bufferCount_ = 0;
        last_ = 0;
        asked_ = 0;
        overflow_ = false;
        counters_ = {};
    }
    timeScale_ = 1.0;
    cv_.notify_all();
}

void Acquisition::setTimeScale(double factor) {
    if (factor > 0.0) timeScale_ = factor;
}

// ---------------------------------------------------------------------------------------------
// The frame source

void Acquisition::run() {
    Simulation sim;
    {
        std::lock_guard lock(m_);
        sim.pulsesSeen = pulsesAtStart_;
    }
    const double scale = timeScale_;
    const auto realStart = Clock::now();
    for (;;) {
        {
            std::lock_guard lock(m_);
            if (stopping_ || !running_ || (finishFrame_ && !sim.busy)) return;
        }
        const auto elapsed = std::chrono::duration<double, std::nano>(Clock::now() - realStart).count();
        const auto now = static_cast<int64_t>(std::min(elapsed * scale, kLongestNs));
        const CameraSettings camera = board_.cameraSettings();

        const uint64_t pulses = board_.softwarePulses();
        const bool software = camera.pulsesFlow && camera.fromQueue;
        for (uint64_t i = sim.pulsesSeen; software && i < pulses && sim.queue.size() < kQueueCapacity; ++i)
            sim.queue.push_back(now);
        sim.pulsesSeen = pulses;
        if (!software) sim.queue.clear();
        const bool generator = camera.pulsesFlow && !camera.fromQueue;
        if (generator && !sim.generatorOn) sim.generatorStart = now;
        sim.generatorOn = generator;

        const int64_t next = advance(sim, camera, now);

        auto wake = Clock::now() + kPoll;
        if (next != kIdle) {
            const auto due = realStart + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double, std::nano>(double(next) / scale));
            wake = std::min(wake, due);
        }
        std::unique_lock lock(m_);
        wakeCv_.wait_until(lock, wake, [&] { return stopping_ || !running_ || (finishFrame_ && !sim.busy); });
    }
}

// Runs the camera up to `now`: finishes and begins frames. Returns the time of the next event
// due, or kIdle.
int64_t Acquisition::advance(Simulation& sim, const CameraSettings& camera, int64_t now) {
    for (;;) {
        {
            std::lock_guard lock(m_);
            if (stopping_ || !running_) return kIdle;
        }
        if (sim.busy) {
            if (sim.frameEnd > now) return sim.frameEnd;
            sim.busy = false;
            sim.cameraFree = sim.frameEnd;
            {
                std::lock_guard lock(m_);
                ++counters_.endOfFrame;
            }
            complete(sim);
            continue;
        }
        {
            std::lock_guard lock(m_);
            if (finishFrame_) return kIdle;  // a stop waits for no further frame
        }
        sim.cameraFree = std::max(sim.cameraFree, now - kMaxLagNs);
        const int64_t duration = frameNs(camera);
        const int64_t period = static_cast<int64_t>(camera.periodTicks) * kTickNs;
        int64_t begin = kIdle;
        bool fromQueue = false;
        if (duration == 0 || camera.ccSelect == 4) {
            // No camera, or the line follows a trigger input nobody drives.
        } else if (camera.ccSelect > 4) {
            begin = sim.cameraFree;  // a constant line: the camera runs at its own timing
        } else if (sim.generatorOn) {
            // Pulses that come while the camera is busy are missed.
            const int64_t since = std::max<int64_t>(sim.cameraFree - sim.generatorStart, 0);
            begin = sim.generatorStart + (since + period - 1) / period * period;
        } else if (!sim.queue.empty()) {
            begin = std::max({sim.cameraFree, sim.queue.front(), sim.lastPulse + period});
            fromQueue = true;
        }
        if (begin == kIdle || begin > now) {
            sim.cameraFree = std::max(sim.cameraFree, now);  // idle time is not made up later
            return begin;
        }
        if (fromQueue) {
            sim.queue.pop_front();
            sim.lastPulse = begin;
        }
        sim.busy = true;
        sim.frameEnd = begin + duration;
        sim.frameCamera = camera;
        sim.frameIndex = sim.framesBegun++;
        std::lock_guard lock(m_);
        ++counters_.startOfFrame;
    }
}

// A frame left the camera: through the image selector into the next buffer, or lost.
void Acquisition::complete(Simulation& sim) {
    const DesignSettings settings = board_.designSettings();
    if (static_cast<uint64_t>(sim.frameIndex) % settings.selectDivisor != settings.selectPhase) return;
    unsigned char* target = nullptr;
    bool lost = false;
    {
        std::lock_guard lock(m_);
        // The frame ended after the stop came: it reaches no buffer, and it counts.
        if (!running_ || stopping_) {
            ++counters_.lost;
            return;
        }
        if (data_ != nullptr) {
            const bool full = last_ - asked_ >= bufferCount_;
            lost = full || imageBytes(settings) > bufferSize_;
            if (lost) {
                ++counters_.lost;
                overflow_ = overflow_ || full;
            } else {
                target = data_ + static_cast<size_t>(last_ % bufferCount_) * bufferSize_;
            }
        }
    }
    if (lost) {
        publish();
        return;
    }
    // Outside the lock: whoever ends the acquisition from outside waits for this thread first.
    if (target != nullptr) {
        const CameraSettings& c = sim.frameCamera;
        const uint64_t shift = c.roll ? static_cast<uint64_t>(sim.frameIndex) : 0;
        renderTestPattern(c.width * static_cast<uint32_t>(std::popcount(c.mask)), c.height, c.bits, shift,
                          sim.raw);
        process(sim.raw, settings, target);
    }
    {
        std::lock_guard lock(m_);
        ++last_;
        ++counters_.delivered;
        if (wanted_ > 0 && last_ >= wanted_) endLocked();
    }
    cv_.notify_all();
    publish();
}

}  // namespace vboard
