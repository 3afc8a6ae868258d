// A lock that records whether it is held and treats re-entry, unbalanced leave() and destruction
// while held as programming errors (std::logic_error).
#pragma once

#include <atomic>
#include <stdexcept>

#include "qorv/templates/platform/RecursiveMutex.h"

namespace qorv::templates::patterns {

class GenericLock {
  public:
    GenericLock() = default;
    GenericLock(const GenericLock&) = delete;
    GenericLock& operator=(const GenericLock&) = delete;

    ~GenericLock() noexcept(false) {
        if (mLocked.load()) {
            // Give the mutex back if this thread is the holder, so it is not destroyed locked.
            mLocked.store(false);
            mMutex.release();
            throw std::logic_error("GenericLock object destroyed with lock still held");
        }
    }

    void enter() {
        mMutex.acquire();
        // The mutex is recursive, so the holder itself gets here again: that is the misuse.
        if (mLocked.load()) {
            mMutex.release();
            throw std::logic_error("GenericLock object got lock but is already marked as locked");
        }
        mLocked.store(true);
    }

    void leave() {
        if (!mLocked.load()) throw std::logic_error("GenericLock::leave() called with lock not held");
        mLocked.store(false);
        mMutex.release();
    }

    // Safe to call from any thread; the answer may be stale by the time it is used.
    bool isLocked() const { return mLocked.load(); }

  private:
    platform::RecursiveMutex mMutex;
    std::atomic<bool> mLocked{false};
};

class GenericLockGuard {
  public:
    explicit GenericLockGuard(GenericLock& lock) : mLock(lock) { mLock.enter(); }
    // Lets a leave() misuse propagate instead of terminating.
    ~GenericLockGuard() noexcept(false) { mLock.leave(); }
    GenericLockGuard(const GenericLockGuard&) = delete;
    GenericLockGuard& operator=(const GenericLockGuard&) = delete;

  private:
    GenericLock& mLock;
};

}  // namespace qorv::templates::patterns
