// Acquisition on the virtual board through the SDK and the applet: images, pacing, buffers.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "acquisition_fixture.h"
#include "reference.h"

namespace {

using Clock = std::chrono::steady_clock;

// Values of the applet's enumerations.
constexpr uint32_t FG_COL24 = 2, FG_COL48 = 6, FG_LEFT_ALIGNED = 1, FG_RIGHT_ALIGNED = 0;
constexpr uint32_t ATM_SOFTWARE = 4, TS_ACTIVE = 0;

class Acquisition : public SdkBoard {};

// What the test itself knows of the settings it made, for the model.
vboard::DesignSettings settingsFor(uint32_t bayerCode, bool col24, bool left, uint32_t divisor,
                                   uint32_t phase) {
    vboard::DesignSettings s;
    s.width = SdkBoard::kWidth;
    s.height = SdkBoard::kHeight;
    s.xOffset = SdkBoard::kX;
    s.yOffset = SdkBoard::kY;
    s.bayer = bayerCode;
    s.coefficient = {1536, 1024, 512};
    for (auto& table : s.lut)
        for (uint16_t i = 0; i < 4096; ++i) table[i] = i;  // gain 1, gamma 1
    s.col24 = col24;
    s.leftAligned = left;
    s.selectDivisor = divisor;
    s.selectPhase = phase;
    return s;
}

TEST_F(Acquisition, PicturesAreTheProcessedCameraFrames) {
    struct {
        uint32_t format, alignment, camtype;
        int bits;
    } cases[] = {{FG_COL48, FG_RIGHT_ALIGNED, 210, 10}, {FG_COL24, FG_LEFT_ALIGNED, 212, 12}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        ASSERT_EQ(set(FG_FORMAT, c.format), 0);
        ASSERT_EQ(set(FG_BITALIGNMENT, c.alignment), 0);
        ASSERT_EQ(set(FG_CAMERA_LINK_CAMTYPE, c.camtype), 0);
        ASSERT_EQ(setDouble(FG_SCALINGFACTOR_RED, 1.5), 0);
        ASSERT_EQ(setDouble(FG_SCALINGFACTOR_BLUE, 0.5), 0);
        ASSERT_EQ(set(FG_IMG_SELECT_PERIOD, 3), 0);
        ASSERT_EQ(set(FG_IMG_SELECT, 1), 0);
        ASSERT_EQ(set(FG_GEN_ROLL, 1), 0);
        frameTime(2);
        freeRun();
        // The camera's lines start red, green; the odd y offset makes the cut-out start green, blue.
        const auto s = settingsFor(0, c.format == FG_COL24, c.alignment == FG_LEFT_ALIGNED, 3, 1);
        const size_t bytes = vboard::imageBytes(s);
        allocate(bytes, 4);

        ASSERT_EQ(Fg_AcquireEx(fg, 0, 3, ACQ_STANDARD, memory), 0);
        ASSERT_EQ(Fg_getLastPicNumberBlockingEx(fg, 3, 0, 5, memory), 3);
        EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_ACQUIRING, 0, 0, memory), 0);  // the count is reached
        for (long n = 1; n <= 3; ++n) {
            // Frames 1, 4 and 7 pass the selector; the rolling scene moved one column a frame.
            vboard::RawFrame raw;
            vboard::renderTestPattern(kCameraWidth, kCameraHeight, c.bits, static_cast<uint64_t>(3 * n - 2),
                                      raw);
            const auto want = reference::process(raw, s);
            const auto* got = static_cast<const uint8_t*>(Fg_getImagePtrEx(fg, n, 0, memory));
            ASSERT_NE(got, nullptr);
            EXPECT_EQ(std::memcmp(want.data(), got, bytes), 0) << "picture " << n;
        }
        EXPECT_EQ(status(VBOARD_STATUS_FRAMES_DELIVERED), 3);
        EXPECT_EQ(status(VBOARD_STATUS_FRAMES_LOST), 0);
        EXPECT_EQ(status(VBOARD_STATUS_END_OF_FRAME_EVENTS), 8);  // frames 0..7
        EXPECT_GE(status(VBOARD_STATUS_START_OF_FRAME_EVENTS), 8);
        ASSERT_EQ(Fg_FreeMemEx(fg, memory), 0);
        memory = nullptr;
    }
}

