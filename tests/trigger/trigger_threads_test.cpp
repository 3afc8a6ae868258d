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
    // Ready and nothing queued whatever the bursts do: only consistency is looked at here.
    const std::string generators = "Device1_Process1_Trigger_TriggerCam0_Generators_";
    vboard::control::setValue(generators + "Generator_MaximumReached_Status", 1);
    vboard::control::setValue(generators + "QueueValue_Status", 0);
    vboard::control::clearJournal();

    constexpr int kSenders = 2, kBursts = 20;
    constexpr uint32_t kPulses = 50;
    std::atomic<int> failures{0};
    std::atomic<bool> sending{true};
    std::vector<std::thread> senders;
    for (int s = 0; s < kSenders; ++s) {
        senders.emplace_back([&] {
            for (int i = 0; i < kBursts; ++i) failures += setUInt(FG_SENDSOFTWARETRIGGER, kPulses) != 0;
        });
    }
    std::thread reader([&] {
        while (sending) {
            failures += getUInt(FG_SOFTWARETRIGGER_IS_BUSY) != 0 || getUInt(FG_AREATRIGGERMODE) != 4 ||
                        getDouble(FG_TRIGGER_FRAMESPERSECOND) != 8.0;
        }
    });
    for (std::thread& t : senders) t.join();
    sending = false;
    reader.join();
    EXPECT_EQ(failures.load(), 0);

    // Bursts do not interleave: consecutive pulses keep their spacing throughout.
    const std::vector<vboard::control::JournalEntry> pulses = vboard::control::journal();
    ASSERT_EQ(pulses.size(), static_cast<size_t>(kSenders * kBursts) * kPulses);
    for (size_t i = 1; i < pulses.size(); ++i) EXPECT_GE(pulses[i].timeNs - pulses[i - 1].timeNs, 160) << i;
}

}  // namespace
