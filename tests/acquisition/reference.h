// A plain per-pixel model of the image path, written from the design's description and kept
// apart from the board's row-based code, so the two can check each other.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "pipeline.h"

namespace reference {

// The two lines of each start pattern, "first line" then "second line".
inline const char* const kPatterns[4][2] = {{"GB", "RG"}, {"BG", "GR"}, {"RG", "GB"}, {"GR", "BG"}};

inline char colourAt(uint32_t pattern, long x, long y) {
    // Negative positions keep their parity, as a mirrored neighbour does.
    return kPatterns[pattern][y & 1][x & 1];
}

inline long reflect(long i, long n) {
    if (i < 0) return -i;
    if (i >= n) return 2 * n - 2 - i;
    return i;
}

// Cut-out value at (x, y) as 12 bits; 0 outside the camera image.
inline uint32_t cutOut(const vboard::RawFrame& f, const vboard::DesignSettings& s, long x, long y) {
    const uint64_t cx = s.xOffset + static_cast<uint64_t>(x), cy = s.yOffset + static_cast<uint64_t>(y);
    if (cx >= f.width || cy >= f.height) return 0;
    return static_cast<uint32_t>(f.pixels[cy * f.width + cx]) << (12 - f.bits);
}

// Bilinear: a pixel's own colour as it is, the others as the rounded mean of the neighbours of
// that colour in the 3 x 3 window around it.
inline uint32_t demosaic(const vboard::RawFrame& f, const vboard::DesignSettings& s, long x, long y,
                         char colour) {
    const long w = s.width, h = s.height;
    if (colourAt(s.bayer, x, y) == colour) return cutOut(f, s, x, y);
    uint32_t sum = 0, n = 0;
    for (long dy = -1; dy <= 1; ++dy) {
        for (long dx = -1; dx <= 1; ++dx) {
            if (colourAt(s.bayer, x + dx, y + dy) != colour) continue;
            sum += cutOut(f, s, reflect(x + dx, w), reflect(y + dy, h));
            ++n;
        }
    }
    return (sum + n / 2) / n;
}

inline std::vector<uint8_t> process(const vboard::RawFrame& f, const vboard::DesignSettings& s) {
    const size_t bytesPerPixel = s.col24 ? 3 : 6;
    std::vector<uint8_t> out(size_t{s.width} * s.height * bytesPerPixel);
    const char colours[3] = {'R', 'G', 'B'};
    for (long y = 0; y < long{s.height}; ++y) {
        for (long x = 0; x < long{s.width}; ++x) {
            for (int c = 0; c < 3; ++c) {
                const uint32_t v = demosaic(f, s, x, y, colours[c]);
                const uint32_t balanced = std::min<uint32_t>(v * s.coefficient[c] / 1024, 4095);
                const uint32_t mapped = s.lut[c][balanced];
                const size_t at = (size_t(y) * s.width + size_t(x)) * bytesPerPixel;
                if (s.col24) {
                    out[at + c] = static_cast<uint8_t>(mapped >> 4);
                } else {
                    const auto word = static_cast<uint16_t>(s.leftAligned ? mapped << 4 : mapped);
                    out[at + 2 * c] = static_cast<uint8_t>(word & 0xff);
                    out[at + 2 * c + 1] = static_cast<uint8_t>(word >> 8);
                }
            }
        }
    }
    return out;
}

}  // namespace reference
