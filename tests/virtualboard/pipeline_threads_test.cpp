// The image path in bands on the library's workers: the same picture as on one thread, the pool's
// start and stop, failures, frames from several threads and a forked child.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frame_pool.h"
#include "pipeline.h"

namespace {

using vboard::DesignSettings;

std::vector<uint8_t> processed(const vboard::RawFrame& f, const DesignSettings& s, unsigned threads,
                               vboard::Kernel kernel = vboard::Kernel::best) {
    std::vector<uint8_t> out(vboard::imageBytes(s));
    vboard::process(f, s, out.data(), kernel, threads);
    return out;
}

DesignSettings cutOut(uint32_t w, uint32_t h, uint32_t x, uint32_t y, uint32_t bayer, bool col24) {
    DesignSettings s;
    s.width = w, s.height = h, s.xOffset = x, s.yOffset = y, s.bayer = bayer, s.col24 = col24;
    s.coefficient = {1200, 1000, 900};
    for (auto& table : s.lut)
        for (uint32_t i = 0; i < 4096; ++i) table[i] = static_cast<uint16_t>(i * 7 % 4096);
    return s;
}

// Heights below, at and off the band count, single lines, cut-outs reaching past the camera image:
// each band's first and last line read their neighbours' input.
TEST(PipelineThreads, BandsGiveTheOneThreadPicture) {
    vboard::RawFrame f;
    vboard::renderTestPattern(97, 61, 12, 3, f);
    const uint32_t cases[][4] = {{97, 61, 0, 0}, {33, 1, 2, 5},    {17, 2, 0, 59}, {40, 3, 1, 1},
                                 {97, 13, 0, 7}, {50, 37, 60, 30}, {5, 59, 3, 1},  {64, 9, 1, 0}};
    for (const auto& c : cases)
        for (uint32_t bayer = 0; bayer < 4; ++bayer)
            for (bool col24 : {true, false})
                for (auto kernel : {vboard::Kernel::avx512, vboard::Kernel::avx2, vboard::Kernel::portable}) {
                    if (!vboard::kernelAvailable(kernel)) continue;
                    const DesignSettings s = cutOut(c[0], c[1], c[2], c[3], bayer, col24);
                    const auto want = processed(f, s, 1, kernel);
                    for (unsigned threads : {0u, 2u, 3u})
                        EXPECT_EQ(processed(f, s, threads, kernel), want)
                            << c[0] << 'x' << c[1] << '+' << c[2] << '+' << c[3] << " bayer " << bayer
                            << " threads " << threads;
                }
}

TEST(PipelineThreads, WorkersStopAndStartAgain) {
    const unsigned cores = std::max(1u, std::min(std::thread::hardware_concurrency(), 8u));
    vboard::RawFrame f;
    vboard::renderTestPattern(64, 64, 12, 0, f);
    const DesignSettings s = cutOut(64, 64, 0, 0, 2, false);
    const auto want = processed(f, s, 1);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(processed(f, s, 0), want);
        EXPECT_EQ(vboard::pipelineWorkers(), cores - 1);
        vboard::stopPipelineWorkers();
        EXPECT_EQ(vboard::pipelineWorkers(), 0u);
    }
}

// The test's own pool: one band throws, the frame ends with it and the pool goes on.
TEST(PipelineThreads, AFailingBandEndsTheFrameWithItsError) {
    auto& pool = vboard::FramePool::instance();
    for (int frame = 0; frame < 20; ++frame) {
        std::atomic<int> ran{0};
        const unsigned helpers = pool.helpers(0);
        EXPECT_THROW(pool.run(16, helpers,
                              [&](uint32_t band) {
                                  if (band == 3) throw std::runtime_error("band");
                                  ++ran;
                              }),
                     std::runtime_error);
        EXPECT_LE(ran.load(), 15);
        ran = 0;
        pool.run(16, helpers, [&](uint32_t) { ++ran; });
        EXPECT_EQ(ran.load(), 16);
    }
    pool.stop();
}

TEST(PipelineThreads, FramesFromTwoThreadsAtOnce) {
    vboard::RawFrame f;
    vboard::renderTestPattern(128, 96, 12, 1, f);
    const DesignSettings s = cutOut(120, 90, 3, 2, 1, true);
    const auto want = processed(f, s, 1);
    std::atomic<int> wrong{0};
    auto many = [&] {
        for (int i = 0; i < 40; ++i) wrong += processed(f, s, 0) != want;
    };
    std::thread other(many);
    many();
    other.join();
    EXPECT_EQ(wrong.load(), 0);
}

// The workers stay behind in the parent: a child's frames run on its own thread, to the same picture.
TEST(PipelineThreads, AForkedChildProcessesAlone) {
    vboard::RawFrame f;
    vboard::renderTestPattern(64, 32, 12, 0, f);
    const DesignSettings s = cutOut(64, 32, 0, 0, 0, true);
    const auto want = processed(f, s, 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(processed(f, s, 0) == want && vboard::pipelineWorkers() == 0 ? 0 : 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
