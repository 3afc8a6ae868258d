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

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
// Settings and the trigger block are looked at this often while nothing else is due.
constexpr auto kPoll = std::chrono::milliseconds(1);
// A frame source further behind than this (simulated time) skips the frames it could not make in
// time rather than chase them, so that a stop is never kept waiting for a backlog.
constexpr int64_t kMaxLagNs = 100'000'000;
// Simulated times stay far inside int64_t whatever the registers and the time scale say.
constexpr double kLongestNs = 1e18;

const char* const kFillLevels[] = {"Device1_Process0_Buffer_0_DRAM_A_0_FillLevel",
                                   "Device1_Process0_Buffer_0_DRAM_A_1_FillLevel"};
constexpr const char* kOverflow = "Device1_Process0_Overflow_OverflowOccurred";

// Duration of one frame in ns: lines of the line width in tap clocks, of which `active` in every
// active + passive design clocks move pixels. 0 when the simulator makes no frames.
int64_t frameNs(const CameraSettings& c) {
    if (!c.on || c.mask == 0 || c.active == 0 || c.width == 0 || c.height == 0) return 0;
    const double clockNs = double(kDesignTickNs) * (c.active + c.passive) / c.active;
    const double ns = double(c.height) * std::max(c.lineWidth, c.width) * clockNs;
    return static_cast<int64_t>(std::clamp(ns, 1.0, kLongestNs));
}

}  // namespace

// What makes the frames: the design's camera simulator or the camera on the port, and how it is
// started. Looked at again on every pass, so a setting takes effect at the next frame.
struct Acquisition::Source {
    bool simulator = false;
    bool camera = false;     // the bench's camera on the port
    int64_t exposureNs = 0;  // fixed exposure
    int64_t readoutNs = 0;   // 0: no frames
    bool freeRun = false;    // else one frame a rising edge of `line`
    int line = 0;
    bool exposureFromPulse = false;
    int64_t periodNs = 0;  // free-running camera on the port
};

// The camera between frames, on simulated ns since power-on.
struct Acquisition::Camera {
    enum class Phase { Idle, Exposing, Reading } phase = Phase::Idle;
    int64_t exposureStart = 0;
    int64_t exposureEnd = kNever;  // kNever while the pulse that exposes it lasts
    int64_t frameEnd = 0;
    int64_t free = 0;    // when it can begin the next frame
    uint64_t begun = 0;  // frames begun since the start
    uint64_t frame = 0;  // number of the frame in progress
    Source source;       // as the board's settings say now: how the next frame begins
    CameraSettings current;
    Source frameSource;  // of the frame in progress, which ends as it began
    CameraSettings settings;
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
    // A new scene takes a while to prepare: done before the start, so frames do not pile up behind it.
    scene_ = board_.cameraSettings().port ? board_.scene() : nullptr;
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
        frames_.assign(static_cast<size_t>(std::max(bufferCount, 0L)), PictureInfo{});
    }
    board_.simulation().listen(true);  // edges from now on reach the camera
    startNs_ = board_.simulation().nowNs();
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
        frames_.clear();
    }
    cv_.notify_all();
}

bool Acquisition::pictureInfo(long number, PictureInfo* info) const {
    std::lock_guard lock(m_);
    if (info == nullptr || number < 1 || number > last_ || number <= last_ - bufferCount_ || frames_.empty())
        return false;
    *info = frames_[static_cast<size_t>((number - 1) % bufferCount_)];
    return true;
}

// ---------------------------------------------------------------------------------------------
// The frame source

Acquisition::Source Acquisition::sourceOf(const CameraSettings& c, const Bench& bench) const {
    Source src;
    if (c.on) {
        src.simulator = true;
        src.readoutNs = frameNs(c);
        src.freeRun = c.ccSelect >= 5;  // a constant line: the simulator runs on its own
    } else if (c.port && bench.camera.connected) {
        const CameraDescription& cam = bench.camera;
        src.camera = true;
        src.readoutNs = readoutNs(cam);
        src.exposureNs = cam.exposureNs;
        src.freeRun = !cam.triggered;
        src.line = cam.triggerLine;
        src.exposureFromPulse = cam.exposureFromPulse;
        // A hand-made bench may hold any rate: the period stays a positive, finite number of ns.
        src.periodNs = cam.frameRate > 0
                           ? static_cast<int64_t>(std::clamp(1e9 / cam.frameRate, 1.0, kLongestNs))
                           : static_cast<int64_t>(kLongestNs);
    }
    return src;
}

void Acquisition::run() {
    Simulation& sim = board_.simulation();
    // Once the run is over nobody collects the camera-control edges.
    struct Deaf {
        Simulation& sim;
        ~Deaf() { sim.listen(false); }
    } deaf{sim};
    const Bench bench = board_.bench();
    Camera cam;
    cam.free = startNs_;
    for (;;) {
        const int64_t now = sim.update();
        cam.current = board_.cameraSettings();
        cam.source = sourceOf(cam.current, bench);
        for (const LineEdge& e : sim.takeEdges()) {
            if (!advance(cam, e.ns)) return;
            edge(cam, e);
        }
        if (!advance(cam, now)) return;
        const int64_t next = nextEvent(cam);
        auto wake = Clock::now() + kPoll;
        const double scale = sim.timeScale();
        // Never later than the poll, so a tiny time scale cannot overflow the conversion.
        const double waitNs = std::clamp(static_cast<double>(next - now) / scale, 0.0, 1e6);
        if (next != kNever && !sim.held())
            wake = std::min(wake, Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                     std::chrono::duration<double, std::nano>(waitNs)));
        std::unique_lock lock(m_);
        wakeCv_.wait_until(lock, wake, [&] { return stopping_ || !running_; });
    }
}

