// The image path against a per-pixel model; acquisition through the SDK and the applet.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>

#include "acquisition_fixture.h"
#include "bench.h"
#include "pipeline.h"

namespace {

using vboard::DesignSettings;
using vboard::RawFrame;

// A plain per-pixel model of the image path, written from the design's description and kept apart
// from the board's row-based code, so that the two check each other.
namespace model {

// Colour at (x, y) of the cut-out; negative positions keep their parity, as mirrored ones do.
char colourAt(uint32_t pattern, long x, long y) {
    static const char* const patterns[4][2] = {{"GB", "RG"}, {"BG", "GR"}, {"RG", "GB"}, {"GR", "BG"}};
    return patterns[pattern][y & 1][x & 1];
}

long reflect(long i, long n) {
    return i < 0 ? -i : i >= n ? 2 * n - 2 - i : i;
}

// Cut-out value at (x, y) as 12 bits; 0 outside the camera image.
uint32_t cutOut(const RawFrame& f, const DesignSettings& s, long x, long y) {
    const uint64_t cx = s.xOffset + static_cast<uint64_t>(x), cy = s.yOffset + static_cast<uint64_t>(y);
    return cx < f.width && cy < f.height ? uint32_t{f.pixels[cy * f.width + cx]} << (12 - f.bits) : 0;
}

// Bilinear: its own colour as it is, others the rounded mean of that colour in the 3 x 3 window.
uint32_t demosaic(const RawFrame& f, const DesignSettings& s, long x, long y, char colour) {
    if (colourAt(s.bayer, x, y) == colour) return cutOut(f, s, x, y);
    uint32_t sum = 0, n = 0;
    for (long dy = -1; dy <= 1; ++dy)
        for (long dx = -1; dx <= 1; ++dx)
            if (colourAt(s.bayer, x + dx, y + dy) == colour)
                sum += cutOut(f, s, reflect(x + dx, s.width), reflect(y + dy, s.height)), ++n;
    return (sum + n / 2) / n;
}

std::vector<uint8_t> process(const RawFrame& f, const DesignSettings& s) {
    const size_t bytesPerPixel = s.col24 ? 3 : 6;
    std::vector<uint8_t> out(size_t{s.width} * s.height * bytesPerPixel);
    for (long y = 0; y < long{s.height}; ++y) {
        for (long x = 0; x < long{s.width}; ++x) {
            uint8_t* pixel = &out[(size_t(y) * s.width + size_t(x)) * bytesPerPixel];
            for (int c = 0; c < 3; ++c) {
                const uint32_t v = demosaic(f, s, x, y, "RGB"[c]);
                const uint32_t mapped = s.lut[c][std::min<uint32_t>(v * s.coefficient[c] / 1024, 4095)];
                // 8 bits a colour, or 16 little-endian bits with the 12 at the top or the bottom.
                const uint32_t word = s.col24 ? mapped >> 4 : s.leftAligned ? mapped << 4 : mapped;
                const size_t bytes = s.col24 ? 1 : 2;
                for (size_t b = 0; b < bytes; ++b)
                    pixel[bytes * c + b] = static_cast<uint8_t>(word >> (8 * b));
            }
        }
    }
    return out;
}

}  // namespace model

// Cut-outs of over two wide vectors and a part, odd sizes, beyond the camera image (zeros before the
// tables), the smallest (whose one-sided neighbours the model's mirror cannot follow). Frame after frame
// each input of the tables changes alone: the tables, the green coefficient, the 48-bit alignment. Each
// kernel the processor has, forced in turn.
TEST(Pipeline, EveryKernelMatchesThePerPixelModel) {
    const uint32_t cutOuts[][4] = {
        {37, 16, 0, 0}, {37, 16, 1, 0},  {37, 16, 0, 1}, {37, 16, 3, 5}, {17, 5, 0, 0}, {32, 16, 8, 4},
        {33, 3, 0, 1},  {19, 7, 40, 20}, {4, 4, 50, 2},  {2, 2, 5, 5},   {1, 1, 3, 3},  {3, 1, 0, 9},
        {97, 3, 1, 2},  {64, 2, 0, 0},   {75, 4, 40, 3}, {10, 3, 2, 1},  {11, 2, 0, 0}};
    const std::pair<bool, bool> formats[] = {{true, true}, {false, true}, {false, false}};  // 24 bits, left
    std::mt19937 rng(1234);
    ASSERT_TRUE(vboard::kernelAvailable(vboard::Kernel::portable));
    for (auto kernel : {vboard::Kernel::avx512, vboard::Kernel::avx2, vboard::Kernel::portable}) {
        if (!vboard::kernelAvailable(kernel)) {
            std::cout << "kernel " << int(kernel) << " is not on this processor\n";
            EXPECT_THROW(
                vboard::process({}, DesignSettings{1, 1, 1, 1}, std::vector<uint8_t>(3).data(), kernel),
                std::invalid_argument);
            continue;
        }
        for (int bits : {8, 10, 12}) {
            DesignSettings s;
            s.coefficient = {1536, 1024, 700};  // below and above unity: the scaling and the clamp
            for (auto& table : s.lut)
                for (auto& e : table) e = static_cast<uint16_t>(rng() & 4095);
            RawFrame random{100, 24, bits, std::vector<uint16_t>(100 * 24)};
            const uint32_t max = (1u << bits) - 1;
            for (auto& p : random.pixels) p = static_cast<uint16_t>(rng() & max);
            // Lines of values close together, at the bottom, middle and top of the range: the spreads
            // reach either side of what the vector kernels look up without a gather.
            RawFrame smooth{100, 24, bits, std::vector<uint16_t>(100 * 24)};
            for (uint32_t y = 0; y < 24; ++y) {
                const uint32_t spread = std::min(max, 1 + y * 23 % 150);
                const uint32_t base = y % 3 == 0 ? 0 : y % 3 == 1 ? max - spread : max / 2;
                for (uint32_t x = 0; x < 100; ++x)
                    smooth.pixels[y * 100 + x] = static_cast<uint16_t>(base + rng() % (spread + 1));
            }
            // Steep ramps: at 12 bits, 32 neighbours span more than one window and less than two.
            RawFrame ramp;
            vboard::renderTestPattern(100, 24, bits, 5, ramp);
            for (const RawFrame& frame : {random, smooth, ramp, RawFrame{}}) {
                for (uint32_t pattern = 0; pattern < 4; ++pattern) {
                    for (size_t i = 0; i < std::size(cutOuts); ++i) {
                        const auto [width, height, x, y] = cutOuts[i];
                        s.coefficient[1] = uint32_t(1024 + 100 * (i % 11));  // the last as the first
                        for (const auto& [col24, left] : formats) {
                            std::tie(s.width, s.height, s.xOffset, s.yOffset, s.bayer, s.col24,
                                     s.leftAligned) = std::tuple(width, height, x, y, pattern, col24, left);
                            const auto want = model::process(frame, s);
                            std::vector<uint8_t> got(vboard::imageBytes(s), 0xee);
                            ASSERT_EQ(got.size(), want.size());
                            vboard::process(frame, s, got.data(), kernel);
                            const auto at = std::ranges::mismatch(want, got).in1 - want.begin();
                            EXPECT_TRUE(at == long(want.size()) || width == 1 || height == 1)
                                << "byte " << at << ", kernel " << int(kernel) << ", bits " << bits
                                << " pattern " << pattern << ", " << width << "x" << height << " at " << x
                                << "," << y << (frame.width ? "" : " of nothing") << ", " << col24 << left;
                        }
                    }
                }
            }
        }
    }
}

// Red rises along the lines, green down the columns, blue along the diagonal, each wrapping.
TEST(Pipeline, TestPatternLayout) {
    RawFrame f;
    vboard::renderTestPattern(8, 4, 10, 0, f);
    EXPECT_EQ((std::vector<size_t>{f.pixels.size(), size_t(f.bits), f.pixels[2], f.pixels[8], f.pixels[10],
                                   f.pixels[11], f.pixels[19]}),
              (std::vector<size_t>{32, 10, 2 * 8, 1 * 8, 1 * 8, (3 + 1) * 4, 2 * 8}));
    vboard::renderTestPattern(8, 4, 8, 161, f);
    EXPECT_EQ(f.pixels[0], (161u * 8) & 255);  // moved, wrapped at the bit depth
}

using std::chrono::milliseconds;

// Values of the applet's enumerations.
constexpr uint32_t FG_COL24 = 2, FG_COL48 = 6, FG_LEFT_ALIGNED = 1, FG_RIGHT_ALIGNED = 0;
constexpr uint32_t ATM_GENERATOR = 1, ATM_SOFTWARE = 4, TS_ACTIVE = 0, TS_SYNC_STOP = 2;

uint64_t design(const char* name) {
    return vboard::control::value(std::string("Device1_Process0_") + name);
}

TEST_F(Acquisition, PicturesAreTheProcessedCameraFrames) {
    // Format, alignment, camera type, its bits, x offset, invert. The second cut-out runs past the
    // camera image, whose zeros the inverted table turns white.
    for (const auto& [format, alignment, camtype, bits, x, invert] :
         {std::tuple(FG_COL48, FG_RIGHT_ALIGNED, 210u, 10, kX, 0u),
          {FG_COL24, FG_LEFT_ALIGNED, 212u, 12, 48u, 1u}}) {
        setAll({{FG_FORMAT, format}, {FG_BITALIGNMENT, alignment}, {FG_CAMERA_LINK_CAMTYPE, camtype}});
        setAll({{FG_IMG_SELECT_PERIOD, 3},
                {FG_IMG_SELECT, 1},
                {FG_GEN_ROLL, 1},
                {FG_XOFFSET, x},
                {FG_PROCESSING_INVERT, invert}});
        ASSERT_EQ(setDouble(FG_SCALINGFACTOR_RED, 1.5) | setDouble(FG_SCALINGFACTOR_BLUE, 0.5), 0);
        frameTime(2);
        freeRun();
        // The camera's lines start red, green; the odd y offset makes the cut-out start green, blue.
        DesignSettings s;
        std::tie(s.xOffset, s.yOffset, s.width, s.height, s.col24, s.leftAligned) =
            std::tuple(x, kY, kWidth, kHeight, format == FG_COL24, alignment == FG_LEFT_ALIGNED);
        s.coefficient = {1536, 1024, 512};
        for (auto& table : s.lut)  // gain 1, gamma 1
            for (uint32_t i = 0; i < table.size(); ++i) table[i] = invert ? 4095 - i : i;
        allocate(vboard::imageBytes(s), 4);
        ASSERT_EQ(acquire(3), 0);
        ASSERT_EQ(waitFor(3), 3);
        for (long n = 1; n <= 3; ++n) {
            // Frames 1, 4 and 7 pass the selector; the rolling scene moved one column a frame.
            RawFrame raw;
            vboard::renderTestPattern(kCameraWidth, kCameraHeight, bits, 3 * n - 2, raw);
            const void* got = Fg_getImagePtrEx(fg, n, 0, memory);
            ASSERT_NE(got, nullptr);
            EXPECT_EQ(std::memcmp(model::process(raw, s).data(), got, vboard::imageBytes(s)), 0)
                << "picture " << n << " in format " << format;
        }
        EXPECT_EQ((std::tuple{status(VBOARD_STATUS_FRAMES_DELIVERED), status(VBOARD_STATUS_FRAMES_LOST),
                              status(VBOARD_STATUS_END_OF_FRAME_EVENTS)}),
                  std::tuple(3, 0, 8));  // frames 0..7 ended
    }
}

// On board time held where it was seen, frames follow queued software triggers 10 ms apart, each at
// the end of pulse form generator 0's 4 ms pulse (a rising edge on the inverted line); free-running, the
// simulator takes the time its registers make (1 in 64 design clocks active).
TEST_F(Acquisition, TriggerAndRegistersPaceTheCamera) {
    frameTime(1);
    setAll({{FG_GEN_ENABLE, 1},
            {FG_AREATRIGGERMODE, ATM_SOFTWARE},
            {FG_TRIGGERSTATE, TS_ACTIVE},
            {FG_TRIGGERQUEUE_MODE, 1}});
    ASSERT_EQ(setDouble(FG_TRIGGER_FRAMESPERSECOND, 100.0), 0);
    allocate(kImage, 8);
    const long seen = vboard::control::simulatedNs();
    vboard::control::holdTime(true);
    const long t0 = vboard::control::simulatedNs() / 16 * 16, kMs = 1'000'000;
    EXPECT_GE(t0 + 16, seen);
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    ASSERT_EQ(set(FG_SENDSOFTWARETRIGGER, 5), 0);
    vboard::control::advanceTime(60 * kMs);
    EXPECT_EQ(waitFor(5), 5);
    for (long n = 1; n <= 5; ++n) EXPECT_EQ(exposureStart(n), t0 + 4 * kMs + (n - 1) * 10 * kMs) << n;
    ASSERT_EQ(stop(), 0);

    frameTime(10);
    freeRun();
    vboard::control::setValue("AAGenActive", 1), vboard::control::setValue("AAGenPassive", 63);
    const long start = vboard::control::simulatedNs();
    ASSERT_EQ(acquire(3), 0);
    vboard::control::advanceTime(35 * kMs);
    EXPECT_EQ(waitFor(3), 3);
    const long frameNs = vboard::control::value("AAGenLineWidth") * kCameraHeight * 1024;
    for (long n = 1; n <= 3; ++n) EXPECT_EQ(exposureStart(n), start + (n - 1) * frameNs) << n;
}

// A 12-bit camera exposing 150 ms, its scene's reference: an asynchronous stop abandons the frame in
// progress, a synchronous one lets it expose in full. The background, 205, keeps its lowest 8 bits.
TEST_F(Acquisition, StopsHonourTheirFlagAndTheFormatKeepsTheCamerasLowestBits) {
    vboard::Bench bench;
    bench.camera.bits = 12, bench.camera.exposureNs = bench.scene.referenceExposureNs = 150'000'000;
    vboard::control::setBench(bench);
    allocate(kImage, 2);
    for (int flag : {STOP_ASYNC, STOP_SYNC}) {
        ASSERT_EQ(acquire(GRAB_INFINITE), 0);
        ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_START_OF_FRAME_EVENTS) == 1; }));
        ASSERT_EQ(stop(flag), 0);
        EXPECT_EQ(
            (std::vector{status(VBOARD_STATUS_END_OF_FRAME_EVENTS), status(VBOARD_STATUS_FRAMES_DELIVERED)}),
            std::vector<long>(2, flag == STOP_SYNC));
    }
    const auto* picture = static_cast<const uint8_t*>(Fg_getImagePtrEx(fg, 1, 0, memory));
    EXPECT_EQ(std::vector<uint8_t>(picture, picture + kImage), std::vector<uint8_t>(kImage, 205));
}

