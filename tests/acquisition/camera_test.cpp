// The bench's camera on the port through the SDK and the applet, on held board time: when frames
// are exposed, what the trigger block makes of input signals, and what the pictures tell.
#include <gtest/gtest.h>

#include <vector>

#include "bench.h"
#include "fg_constants.h"
#include "vboard_fixture.h"

namespace {

using Longs = std::vector<long>;
constexpr int64_t kMs = 1000000;

class CameraOnThePort : public vboard::test::Board {
  protected:
    // A 64 x 32 camera on a board whose time stands still until the test moves it.
    void open(vboard::Bench bench) {
        vboard::control::reset();
        vboard::control::holdTime(true);
        bench.camera.width = 64, bench.camera.height = 32;
        vboard::control::setBench(bench);
        fg = Fg_Init(PELLUCID_APPLET_PATH, 0);
        ASSERT_NE(fg, nullptr);
        for (auto [id, v] : {std::pair(FG_WIDTH, 64), std::pair(FG_HEIGHT, 32)}) ASSERT_EQ(setU(id, v), 0);
        ASSERT_NE(memory = Fg_AllocMemEx(fg, 64 * 32 * 3, 4), nullptr);
    }
    void TearDown() override {
        stop();
        Fg_FreeMemEx(fg, memory);
        Fg_FreeGrabber(fg);
        fg = nullptr, memory = nullptr;
        vboard::control::reset();
    }
    int setU(int id, uint32_t v) { return set(id, v, FG_PARAM_TYPE_UINT32_T); }
    // Camera frame number and exposure start of pictures 1..n.
    Longs pictures(long n) {
        Longs out;
        for (long p = 1; p <= n; ++p)
            out.insert(out.end(), {status(VBOARD_STATUS_CAMERA_FRAME, p), exposureStart(p)});
        return out;
    }
};

// Free-running at 100 frames/s with 1 ms exposures: frames begin on the period's multiples.
TEST_F(CameraOnThePort, FreeRunsOnBoardTime) {
    vboard::Bench bench;
    bench.camera.frameRate = 100, bench.camera.exposureNs = kMs;
    open(bench);
    ASSERT_EQ(acquire(3), 0);
    vboard::control::advanceTime(25 * kMs);
    ASSERT_EQ(waitFor(3), 3);
    EXPECT_EQ(pictures(3), (Longs{0, 0, 1, 10 * kMs, 2, 20 * kMs}));
    EXPECT_EQ(status(VBOARD_STATUS_CAMERA_FRAME, 4), FG_INVALID_PARAMETER);
}

// A 1 kHz signal on input 0 from 1 ms on through the applet's External mode: debounce 1.008 us, downscale 3
// phase 1 (pulses 2, 5, 8), pulse form generator 0 on CC1 with a 100 us delay and a 200 us width,
// which the camera takes as its exposure. A camera still reading out misses the pulse, and says so.
TEST_F(CameraOnThePort, TriggeredThroughTheWholeChain) {
    vboard::Bench bench;
    bench.camera.triggered = bench.camera.exposureFromPulse = true;
    bench.inputs = {{.rateHz = 1000, .startNs = kMs, .count = 9, .widthNs = 10000}};  // after the set-up
    const struct {
        uint32_t lineGap;  // a long one makes the readout outlast the pulses
        Longs pictures;
        long missed;
    } cases[] = {{0, {0, 2101008, 1, 5101008, 2, 8101008}, 0}, {65535, {0, 2101008}, 2}};
    for (const auto& c : cases) {
        bench.camera.lineGap = c.lineGap;
        open(bench);
        // External mode, active; input downscale 3 phase 1; CC1 from pulse form generator 0.
        for (auto [id, v] : {std::pair(FG_AREATRIGGERMODE, 2), std::pair(FG_TRIGGERSTATE, 0),
                             std::pair(FG_TRIGGERIN_DOWNSCALE, 3), std::pair(FG_TRIGGERIN_DOWNSCALE_PHASE, 1),
                             std::pair(FG_TRIGGERCC_SELECT0, 0)})
            ASSERT_EQ(setU(id, v), 0) << id;
        for (auto [id, v] : {std::pair(FG_TRIGGER_PULSEFORMGEN0_WIDTH, 200.0),
                             std::pair(FG_TRIGGER_PULSEFORMGEN0_DELAY, 100.0),
                             std::pair(FG_TRIGGER_FRAMESPERSECOND, 4000.0)})
            ASSERT_EQ(set(id, v, FG_PARAM_TYPE_DOUBLE), 0) << id;
        ASSERT_EQ(setU(FG_TRIGGEROUT_SELECT3, 4), 0);  // Gnd; the others stay high by default
        EXPECT_EQ(vboard::control::triggerOutputLevels(), 0xf7u);
        ASSERT_EQ(acquire(GRAB_INFINITE), 0);
        vboard::control::advanceTime(40 * kMs);
        const long n = static_cast<long>(c.pictures.size() / 2);
        ASSERT_EQ(waitFor(n), n);
        EXPECT_EQ(pictures(n), c.pictures);
        uint32_t count = 0, missing = 2;
        EXPECT_EQ((Longs{get(FG_TRIGGERIN_STATS_PULSECOUNT, count, FG_PARAM_TYPE_UINT32_T), count,
                         get(FG_MISSING_CAMERA_FRAME_RESPONSE, missing, FG_PARAM_TYPE_UINT32_T), missing,
                         status(VBOARD_STATUS_MISSED_TRIGGERS)}),
                  (Longs{0, 9, 0, c.missed > 0, c.missed}));
        TearDown();
    }
}

}  // namespace
