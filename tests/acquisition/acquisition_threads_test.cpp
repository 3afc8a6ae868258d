// A program reading pictures on one thread while others query the board, stop it and close it.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "acquisition_fixture.h"

namespace {

TEST_F(Acquisition, ReaderWatcherStopAndClose) {
    frameTime(3);
    freeRun();
    allocate(kImage, 8);
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    std::atomic<long> read{0};
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::thread reader([&] {
        for (long n = 1; n <= 12; ++n) {
            const auto* p =
                waitFor(n) >= n ? static_cast<const uint8_t*>(Fg_getImagePtrEx(fg, n, 0, memory)) : nullptr;
            unsigned sum = 0;
            for (size_t i = 0; p != nullptr && i < kImage; ++i) sum += p[i];
            if (sum == 0) break;  // the test pattern is nowhere black all over
            read = n;
        }
    });
    std::thread watcher([&] {
        for (uint32_t level = 0; !done; std::this_thread::sleep_for(std::chrono::microseconds(200))) {
            if (Fg_getParameterWithType(fg, FG_FILLLEVEL, &level, 0, FG_PARAM_TYPE_UINT32_T) != 0 ||
                level > 100)
                ++failures;
            if (status(VBOARD_STATUS_END_OF_FRAME_EVENTS) > status(VBOARD_STATUS_START_OF_FRAME_EVENTS))
                ++failures;
        }
    });
    reader.join();
    EXPECT_EQ(read.load(), 12);
    // A stop from another thread ends a wait for a picture that will not come.
    std::thread([&] { EXPECT_EQ(stop(), 0); }).join();
    EXPECT_EQ(waitFor(last() + 1, 1), FG_TIMEOUT_ERR);
    done = true;
    watcher.join();
    EXPECT_EQ(failures.load(), 0);

    // Closing the board while it acquires stops the frame source and frees the buffers it writes into.
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(Fg_FreeGrabber(fg), 0);
    fg = nullptr;
    vboard::control::reset();
}

}  // namespace
