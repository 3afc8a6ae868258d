// The tool's pieces in-process: grabbing against pictures the test control completes, the output
// folder, the warnings, the software trigger, the PNG writer's sample layout.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "Board.h"
#include "Grab.h"
#include "Png.h"
#include "png_reader.h"
#include "vboard/control.h"

namespace {

namespace fs = std::filesystem;

std::string slurp(const fs::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

class GrabTest : public ::testing::Test {
  protected:
    void SetUp() override {
        vboard::control::reset();
        dir_ = fs::temp_directory_path() / ("pellucid_grab_" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        for (const char* a : {"FG_WIDTH=64", "FG_HEIGHT=4", "FG_FORMAT=FG_COL48"}) board_.assign(a);
    }
    void TearDown() override { fs::remove_all(dir_); }

    pellucid::GrabOptions options(long frames, long buffers = 0) {
        pellucid::GrabOptions o;
        o.frames = frames;
        o.outDir = dir_.string();
        o.buffers = buffers;
        o.overwrite = true;
        o.warn = [this](const std::string& w) { warnings_.push_back(w); };
        return o;
    }

    // Grabs while a helper completes `batch` pictures every `pause` until the grab is over.
    pellucid::GrabResult grabFed(const pellucid::GrabOptions& options, unsigned batch,
                                 std::chrono::milliseconds pause = std::chrono::milliseconds(1),
                                 std::function<void(long)> handled = {}) {
        std::atomic<bool> done{false};
        std::thread feeder([&] {
            for (; !done; std::this_thread::sleep_for(pause)) vboard::control::deliverFrames(batch);
        });
        struct Join {
            std::atomic<bool>& done;
            std::thread& t;
            ~Join() {
                done = true;
                t.join();
            }
        } join{done, feeder};
        return pellucid::grab(board_, options, [&](long done, long) {
            if (handled) handled(done);
        });
    }

    fs::path dir_;
    pellucid::Board board_{0};
    std::vector<std::string> warnings_;
};

TEST_F(GrabTest,
       PicturesOverwrittenInTheRingAreGapsInTheNamesAndTheListAndAFailedGrabLeavesTheBoardReusable) {
    // All ten complete at once into four buffers: only the newest ones are still intact.
    const pellucid::GrabResult r = grabFed(options(10, 4), 10);
    EXPECT_EQ(std::pair(r.written, r.skipped), std::pair(4L, 6L));
    EXPECT_TRUE(fs::exists(dir_ / "frame_000007.png"));
    EXPECT_FALSE(fs::exists(dir_ / "frame_000006.png"));
    EXPECT_EQ(slurp(dir_ / "frames.csv").substr(0, 69),
              "picture,camera_frame,exposure_start_ns,dropped_before\n7,0,0,6\n8,0,0,0");
    // No picture in time: the failed grab stops its acquisition and frees its buffers.
    pellucid::GrabOptions once = options(1);
    once.timeoutSeconds = 0;
    EXPECT_THROW(pellucid::grab(board_, once, {}), pellucid::ToolError);
    const pellucid::GrabResult again = grabFed(options(2), 1);
    EXPECT_EQ(again.written + again.skipped, 2);
}

// Pictures arrive without pause: with two buffers, every picture's buffer may be reused while it
// is being written.
TEST_F(GrabTest, PicturesThatMayHaveBeenReusedWhileWrittenAreDroppedAndTooFewBuffersNamed) {
    board_.assign("FG_HEIGHT=64");
    const pellucid::GrabResult r = grabFed(options(200, 2), 1, std::chrono::milliseconds(0));
    EXPECT_GT(r.skipped, 0);
    EXPECT_EQ(r.written + r.skipped, 200);
    EXPECT_EQ(std::count_if(
                  warnings_.begin(), warnings_.end(),
                  [](const std::string& w) { return w.starts_with("--buffers 2 is too few for 64 x 64"); }),
              1);
}

// Writers finish out of order; a stop while they are busy completes the pictures in hand.
TEST_F(GrabTest, AStopWhileWritersAreBusyCompletesThePicturesInHandListedInPictureOrder) {
    board_.assign("FG_HEIGHT=256");
    std::atomic<int> stop{0};
    pellucid::GrabOptions o = options(0, 16);
    o.continuous = true;
    o.writers = 3;
    o.stop = &stop;
    const pellucid::GrabResult r = grabFed(o, 1, std::chrono::milliseconds(1), [&](long handled) {
        if (handled >= 30) stop = SIGINT;
    });
    EXPECT_EQ(r.signal, SIGINT);
    std::istringstream csv(slurp(dir_ / "frames.csv"));
    std::string line;
    std::getline(csv, line);
    long previous = 0, lines = 0;
    while (std::getline(csv, line)) {
        const long picture = std::stol(line);
        EXPECT_GT(picture, previous) << line;
        char name[32];
        std::snprintf(name, sizeof name, "frame_%06ld.png", picture);
        EXPECT_TRUE(fs::exists(dir_ / name)) << name;
        previous = picture;
        ++lines;
    }
    EXPECT_EQ(lines, r.written);
    EXPECT_GE(r.written, 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()),
              r.written + 1);  // no temp files
}

TEST_F(GrabTest, AFolderThatBecomesUnwritableEndsTheGrabWithTheWritersError) {
    const fs::path gone = dir_.string() + ".gone";
    for (pellucid::ImageFormat f : pellucid::kImageFormats) {
        fs::remove_all(gone);
        pellucid::GrabOptions o = options(200, 8);
        o.format = f;
        try {
            grabFed(o, 1, std::chrono::milliseconds(1), [&](long handled) {
                // Moved away at once, while writers may be creating files in it.
                if (handled >= 5 && fs::exists(dir_)) fs::rename(dir_, gone);
            });
            ADD_FAILURE() << pellucid::extension(f) << ": the grab went on";
        } catch (const pellucid::ToolError& e) {
            // The writing or the renaming of a picture under way, whichever meets the move.
            EXPECT_TRUE(std::string(e.what()).starts_with("cannot write") ||
                        std::string(e.what()).starts_with("cannot rename"))
                << e.what();
        }
    }
    fs::remove_all(gone);
}

TEST_F(GrabTest, AnOutputFolderWithFilesIsRefusedOrItsEarlierGrabReplaced) {
    fs::create_directories(dir_);
    for (const char* name : {"frame_000001.png", "frame_1234567.png", "frames.csv", ".frame_000002.png.tmp",
                             "notes.txt", "frame_x.png"})
        std::ofstream(dir_ / name) << "x";
    pellucid::GrabOptions o = options(1);
    o.overwrite = false;
    EXPECT_THROW(pellucid::grab(board_, o, {}), pellucid::UsageError);
    EXPECT_TRUE(fs::exists(dir_ / "frame_1234567.png"));
    grabFed(options(1), 1);
    std::vector<std::string> left;
    for (const auto& e : fs::directory_iterator(dir_)) left.push_back(e.path().filename().string());
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{"frame_000001.png", "frame_x.png", "frames.csv", "notes.txt"}));
}

