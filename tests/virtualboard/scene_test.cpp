// The scene a camera sees: the chart against its published colours, exposure, PNG files, noise.
#include <gmock/gmock.h>
#include <png.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>

#include "scene.h"

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf, ::testing::HasSubstr, ::testing::StartsWith, ::testing::ThrowsMessage;
using vboard::BayerPhase, vboard::Bench, vboard::RawFrame;
using Kind = vboard::SceneDescription::Kind;
constexpr int64_t kRef = 10000000;

Bench bench(uint32_t w, uint32_t h, BayerPhase phase = BayerPhase::RG, bool moving = false) {
    Bench b;
    b.camera.width = w, b.camera.height = h, b.camera.bits = 12, b.camera.bayer = phase;
    b.scene.moving = moving;
    return b;
}

RawFrame render(const Bench& b, uint64_t frame = 0, int64_t exposureNs = kRef) {
    RawFrame f;
    vboard::SceneRenderer(b).render(frame, exposureNs, f);
    return f;
}

// 8-bit sRGB to 12-bit linear.
double linear12(int v8) {
    const double v = v8 / 255.0;
    return 4095 * (v > 0.04045 ? std::pow((v + 0.055) / 1.055, 2.4) : v / 12.92);
}

// The chart's 24 published sRGB colours, row by row.
constexpr const char* kChart =
    "735244c29682627a9d576c438580b167bdaad67e2c505ba6c15a635e3c6c9dbc40e0a32e"
    "383d96469449af363ce7c71fbb56950885a1f3f3f2c8c8c8a0a0a07a7a79555555343434";

TEST(Scene, ChartPatchesComeThroughTheImagePathAsPublished) {
    vboard::DesignSettings s;
    s.width = s.height = 1024, s.bayer = 1, s.col24 = false, s.leftAligned = false;  // bayer 1: phase BG
    for (auto& table : s.lut) std::iota(table.begin(), table.end(), uint16_t{0});
    std::vector<uint16_t> out(vboard::imageBytes(s) / 2);
    vboard::process(render(bench(1024, 1024, BayerPhase::BG, true), 1), s,
                    reinterpret_cast<uint8_t*>(out.data()));
    for (int i = 0; i < 24; ++i) {
        const vboard::PixelBox p = vboard::chartPatches(1024, 1024)[i];
        for (int c = 0; c < 3; ++c) {
            double sum = 0, n = 0;
            for (uint32_t y = p.y0 + 20; y < p.y1 - 20; ++y)  // 20 pixels inside, of 80
                for (uint32_t x = p.x0 + 20; x < p.x1 - 20; ++x, ++n) sum += out[(y * 1024 + x) * 3 + c];
            const int srgb = std::stoi(std::string(kChart + 6 * i + 2 * c, 2), nullptr, 16);
            EXPECT_NEAR(sum / n, linear12(srgb), 1.0) << "patch " << i << " channel " << c;
        }
    }
}

// At 1024 x 1024: a dark spoke 100 pixels right of the star's centre, the ramp's last line and the
// background below it; the counter's digits, 3 x 5 cells of 14 pixels from (542, 624), as drawn here.
TEST(Scene, StarRampAndCounterDigitsLieWhereTheLayoutPutsThem) {
    const char* const glyphs[5] = {
        "### .#. ### ### #.# ### ### ### ### ###", "#.# ##. ..# ..# #.# #.. #.. ..# #.# #.#",
        "#.# .#. ### ### ### ### ### ..# ### ###", "#.# .#. #.. ..# ..# ..# #.# ..# #.# ..#",
        "### ### ### ### ..# ### ### ..# ### ###"};
    for (uint64_t frame : {12345678u, 90u}) {
        const RawFrame f = render(bench(1024, 1024, BayerPhase::RG, true), frame);
        const auto at = [&](uint32_t x, uint32_t y) { return int(f.pixels[y * 1024 + x]); };
        EXPECT_EQ((std::vector{at(929, 221), at(512, 889), at(512, 890)}), (std::vector{123, 2052, 205}));
        const std::string digits = std::to_string(frame + 100000000);  // 1 and the 8 digits shown
        for (int i = 0; i < 8 * 15; ++i)  // digit i / 15, row i % 15 / 3, column i % 3
            EXPECT_EQ(at(549 + (i / 15 * 4 + i % 3) * 14, 631 + i % 15 / 3 * 14) > 2000,
                      glyphs[i % 15 / 3][(digits[i / 15 + 1] - '0') * 4 + i % 3] == '#')
                << frame << " cell " << i;
    }
}

