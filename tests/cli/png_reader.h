// Reads a PNG file back exactly as stored: header fields and the raw (big-endian) samples.
#pragma once

#include <png.h>

#include <gtest/gtest.h>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

struct PngImage {
    bool ok = false;
    uint32_t width = 0, height = 0;
    int bitDepth = 0, colorType = -1;
    int significantBits = 0;          // of red, from the sBIT chunk; 0 without one
    std::vector<unsigned char> rows;  // all rows, as stored in the file
};

// No object with a destructor may live in the frame libpng jumps out of.
inline bool readPngInto(std::FILE* file, PngImage* image) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    png_uint_32 w = 0, h = 0;
    png_get_IHDR(png, info, &w, &h, &image->bitDepth, &image->colorType, nullptr, nullptr, nullptr);
    png_color_8p sig = nullptr;
    if (png_get_sBIT(png, info, &sig) != 0) image->significantBits = sig->red;
    image->width = w;
    image->height = h;
    const size_t rowBytes = png_get_rowbytes(png, info);
    image->rows.resize(rowBytes * h);
    for (uint32_t y = 0; y < h; ++y) png_read_row(png, image->rows.data() + y * rowBytes, nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

inline PngImage readPng(const std::string& path) {
    PngImage image;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        image.ok = readPngInto(file, &image);
        std::fclose(file);
    }
    return image;
}

// Frame `n` of a grab into `dir` is an RGB picture of that size and depth, and not black if `lit`.
inline void expectFrame(const std::string& dir, long n, uint32_t width, uint32_t height, int depth,
                        bool lit = false) {
    char name[32];
    std::snprintf(name, sizeof name, "/frame_%06ld.png", n);
    const PngImage image = readPng(dir + name);
    ASSERT_TRUE(image.ok) << name;
    EXPECT_EQ(std::vector<long>({image.width, image.height, image.bitDepth, image.colorType}),
              std::vector<long>({width, height, depth, PNG_COLOR_TYPE_RGB}))
        << name;
    bool any = false;
    for (unsigned char b : image.rows) any = any || b != 0;
    EXPECT_TRUE(any || !lit) << name << " is black";
}