// No camera, no frames; then a frame finds no buffer: too small a one loses it, a full set overflows.
TEST_F(Acquisition, NoFramesLostFramesAndOverflow) {
    vboard::test::emptyCameraPort();  // and the simulator stays off
    allocate(kImage - 1, 2);
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    EXPECT_EQ(waitFor(1, 1), FG_TIMEOUT_ERR);
    EXPECT_EQ(status(VBOARD_STATUS_START_OF_FRAME_EVENTS), 0);
    ASSERT_EQ(stop(), 0);

    freeRun();  // frames of about 0.55 ms
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_FRAMES_LOST) >= 3; }));
    EXPECT_EQ(last(), 0);
    EXPECT_EQ(design("Overflow_OverflowOccurred"), 0u);  // lost, but not for want of buffers
    ASSERT_EQ(stop(), 0);

    allocate(kImage, 2);
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_FRAMES_LOST) > 0; }));
    EXPECT_EQ((std::tuple{last(), design("Overflow_OverflowOccurred"), design("Buffer_0_DRAM_A_0_FillLevel"),
                          design("Buffer_0_DRAM_A_1_FillLevel")}),
              std::tuple(2, 1u, 100u, 100u));
    // Asking for picture 2 frees the buffer of picture 1 and the next frame takes it. Waiting for
    // picture 3 gives up its buffer too, so a late waiter may already see up to two more.
    ASSERT_NE(Fg_getImagePtrEx(fg, 2, 0, memory), nullptr);
    const long got = waitFor(3);
    EXPECT_GE(got, 3);
    EXPECT_LE(got, 5);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 1, 0, memory), nullptr);  // overwritten
    EXPECT_EQ(design("Overflow_OverflowOccurred"), 1u);      // stays until the next start
    EXPECT_EQ(stop(), 0);
    ASSERT_EQ(acquire(1), 0);
    EXPECT_EQ(waitFor(1), 1);
    EXPECT_EQ(design("Overflow_OverflowOccurred"), 0u);
}

