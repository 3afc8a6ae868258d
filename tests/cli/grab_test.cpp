// The tool's pieces in-process: grabbing against pictures the test control completes, the PNG
// writer's sample layout, and the help texts taken from a GenApi document.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "Board.h"
#include "Docs.h"
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
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Grabs while a helper completes `batch` pictures at a time until the grab is over.
    pellucid::GrabResult grabFed(pellucid::Board& board, const pellucid::GrabOptions& options,
                                 unsigned batch) {
        std::atomic<bool> done{false};
        std::thread feeder([&] {
            while (!done) {
                vboard::control::deliverFrames(batch);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        try {
            pellucid::GrabResult r = pellucid::grab(board, options, {});
            done = true;
            feeder.join();
            return r;
        } catch (...) {
            done = true;
            feeder.join();
            throw;
        }
    }

    fs::path dir_;
};

TEST_F(GrabTest, WritesEveryPictureWithTheFramesSizeAndDepth) {
    pellucid::Board board(0);
    board.assign("FG_WIDTH=128");
    board.assign("FG_HEIGHT=8");
    board.assign("FG_FORMAT=FG_COL48");
    long progressCalls = 0;
    pellucid::GrabOptions options{5, dir_.string(), 5, 0};
    const pellucid::GrabResult r = [&] {
        std::atomic<bool> done{false};
        std::thread feeder([&] {
            while (!done) {
                vboard::control::deliverFrames(1);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
        auto result = pellucid::grab(board, options, [&](long n, long total) {
            EXPECT_EQ(total, 5);
            EXPECT_EQ(n, ++progressCalls);
        });
        done = true;
        feeder.join();
        return result;
    }();
    EXPECT_EQ(r.written + r.skipped, 5);
    EXPECT_EQ(progressCalls, 5);
    for (long n = 1; n <= r.written; ++n) {
        char name[32];
        std::snprintf(name, sizeof name, "frame_%04ld.png", n);
        const PngImage image = readPng((dir_ / name).string());
        ASSERT_TRUE(image.ok) << name;
        EXPECT_EQ(image.width, 128u);
        EXPECT_EQ(image.height, 8u);
        EXPECT_EQ(image.bitDepth, 16);
        EXPECT_EQ(image.colorType, PNG_COLOR_TYPE_RGB);
    }
}

TEST_F(GrabTest, PicturesOverwrittenInTheRingCountAsDropped) {
    pellucid::Board board(0);
    board.assign("FG_WIDTH=64");
    board.assign("FG_HEIGHT=4");
    // All ten complete at once into four buffers: only the newest ones are still intact.
    const pellucid::GrabResult r = grabFed(board, {10, dir_.string(), 5, 4}, 10);
    EXPECT_EQ(r.written, 4);
    EXPECT_EQ(r.skipped, 6);
    EXPECT_TRUE(fs::exists(dir_ / "frame_0004.png"));
    EXPECT_FALSE(fs::exists(dir_ / "frame_0005.png"));
}

TEST_F(GrabTest, NoPictureInTimeFailsAndLeavesTheBoardReusable) {
    pellucid::Board board(0);
    board.assign("FG_WIDTH=64");
    board.assign("FG_HEIGHT=4");
    EXPECT_THROW(pellucid::grab(board, {1, dir_.string(), 0, 0}, {}), pellucid::ToolError);
    // The failed grab stopped its acquisition and freed its buffers.
    const pellucid::GrabResult r = grabFed(board, {2, dir_.string(), 5, 0}, 1);
    EXPECT_EQ(r.written + r.skipped, 2);
}

TEST(PngTest, SamplesKeepTheirOrderAndSixteenBitOnesBecomeBigEndian) {
    const fs::path path = fs::temp_directory_path() / ("pellucid_png_" + std::to_string(::getpid()) + ".png");
    // Two pixels, one row; 16-bit samples 0x1234, 0x5678, 0x9abc, ... little-endian in memory.
    const unsigned char wide[12] = {0x34, 0x12, 0x78, 0x56, 0xbc, 0x9a, 0x01, 0xff, 0x02, 0xee, 0x03, 0xdd};
    ASSERT_EQ(pellucid::writeRgbPng(path.string(), 2, 1, 16, wide), "");
    PngImage image = readPng(path.string());
    ASSERT_TRUE(image.ok);
    EXPECT_EQ(image.bitDepth, 16);
    const std::vector<unsigned char> bigEndian{0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc,
                                               0xff, 0x01, 0xee, 0x02, 0xdd, 0x03};
    EXPECT_EQ(image.rows, bigEndian);

    const unsigned char narrow[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};  // 2 x 2 pixels
    ASSERT_EQ(pellucid::writeRgbPng(path.string(), 2, 2, 8, narrow), "");
    image = readPng(path.string());
    EXPECT_EQ(image.bitDepth, 8);
    EXPECT_EQ(image.rows, std::vector<unsigned char>(narrow, narrow + 12));
    fs::remove(path);

    EXPECT_NE(pellucid::writeRgbPng("/nonexistent/x.png", 2, 1, 8, narrow), "");
    EXPECT_NE(pellucid::writeRgbPng(path.string(), 2, 1, 12, narrow), "");
    EXPECT_NE(pellucid::writeRgbPng(path.string(), 2, 1, 8, nullptr), "");
}

TEST(ToolTipTest, TakesEachFeaturesOwnToolTipOnly) {
    const std::string xml =
        "<?xml version=\"1.0\"?>\n<RegisterDescription ToolTip=\"root\">\n"
        "  <Category Name=\"Group\">\n    <pFeature>A</pFeature>\n  </Category>\n"
        "  <Integer Name=\"A\" NameSpace=\"Custom\">\n    <ToolTip>Gain &amp; offset &lt;1&gt; "
        "&#181;s</ToolTip>\n"
        "  </Integer>\n"
        "  <Enumeration Name=\"E\">\n    <ToolTip>Mode</ToolTip>\n"
        "    <EnumEntry Name=\"E_ON\">\n      <Value>1</Value>\n    </EnumEntry>\n  </Enumeration>\n"
        "  <IntReg Name=\"A_Val\">\n    <Address>0x1</Address>\n  </IntReg>\n"
        "  <Float Name=\"B\">\n    <ToolTip>unterminated\n  </Float>\n"
        "  <Integer Name=\"C\">\n    <ToolTip>Last</ToolTip>\n  </Integer>\n</RegisterDescription>\n";
    const auto tips = pellucid::toolTips(xml);
    EXPECT_EQ(tips.size(), 3u);
    EXPECT_EQ(tips.at("A"), "Gain & offset <1> \xc2\xb5s");
    EXPECT_EQ(tips.at("E"), "Mode");
    EXPECT_EQ(tips.at("C"), "Last");
    EXPECT_TRUE(pellucid::toolTips("<a Name=\"x").empty());
    EXPECT_TRUE(pellucid::toolTips("").empty());
}

}  // namespace
