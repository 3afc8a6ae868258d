#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "qorv/templates/patterns/GenericLock.h"
#include "qorv/templates/patterns/Guard.h"
#include "qorv/templates/platform/CriticalSection.h"
#include "qorv/templates/platform/RecursiveMutex.h"

using namespace qorv::templates;

namespace {

template <typename F>
std::string logicErrorOf(F&& f) {
    try {
        f();
    } catch (const std::logic_error& e) {
        return e.what();
    }
    return "<no exception>";
}

}  // namespace

TEST(GenericLock, MisuseIsReported) {
    patterns::GenericLock lock;
    EXPECT_EQ(logicErrorOf([&] { lock.leave(); }), "GenericLock::leave() called with lock not held");
    lock.enter();
    EXPECT_EQ(logicErrorOf([&] { lock.enter(); }),
              "GenericLock object got lock but is already marked as locked");
    EXPECT_TRUE(lock.isLocked());  // the first hold is still in place
    lock.leave();
    EXPECT_FALSE(lock.isLocked());
    EXPECT_EQ(logicErrorOf([] {
                  patterns::GenericLock held;
                  held.enter();
              }),
              "GenericLock object destroyed with lock still held");
    // An unbalanced leave() inside a guarded scope surfaces from the guard's destructor.
    EXPECT_EQ(logicErrorOf([&] {
                  patterns::GenericLockGuard guard(lock);
                  lock.leave();
              }),
              "GenericLock::leave() called with lock not held");
    EXPECT_FALSE(lock.isLocked());
}

TEST(Locks, RecursiveMutexReentersAndCriticalSectionDoesNot) {
    platform::RecursiveMutex rm;
    {
        platform::RecursiveMutexGuard outer(rm);
        patterns::Guard<platform::RecursiveMutex> inner(rm);
        EXPECT_TRUE(rm.try_acquire(0));
        rm.release();
    }
    platform::CriticalSection cs;
    {
        platform::CriticalSectionGuard guard(cs);
        EXPECT_FALSE(cs.try_acquire(1000));  // never waits, whatever the argument
    }
    EXPECT_TRUE(cs.try_acquire(0));
    cs.release();
}
