// The grab's writer threads: pictures finished in the order handed over however their writing
// ends, the first failure ends the pool's waits, and a pool given up on never hangs.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "Board.h"
#include "WriterPool.h"

namespace {

using std::chrono::milliseconds;

TEST(WriterPoolTest, PicturesFinishInTheOrderHandedOverWhileWritingEndsOutOfOrder) {
    std::vector<int> finished, written;
    std::mutex m;
    {
        pellucid::WriterPool pool(3, 4, 1);
        for (int i = 0; i < 24; ++i) {
            unsigned char* b = pool.buffer();
            b[0] = static_cast<unsigned char>(i);
            pool.submit(
                b,
                [&, i](const unsigned char* p) {
                    // Early pictures take longest, so later ones overtake them.
                    std::this_thread::sleep_for(milliseconds(i % 3 == 0 ? 6 : 0));
                    const std::lock_guard lock(m);
                    written.push_back(p[0]);
                    return std::string();
                },
                [&, i] { finished.push_back(i); });
        }
        pool.drain();
    }
    std::vector<int> order(24);
    for (int i = 0; i < 24; ++i) order[static_cast<size_t>(i)] = i;
    EXPECT_EQ(finished, order);
    EXPECT_NE(written, order);  // the writing itself did end out of order
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, order);  // each picture's own buffer, never another's
}

TEST(WriterPoolTest, AFailureEndsTheWaitsWithItsReasonAndLaterPicturesAreNotFinished) {
    struct Case {
        const char* name;
        bool finishThrows;
    };
    for (const Case c : {Case{"work fails", false}, Case{"finish throws", true}}) {
        std::atomic<int> finished{0};
        pellucid::WriterPool pool(2, 2, 1);
        const auto fail = [&](int i) { return i == 3; };
        bool thrown = false;
        try {
            for (int i = 0; i < 50; ++i) {
                unsigned char* b = pool.buffer();
                pool.submit(
                    b, [&, i](const unsigned char*) { return !c.finishThrows && fail(i) ? "disk full" : ""; },
                    [&, i] {
                        if (c.finishThrows && fail(i)) throw pellucid::ToolError("disk full");
                        ++finished;
                    });
            }
            pool.drain();
        } catch (const pellucid::ToolError& e) {
            thrown = true;
            EXPECT_STREQ(e.what(), "disk full") << c.name;
        }
        EXPECT_TRUE(thrown) << c.name;
        EXPECT_EQ(finished, 3) << c.name;
    }
}

TEST(WriterPoolTest, APoolGivenUpOnDropsWhatWaitsAndEndsTheRunningWrites) {
    std::atomic<int> started{0}, finished{0};
    {
        pellucid::WriterPool pool(2, 8, 1);
        for (int i = 0; i < 8; ++i)
            pool.submit(
                pool.buffer(),
                [&](const unsigned char*) {
                    ++started;
                    std::this_thread::sleep_for(milliseconds(200));
                    return std::string();
                },
                [&] { ++finished; });
        while (started == 0) std::this_thread::yield();
    }
    EXPECT_LT(started, 8);
    EXPECT_LE(finished, started);
}

}  // namespace
