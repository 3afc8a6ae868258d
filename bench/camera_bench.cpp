// A camera frame from the scene renderer against one from the camera simulator's test pattern,
// each through the image path: 1024 x 1024, 12-bit Bayer to 24-bit colour on one core.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "pipeline.h"
#include "scene.h"

namespace {

constexpr uint32_t kSize = 1024;
constexpr int64_t kExposureNs = 10000000;

// Identity tables, white balance 1: the path does its full work either way.
vboard::DesignSettings settings() {
    vboard::DesignSettings s;
    s.width = kSize;
    s.height = kSize;
    s.bayer = 2;
    for (auto& table : s.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(i);
    return s;
}

vboard::Bench chartBench(bool noisy) {
    vboard::Bench b;
    b.camera.width = kSize;
    b.camera.height = kSize;
    b.camera.bits = 12;
    b.noise.on = noisy;
    b.noise.readNoise = 2.0;
    b.noise.shot = true;
    return b;
}

// The frame source under test, frame by frame.
struct Simulator {
    void operator()(uint64_t frame, vboard::RawFrame& f) {
        vboard::renderTestPattern(kSize, kSize, 12, frame, f);
    }
};

struct Camera {
    vboard::SceneRenderer renderer;
    explicit Camera(bool noisy) : renderer(chartBench(noisy)) {}
    void operator()(uint64_t frame, vboard::RawFrame& f) { renderer.render(frame, kExposureNs, f); }
};

struct Path {
    vboard::DesignSettings s = settings();
    vboard::RawFrame f;
    std::vector<uint8_t> out = std::vector<uint8_t>(vboard::imageBytes(s));
    uint64_t frame = 0;

    template <typename Source>
    void run(Source& source) {
        source(frame++, f);
        vboard::process(f, s, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
};

template <typename Source, typename... Args>
void frames(benchmark::State& state, Args... args) {
    Source source(args...);
    Path path;
    for (auto _ : state) path.run(source);
    state.counters["frames_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}

void BM_SimulatorFrame(benchmark::State& state) {
    frames<Simulator>(state);
}
BENCHMARK(BM_SimulatorFrame)->Unit(benchmark::kMillisecond);

void BM_CameraFrame(benchmark::State& state) {
    frames<Camera>(state, false);
}
BENCHMARK(BM_CameraFrame)->Unit(benchmark::kMillisecond);

void BM_CameraFrameNoisy(benchmark::State& state) {
    frames<Camera>(state, true);
}
BENCHMARK(BM_CameraFrameNoisy)->Unit(benchmark::kMillisecond);

// Camera and simulator in turns: on a shared machine both see the same disturbances, so their
// ratio holds where the separate rates drift apart.
void BM_CameraPerSimulator(benchmark::State& state) {
    Simulator simulator;
    Camera camera(false);
    Path a, b;
    using Clock = std::chrono::steady_clock;
    Clock::duration simulatorTime{}, cameraTime{};
    for (auto _ : state) {
        const auto t0 = Clock::now();
        a.run(simulator);
        const auto t1 = Clock::now();
        b.run(camera);
        const auto t2 = Clock::now();
        simulatorTime += t1 - t0;
        cameraTime += t2 - t1;
        state.SetIterationTime(std::chrono::duration<double>(t2 - t1).count());
    }
    state.counters["camera_per_simulator"] = double(cameraTime.count()) / double(simulatorTime.count());
}
BENCHMARK(BM_CameraPerSimulator)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
