// A program reading pictures on one thread while others query the board and stop it.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "acquisition_fixture.h"

namespace {

class AcquisitionThreads : public SdkBoard {};

TEST_F(AcquisitionThreads, ReaderWatcherAndStop) {
    frameTime(3);
    freeRun();
    const size_t bytes = kWidth * kHeight * 3;
    allocate(bytes, 8);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);

    std::atomic<long> read{0};
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::thread reader([&] {
        for (long n = 1; n <= 12; ++n) {
            if (Fg_getLastPicNumberBlockingEx(fg, n, 0, 5, memory) < n) {
                ++failures;
                return;
            }
            const auto* p = static_cast<const unsigned char*>(Fg_getImagePtrEx(fg, n, 0, memory));
            if (p == nullptr) {
                ++failures;
                return;
            }
            unsigned sum = 0;
            for (size_t i = 0; i < bytes; ++i) sum += p[i];
            if (sum == 0) ++failures;  // the test pattern is nowhere black all over
            read = n;
        }
    });
    std::thread watcher([&] {
        while (!done) {
            uint32_t level = 0;
            if (Fg_getParameterWithType(fg, FG_FILLLEVEL, &level, 0, FG_PARAM_TYPE_UINT32_T) != 0 ||
                level > 100)
                ++failures;
            if (Fg_getStatusEx(fg, VBOARD_STATUS_END_OF_FRAME_EVENTS, 0, 0, memory) >
                Fg_getStatusEx(fg, VBOARD_STATUS_START_OF_FRAME_EVENTS, 0, 0, memory))
                ++failures;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    reader.join();
    EXPECT_EQ(read.load(), 12);

    // A stop from another thread ends a wait for a picture that will not come.
    std::thread stopper([&] { EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0); });
    stopper.join();
    const long last = Fg_getLastPicNumberEx(fg, 0, memory);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, last + 1, 0, 1, memory), FG_TIMEOUT_ERR);
    done = true;
    watcher.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_ACQUIRING, 0, 0, memory), 0);
}

TEST_F(AcquisitionThreads, HandlesClosedWhileAcquiring) {
    freeRun();
    allocate(kWidth * kHeight * 3, 4);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    // Closing the board stops the frame source and frees the buffers it writes into.
    EXPECT_EQ(Fg_FreeGrabber(fg), 0);
    fg = nullptr;
    memory = nullptr;
    vboard::control::reset();
}

}  // namespace