// The moving parts scale with the rest; they are drawn anew on every frame and gone with the next.
TEST(Scene, ExposureScalesLinearlyAndSaturatesAndMovingPartsChangeEachFrame) {
    const Bench b = bench(320, 240, BayerPhase::RG, true);
    vboard::SceneRenderer r(b);
    RawFrame full, half, twice;
    r.render(0, kRef / 2, half), r.render(0, kRef, full), r.render(0, 2 * kRef, twice);
    EXPECT_EQ(full.pixels, render(b).pixels);
    for (size_t i = 0; i < full.pixels.size(); ++i) {
        EXPECT_LE(std::abs(2 * half.pixels[i] - full.pixels[i]), 1) << i;
        EXPECT_TRUE(twice.pixels[i] == 4095 || std::abs(twice.pixels[i] - 2 * full.pixels[i]) <= 1) << i;
    }
    const vboard::PixelBox white = vboard::chartPatches(320, 240)[18];
    EXPECT_EQ(twice.pixels[(white.y0 + 1) * 320 + white.x0 + 1], 4095);
    for (uint64_t frame : {0ull, 7ull, 99999999ull})
        EXPECT_NE(render(b, frame).pixels, render(b, frame + 1).pixels) << frame;
    r.render(4, kRef, full), r.render(3, kRef, full);
    EXPECT_EQ(full.pixels, render(b, 3).pixels);
    for (uint32_t size : {1u, 2u, 3u, 17u})
        EXPECT_EQ(render(bench(size, size + 1, {}, true), 5).pixels.size(), size * (size + 1));
}

// Colour number i of a PNG: red i, green 255 - i, blue 7 i; grey formats show i as grey.
uint8_t shade(int i, int c) {
    return uint8_t(c == 0 ? i : c == 1 ? 255 - i : i * 7);
}

int content(uint32_t x, uint32_t y) {
    return int(x * 37 + y * 91) & 255;
}

// 16-bit formats get each 8-bit value as v * 257; alpha is 0, to be ignored.
void writePng(const fs::path& path, uint32_t w, uint32_t h, uint32_t format,
              const std::function<int(uint32_t, uint32_t)>& colour = content) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION, image.width = w, image.height = h, image.format = format;
    const bool mapped = format & PNG_FORMAT_FLAG_COLORMAP;
    const uint32_t channels = mapped ? 1 : PNG_IMAGE_SAMPLE_CHANNELS(format);
    const uint32_t size = mapped ? 1 : PNG_IMAGE_SAMPLE_COMPONENT_SIZE(format);
    std::vector<uint8_t> data(size_t{w} * h * channels * size), map(768);
    for (int i = 0; i < 768; ++i) map[i] = shade(i / 3, i % 3);
    for (size_t p = 0; p < size_t{w} * h; ++p)
        for (uint32_t c = 0; c < channels; ++c) {
            const int i = colour(p % w, p / w), alpha = (format & PNG_FORMAT_FLAG_ALPHA) && c == channels - 1;
            std::fill_n(&data[(p * channels + c) * size], size, alpha ? 0 : channels < 3 ? i : shade(i, c));
        }
    image.colormap_entries = 256;
    ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, data.data(), 0, map.data()));
}

struct PngScene : ::testing::Test {
    fs::path dir = fs::temp_directory_path() / ("scene_test_" + std::to_string(getpid()));
    void SetUp() override { fs::create_directories(dir / "empty"); }
    void TearDown() override { fs::remove_all(dir); }
    Bench of(const fs::path& path, uint32_t w = 8, uint32_t h = 6, BayerPhase phase = BayerPhase::RG) {
        Bench b = bench(w, h, phase);
        b.scene.kind = fs::is_directory(path) ? Kind::Folder : Kind::Png, b.scene.path = path.string();
        return b;
    }
};

