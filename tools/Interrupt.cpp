#include "Interrupt.h"

namespace pellucid {
namespace {

std::atomic<int> received{0};
static_assert(std::atomic<int>::is_always_lock_free, "the handler may only touch lock-free atomics");

extern "C" void record(int sig) {
    received.store(sig);
}

}  // namespace

// SA_RESTART: the waits poll in short slices and see the flag anyway; restarting keeps a signal
// from failing a write to a pipe or file halfway.
InterruptGuard::InterruptGuard() {
    received.store(0);
    struct sigaction sa {};
    sa.sa_handler = record;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = SA_RESTART;
    sigaction(SIGINT, &sa, &oldInt_);
    sigaction(SIGTERM, &sa, &oldTerm_);
}

InterruptGuard::~InterruptGuard() {
    sigaction(SIGINT, &oldInt_, nullptr);
    sigaction(SIGTERM, &oldTerm_, nullptr);
}

const std::atomic<int>& InterruptGuard::signal() {
    return received;
}

}  // namespace pellucid
