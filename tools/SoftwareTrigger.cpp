#include "SoftwareTrigger.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include "BoardValues.h"
#include "Grab.h"
#include "fglib5.h"

namespace pellucid {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kAtmSoftware = 4;
constexpr uint32_t kTsActive = 0;
constexpr uint32_t kAsyncSoftwareTrigger = 4;  // of the legacy FG_TRIGGERMODE
constexpr uint32_t kQueueOn = 1;
constexpr uint32_t kQueueCapacity = 2040;
constexpr auto kRetry = std::chrono::milliseconds(1);

}  // namespace

PulseFormLimit pulseFormLimit(Board& board) {
    PulseFormLimit limit{std::numeric_limits<double>::infinity(), {}};
    // A pulse form generator takes every downscale-th pulse; its delay and width each have to fit
    // into the period between those.
    for (int k = 0; k < 4; ++k) {
        const std::string prefix = "FG_TRIGGER_PULSEFORMGEN" + std::to_string(k);
        const int base = FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE + 4 * k;
        const uint32_t downscale = std::max(readUint(board, base, (prefix + "_DOWNSCALE").c_str()), 1u);
        for (const auto& [id, suffix] : {std::pair{base + 2, "_DELAY"}, std::pair{base + 3, "_WIDTH"}}) {
            const std::string name = prefix + suffix;
            const double periodUs = readDouble(board, id, name.c_str()) / downscale;
            if (periodUs > 0 && 1e6 / periodUs < limit.rate) limit = {1e6 / periodUs, name};
        }
    }
    return limit;
}

SoftwareTrigger::SoftwareTrigger(Board& board, double rate) : board_(board), rate_(rate) {
    const RegisterInfo& frequency = board.describe("FG_TRIGGER_FRAMESPERSECOND");
    if (!(rate >= frequency.u.dReg.from && rate <= frequency.u.dReg.to))
        throw UsageError("--software-trigger " + formatDouble(rate) + ": the rate must be " +
                         formatDouble(frequency.u.dReg.from) + ".." + formatDouble(frequency.u.dReg.to) +
                         " pulses/s (the range of FG_TRIGGER_FRAMESPERSECOND)");
    const bool legacy = readUint(board, FG_TRIGGER_LEGACY_MODE, "FG_TRIGGER_LEGACY_MODE") != 0;
    try {
        if (legacy) {
            // The legacy interface owns the trigger; its software mode runs without the queue and
            // leaves the pacing to the sender.
            save(FG_TRIGGERMODE, "FG_TRIGGERMODE", false);
            writeUint(board, FG_TRIGGERMODE, "FG_TRIGGERMODE", kAsyncSoftwareTrigger);
            return;
        }
        save(FG_TRIGGERSTATE, "FG_TRIGGERSTATE", false);
        save(FG_AREATRIGGERMODE, "FG_AREATRIGGERMODE", false);
        save(FG_TRIGGER_FRAMESPERSECOND, "FG_TRIGGER_FRAMESPERSECOND", true);
        save(FG_TRIGGERQUEUE_MODE, "FG_TRIGGERQUEUE_MODE", false);
        writeUint(board, FG_AREATRIGGERMODE, "FG_AREATRIGGERMODE", kAtmSoftware);
        // The generator paces the queued pulses at the rate, so that the host's timing jitter
        // does not reach the camera.
        try {
            writeDouble(board, FG_TRIGGER_FRAMESPERSECOND, "FG_TRIGGER_FRAMESPERSECOND", rate);
        } catch (const ToolError& e) {
            if (e.code != FG_TRIGGER_PERIOD_CONFLICT) throw;
            const PulseFormLimit limit = pulseFormLimit(board);
            throw UsageError("--software-trigger " + formatDouble(rate) + ": " + limit.parameter +
                             " allows less than " + formatDouble(std::floor(limit.rate * 1000) / 1000) +
                             " pulses/s");
        }
        writeUint(board, FG_TRIGGERQUEUE_MODE, "FG_TRIGGERQUEUE_MODE", kQueueOn);
        writeUint(board, FG_TRIGGERSTATE, "FG_TRIGGERSTATE", kTsActive);
        batch_ = kQueueCapacity;
    } catch (...) {
        restore();
        throw;
    }
}

SoftwareTrigger::~SoftwareTrigger() {
    stop();
    restore();
}

void SoftwareTrigger::save(int id, const char* name, bool isDouble) {
    const double value = isDouble ? readDouble(board_, id, name) : readUint(board_, id, name);
    saved_.push_back({id, name, isDouble, value});
}

// In the reverse order of the changes; a failure here cannot be reported any more, and the next
// setting still deserves its try.
void SoftwareTrigger::restore() noexcept {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
        try {
            if (it->isDouble)
                writeDouble(board_, it->id, it->name, it->value);
            else
                writeUint(board_, it->id, it->name, static_cast<uint32_t>(it->value));
        } catch (const ToolError&) {
        }
    }
    saved_.clear();
}

void SoftwareTrigger::start() {
    std::lock_guard lock(m_);
    if (thread_.joinable()) return;
    stopping_ = false;
    thread_ = std::thread(&SoftwareTrigger::run, this);
}

void SoftwareTrigger::stop() {
    {
        std::lock_guard lock(m_);
        stopping_ = true;
    }
    cv_.notify_all();
    if (thread_.joinable()) thread_.join();
}

// Pulse k is due k / rate seconds after the start. A backlog larger than one send (the host
// stalled) is given up rather than fired in a burst.
void SoftwareTrigger::run() {
    const auto started = Clock::now();
    const auto dueAt = [&](double pulse) {
        return started +
               std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(pulse / rate_));
    };
    double sent = 0;
    std::unique_lock lock(m_);
    while (!stopping_) {
        const double elapsed = std::chrono::duration<double>(Clock::now() - started).count();
        double due = std::floor(elapsed * rate_) + 1 - sent;
        auto wake = dueAt(sent);
        if (due >= 1) {
            if (due > batch_) {
                sent += due - batch_;
                due = batch_;
            }
            uint32_t pulses = static_cast<uint32_t>(due);
            lock.unlock();
            const int rc = Fg_setParameterWithType(board_.handle(), FG_SENDSOFTWARETRIGGER, &pulses, 0,
                                                   FG_PARAM_TYPE_UINT32_T);
            lock.lock();
            if (rc == 0) {
                sent += pulses;
                wake = dueAt(sent);
            } else if (rc == FG_SOFTWARE_TRIGGER_PENDING) {
                wake = Clock::now() + kRetry;
            } else {
                error_.store(rc);
                return;
            }
        }
        cv_.wait_until(lock, wake, [this] { return stopping_; });
    }
}

}  // namespace pellucid
