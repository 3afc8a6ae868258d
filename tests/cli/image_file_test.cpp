// The grab's file writers read back: PNG through libpng, TIFF through libtiff, NPY as NumPy lays
// it out, all to the same samples, on pictures with long runs, noise and several deflate blocks.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "ImageFile.h"
#include "png_reader.h"

namespace {

namespace fs = std::filesystem;

struct Case {
    int bitDepth;
    pellucid::SampleBits bits;
};

// Samples as every reader should see them: host order, scaled where the writer scales.
std::vector<uint16_t> expected(const std::vector<unsigned char>& pixels, const Case& c) {
    std::vector<uint16_t> v;
    for (size_t i = 0; i < pixels.size(); i += static_cast<size_t>(c.bitDepth / 8)) {
        if (c.bitDepth == 8) {
            v.push_back(pixels[i]);
            continue;
        }
        const auto s = static_cast<uint16_t>(pixels[i] | pixels[i + 1] << 8);
        v.push_back(c.bits.significant < 16 && c.bits.lowAligned ? pellucid::scaleUp(s, c.bits.significant)
                                                                 : s);
    }
    return v;
}

std::vector<uint16_t> samples(const unsigned char* data, size_t bytes, int bitDepth, bool bigEndian) {
    std::vector<uint16_t> v;
    for (size_t i = 0; i < bytes; i += static_cast<size_t>(bitDepth / 8))
        v.push_back(bitDepth == 8 ? data[i]
                    : bigEndian   ? static_cast<uint16_t>(data[i] << 8 | data[i + 1])
                                  : static_cast<uint16_t>(data[i] | data[i + 1] << 8));
    return v;
}

class ImageFileTest : public ::testing::TestWithParam<Case> {
  protected:
    void TearDown() override { fs::remove_all(dir_); }
    fs::path dir_ = fs::temp_directory_path() / ("pellucid_image_" + std::to_string(::getpid()));
};

TEST_P(ImageFileTest, EveryFormatReadsBackToTheSameSamples) {
    const Case c = GetParam();
    // 700 x 200: flat bands (runs far beyond a match's 258 bytes), noise, a ramp; more bytes than
    // one deflate block takes.
    constexpr uint32_t kWidth = 700, kHeight = 200;
    const int sampleBytes = c.bitDepth / 8;
    std::vector<unsigned char> pixels(size_t{kWidth} * kHeight * 3 * static_cast<size_t>(sampleBytes));
    std::mt19937 random(7);
    const uint16_t top = static_cast<uint16_t>((1u << (c.bitDepth == 8 ? 8 : c.bits.significant)) - 1);
    for (size_t i = 0; i < pixels.size() / static_cast<size_t>(sampleBytes); ++i) {
        const size_t y = i / (kWidth * 3);
        const uint16_t v = y < 60    ? static_cast<uint16_t>(y % 3 == 0 ? top : 0)
                           : y < 120 ? static_cast<uint16_t>(random() & top)
                                     : static_cast<uint16_t>((i / 3) % kWidth & top);
        std::memcpy(&pixels[i * static_cast<size_t>(sampleBytes)], &v, static_cast<size_t>(sampleBytes));
    }
    const std::vector<uint16_t> want = expected(pixels, c);
    fs::create_directories(dir_);
    for (pellucid::ImageFormat f : pellucid::kImageFormats) {
        const std::string path = (dir_ / (std::string("x.") + pellucid::extension(f))).string();
        ASSERT_EQ(pellucid::writeImage(f, path, kWidth, kHeight, c.bitDepth, pixels.data(), c.bits), "")
            << path;
        std::vector<uint16_t> got;
        if (f == pellucid::ImageFormat::png) {
            const PngImage image = readPng(path);
            ASSERT_TRUE(image.ok);
            EXPECT_EQ(image.significantBits,
                      c.bitDepth == 16 && c.bits.significant < 16 ? c.bits.significant : 0);
            got = samples(image.rows.data(), image.rows.size(), c.bitDepth, true);
        } else if (f == pellucid::ImageFormat::tiff) {
            TIFF* tiff = TIFFOpen(path.c_str(), "r");
            ASSERT_NE(tiff, nullptr);
            uint32_t w = 0, h = 0;
            uint16_t bps = 0, spp = 0, compression = 0;
            TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &w);
            TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &h);
            TIFFGetField(tiff, TIFFTAG_BITSPERSAMPLE, &bps);
            TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &spp);
            TIFFGetField(tiff, TIFFTAG_COMPRESSION, &compression);
            EXPECT_EQ(std::vector<uint32_t>({w, h, bps, spp, compression}),
                      std::vector<uint32_t>({kWidth, kHeight, uint32_t(c.bitDepth), 3, COMPRESSION_NONE}));
            std::vector<unsigned char> row(static_cast<size_t>(TIFFScanlineSize(tiff)));
            for (uint32_t y = 0; y < h; ++y) {
                ASSERT_EQ(TIFFReadScanline(tiff, row.data(), y), 1);
                const auto r = samples(row.data(), row.size(), c.bitDepth, false);
                got.insert(got.end(), r.begin(), r.end());
            }
            TIFFClose(tiff);
        } else {
            std::ifstream in(path, std::ios::binary);
            const std::string file{std::istreambuf_iterator<char>(in), {}};
            ASSERT_EQ(file.substr(0, 8), std::string("\x93NUMPY\x01\x00", 8));
            const size_t start =
                10 + (static_cast<unsigned char>(file[8]) | static_cast<unsigned char>(file[9]) << 8);
            EXPECT_EQ(start % 64, 0u);
            EXPECT_NE(file.find(std::string("'descr': '") + (c.bitDepth == 8 ? "|u1" : "<u2") +
                                "', 'fortran_order': False, 'shape': (200, 700, 3), }"),
                      std::string::npos);
            got = samples(reinterpret_cast<const unsigned char*>(file.data()) + start, file.size() - start,
                          c.bitDepth, false);
        }
        EXPECT_TRUE(got == want) << path;
    }
    EXPECT_NE(pellucid::writeImage(pellucid::ImageFormat::tiff, (dir_ / "no/x.tiff").string(), 2, 1, 8,
                                   pixels.data()),
              "");
    EXPECT_NE(pellucid::writeImage(pellucid::ImageFormat::npy, (dir_ / "no/x.npy").string(), 2, 1, 8,
                                   pixels.data()),
              "");
    EXPECT_NE(
        pellucid::writeImage(pellucid::ImageFormat::npy, (dir_ / "x.npy").string(), 2, 1, 12, pixels.data()),
        "");
}

INSTANTIATE_TEST_SUITE_P(Depths, ImageFileTest,
                         ::testing::Values(Case{8, {}}, Case{16, {}}, Case{16, {12, true}},
                                           Case{16, {12, false}}),
                         [](const ::testing::TestParamInfo<Case>& info) {
                             const Case& c = info.param;
                             return "Bits" + std::to_string(c.bitDepth) + "Significant" +
                                    std::to_string(c.bits.significant) + (c.bits.lowAligned ? "Low" : "High");
                         });

}  // namespace
