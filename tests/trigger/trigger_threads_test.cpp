// Software trigger bursts and parameter reads from several threads at once: the parameter lock
// keeps each burst whole and every read consistent.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "applet_fixture.h"

namespace {

class TriggerThreads : public AppletOnBoard {};

TEST_F(TriggerThreads, BurstsAndReadsAtOnce) {
    ASSERT_EQ(setUInt(FG_AREATRIGGERMODE, 4), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERSTATE, 0), 0);
    ASSERT_EQ(setUInt(FG_TRIGGERQUEUE_MODE, 1), 0);
    vboard::control::setValue(
        "Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MaximumReached_Status", 1);
    vboard::control::clearJournal();

    constexpr int kSenders = 2;
    constexpr int kBursts = 20;
    constexpr uint32_t kPulses = 50;
    std::atomic<int> failures{0};
    std::atomic<bool> sending{true};
    std::vector<std::thread> threads;
    for (int s = 0; s < kSenders; ++s) {
        threads.emplace_back([&] {
            for (int i = 0; i < kBursts; ++i) {
                uint32_t count = kPulses;
                if (A().Fg_setParameterWithType(&fg, FG_SENDSOFTWARETRIGGER, &count, 0,
                                                FG_PARAM_TYPE_UINT32_T) != 0) {
                    ++failures;
                }
            }
        });
    }
    threads.emplace_back([&] {
        while (sending) {
            uint32_t v = 99;
            if (A().Fg_getParameterWithType(&fg, FG_SOFTWARETRIGGER_IS_BUSY, &v, 0, FG_PARAM_TYPE_UINT32_T) !=
                    0 ||
                v != 0) {
                ++failures;
            }
            if (A().Fg_getParameterWithType(&fg, FG_AREATRIGGERMODE, &v, 0, FG_PARAM_TYPE_UINT32_T) != 0 ||
                v != 4) {
                ++failures;
            }
            double hz = 0;
            if (A().Fg_getParameterWithType(&fg, FG_TRIGGER_FRAMESPERSECOND, &hz, 0, FG_PARAM_TYPE_DOUBLE) !=
                    0 ||
                hz != 8.0) {
                ++failures;
            }
        }
    });
    for (int s = 0; s < kSenders; ++s) threads[static_cast<size_t>(s)].join();
    sending = false;
    threads.back().join();
    EXPECT_EQ(failures.load(), 0);

    // Bursts do not interleave: consecutive pulses keep their spacing throughout.
    std::vector<int64_t> times;
    for (const auto& e : vboard::control::journal()) times.push_back(e.timeNs);
    ASSERT_EQ(times.size(), static_cast<size_t>(kSenders * kBursts) * kPulses);
    for (size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i] - times[i - 1], 160) << i;
}

}  // namespace