TEST_F(Acquisition, SoftwareTriggerGivesOneFramePerPulse) {
    frameTime(2);
    ASSERT_EQ(set(FG_GEN_ENABLE, 1), 0);
    ASSERT_EQ(set(FG_AREATRIGGERMODE, ATM_SOFTWARE), 0);
    ASSERT_EQ(set(FG_TRIGGERSTATE, TS_ACTIVE), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 100.0), 0);
    allocate(kWidth * kHeight * 3, 8);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 0);  // nothing without a pulse

    constexpr uint32_t kPulses = 5;
    const auto start = Clock::now();
    for (uint32_t i = 0; i < kPulses; ++i) ASSERT_EQ(set(FG_SENDSOFTWARETRIGGER, 1), 0) << i;
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, kPulses, 0, 5, memory), long{kPulses});
    // The generator lets one pulse through each 10 ms.
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(36));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), long{kPulses});
    EXPECT_EQ(status(VBOARD_STATUS_START_OF_FRAME_EVENTS), long{kPulses});
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0);
}

TEST_F(Acquisition, GeneratorPacesTheCamera) {
    frameTime(1);
    ASSERT_EQ(set(FG_GEN_ENABLE, 1), 0);
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 40.0), 0);
    allocate(kWidth * kHeight * 3, 8);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, 5, ACQ_STANDARD, memory), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 0);  // the generator is stopped (sync stop)

    const auto start = Clock::now();
    ASSERT_EQ(set(FG_TRIGGERSTATE, TS_ACTIVE), 0);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 5, 0, 5, memory), 5);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(4 * 25 * 9 / 10));
}

TEST_F(Acquisition, FreeRunFollowsTheSimulatorTiming) {
    frameTime(10);
    freeRun();
    allocate(kWidth * kHeight * 3, 8);
    const auto start = Clock::now();
    ASSERT_EQ(Fg_AcquireEx(fg, 0, 6, ACQ_STANDARD, memory), 0);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 6, 0, 5, memory), 6);
    const double elapsedNs = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    EXPECT_GE(elapsedNs, 6 * frameNs() * 0.95);

    // Faster only when asked: 40 frames of 10 ms at twenty times the pace.
    ASSERT_EQ(Fg_FreeMemEx(fg, memory), 0);
    memory = nullptr;
    allocate(kWidth * kHeight * 3, 64);
    vboard::control::setTimeScale(20);
    const auto fast = Clock::now();
    ASSERT_EQ(Fg_AcquireEx(fg, 0, 40, ACQ_STANDARD, memory), 0);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 40, 0, 5, memory), 40);
    const double fastNs = std::chrono::duration<double, std::nano>(Clock::now() - fast).count();
    EXPECT_GE(fastNs, 40 * frameNs() / 20 * 0.95);
    EXPECT_LT(fastNs, 40 * frameNs() * 0.9);
}

TEST_F(Acquisition, NoCameraNoFrames) {
    ASSERT_EQ(set(FG_TRIGGERCC_SELECT0, 5), 0);  // the simulator stays off: the camera port is empty
    allocate(kWidth * kHeight * 3, 2);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    const auto start = Clock::now();
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 1, 0, 1, memory), FG_TIMEOUT_ERR);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(status(VBOARD_STATUS_START_OF_FRAME_EVENTS), 0);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), FG_ACQUISITION_NOT_RUNNING);
}

