// Software triggers at a steady rate, with the board in software-trigger mode for one grab.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "Board.h"

namespace pellucid {

class SoftwareTrigger {
  public:
    // Switches the trigger to software mode for `rate` pulses a second. Throws UsageError for a
    // rate the trigger cannot run at, ToolError when the board refuses a setting; the settings
    // it changed come back then, and in the destructor.
    SoftwareTrigger(Board& board, double rate);
    ~SoftwareTrigger();
    SoftwareTrigger(const SoftwareTrigger&) = delete;
    SoftwareTrigger& operator=(const SoftwareTrigger&) = delete;

    // Pulses sent before the acquisition starts make no picture: start after it.
    void start();
    void stop();
    // The SDK error that ended the sending, 0 while none did.
    int error() const { return error_.load(); }

  private:
    struct Saved {
        int id;
        const char* name;
        bool isDouble;
        double value;
    };
    void save(int id, const char* name, bool isDouble);
    void restore() noexcept;
    void run();

    Board& board_;
    double rate_;
    uint32_t batch_ = 1;  // pulses one send may carry: the queue's room, or one without it
    std::vector<Saved> saved_;
    std::thread thread_;
    std::mutex m_;
    std::condition_variable cv_;
    bool stopping_ = false;
    std::atomic<int> error_{0};
};

// The fastest trigger rate the pulse form generators let through, in pulses a second, and the
// parameter that sets it; infinity when they set none.
struct PulseFormLimit {
    double rate;
    std::string parameter;
};
PulseFormLimit pulseFormLimit(Board& board);

}  // namespace pellucid
