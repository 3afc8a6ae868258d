// A grab's file writers on the bench camera's test chart (and the camera simulator's pattern),
// 1024 x 1024 COL24 through the image path: CPU per frame of each format, the PNG writer against the settings
// it replaced (libpng, level 1, the sub filter, the default strategy) and against OpenCV's imwrite with its
// default PNG settings, in turns in one run, so that the ratios hold on a shared machine.
#include <benchmark/benchmark.h>
#include <png.h>
#include <time.h>

#include <cstdio>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "ImageFile.h"
#include "pipeline.h"
#include "scene.h"

namespace {

namespace fs = std::filesystem;
constexpr uint32_t kSize = 1024;
constexpr int kFrames = 8;  // the chart's moving element in different places

double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Frames as the board delivers them, 8 or 16 bits per channel: the test chart, clean (0) or noisy
// (1), or the camera simulator's pattern (2).
std::vector<std::vector<uint8_t>> chartFrames(int64_t scene, int bitDepth = 8) {
    const bool noisy = scene == 1;
    vboard::Bench b;
    b.camera.width = b.camera.height = kSize;
    b.camera.bits = 12;
    b.noise.on = noisy;
    b.noise.readNoise = 1.5;
    b.noise.shot = true;
    vboard::SceneRenderer renderer(b);
    vboard::DesignSettings s;
    s.width = s.height = kSize;
    s.bayer = 2;
    s.col24 = bitDepth == 8;
    for (auto& table : s.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(i);
    std::vector<std::vector<uint8_t>> frames;
    vboard::RawFrame raw;
    for (int i = 0; i < kFrames; ++i) {
        if (scene == 2)
            vboard::renderTestPattern(kSize, kSize, 12, static_cast<uint64_t>(i) * 7, raw);
        else
            renderer.render(static_cast<uint64_t>(i) * 7, 10000000, raw);
        frames.emplace_back(vboard::imageBytes(s));
        vboard::process(raw, s, frames.back().data());
    }
    return frames;
}

// libpng as the grab wrote PNG files before.
std::string earlierPngOf(const std::string& path, const uint8_t* pixels, int bitDepth) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) std::abort();
    png_init_io(png, file);
    png_set_compression_level(png, 1);
    png_set_filter(png, 0, PNG_FILTER_SUB);
    png_set_IHDR(png, info, kSize, kSize, bitDepth, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bitDepth == 16) png_set_swap(png);
    const size_t rowBytes = kSize * 3 * static_cast<size_t>(bitDepth / 8);
    for (uint32_t y = 0; y < kSize; ++y) png_write_row(png, pixels + y * rowBytes);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return {};
}

// Given the frame in OpenCV's channel order: the swap is the caller's cost, not the encoder's.
std::string openCvPng(const std::string& path, const uint8_t* bgr) {
    const cv::Mat image(kSize, kSize, CV_8UC3, const_cast<uint8_t*>(bgr));
    return cv::imwrite(path, image) ? std::string() : "imwrite failed";
}

using Writer = std::string (*)(const std::string&, const uint8_t*);

std::string earlierPng(const std::string& path, const uint8_t* pixels) {
    return earlierPngOf(path, pixels, 8);
}
std::string earlierPng16(const std::string& path, const uint8_t* pixels) {
    return earlierPngOf(path, pixels, 16);
}
std::string newPng16(const std::string& path, const uint8_t* pixels) {
    return pellucid::writeRgbPng(path, kSize, kSize, 16, pixels);
}

std::string newPng(const std::string& path, const uint8_t* pixels) {
    return pellucid::writeRgbPng(path, kSize, kSize, 8, pixels);
}
std::string tiff(const std::string& path, const uint8_t* pixels) {
    return pellucid::writeRgbTiff(path, kSize, kSize, 8, pixels);
}
std::string npy(const std::string& path, const uint8_t* pixels) {
    return pellucid::writeRgbNpy(path, kSize, kSize, 8, pixels);
}

struct Entry {
    const char* name;
    Writer write;
    const char* suffix;
    bool bgr = false;
};
const Entry kWriters[] = {{"new_png", newPng, ".png"},
                          {"earlier_png", earlierPng, ".png"},
                          {"opencv_png", openCvPng, ".png", true},
                          {"tiff", tiff, ".tiff"},
                          {"npy", npy, ".npy"}};

const Entry kSixteenBitWriters[] = {{"new_png", newPng16, ".png"}, {"earlier_png", earlierPng16, ".png"}};

// Every writer on each frame in turn; the iteration's time is the first writer's CPU.
template <size_t kCount>
void inTurns(benchmark::State& state, const Entry (&writers)[kCount],
             const std::vector<std::vector<uint8_t>>& frames, const std::vector<cv::Mat>& bgr) {
    const fs::path dir = fs::temp_directory_path() / ("pellucid_writer_bench_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    double cpu[kCount] = {}, bytes[kCount] = {};
    size_t frame = 0;
    for (auto _ : state) {
        const size_t f = frame++ % frames.size();
        for (size_t w = 0; w < kCount; ++w) {
            // Who goes first changes each frame, so that none always finds the caches warm.
            const size_t i = (w + frame) % kCount;
            const std::string path = (dir / (std::string(writers[i].name) + writers[i].suffix)).string();
            const double start = cpuSeconds();
            const uint8_t* pixels = writers[i].bgr ? bgr[f].data : frames[f].data();
            const std::string why = writers[i].write(path, pixels);
            const double took = cpuSeconds() - start;
            if (!why.empty()) {
                state.SkipWithError(why.c_str());
                break;
            }
            cpu[i] += took;
            bytes[i] += static_cast<double>(fs::file_size(path));
            if (i == 0) state.SetIterationTime(took);
        }
    }
    fs::remove_all(dir);
    const double n = static_cast<double>(state.iterations());
    for (size_t i = 0; i < kCount; ++i) {
        state.counters[std::string(writers[i].name) + "_ms"] = 1000 * cpu[i] / n;
        state.counters[std::string(writers[i].name) + "_MB"] = bytes[i] / n / 1e6;
    }
    state.counters["new_per_earlier_cpu"] = cpu[0] / cpu[1];
    state.counters["new_per_earlier_size"] = bytes[0] / bytes[1];
    if (kCount < 3) return;
    state.counters["new_per_opencv_cpu"] = cpu[0] / cpu[2];
    state.counters["new_per_opencv_size"] = bytes[0] / bytes[2];
}

void BM_Writers(benchmark::State& state) {
    const auto frames = chartFrames(state.range(0));
    std::vector<cv::Mat> bgr(frames.size());
    for (size_t i = 0; i < frames.size(); ++i)
        cv::cvtColor(cv::Mat(kSize, kSize, CV_8UC3, const_cast<uint8_t*>(frames[i].data())), bgr[i],
                     cv::COLOR_RGB2BGR);
    inTurns(state, kWriters, frames, bgr);
}

// COL48 frames: the new writer against libpng at the settings it replaced.
void BM_SixteenBits(benchmark::State& state) {
    inTurns(state, kSixteenBitWriters, chartFrames(state.range(0), 16), {});
}
BENCHMARK(BM_Writers)
    ->ArgName("scene")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SixteenBits)->ArgName("scene")->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
