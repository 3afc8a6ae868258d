// The design's image path as the board runs it on each frame: region of interest, Bayer
// demosaicing, white balance, lookup tables and output format, on 12-bit values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "c_api.h"

namespace vboard {

// One camera frame: raw mosaic values of `bits` bits, row-major, no padding.
struct RawFrame {
    uint32_t width = 0;
    uint32_t height = 0;
    int bits = 12;  // 8, 10 or 12
    std::vector<uint16_t> pixels;
};

// The processing parameters of the design, as its parameters hold them.
struct DesignSettings {
    uint32_t xOffset = 0, yOffset = 0;
    uint32_t width = 0, height = 0;  // of the cut-out, the output image
    // Colour pattern of the cut-out's first line: 0 green-blue, 1 blue-green, 2 red-green,
    // 3 green-red.
    uint32_t bayer = 0;
    std::array<uint32_t, 3> coefficient{1024, 1024, 1024};  // red, green, blue; units of 1/1024
    std::array<std::array<uint16_t, 4096>, 3> lut{};        // red, green, blue
    bool col24 = true;                                      // else 48 bits a pixel
    bool leftAligned = true;                                // 48-bit output only
    uint32_t selectDivisor = 1;
    uint32_t selectPhase = 0;
};

// The camera simulator's test pattern: a sensor whose first line starts red, green (the second
// green, blue). The scene has red rising along the lines (8 a column), green down the columns
// (8 a line) and blue along the diagonal (4 a step), each wrapping at the bit depth, and is moved
// `shift` columns to the left.
VBOARD_EXPORT void renderTestPattern(uint32_t width, uint32_t height, int bits, uint64_t shift, RawFrame& f);

// Bytes of one output image.
VBOARD_EXPORT size_t imageBytes(const DesignSettings& s);

// Which kernel runs the image path: the fastest this processor has, or one by name (the tests hold
// each against the others). `portable` runs everywhere; the others need the processor's vectors.
enum class Kernel { best, avx512, avx2, portable };

// Whether this processor and system can run `kernel`.
VBOARD_EXPORT bool kernelAvailable(Kernel kernel);

// The kernel `best` stands for here.
VBOARD_EXPORT Kernel bestKernel();

// Runs the frame through the image path into `out` (imageBytes(s) bytes). Pixels of the cut-out
// outside the camera image are 0. The demosaicing mirrors the cut-out at its borders (the line or
// column next to the edge stands in for the missing one), which keeps the colour pattern intact.
// Bands of lines run on the calling thread and the library's workers, at most `threads` at once
// (0: as many as there are cores; 1: the calling thread alone); the picture is the same either way.
// A band that fails throws here once the others have ended. A kernel the processor lacks throws
// std::invalid_argument.
VBOARD_EXPORT void process(const RawFrame& frame, const DesignSettings& s, uint8_t* out,
                           Kernel kernel = Kernel::best, unsigned threads = 0);

// The workers running beside the frames' own threads, and their stop (the next frame starts them
// again). The library stops them itself when it unloads.
VBOARD_EXPORT unsigned pipelineWorkers();
VBOARD_EXPORT void stopPipelineWorkers();

}  // namespace vboard
