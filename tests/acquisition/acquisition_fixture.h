// The applet opened through the SDK on board 0, with a small simulated camera: 64 x 32 pixels,
// 4 taps, a region of interest of 32 x 16 at (16, 3).
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "fg_constants.h"
#include "fglib5.h"
#include "vboard/control.h"
#include "vboard/fglib_ext.h"

class SdkBoard : public ::testing::Test {
  public:
    static constexpr uint32_t kWidth = 32, kHeight = 16, kX = 16, kY = 3;
    static constexpr uint32_t kCameraWidth = 64, kCameraHeight = 32;

  protected:
    void SetUp() override {
        vboard::control::reset();
        fg = Fg_Init(PELLUCID_APPLET_PATH, 0);
        ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
        for (auto [id, v] : {std::pair{FG_GEN_WIDTH, kCameraWidth},
                             {FG_GEN_HEIGHT, kCameraHeight},
                             {FG_WIDTH, kWidth},
                             {FG_HEIGHT, kHeight},
                             {FG_XOFFSET, kX},
                             {FG_YOFFSET, kY},
                             {FG_GEN_ACCURACY, 255u}}) {
            ASSERT_EQ(set(id, v), 0) << id;
        }
        // 4 of every 255 design clocks carry pixels: a tap clock of 1020 ns.
        ASSERT_EQ(setDouble(FG_GEN_FREQ, 1.0), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    }
    void TearDown() override {
        if (fg == nullptr) return;
        if (memory != nullptr) {
            Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC);
            EXPECT_EQ(Fg_FreeMemEx(fg, memory), 0);
        }
        Fg_FreeGrabber(fg);
        vboard::control::reset();
    }

    int set(int id, uint32_t v) { return Fg_setParameterWithType(fg, id, &v, 0, FG_PARAM_TYPE_UINT32_T); }
    int setDouble(int id, double v) { return Fg_setParameterWithType(fg, id, &v, 0, FG_PARAM_TYPE_DOUBLE); }
    uint32_t get(int id) {
        uint32_t v = 0;
        EXPECT_EQ(Fg_getParameterWithType(fg, id, &v, 0, FG_PARAM_TYPE_UINT32_T), 0) << id;
        return v;
    }
    long status(int query) { return Fg_getStatusEx(fg, query, 0, 0, memory); }

    // Line gap for frames of about `ms` milliseconds: 32 lines of (64 + gap) / 4 tap clocks.
    void frameTime(double ms) {
        const double clocks = ms * 1e6 / 1020.0 / kCameraHeight;
        ASSERT_EQ(set(FG_GEN_LINE_GAP, static_cast<uint32_t>(clocks * 4) - kCameraWidth), 0);
    }
    // The frame time the registers make, in ns.
    double frameNs() { return double(vboard::control::value("AAGenLineWidth")) * kCameraHeight * 1020.0; }
    void freeRun() {
        ASSERT_EQ(set(FG_GEN_ENABLE, 1), 0);
        ASSERT_EQ(set(FG_TRIGGERCC_SELECT0, 5), 0);  // a constant line: the camera runs on its own
    }
    void allocate(size_t bytes, long count) {
        memory = Fg_AllocMemEx(fg, bytes, count);
        ASSERT_NE(memory, nullptr);
    }
    // Polls `done` for up to five seconds.
    template <typename F>
    bool eventually(F done) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!done()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    Fg_Struct* fg = nullptr;
    dma_mem* memory = nullptr;
};
