// Reads a PNG file back exactly as stored: header fields and the raw (big-endian) samples.
#pragma once

#include <png.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

struct PngImage {
    bool ok = false;
    uint32_t width = 0;
    uint32_t height = 0;
    int bitDepth = 0;
    int colorType = -1;
    std::vector<unsigned char> rows;  // all rows, as stored in the file
};

namespace png_reader_detail {

// No object with a destructor may live in the frame libpng jumps out of.
inline bool readInto(std::FILE* file, PngImage* image) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, file);
    png_read_info(png, info);
    image->width = png_get_image_width(png, info);
    image->height = png_get_image_height(png, info);
    image->bitDepth = png_get_bit_depth(png, info);
    image->colorType = png_get_color_type(png, info);
    const size_t rowBytes = png_get_rowbytes(png, info);
    image->rows.resize(rowBytes * image->height);
    for (uint32_t y = 0; y < image->height; ++y)
        png_read_row(png, image->rows.data() + y * rowBytes, nullptr);
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

}  // namespace png_reader_detail

inline PngImage readPng(const std::string& path) {
    PngImage image;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return image;
    image.ok = png_reader_detail::readInto(file, &image);
    std::fclose(file);
    return image;
}
