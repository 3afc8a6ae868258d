// The board's image path on one core and on all: a 1024 x 1024 12-bit Bayer frame to 48-bit colour
// with white balance and lookup tables, beside a library's demosaicing alone on the same frame.
#include <benchmark/benchmark.h>

#if defined(__x86_64__)
#include <immintrin.h>
// The compiler's own vector intrinsics leave lanes undefined on purpose, and it warns about them.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <array>
#include <chrono>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "pipeline.h"
#include "scene.h"

namespace {

constexpr uint32_t kSize = 1024;

vboard::RawFrame frame() {
    vboard::RawFrame f;
    vboard::renderTestPattern(kSize, kSize, 12, 0, f);
    return f;
}

// 48-bit colour with white balance and an inverting table: every step does work.
vboard::DesignSettings settings() {
    vboard::DesignSettings s;
    s.width = kSize;
    s.height = kSize;
    s.bayer = 2;
    s.coefficient = {1300, 1024, 900};
    for (auto& table : s.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(4095 - i);
    s.col24 = false;
    return s;
}

using Clock = std::chrono::steady_clock;

// How long `work` took, its writes seen through.
template <typename Work>
Clock::duration timed(Work&& work) {
    const auto start = Clock::now();
    work();
    benchmark::ClobberMemory();
    return Clock::now() - start;
}

// The library's demosaicing of the frame on one thread: the peer of every turn below.
class LibraryTurn {
  public:
    explicit LibraryTurn(const vboard::RawFrame& f)
        : raw_(kSize, kSize, CV_16UC1, const_cast<uint16_t*>(f.pixels.data())) {
        cv::setNumThreads(1);
    }
    Clock::duration run() {
        return timed([&] {
            cv::cvtColor(raw_, rgb_, cv::COLOR_BayerBG2RGB);
            benchmark::DoNotOptimize(rgb_.data);
        });
    }

  private:
    cv::Mat raw_, rgb_;
};

void BM_BoardPipeline(benchmark::State& state) {
    const vboard::RawFrame f = frame();
    const vboard::DesignSettings s = settings();
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

// Each kernel this processor has, on one thread.
void BM_Kernel(benchmark::State& state) {
    const auto kernel = static_cast<vboard::Kernel>(state.range(0));
    if (!vboard::kernelAvailable(kernel)) return state.SkipWithError("not on this processor");
    const vboard::RawFrame f = frame();
    const vboard::DesignSettings s = settings();
    std::vector<uint8_t> out(vboard::imageBytes(s));
    for (auto _ : state) {
        vboard::process(f, s, out.data(), kernel, 1);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Kernel)
    ->ArgName("kernel")
    ->Arg(int(vboard::Kernel::avx512))
    ->Arg(int(vboard::Kernel::avx2))
    ->Arg(int(vboard::Kernel::portable))
    ->Unit(benchmark::kMillisecond);

void BM_LibraryDemosaicOnly(benchmark::State& state) {
    const vboard::RawFrame f = frame();
    LibraryTurn library(f);
    for (auto _ : state) library.run();
    state.counters["frames_per_s"] =
        benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_LibraryDemosaicOnly)->Unit(benchmark::kMillisecond);

// Both in turns, frame by frame: on a shared machine the two see the same disturbances, so their
// ratio holds still where the separate rates above drift apart. The board runs on `threads` threads
// (0: all cores), the library on one. With `floor`, a third turn copies the frame's input and output
// once: the memory's own time, which no number of threads beats by much.
void againstLibrary(benchmark::State& state, unsigned threads, bool floor,
                    const vboard::RawFrame& f = frame()) {
    const vboard::DesignSettings s = settings();
    std::vector<uint8_t> out(vboard::imageBytes(s));
    std::vector<uint16_t> inCopy(f.pixels.size());
    std::vector<uint8_t> outCopy(out.size());
    LibraryTurn library(f);
    Clock::duration board{}, libraryTime{}, copy{};
    for (auto _ : state) {
        const auto took = timed([&] {
            vboard::process(f, s, out.data(), vboard::Kernel::best, threads);
            benchmark::DoNotOptimize(out.data());
        });
        libraryTime += library.run();
        if (floor)
            copy += timed([&] {
                std::memcpy(inCopy.data(), f.pixels.data(), f.pixels.size() * sizeof(uint16_t));
                std::memcpy(outCopy.data(), out.data(), out.size());
                benchmark::DoNotOptimize(inCopy.data());
                benchmark::DoNotOptimize(outCopy.data());
            });
        board += took;
        state.SetIterationTime(std::chrono::duration<double>(took).count());
    }
    const double n = double(state.iterations());
    state.counters["board_fps"] = n / std::chrono::duration<double>(board).count();
    state.counters["library_fps"] = n / std::chrono::duration<double>(libraryTime).count();
    state.counters["board_per_library"] = double(libraryTime.count()) / double(board.count());
    if (floor) state.counters["board_per_copy_time"] = double(board.count()) / double(copy.count());
}

void BM_BoardAgainstLibrary(benchmark::State& state) {
    againstLibrary(state, 1, false);
}
BENCHMARK(BM_BoardAgainstLibrary)->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_BoardAgainstLibraryAllCores(benchmark::State& state) {
    againstLibrary(state, 0, true);
}
BENCHMARK(BM_BoardAgainstLibraryAllCores)->UseManualTime()->Unit(benchmark::kMillisecond);

// The same on the camera's test chart, clean (0) or noisy (1), and on values at random (2): the
// 512-bit kernel looks nearby entries up without a gather, which pictures favour and noise defeats.
void BM_BoardAgainstLibraryOnScene(benchmark::State& state) {
    vboard::RawFrame f = frame();
    if (state.range(0) == 2) {
        std::mt19937 rng(7);
        for (auto& p : f.pixels) p = static_cast<uint16_t>(rng() & 4095);
    } else {
        vboard::Bench b;
        b.camera.width = b.camera.height = kSize;
        b.camera.bits = 12;
        b.noise.on = state.range(0) == 1;
        b.noise.readNoise = 1.5;
        b.noise.shot = true;
        vboard::SceneRenderer(b).render(7, 10000000, f);
    }
    againstLibrary(state, 1, false, f);
}
BENCHMARK(BM_BoardAgainstLibraryOnScene)
    ->ArgName("scene")
    ->DenseRange(0, 2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

#if defined(__x86_64__)
// The three table lookups of each pixel and nothing else, with the indices the board looks up on this
// frame, in 512-bit gathers: a bound on any path that gathers each value. `lookups_per_library` is the
// most board_per_library could reach with gathers alone on this processor; the board passes it where
// nearby entries come from windows instead.
[[gnu::target("avx512f,avx512bw")]] void lookUpAll(const uint16_t* indices, size_t words,
                                                   const uint16_t* tables, uint16_t* out) {
    // Word k is colour k % 3: 16 words a vector, so the colours' offsets repeat every three vectors.
    __m512i offsets[3];
    for (int v = 0; v < 3; ++v) {
        alignas(64) std::array<int32_t, 16> o{};
        for (int i = 0; i < 16; ++i) o[i] = (16 * v + i) % 3 * 4096;
        offsets[v] = _mm512_load_si512(o.data());
    }
    for (size_t k = 0; k + 48 <= words; k += 48)
        for (int v = 0; v < 3; ++v) {
            const __m256i at = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(indices + k + 16 * v));
            const __m512i where = _mm512_add_epi32(_mm512_cvtepu16_epi32(at), offsets[v]);
            const __m512i got = _mm512_i32gather_epi32(where, tables, 2);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + k + 16 * v), _mm512_cvtepi32_epi16(got));
        }
}

void BM_TableLookupsAloneAgainstLibrary(benchmark::State& state) {
    if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512bw"))
        return state.SkipWithError("no 512-bit vectors here");
    const vboard::RawFrame f = frame();
    // Unity white balance, identity tables, 16 bits right-aligned: the output words are the indices.
    vboard::DesignSettings plain = settings();
    plain.coefficient = {1024, 1024, 1024};
    for (auto& table : plain.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(i);
    plain.leftAligned = false;
    std::vector<uint16_t> indices(vboard::imageBytes(plain) / 2);
    vboard::process(f, plain, reinterpret_cast<uint8_t*>(indices.data()), vboard::Kernel::best, 1);
    std::vector<uint16_t> tables(3 * 4096 + 2), out(indices.size());
    for (size_t i = 0; i < tables.size(); ++i) tables[i] = static_cast<uint16_t>(4095 - i % 4096);
    LibraryTurn library(f);
    Clock::duration lookups{}, libraryTime{};
    for (auto _ : state) {
        const auto took = timed([&] {
            lookUpAll(indices.data(), indices.size(), tables.data(), out.data());
            benchmark::DoNotOptimize(out.data());
        });
        libraryTime += library.run();
        lookups += took;
        state.SetIterationTime(std::chrono::duration<double>(took).count());
    }
    state.counters["lookups_per_library"] = double(libraryTime.count()) / double(lookups.count());
}
BENCHMARK(BM_TableLookupsAloneAgainstLibrary)->UseManualTime()->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
