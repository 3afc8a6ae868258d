// Recursive POSIX mutex and its scoped guard.
#pragma once

#include <pthread.h>

namespace qorv::templates::platform {

class RecursiveMutex {
  public:
    RecursiveMutex() {
        pthread_mutexattr_t attr;
        pthread_mutexattr_init(&attr);
        pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&mMutex, &attr);
        pthread_mutexattr_destroy(&attr);
    }
    ~RecursiveMutex() { pthread_mutex_destroy(&mMutex); }
    RecursiveMutex(const RecursiveMutex&) = delete;
    RecursiveMutex& operator=(const RecursiveMutex&) = delete;

    void acquire() { pthread_mutex_lock(&mMutex); }
    // The timeout is accepted for interface compatibility only: this never waits.
    bool try_acquire(unsigned /*timeout*/ = 0) { return pthread_mutex_trylock(&mMutex) == 0; }
    // A thread that does not own the mutex gets EPERM from the recursive type: harmless here.
    void release() { pthread_mutex_unlock(&mMutex); }

  private:
    pthread_mutex_t mMutex;
};

class RecursiveMutexGuard {
  public:
    explicit RecursiveMutexGuard(RecursiveMutex& m) : mMutex(m) { mMutex.acquire(); }
    ~RecursiveMutexGuard() { mMutex.release(); }
    RecursiveMutexGuard(const RecursiveMutexGuard&) = delete;
    RecursiveMutexGuard& operator=(const RecursiveMutexGuard&) = delete;

  private:
    RecursiveMutex& mMutex;
};

}  // namespace qorv::templates::platform
