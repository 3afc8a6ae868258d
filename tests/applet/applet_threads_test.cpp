// Several threads setting and getting parameters of one board at once: every call is serialised
// by the parameter lock, so each read sees one complete write.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "applet_fixture.h"

namespace {

class AppletThreads : public AppletOnBoard {};

TEST_F(AppletThreads, ConcurrentSetsAndGetsStayConsistent) {
    constexpr uint32_t kThreads = 4, kRounds = 300;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (uint32_t t = 1; t <= kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (uint32_t i = 0; i < kRounds; ++i) {
                if (setUInt(FG_TIMEOUT, 1000 * t + i % 100 + 2) != 0 ||
                    setUInt(FG_TURBO_DMA_MODE, i & 1) != 0)
                    ++failures;
                const uint32_t seen = getUInt(FG_TIMEOUT);
                if (seen < 1002 || seen > 1000 * kThreads + 101) ++failures;
                if (A().Fg_getParameterIdByName(&fg, "FG_TIMEOUT") != FG_TIMEOUT) ++failures;
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    // The applet's copy and the SDK's own value agree after the last write.
    EXPECT_EQ(getUInt(FG_TIMEOUT), vboard::control::sdkValue(FG_TIMEOUT));
}

// The document reads the limits and access modes that setters change.
TEST_F(AppletThreads, DocumentIsBuiltWhileSettersChangeTheDescriptions) {
    std::atomic<bool> done{false};
    std::thread setter([&] {
        for (uint32_t i = 0; !done; ++i) {
            uint32_t width = 16 * (1 + i % 64), type = i % 2 == 0 ? 0u : 3u;
            A().Fg_setParameterWithType(&fg, FG_WIDTH, &width, 0, FG_PARAM_TYPE_UINT32_T);
            A().Fg_setParameterWithType(&fg, FG_LUT_TYPE, &type, 0, FG_PARAM_TYPE_UINT32_T);
        }
    });
    for (int i = 0; i < 5; ++i) {
        size_t size = 0;
        EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 0, nullptr, &size), 0);
        std::string document(size, '\0');
        const int rc = A().Fg_getParameterInfoXML(&fg, 0, document.data(), &size);
        EXPECT_TRUE(rc == 0 || rc == FG_NOT_ENOUGH_MEMORY) << rc;  // it may have grown meanwhile
    }
    done = true;
    setter.join();
}

}  // namespace
