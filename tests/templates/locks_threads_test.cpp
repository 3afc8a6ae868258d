#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qorv/templates/patterns/GenericLock.h"
#include "qorv/templates/patterns/Guard.h"
#include "qorv/templates/platform/CriticalSection.h"
#include "qorv/templates/platform/RecursiveMutex.h"

using namespace qorv::templates;

// Misuse of the generic lock is reported and leaves it usable from other threads.
TEST(LockThreads, GenericLockMisuseIsReportedAndLeavesItBalanced) {
    patterns::GenericLock lock;
    bool seen = false;
    EXPECT_THROW(lock.leave(), std::logic_error);
    EXPECT_THROW(patterns::GenericLock().enter(), std::logic_error) << "destroyed while held";
    lock.enter();
    EXPECT_THROW(lock.enter(), std::logic_error);
    std::thread([&] { seen = lock.isLocked(); }).join();
    EXPECT_TRUE(seen);
    lock.leave();
    // Would block for ever if the refused re-entry had kept the mutex counted.
    std::thread([&] {
        patterns::GenericLockGuard guard(lock);
        seen = lock.isLocked();
    }).join();
    EXPECT_TRUE(seen);
    // An unbalanced leave() inside a guarded scope surfaces from the guard's destructor.
    EXPECT_THROW(
        {
            patterns::GenericLockGuard guard(lock);
            lock.leave();
        },
        std::logic_error);
    EXPECT_FALSE(lock.isLocked());
}

TEST(LockThreads, CountersStayExact) {
    constexpr int kThreads = 4, kRounds = 20000;
    platform::CriticalSection cs;
    platform::RecursiveMutex rm;
    patterns::GenericLock gl;
    long counts[3] = {};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            // Each guard is a temporary that holds its lock to the end of the statement.
            for (int i = 0; i < kRounds; ++i) {
                (platform::CriticalSectionGuard{cs}, ++counts[0]);
                (platform::RecursiveMutexGuard{rm}, patterns::Guard<platform::RecursiveMutex>{rm},
                 ++counts[1]);
                (patterns::GenericLockGuard{gl}, ++counts[2]);
            }
        });
    }
    for (auto& t : threads) t.join();
    for (long c : counts) EXPECT_EQ(c, kThreads * kRounds);
}