TEST_F(Acquisition, OverflowWhenNobodyReads) {
    freeRun();  // frames of about 0.55 ms
    allocate(kWidth * kHeight * 3, 2);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_FRAMES_LOST) > 0; }));
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 2);
    EXPECT_EQ(get(FG_OVERFLOW), 1u);
    EXPECT_EQ(get(FG_FILLLEVEL), 100u);
    EXPECT_EQ(vboard::control::value("Device1_Process0_Buffer_0_DRAM_A_1_FillLevel"), 100u);

    // Asking for picture 2 frees the buffer of picture 1 and the next frame takes it. Waiting for
    // picture 3 gives up its buffer too, so a late waiter may already see up to two more.
    ASSERT_NE(Fg_getImagePtrEx(fg, 2, 0, memory), nullptr);
    const long last = Fg_getLastPicNumberBlockingEx(fg, 3, 0, 5, memory);
    EXPECT_GE(last, 3);
    EXPECT_LE(last, 5);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 1, 0, memory), nullptr);  // overwritten
    EXPECT_EQ(get(FG_OVERFLOW), 1u);                         // stays until the next start
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, 1, ACQ_STANDARD, memory), 0);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 1, 0, 5, memory), 1);
    EXPECT_EQ(get(FG_OVERFLOW), 0u);
}

TEST_F(Acquisition, BufferTooSmallLosesTheFrame) {
    freeRun();
    allocate(kWidth * kHeight * 3 - 1, 2);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_FRAMES_LOST) >= 3; }));
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 0);
    EXPECT_EQ(get(FG_OVERFLOW), 0u);  // lost, but not for want of buffers
}

// Every frame that ends is delivered or lost exactly once, whenever the stop comes; a synchronous
// stop lets the frame in progress end, an asynchronous one abandons it.
TEST_F(Acquisition, StopsAccountForEveryFrameAndHonourTheirFlag) {
    freeRun();  // frames of about 0.55 ms
    allocate(kWidth * kHeight * 3, 4);
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(100 * (i % 10)));
        if (i % 3 == 0) Fg_getLastPicNumberEx(fg, 0, memory);
        ASSERT_EQ(Fg_stopAcquireEx(fg, 0, memory, i % 2 == 0 ? STOP_SYNC : STOP_ASYNC), 0);
        const long ended = status(VBOARD_STATUS_END_OF_FRAME_EVENTS);
        ASSERT_EQ(ended, status(VBOARD_STATUS_FRAMES_DELIVERED) + status(VBOARD_STATUS_FRAMES_LOST)) << i;
    }
    frameTime(150);
    for (int flag : {STOP_SYNC, STOP_ASYNC}) {
        ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
        ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_START_OF_FRAME_EVENTS) == 1; }));
        ASSERT_EQ(Fg_stopAcquireEx(fg, 0, memory, flag), 0);
        EXPECT_EQ(status(VBOARD_STATUS_END_OF_FRAME_EVENTS), flag == STOP_SYNC ? 1 : 0) << flag;
        EXPECT_EQ(status(VBOARD_STATUS_FRAMES_DELIVERED), flag == STOP_SYNC ? 1 : 0) << flag;
    }
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, 7), FG_INVALID_PARAMETER);

    // The widest registers at the fastest pace make a frame that ends late, not a time overflow.
    for (const char* r : {"AAGenHeight", "AAGenLineWidth", "AAGenWidth"}) vboard::control::setValue(r, ~0u);
    vboard::control::setTimeScale(1e9);
    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_START_OF_FRAME_EVENTS) == 1; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0);
    EXPECT_EQ(status(VBOARD_STATUS_END_OF_FRAME_EVENTS), 0);
}

TEST_F(Acquisition, UnknownStatusAndBadArguments) {
    allocate(64, 1);
    EXPECT_EQ(status(12345), FG_INVALID_PARAMETER);
    EXPECT_EQ(status(VBOARD_STATUS_FRAMES_LOST), 0);
    EXPECT_EQ(Fg_getImagePtrEx(fg, -1, 0, memory), nullptr);
    EXPECT_THROW(vboard::control::setTimeScale(0), std::invalid_argument);
    EXPECT_THROW(vboard::control::setTimeScale(1, 7), std::invalid_argument);
}

}  // namespace
