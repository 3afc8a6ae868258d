// Concurrent parameter writes, register writes and journal reads on one board.
#include <atomic>
#include <thread>
#include <vector>

#include "qorv_hw.h"
#include "vboard_fixture.h"

namespace vboard::test {
namespace {

TEST_F(PlainHandle, ConcurrentWritesAndJournalReads) {
    constexpr int kWriters = 4, kWrites = 500;
    const int xLength = id(kXLength), lut = id(kLutR), enable = reg("AAGenWidth");
    control::failWrite(kLutR, kWrites / 2, FG_NOT_ENOUGH_MEMORY);
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};

    std::thread reader([&] {
        for (size_t seen = 0; !done;) {
            const auto journal = control::journal();
            EXPECT_GE(journal.size(), seen);  // only ever grows
            seen = journal.size();
            control::writesMatching("XLength");
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
    EXPECT_EQ(journal.size(), size_t{3} * kWriters * kWrites);
    EXPECT_EQ(control::writesMatching("!-500").size(), 1u);
    // The stored value is the last journaled write of it.
    uint64_t last = 0;
    for (const auto& e : journal)
        if (e.name == kXLength) last = e.value;
    EXPECT_EQ(control::value(kXLength), last);
}

}  // namespace
}  // namespace vboard::test
