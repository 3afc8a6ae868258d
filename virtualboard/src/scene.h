// What the virtual camera looks at, as raw sensor frames: the built-in test chart, a PNG file or a
// folder of PNG files, mosaiced in the camera's Bayer phase, exposed and, if asked, with noise.
//
// The chart, laid out on the sensor (fractions of its width x and height y; a pixel belongs to a
// box [floor(x0 * width), floor(x1 * width)) and likewise down):
//   colour patches  6 x 4 cells of 0.10 x 0.10 from (0.03, 0.03); the patch of column c, row r is
//                   x 0.03 + 0.1 c .. 0.11 + 0.1 c, y 0.03 + 0.1 r .. 0.11 + 0.1 r, in the
//                   24-patch chart's order (dark skin top left, black bottom right)
//   Siemens star    centre (0.81, 0.22), radius 0.16 of the smaller side, 36 bright spokes
//   slanted edge    x 0.03 .. 0.47, y 0.47 .. 0.71: dark left, bright right, 5 degrees off vertical
//   moving square   a track x 0.53 .. 0.97, y 0.47 .. 0.57; the square, as high as the track,
//                   steps an eighth of its side to the right each frame and wraps
//   frame counter   x 0.53 .. 0.97, y 0.61 .. 0.71: frame number modulo 10^8, eight block digits
//   grey ramp       x 0.03 .. 0.97, y 0.77 .. 0.87: linear 0 at the left to full scale at the right
//   background      linear 0.05 grey; 0.02 in the track and counter boxes, where the square and
//                   digits show at 0.9 when the scene's `moving` is set
// Patch colours are the chart's published sRGB (D65) values made linear; linear 1 is the camera's
// largest value at the reference exposure. Small sensors show less: boxes can be empty.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "bench.h"
#include "pipeline.h"

namespace vboard {

// Pixels [x0, x1) x [y0, y1) of the sensor.
struct PixelBox {
    uint32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

// The chart's colour patches for a sensor size, in chart order (row by row from the top left).
VBOARD_EXPORT std::array<PixelBox, 24> chartPatches(uint32_t width, uint32_t height);

// A PNG scene is taken as sRGB-encoded (8 or 16 bits; grey, RGB, palette; alpha ignored) and made
// linear like the chart. It is scaled bilinearly, in linear light, by the one factor that lets it
// cover the sensor, and its centre cut out; an image of the sensor's size maps pixel for pixel. A
// folder plays its PNG files (extension .png, any case) in file-name order, frame k showing file
// k % n; all are read and held (2 bytes a sensor pixel each) when the renderer is made.
//
// Exposure scales the scene by exposureNs / referenceExposureNs, rounds to nearest and clips at
// the largest value. Noise adds read noise and shot noise (Poisson, approximated by a normal of
// the same variance), rounded and clipped to the value range; saturated pixels stay saturated.
// The same seed and frame give the same frame. One renderer serves one thread.
class VBOARD_EXPORT SceneRenderer {
  public:
    // Reads and checks what the bench's scene needs; throws BenchError naming the file and why.
    explicit SceneRenderer(const Bench& bench);
    ~SceneRenderer();
    SceneRenderer(const SceneRenderer&) = delete;
    SceneRenderer& operator=(const SceneRenderer&) = delete;

    // The camera's frame `frame` (from 0) exposed for exposureNs: a sensor-sized mosaic of the
    // camera's bit depth in its Bayer phase.
    void render(uint64_t frame, int64_t exposureNs, RawFrame& out);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vboard