// Every ended frame is delivered or lost once.
TEST_F(Acquisition, StopsAccountForEveryFrame) {
    freeRun();
    allocate(kImage, 4);
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(acquire(GRAB_INFINITE), 0);
        std::this_thread::sleep_for(std::chrono::microseconds(100 * (i % 10)));
        if (i % 3 == 0) last();
        ASSERT_EQ(stop(i % 2 == 0 ? STOP_SYNC : STOP_ASYNC), 0);
        ASSERT_EQ(status(VBOARD_STATUS_END_OF_FRAME_EVENTS),
                  status(VBOARD_STATUS_FRAMES_DELIVERED) + status(VBOARD_STATUS_FRAMES_LOST))
            << i;
    }
    EXPECT_EQ(stop(7), FG_INVALID_PARAMETER);

    // The widest registers at the fastest pace make a frame that ends late, not a time overflow.
    for (const char* r : {"AAGenHeight", "AAGenLineWidth", "AAGenWidth"}) vboard::control::setValue(r, ~0u);
    vboard::control::setTimeScale(1e9);
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    ASSERT_TRUE(eventually([&] { return status(VBOARD_STATUS_START_OF_FRAME_EVENTS) == 1; }));
    std::this_thread::sleep_for(milliseconds(20));
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(status(VBOARD_STATUS_END_OF_FRAME_EVENTS), 0);
}

}  // namespace
