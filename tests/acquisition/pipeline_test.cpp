// The board's image path against the per-pixel model, frame by frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <random>
#include <string>

#include "reference.h"

namespace {

using vboard::DesignSettings;
using vboard::RawFrame;

RawFrame randomFrame(uint32_t width, uint32_t height, int bits, std::mt19937& rng) {
    RawFrame f;
    f.width = width;
    f.height = height;
    f.bits = bits;
    std::uniform_int_distribution<int> value(0, (1 << bits) - 1);
    f.pixels.resize(size_t{width} * height);
    for (auto& p : f.pixels) p = static_cast<uint16_t>(value(rng));
    return f;
}

DesignSettings randomSettings(std::mt19937& rng) {
    DesignSettings s;
    std::uniform_int_distribution<int> entry(0, 4095);
    for (auto& table : s.lut)
        for (auto& e : table) e = static_cast<uint16_t>(entry(rng));
    // Below, at and above unity, so that both the scaling and the clamp are reached.
    s.coefficient = {1536, 1024, 700};
    return s;
}

// First differing byte as "pixel (x, y) byte b", or empty.
std::string firstDifference(const std::vector<uint8_t>& want, const uint8_t* got, const DesignSettings& s) {
    const size_t bpp = s.col24 ? 3 : 6;
    for (size_t i = 0; i < want.size(); ++i) {
        if (want[i] != got[i]) {
            const size_t pixel = i / bpp;
            return "pixel (" + std::to_string(pixel % s.width) + ", " + std::to_string(pixel / s.width) +
                   ") byte " + std::to_string(i % bpp) + ": want " + std::to_string(want[i]) + " got " +
                   std::to_string(got[i]);
        }
    }
    return "";
}

struct Format {
    bool col24;
    bool left;
};

// Both kernels: the portable one also runs where the wide one would be chosen.
class PipelineKernels : public testing::TestWithParam<vboard::Kernel> {};

INSTANTIATE_TEST_SUITE_P(Kernels, PipelineKernels,
                         testing::Values(vboard::Kernel::best, vboard::Kernel::portable),
                         [](const auto& info) {
                             return info.param == vboard::Kernel::best ? "best" : "portable";
                         });

TEST_P(PipelineKernels, MatchesThePerPixelModel) {
    std::mt19937 rng(1234);
    const Format formats[] = {{true, true}, {false, true}, {false, false}};
    const uint32_t offsets[][2] = {{0, 0}, {1, 0}, {0, 1}, {3, 5}};
    for (int bits : {8, 10, 12}) {
        const RawFrame frame = randomFrame(48, 24, bits, rng);
        for (uint32_t pattern = 0; pattern < 4; ++pattern) {
            for (const auto& offset : offsets) {
                for (const Format& format : formats) {
                    DesignSettings s = randomSettings(rng);
                    // More than two vectors of the widest kernel and a partial one.
                    s.width = 37;
                    s.height = 16;
                    s.xOffset = offset[0];
                    s.yOffset = offset[1];
                    s.bayer = pattern;
                    s.col24 = format.col24;
                    s.leftAligned = format.left;
                    const auto want = reference::process(frame, s);
                    std::vector<uint8_t> got(vboard::imageBytes(s), 0xee);
                    ASSERT_EQ(got.size(), want.size());
                    vboard::process(frame, s, got.data(), GetParam());
                    EXPECT_EQ(firstDifference(want, got.data(), s), "")
                        << "bits " << bits << " pattern " << pattern << " offset " << offset[0] << ","
                        << offset[1] << " col24 " << format.col24 << " left " << format.left;
                }
            }
        }
    }
}

// Odd sizes reach the last pixel of a pair alone; a cut-out beyond the camera reads zeros; the
// smallest sizes have a neighbour on one side only.
TEST_P(PipelineKernels, EdgesOfTheCutOut) {
    std::mt19937 rng(99);
    const RawFrame frame = randomFrame(20, 10, 12, rng);
    struct {
        uint32_t width, height, x, y;
    } cases[] = {{17, 5, 0, 0}, {32, 16, 8, 4}, {33, 3, 0, 1}, {19, 7, 18, 9},
                 {2, 2, 5, 5},  {1, 1, 3, 3},   {3, 1, 0, 9}};
    for (const auto& c : cases) {
        DesignSettings s = randomSettings(rng);
        s.width = c.width;
        s.height = c.height;
        s.xOffset = c.x;
        s.yOffset = c.y;
        s.bayer = (c.x + c.y) & 3;
        s.col24 = false;
        std::vector<uint8_t> got(vboard::imageBytes(s));
        vboard::process(frame, s, got.data(), GetParam());
        // The model's mirror needs two pixels; a single one mirrors onto itself.
        if (c.width > 1 && c.height > 1) {
            EXPECT_EQ(firstDifference(reference::process(frame, s), got.data(), s), "")
                << c.width << "x" << c.height << " at " << c.x << "," << c.y;
        }
    }
}

TEST(Pipeline, OutsideTheCameraIsZeroBeforeTheTables) {
    RawFrame frame;  // no camera image at all
    DesignSettings s;
    s.width = 16;
    s.height = 4;
    s.col24 = false;
    s.leftAligned = false;
    for (auto& table : s.lut) table.fill(0);
    s.lut[0][0] = 7;  // what black becomes in red
    s.lut[2][0] = 4095;
    std::vector<uint8_t> got(vboard::imageBytes(s));
    vboard::process(frame, s, got.data());
    for (size_t i = 0; i < got.size(); i += 6) {
        ASSERT_EQ(got[i] | got[i + 1] << 8, 7) << i;
        ASSERT_EQ(got[i + 2] | got[i + 3] << 8, 0) << i;
        ASSERT_EQ(got[i + 4] | got[i + 5] << 8, 4095) << i;
    }
}

// Frame after frame on one thread, each change of what the tables are made of shows at once.
TEST(Pipeline, FollowsEveryChangeOfTheProcessingValues) {
    std::mt19937 rng(7);
    const RawFrame frame = randomFrame(24, 8, 12, rng);
    DesignSettings s = randomSettings(rng);
    s.width = 24;
    s.height = 8;
    s.col24 = false;
    const std::function<void(DesignSettings&)> changes[] = {
        [](DesignSettings&) {},  // the same again
        [](DesignSettings& t) { std::reverse(t.lut[2].begin(), t.lut[2].end()); },
        [](DesignSettings& t) { t.lut[0][4095] ^= 1; },  // reached: red is balanced above unity
        [](DesignSettings& t) { t.coefficient[1] += 300; },
        [](DesignSettings& t) { t.leftAligned = !t.leftAligned; },
        [](DesignSettings& t) { t.col24 = true; },
        [](DesignSettings& t) { t.coefficient[0] = 1024; },
    };
    for (size_t i = 0; i < std::size(changes); ++i) {
        changes[i](s);
        std::vector<uint8_t> got(vboard::imageBytes(s));
        vboard::process(frame, s, got.data());
        EXPECT_EQ(firstDifference(reference::process(frame, s), got.data(), s), "") << "change " << i;
    }
}

TEST(Pipeline, TestPatternLayout) {
    RawFrame f;
    vboard::renderTestPattern(8, 4, 10, 0, f);
    ASSERT_EQ(f.pixels.size(), 32u);
    EXPECT_EQ(f.bits, 10);
    EXPECT_EQ(f.pixels[16 + 3], 8u * 2);  // line 2, odd column: green of line 2
    EXPECT_EQ(f.pixels[2], 8u * 2);       // line 0, even column: red of column 2
    EXPECT_EQ(f.pixels[8 + 3], 4u * 4);   // line 1, odd column: blue of (3 + 1)
    EXPECT_EQ(f.pixels[8 + 0], 8u * 1);   // line 1, even column: green of line 1
    vboard::renderTestPattern(8, 4, 8, 130, f);
    EXPECT_EQ(f.pixels[0], (130u * 8) & 255);  // moved, wrapped at the bit depth
}

}  // namespace