// Each from the settings alone, before the first picture, and once.
TEST_F(GrabTest, WarningsNameWhatSpoilsTheGrab) {
    const std::string simulator = PELLUCID_SIMULATOR_MCF;
    struct Case {
        std::vector<std::string> sets;
        std::string warning;  // empty: none
    } cases[] = {
        {{"FG_PROCESSING_GAIN=0"}, "maps every value to 0, so the pictures are black: FG_PROCESSING_GAIN=0"},
        {{"FG_PROCESSING_OFFSET=-1"}, "black: FG_PROCESSING_OFFSET=-1"},
        {{"FG_PROCESSING_INVERT=FG_ON", "FG_PROCESSING_OFFSET=1"},
         "FG_PROCESSING_OFFSET=1 and FG_PROCESSING_INVERT=FG_ON"},
        {{"FG_TRIGGER_FRAMESPERSECOND=200"},
         "the trigger rate of 200 pulses/s (FG_TRIGGER_FRAMESPERSECOND) is more than the camera simulator "
         "can "
         "take: a frame of 1024 x 1024 takes 6.579 ms at FG_GEN_FREQ 40 MHz on 4 taps, so at most 151.994"},
        // Well below the limit: a rate close to it may lose a pulse to a loaded machine's timing.
        {{"FG_TRIGGER_FRAMESPERSECOND=120"}, ""},
        {{"FG_TRIGGER_FRAMESPERSECOND=200", "FG_TRIGGERCC_SELECT0=CC_VCC"}, ""},
        {{"FG_TRIGGER_FRAMESPERSECOND=200", "FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE=2"}, ""},
    };
    for (const Case& c : cases) {
        board_.loadConfig(simulator);
        for (const std::string& s : c.sets) board_.assign(s);
        warnings_.clear();
        grabFed(options(2), 1);
        ASSERT_EQ(warnings_.size(), c.warning.empty() ? 0u : 1u)
            << c.sets[0] << (warnings_.empty() ? "" : warnings_[0]);
        if (!c.warning.empty()) {
            EXPECT_NE(warnings_[0].find(c.warning), std::string::npos) << warnings_[0];
        }
    }
}