TEST_F(PngScene, FilesMapPixelForPixelInEveryFormatAndPhaseOrCoverTheSensor) {
    const std::pair<uint32_t, BayerPhase> cases[] = {
        {PNG_FORMAT_RGB, BayerPhase::RG},          {PNG_FORMAT_RGBA, BayerPhase::GR},
        {PNG_FORMAT_GRAY, BayerPhase::GB},         {PNG_FORMAT_LINEAR_Y, BayerPhase::BG},
        {PNG_FORMAT_RGB_COLORMAP, BayerPhase::GR}, {PNG_FORMAT_LINEAR_RGB, BayerPhase::BG}};
    for (auto [format, phase] : cases) {
        writePng(dir / "a.png", 8, 6, format);
        const RawFrame f = render(of(dir / "a.png", 8, 6, phase));
        for (uint32_t p = 0; p < 48; ++p) {
            const uint32_t x = p % 8, y = p / 8, i = content(x, y);
            const auto c = std::string("RGB").find("RGGBGRBGGBRGBGGR"[int(phase) * 4 + y % 2 * 2 + x % 2]);
            EXPECT_NEAR(f.pixels[p], linear12(format & PNG_FORMAT_FLAG_COLOR ? shade(i, c) : i), 1)
                << format << " " << p;
        }
    }
    // Whole-factor scales and one-sided padding cut out the content; smaller images stay in range.
    writePng(dir / "a.png", 8, 6, PNG_FORMAT_RGB);
    const RawFrame exact = render(of(dir / "a.png"));
    for (auto [k, px, py] : {std::array<uint32_t, 3>{2, 0, 0}, {1, 3, 0}, {2, 0, 4}, {3, 6, 0}}) {
        writePng(dir / "b.png", 8 * k + 2 * px, 6 * k + 2 * py, PNG_FORMAT_RGB, [&](uint32_t x, uint32_t y) {
            const bool in = x >= px && x < px + 8 * k && y >= py && y < py + 6 * k;
            return in ? content((x - px) / k, (y - py) / k) : 255;
        });
        EXPECT_EQ(render(of(dir / "b.png")).pixels, exact.pixels) << k << " " << px << " " << py;
    }
    for (auto [w, h] : {std::array<uint32_t, 2>{1, 1}, {3, 2}, {2, 9}}) {
        writePng(dir / "c.png", w, h, PNG_FORMAT_GRAY, [](auto x, auto y) { return 40 + 50 * x + 9 * y; });
        for (uint16_t v : render(of(dir / "c.png", 17, 11)).pixels)
            EXPECT_TRUE(v + 1 >= linear12(40) && v <= linear12(40 + 50 * (w - 1) + 9 * (h - 1)) + 1) << v;
    }
}

TEST_F(PngScene, FoldersPlayInNameOrderAndBadFilesAreNamed) {
    for (int i : {2, 0, 1})
        writePng(dir / ("f" + std::to_string(i) + ".PNG"), 4, 4, PNG_FORMAT_GRAY,
                 [&](auto...) { return 60 * i; });
    std::ofstream(dir / "notes.txt") << "not a frame";
    vboard::SceneRenderer r(of(dir, 4, 4));
    RawFrame f;
    for (uint64_t frame = 0; frame < 5; ++frame) {
        r.render(frame, kRef, f);
        EXPECT_EQ(f.pixels[0], std::lround(linear12(60 * int(frame % 3)))) << frame;
    }
    writePng(dir / "cut.png", 4, 4, PNG_FORMAT_GRAY);
    fs::resize_file(dir / "cut.png", fs::file_size(dir / "cut.png") - 20);
    std::ofstream(dir / "text.png") << "hello";
    auto refused = [&](const fs::path& path, const char* reason) {
        EXPECT_THAT([&] { vboard::SceneRenderer bad(of(path)); },
                    ThrowsMessage<vboard::BenchError>(AllOf(StartsWith(path.string()), HasSubstr(reason))));
    };
    refused(dir / "missing.png", ": cannot open"), refused(dir / "text.png", ": not a PNG file");
    refused(dir / "cut.png", ": truncated PNG"), refused(dir / "empty", ": no PNG files");
    refused(dir, "cut.png: truncated PNG");  // the folder's first bad file by name
}

// A pixel's variance: read noise squared, plus with shot noise value * max / full well (in LSB).
TEST(Scene, NoiseIsRepeatableAndHasTheModelledSpread) {
    for (auto [readNoise, shot, well] : {std::tuple{5.0, false, 1e4}, {0.0, true, 1e4}, {3.0, true, 2e3}}) {
        Bench b = bench(256, 256);
        const RawFrame clean = render(b);
        b.noise.on = true, b.noise.readNoise = readNoise, b.noise.shot = shot, b.noise.fullWell = well;
        const RawFrame noisy = render(b, 7);
        EXPECT_EQ(noisy.pixels, render(b, 7).pixels);
        EXPECT_NE(noisy.pixels, render(b, 8).pixels);
        double sum = 0, squares = 0, expected = 0, n = 0;
        for (size_t i = 0; i < clean.pixels.size(); ++i) {
            const double v = clean.pixels[i], d = noisy.pixels[i] - v;
            if (v < 40 || v > 3500) continue;  // away from the clipping
            sum += d, squares += d * d, n += 1;
            expected += readNoise * readNoise + (shot ? v * 4095 / well : 0);
        }
        EXPECT_NEAR(sum / n, 0.0, 0.5) << readNoise;
        EXPECT_NEAR(squares / expected, 1.0, 0.1) << readNoise;
    }
}

}  // namespace
