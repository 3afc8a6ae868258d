// The board's image path on one core: a 1024 x 1024 12-bit Bayer frame to 48-bit colour with
// white balance and lookup tables, beside a library's demosaicing alone on the same frame.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "pipeline.h"

namespace {

constexpr uint32_t kSize = 1024;

vboard::RawFrame frame() {
    vboard::RawFrame f;
    vboard::renderTestPattern(kSize, kSize, 12, 0, f);
    return f;
}

void BM_BoardPipeline(benchmark::State& state) {
    const vboard::RawFrame f = frame();
    vboard::DesignSettings s;
    s.width = kSize;
    s.height = kSize;
    s.bayer = 2;
    s.coefficient = {1300, 1024, 900};
    for (auto& table : s.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(4095 - i);
    s.col24 = false;
    std::vector<uint8_t> out(vboard::imageBytes(s));
    for (auto _ : state) {
        vboard::process(f, s, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.counters["frames_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_BoardPipeline)->Unit(benchmark::kMillisecond);

void BM_LibraryDemosaicOnly(benchmark::State& state) {
    cv::setNumThreads(1);  // one core, as the board's path runs
    const vboard::RawFrame f = frame();
    const cv::Mat raw(kSize, kSize, CV_16UC1, const_cast<uint16_t*>(f.pixels.data()));
    cv::Mat rgb;
    for (auto _ : state) {
        cv::cvtColor(raw, rgb, cv::COLOR_BayerBG2RGB);
        benchmark::DoNotOptimize(rgb.data);
        benchmark::ClobberMemory();
    }
    state.counters["frames_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_LibraryDemosaicOnly)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
