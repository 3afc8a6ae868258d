// The tool's pieces in-process: grabbing against pictures the test control completes, the PNG
// writer's sample layout.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "Board.h"
#include "Grab.h"
#include "Png.h"
#include "png_reader.h"
#include "vboard/control.h"

namespace {

namespace fs = std::filesystem;

class GrabTest : public ::testing::Test {
  protected:
    void SetUp() override {
        vboard::control::reset();
        dir_ = fs::temp_directory_path() / ("pellucid_grab_" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        for (const char* a : {"FG_WIDTH=64", "FG_HEIGHT=4", "FG_FORMAT=FG_COL48"}) board_.assign(a);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Grabs while a helper completes `batch` pictures at a time until the grab is over.
    pellucid::GrabResult grabFed(const pellucid::GrabOptions& options, unsigned batch,
                                 const pellucid::GrabProgress& progress = {}) {
        std::atomic<bool> done{false};
        std::thread feeder([&] {
            for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(5)))
                vboard::control::deliverFrames(batch);
        });
        struct Join {
            std::atomic<bool>& done;
            std::thread& t;
            ~Join() {
                done = true;
                t.join();
            }
        } join{done, feeder};
        return pellucid::grab(board_, options, progress);
    }

    fs::path dir_;
    pellucid::Board board_{0};
};

TEST_F(GrabTest, PicturesOverwrittenInTheRingCountAsDroppedAndAFailedGrabLeavesTheBoardReusable) {
    // All ten complete at once into four buffers: only the newest ones are still intact.
    const pellucid::GrabResult r = grabFed({10, dir_.string(), 5, 4}, 10);
    EXPECT_EQ(std::pair(r.written, r.skipped), std::pair(4L, 6L));
    EXPECT_TRUE(fs::exists(dir_ / "frame_0004.png"));
    EXPECT_FALSE(fs::exists(dir_ / "frame_0005.png"));
    // No picture in time: the failed grab stops its acquisition and frees its buffers.
    EXPECT_THROW(pellucid::grab(board_, {1, dir_.string(), 0, 0}, {}), pellucid::ToolError);
    const pellucid::GrabResult again = grabFed({2, dir_.string(), 5, 0}, 1);
    EXPECT_EQ(again.written + again.skipped, 2);
}

TEST(PngTest, SamplesKeepTheirOrderAndSixteenBitOnesBecomeBigEndian) {
    const std::string path =
        fs::temp_directory_path() / ("pellucid_png_" + std::to_string(::getpid()) + ".png");
    // Two pixels, one row; 16-bit samples 0x1234, 0x5678, 0x9abc, ... little-endian in memory.
    const unsigned char wide[12] = {0x34, 0x12, 0x78, 0x56, 0xbc, 0x9a, 0x01, 0xff, 0x02, 0xee, 0x03, 0xdd};
    ASSERT_EQ(pellucid::writeRgbPng(path, 2, 1, 16, wide), "");
    PngImage image = readPng(path);
    EXPECT_EQ(image.bitDepth, 16);
    EXPECT_EQ(image.rows, std::vector<unsigned char>(
                              {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 0xff, 0x01, 0xee, 0x02, 0xdd, 0x03}));
    const unsigned char narrow[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};  // 2 x 2 pixels
    ASSERT_EQ(pellucid::writeRgbPng(path, 2, 2, 8, narrow), "");
    image = readPng(path);
    EXPECT_EQ(image.bitDepth, 8);
    EXPECT_EQ(image.rows, std::vector<unsigned char>(narrow, narrow + 12));
    fs::remove(path);
    EXPECT_NE(pellucid::writeRgbPng("/nonexistent/x.png", 2, 1, 8, narrow), "");
    EXPECT_NE(pellucid::writeRgbPng(path, 2, 1, 12, narrow), "");
    EXPECT_NE(pellucid::writeRgbPng(path, 2, 1, 8, nullptr), "");
}

}  // namespace
