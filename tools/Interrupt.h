// SIGINT and SIGTERM as a request to stop, for commands that must not die halfway through a file.
#pragma once

#include <atomic>
#include <csignal>

namespace pellucid {

// While it lives, SIGINT and SIGTERM only record their number; the previous handlers come back
// after. One at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    // The signal that arrived, 0 while none did.
    static const std::atomic<int>& signal();

  private:
    struct sigaction oldInt_ {};
    struct sigaction oldTerm_ {};
};

}  // namespace pellucid
