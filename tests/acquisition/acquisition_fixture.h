// The applet opened through the SDK on board 0, with a small simulated camera: 64 x 32 pixels,
// 4 taps, a region of interest of 32 x 16 at (16, 3).
#pragma once

#include <chrono>
#include <initializer_list>
#include <thread>
#include <utility>

#include "fg_constants.h"
#include "vboard_fixture.h"

class Acquisition : public vboard::test::Board {
  public:
    static constexpr uint32_t kWidth = 32, kHeight = 16, kX = 16, kY = 3, kCameraWidth = 64,
                              kCameraHeight = 32;
    static constexpr size_t kImage = kWidth * kHeight * 3;  // bytes of a 24-bit picture

  protected:
    void SetUp() override {
        vboard::control::reset();
        fg = Fg_Init(PELLUCID_APPLET_PATH, 0);
        ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
        setAll({{FG_GEN_WIDTH, kCameraWidth}, {FG_GEN_HEIGHT, kCameraHeight}, {FG_GEN_ACCURACY, 255}});
        setAll({{FG_WIDTH, kWidth}, {FG_HEIGHT, kHeight}, {FG_XOFFSET, kX}, {FG_YOFFSET, kY}});
        // 4 of every 255 design clocks carry pixels: a tap clock of 1020 ns.
        for (int id : {FG_GEN_FREQ, FG_PROCESSING_GAIN, FG_PROCESSING_GAMMA})
            ASSERT_EQ(setDouble(id, 1.0), 0);
    }
    void TearDown() override {
        if (fg == nullptr) return;
        stop();
        EXPECT_TRUE(memory == nullptr || Fg_FreeMemEx(fg, memory) == 0);
        Fg_FreeGrabber(fg);
    }

    int set(int id, uint32_t v) { return Board::set(id, v, FG_PARAM_TYPE_UINT32_T); }
    int setDouble(int id, double v) { return Board::set(id, v, FG_PARAM_TYPE_DOUBLE); }
    void setAll(std::initializer_list<std::pair<int, uint32_t>> values) {
        for (auto [id, v] : values) ASSERT_EQ(set(id, v), 0) << id;
    }
    // Line gap for frames of about `ms` milliseconds: 32 lines of (64 + gap) / 4 tap clocks.
    void frameTime(double ms) {
        ASSERT_EQ(set(FG_GEN_LINE_GAP, uint32_t(ms * 1e6 / 1020 / kCameraHeight * 4) - 64), 0);
    }
    // A constant trigger line: the camera runs on its own.
    void freeRun() { setAll({{FG_GEN_ENABLE, 1}, {FG_TRIGGERCC_SELECT0, 5}}); }
    // Buffers for the next acquisition, in place of the last ones.
    void allocate(size_t bytes, long count) {
        ASSERT_TRUE(memory == nullptr || Fg_FreeMemEx(fg, memory) == 0);
        ASSERT_NE(memory = Fg_AllocMemEx(fg, bytes, count), nullptr);
    }
    // Polls `done` for up to five seconds.
    template <typename F>
    bool eventually(F done) {
        for (int i = 0; i < 2500 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return done();
    }
};