TEST_F(GrabTest, SoftwareTriggerMakesTheFramesAndLeavesTheTriggerAsItWas) {
    board_.loadConfig(PELLUCID_SIMULATOR_MCF);
    pellucid::GrabOptions o = options(3);
    o.softwareTrigger = 20;
    const pellucid::GrabResult r = pellucid::grab(board_, o, {});
    EXPECT_EQ(r.written, 3);
    std::istringstream list(slurp(dir_ / "frames.csv"));
    std::vector<std::string> cameraFrames;
    for (std::string line; std::getline(list, line);)
        cameraFrames.push_back(line.substr(0, line.find(',', 2)));
    EXPECT_EQ(cameraFrames, (std::vector<std::string>{"picture", "1,0", "2,1", "3,2"}));
    for (const auto& [name, value] : {std::pair{"FG_AREATRIGGERMODE", "1 "},
                                      {"FG_TRIGGERQUEUE_MODE", "0 "},
                                      {"FG_TRIGGER_FRAMESPERSECOND", "50"}})
        EXPECT_EQ(board_.valueText(board_.describe(name)).substr(0, 2), value) << name;
    for (double bad : {1e9, 300.0}) {  // out of range; beyond what the pulse form generator allows
        o.softwareTrigger = bad;
        EXPECT_THROW(pellucid::grab(board_, o, {}), pellucid::UsageError) << bad;
    }
}

TEST(PngTest, SamplesKeepTheirOrderAndTwelveBitOnesAreMarkedAndScaledToSixteen) {
    const std::string path =
        fs::temp_directory_path() / ("pellucid_png_" + std::to_string(::getpid()) + ".png");
    // Two pixels, one row; 16-bit samples 0x1234, 0x5678, 0x9abc, ... little-endian in memory.
    const unsigned char wide[12] = {0x34, 0x12, 0x78, 0x56, 0xbc, 0x9a, 0x01, 0xff, 0x02, 0xee, 0x03, 0xdd};
    ASSERT_EQ(pellucid::writeRgbPng(path, 2, 1, 16, wide), "");
    PngImage image = readPng(path);
    EXPECT_EQ(std::pair(image.bitDepth, image.significantBits), std::pair(16, 0));
    EXPECT_EQ(image.rows, std::vector<unsigned char>(
                              {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 0xff, 0x01, 0xee, 0x02, 0xdd, 0x03}));
    // 12 bits high in the word stay; low ones are scaled up, the top bits repeated below.
    const unsigned char twelve[12] = {0xf0, 0xff, 0x00, 0x80, 0, 0, 0xff, 0x0f, 0x00, 0x08, 0x01, 0};
    ASSERT_EQ(pellucid::writeRgbPng(path, 2, 1, 16, twelve, {12, false}), "");
    image = readPng(path);
    EXPECT_EQ(image.significantBits, 12);
    EXPECT_EQ(image.rows,
              std::vector<unsigned char>({0xff, 0xf0, 0x80, 0x00, 0, 0, 0x0f, 0xff, 0x08, 0x00, 0, 0x01}));
    ASSERT_EQ(pellucid::writeRgbPng(path, 2, 1, 16, twelve, {12, true}), "");
    image = readPng(path);
    EXPECT_EQ(image.significantBits, 12);
    EXPECT_EQ(std::vector<unsigned char>(image.rows.begin() + 6, image.rows.end()),
              std::vector<unsigned char>({0xff, 0xff, 0x80, 0x08, 0x00, 0x10}));
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
