// Plain (non-recursive) POSIX mutex and its scoped guard.
#pragma once

#include <pthread.h>

namespace qorv::templates::platform {

class CriticalSection {
  public:
    CriticalSection() { pthread_mutex_init(&mMutex, nullptr); }
    ~CriticalSection() { pthread_mutex_destroy(&mMutex); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void acquire() { pthread_mutex_lock(&mMutex); }
    // The timeout is accepted for interface compatibility only: this never waits.
    bool try_acquire(unsigned /*timeout*/ = 0) { return pthread_mutex_trylock(&mMutex) == 0; }
    void release() { pthread_mutex_unlock(&mMutex); }

  private:
    pthread_mutex_t mMutex;
};

class CriticalSectionGuard {
  public:
    explicit CriticalSectionGuard(CriticalSection& cs) : mCs(cs) { mCs.acquire(); }
    ~CriticalSectionGuard() { mCs.release(); }
    CriticalSectionGuard(const CriticalSectionGuard&) = delete;
    CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;

  private:
    CriticalSection& mCs;
};

}  // namespace qorv::templates::platform
