// The PNG writer's own deflate stream read back: by libpng to the exact pixels, and by zlib as one
// strict zlib stream across the IDAT chunks, over sizes, depths and contents that steer the encoder
// into each of its paths (literals, every match distance, stored blocks, block and chunk limits).
#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "Png.h"
#include "png_reader.h"

namespace {

namespace fs = std::filesystem;

enum class Content { noise, flat, ramp, pattern, runs, noiseThenFlat, sameNoiseEachRow };

// Samples in the writer's layout (16-bit little-endian), and the same as PNG stores them.
struct Picture {
    std::vector<unsigned char> pixels, stored;
};

Picture make(Content content, uint32_t width, uint32_t height, int bitDepth) {
    Picture p;
    std::mt19937 random(width * 131 + height);
    const size_t samples = size_t{width} * height * 3;
    for (size_t i = 0; i < samples; ++i) {
        const size_t x = i / 3 % width, y = i / 3 / width, channel = i % 3;
        uint32_t v = 0;
        switch (content) {
            case Content::noise:
                v = random();
                break;
            case Content::flat:
                v = 0x5a17;
                break;
            case Content::ramp:
                v = static_cast<uint32_t>(x * 7 + y * 3 + channel * 50);
                break;
            // The camera simulator's colour-filter ramp: rows alternate, one colour shifts a pixel a row.
            case Content::pattern:
                v = (y & 1) == 0 ? (channel == 0 ? x * 8 : y * 8) : (x + y) * 4;
                break;
            case Content::runs:
                v = x < width / 3 ? 0 : (x / 400 + y / 7) * 0x3311;
                break;
            case Content::noiseThenFlat:
                v = y < height / 2 ? random() : 0x80;
                break;
            case Content::sameNoiseEachRow:
                v = static_cast<uint32_t>((x * 3 + channel) * 2654435761u >> 7);
                break;
        }
        if (bitDepth == 8) {
            p.pixels.push_back(static_cast<unsigned char>(v));
            p.stored.push_back(static_cast<unsigned char>(v));
        } else {
            p.pixels.insert(p.pixels.end(),
                            {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)});
            p.stored.insert(p.stored.end(),
                            {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)});
        }
    }
    return p;
}

// The IDAT chunks' data joined, and how many there were; every chunk's CRC checked on the way.
std::pair<std::string, int> idatStream(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(in), {}};
    std::string joined;
    int chunks = 0;
    for (size_t at = 8; at + 12 <= file.size();) {
        const auto* p = reinterpret_cast<const unsigned char*>(file.data() + at);
        const size_t length = size_t{p[0]} << 24 | size_t{p[1]} << 16 | size_t{p[2]} << 8 | p[3];
        const auto* crc = p + 8 + length;
        EXPECT_EQ(crc32(0, p + 4, static_cast<uInt>(length + 4)),
                  uLong{crc[0]} << 24 | uLong{crc[1]} << 16 | uLong{crc[2]} << 8 | crc[3]);
        if (file.compare(at + 4, 4, "IDAT") == 0) {
            joined.append(file, at + 8, length);
            ++chunks;
        }
        at += 12 + length;
    }
    return {joined, chunks};
}

struct Case {
    Content content;
    uint32_t width, height;
    int minChunks = 1;
};

class PngRoundTrip : public ::testing::TestWithParam<Case> {};

TEST_P(PngRoundTrip, DecodesToTheSamePixelsAsOneZlibStream) {
    const Case c = GetParam();
    const std::string path =
        fs::temp_directory_path() / ("pellucid_png_rt_" + std::to_string(::getpid()) + ".png");
    for (int bitDepth : {8, 16}) {
        SCOPED_TRACE(bitDepth);
        const Picture picture = make(c.content, c.width, c.height, bitDepth);
        ASSERT_EQ(pellucid::writeRgbPng(path, c.width, c.height, bitDepth, picture.pixels.data()), "");
        const PngImage image = readPng(path);
        ASSERT_TRUE(image.ok);
        EXPECT_EQ(image.width, c.width);
        EXPECT_EQ(image.bitDepth, bitDepth);
        EXPECT_TRUE(image.rows == picture.stored);

        // zlib's own inflate insists on the end of the stream and its Adler-32.
        const auto [stream, chunks] = idatStream(path);
        EXPECT_GE(chunks, c.minChunks);
        std::vector<unsigned char> raw(picture.stored.size() + c.height + 1);
        uLongf rawSize = raw.size();
        ASSERT_EQ(
            uncompress(raw.data(), &rawSize, reinterpret_cast<const Bytef*>(stream.data()), stream.size()),
            Z_OK);
        EXPECT_EQ(rawSize, picture.stored.size() + c.height);
    }
    fs::remove(path);
}

std::vector<Case> cases() {
    std::vector<Case> all;
    for (Content content : {Content::noise, Content::flat, Content::ramp, Content::pattern, Content::runs})
        for (uint32_t width : {1u, 2u, 3u, 17u, 1024u})
            for (uint32_t height : {1u, 2u, 5u}) all.push_back({content, width, height});
    // Runs and matches across the encoder's 64 KiB blocks; stored blocks beside coded ones, and
    // more than the 1 MiB one IDAT chunk takes.
    all.push_back({Content::runs, 1024, 90});
    all.push_back({Content::pattern, 1024, 90});
    all.push_back({Content::noiseThenFlat, 1024, 800, 2});
    // Rows so long that one row back takes the largest distance codes (8 bits) or lies beyond the
    // 32 KiB window (16 bits).
    all.push_back({Content::sameNoiseEachRow, 9000, 3});
    return all;
}

INSTANTIATE_TEST_SUITE_P(Pictures, PngRoundTrip, ::testing::ValuesIn(cases()));

TEST(PngErrors, BadInputGetsAClearErrorAndNoFile) {
    const fs::path dir = fs::temp_directory_path() / ("pellucid_png_bad_" + std::to_string(::getpid()));
    const unsigned char pixel[6] = {};
    EXPECT_EQ(pellucid::writeRgbPng((dir / "x.png").string(), 1, 1, 8, pixel), "No such file or directory");
    fs::create_directories(dir);
    EXPECT_EQ(pellucid::writeRgbPng((dir / "x.png").string(), 0, 1, 8, pixel), "no image to write");
    EXPECT_EQ(pellucid::writeRgbPng((dir / "x.png").string(), 1, 0, 16, pixel), "no image to write");
    EXPECT_FALSE(fs::exists(dir / "x.png"));
    fs::remove_all(dir);
}

}  // namespace