// Begins a frame at `at` with the current source.
void Acquisition::begin(Camera& cam, int64_t at) {
    cam.phase = Camera::Phase::Exposing;
    cam.exposureStart = at;
    cam.frameSource = cam.source;
    cam.settings = cam.current;
    cam.exposureEnd = cam.source.exposureFromPulse ? kNever : at + cam.source.exposureNs;
    cam.frame = cam.begun++;
    std::lock_guard lock(m_);
    ++counters_.startOfFrame;
}

// Runs the camera up to `until`: ends exposures and readouts, begins free-running frames. False
// once the run is over.
bool Acquisition::advance(Camera& cam, int64_t until) {
    for (;;) {
        bool finishing;
        {
            std::lock_guard lock(m_);
            if (stopping_ || !running_) return false;
            finishing = finishFrame_;
        }
        if (finishing && cam.phase == Camera::Phase::Idle) return false;
        // A stop that waits for the frame does not wait for a pulse that may never end.
        if (finishing && cam.exposureEnd == kNever) cam.exposureEnd = std::max(cam.exposureStart, until);
        if (cam.phase == Camera::Phase::Exposing && cam.exposureEnd <= until) {
            cam.phase = Camera::Phase::Reading;
            cam.frameEnd = std::min<int64_t>(cam.exposureEnd + cam.frameSource.readoutNs, kLongestNs);
        } else if (cam.phase == Camera::Phase::Reading && cam.frameEnd <= until) {
            cam.phase = Camera::Phase::Idle;
            cam.free = cam.frameEnd;
            {
                std::lock_guard lock(m_);
                ++counters_.endOfFrame;
            }
            complete(cam);
        } else if (cam.phase == Camera::Phase::Idle && cam.source.freeRun && cam.source.readoutNs > 0 &&
                   !finishing) {
            // Frames it could not make in time are skipped rather than chased.
            int64_t at = std::max(cam.free, until - kMaxLagNs);
            if (cam.source.camera)
                at = (at + cam.source.periodNs - 1) / cam.source.periodNs * cam.source.periodNs;
            if (at > until) {
                // Idle time is not made up later, nor are the frames the lag skipped.
                cam.free = cam.source.simulator ? until : std::max(cam.free, until - kMaxLagNs);
                return true;
            }
            begin(cam, at);
        } else {
            if (cam.phase == Camera::Phase::Idle) cam.free = std::max(cam.free, until);
            return true;
        }
    }
}

// A camera-control line changed: a triggered camera begins a frame on its line's rising edge, and
// with the pulse's width as exposure ends it on the falling one.
void Acquisition::edge(Camera& cam, const LineEdge& e) {
    const Source& src = cam.source;
    if (e.high) {
        if (src.freeRun || src.readoutNs == 0 || e.line != src.line) return;
        bool finishing;
        {
            std::lock_guard lock(m_);
            finishing = finishFrame_;
        }
        if (cam.phase == Camera::Phase::Idle) {
            if (!finishing) begin(cam, e.ns);
        } else {
            board_.simulation().cameraMissed();
            std::lock_guard lock(m_);
            ++counters_.missedTriggers;
        }
    } else if (cam.phase == Camera::Phase::Exposing && cam.exposureEnd == kNever &&
               e.line == cam.frameSource.line) {
        cam.exposureEnd = e.ns;
    }
}

int64_t Acquisition::nextEvent(const Camera& cam) const {
    switch (cam.phase) {
        case Camera::Phase::Exposing:
            return cam.exposureEnd;
        case Camera::Phase::Reading:
            return cam.frameEnd;
        case Camera::Phase::Idle:
            break;
    }
    if (!cam.source.freeRun || cam.source.readoutNs == 0) return kNever;
    if (!cam.source.camera) return cam.free;
    return (cam.free + cam.source.periodNs - 1) / cam.source.periodNs * cam.source.periodNs;
}

// A frame left the camera: through the image selector into the next buffer, or lost.
void Acquisition::complete(Camera& cam) {
    const DesignSettings settings = board_.designSettings();
    if (cam.frame % settings.selectDivisor != settings.selectPhase) return;
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
        const CameraSettings& c = cam.settings;
        if (cam.frameSource.simulator) {
            const uint64_t shift = c.roll ? cam.frame : 0;
            renderTestPattern(c.width * static_cast<uint32_t>(std::popcount(c.mask)), c.height, c.bits, shift,
                              cam.raw);
        } else {
            if (scene_ == nullptr) scene_ = board_.scene();  // the source changed to the port
            scene_->render(cam.frame, cam.exposureEnd - cam.exposureStart, cam.raw);
            // The board takes as many of the camera's bits as its format says: a camera of more bits
            // keeps only its lowest, one of fewer comes out darker.
            const uint16_t mask = static_cast<uint16_t>((1u << c.bits) - 1);
            if (cam.raw.bits > c.bits)
                for (uint16_t& v : cam.raw.pixels) v &= mask;
            cam.raw.bits = c.bits;
        }
        process(cam.raw, settings, target);
    }
    {
        std::lock_guard lock(m_);
        if (!frames_.empty())
            frames_[static_cast<size_t>(last_ % bufferCount_)] = {cam.frame, cam.exposureStart};
        ++last_;
        ++counters_.delivered;
        if (wanted_ > 0 && last_ >= wanted_) endLocked();
    }
    cv_.notify_all();
    publish();
}

}  // namespace vboard
