// Threads on one board: parameter and register writes against journal reads; a program reading
// pictures while others query the board, stop it and close it.
#include <atomic>

#include "acquisition_fixture.h"
#include "qorv_hw.h"

namespace vboard::test {
namespace {

TEST_F(PlainHandle, ConcurrentWritesAndJournalReads) {
    constexpr int kWriters = 4, kWrites = 500;
    const int xLength = id(kXLength), lut = id(kLutR), enable = reg("AAGenWidth");
    control::failWrite(kLutR, kWrites / 2, FG_NOT_ENOUGH_MEMORY);
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::thread reader([&] {
        for (size_t seen = 0; !done; control::writesMatching("XLength")) {
            const auto journal = control::journal();
            EXPECT_GE(journal.size(), seen);  // only ever grows
            seen = journal.size();
            uint32_t v = 0;
            get(xLength, v, kU32);
        }
    });
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([&, w] {
            for (uint32_t i = 0; i < kWrites; ++i) {
                const uint32_t value = w * kWrites + i;
                failures += (set(xLength, value, kU32) != 0) +
                            (QorvRegisterWrite(QorvBoardOpen(0), enable, value) != 0) +
                            (set(lut, FieldParameterInt{i % 4096, value % 4096}, kEntry) != 0);
            }
        });
    }
    for (auto& t : writers) t.join();
    done = true;
    reader.join();
    EXPECT_EQ(failures, 1);  // exactly the injected one
    const auto journal = control::journal();
    EXPECT_EQ(std::tuple(journal.size(), control::writesMatching("!-500").size()),
              std::tuple(size_t{3} * kWriters * kWrites, 1u));
    // The stored value is the last journaled write of it.
    uint64_t last = 0;
    for (const auto& e : journal)
        if (e.name == kXLength) last = e.value;
    EXPECT_EQ(control::value(kXLength), last);
}

}  // namespace
}  // namespace vboard::test

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
        for (uint32_t level = 0; !done; std::this_thread::sleep_for(std::chrono::microseconds(200)))
            failures +=
                Fg_getParameterWithType(fg, FG_FILLLEVEL, &level, 0, FG_PARAM_TYPE_UINT32_T) != 0 ||
                level > 100 ||
                status(VBOARD_STATUS_END_OF_FRAME_EVENTS) > status(VBOARD_STATUS_START_OF_FRAME_EVENTS);
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
