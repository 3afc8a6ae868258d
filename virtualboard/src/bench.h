// The bench a virtual board stands on: the camera plugged into its camera port, what that camera
// looks at, and the signals driving the trigger inputs. Read from a bench description (JSON,
// documented in virtualboard/README.md); without one the default bench applies.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "c_api.h"

namespace vboard {

// A bench description that cannot be used: the text names the file, the key or line, and why.
struct BenchError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Colour of the sensor's first two pixels of its first line.
enum class BayerPhase { RG, GR, GB, BG };

struct CameraDescription {
    uint32_t width = 1024, height = 1024;  // sensor pixels
    int bits = 8;                          // 8, 10 or 12
    BayerPhase bayer = BayerPhase::RG;
    double pixelClockHz = 85e6;  // per tap
    uint32_t taps = 4;
    uint32_t lineGap = 0;            // pixel clocks between lines
    bool triggered = false;          // else free-running at frameRate
    double frameRate = 30.0;         // free-run frames per second
    int triggerLine = 0;             // camera-control line CC1..CC4 as 0..3
    bool exposureFromPulse = false;  // triggered: the pulse's width, else exposureNs
    int64_t exposureNs = 10000000;
    bool connected = true;  // else nothing is plugged into the port

    bool operator==(const CameraDescription&) const = default;
};

struct SceneDescription {
    enum class Kind { Chart, Png, Folder } kind = Kind::Chart;
    std::string path;                        // the PNG file or the folder of PNG files (played in name order)
    int64_t referenceExposureNs = 10000000;  // the exposure at which scene values come out as they are
    bool moving = true;                      // the chart's moving element and frame counter

    bool operator==(const SceneDescription&) const = default;
};

struct NoiseDescription {
    bool on = false;
    double readNoise = 0.0;     // standard deviation, in LSB of the camera's bit depth
    bool shot = false;          // photon shot noise
    double fullWell = 10000.0;  // electrons at the largest value
    uint64_t seed = 1;

    bool operator==(const NoiseDescription&) const = default;
};

// A simulated signal on one trigger input: pulses high for widthNs each.
struct SignalDescription {
    int input = 0;  // 0..7
    // Periodic: from startNs every 1e9 / rateHz ns, `count` pulses (0: endless). A burst is a
    // periodic signal with a count. Times: pulses starting at the listed times.
    bool periodic = true;
    double rateHz = 1000.0;
    int64_t startNs = 0;
    uint64_t count = 0;
    std::vector<int64_t> timesNs{};
    int64_t widthNs = 1000;
    // After every `glitchEvery`-th pulse (0: none), a glitch of glitchWidthNs halfway to the next.
    uint32_t glitchEvery = 0;
    int64_t glitchWidthNs = 0;

    bool operator==(const SignalDescription&) const = default;
};

struct Bench {
    std::string source;  // the file it came from, empty for the default bench
    CameraDescription camera;
    SceneDescription scene;
    NoiseDescription noise;
    std::vector<SignalDescription> inputs;

    bool operator==(const Bench&) const = default;
};

// Reads and checks a bench description; throws BenchError.
VBOARD_EXPORT Bench readBench(const std::string& path);

// Time the camera needs to read out one frame: lines of width / taps plus the line gap, in
// pixel clocks.
VBOARD_EXPORT int64_t readoutNs(const CameraDescription& c);

}  // namespace vboard
