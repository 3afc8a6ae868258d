#include "Png.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

namespace pellucid {
namespace {

constexpr size_t kWhyCapacity = 256;

// libpng reports errors by longjmp: keep every object with a destructor out of this function.
bool writeRows(std::FILE* file, uint32_t width, uint32_t height, int bitDepth, const unsigned char* pixels,
               SampleBits bits, char* why, size_t whyLen) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, why, nullptr, nullptr);
    if (png == nullptr) {
        std::snprintf(why, whyLen, "out of memory");
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        std::snprintf(why, whyLen, "out of memory");
        return false;
    }
    png_set_error_fn(
        png, why,
        [](png_structp p, png_const_charp msg) {
            auto* text = static_cast<char*>(png_get_error_ptr(p));
            std::snprintf(text, kWhyCapacity, "%s", msg);
            png_longjmp(p, 1);
        },
        nullptr);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    // A grab has to keep up with the camera: the fastest deflate, and the one filter that still
    // halves the file at a fraction of the adaptive filter choice's time.
    png_set_compression_level(png, 1);
    png_set_filter(png, 0, PNG_FILTER_SUB);
    png_set_IHDR(png, info, width, height, bitDepth, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const bool partial = bitDepth == 16 && bits.significant < 16;
    png_color_8 sig{};
    sig.red = sig.green = sig.blue = static_cast<png_byte>(bits.significant);
    if (partial) png_set_sBIT(png, info, &sig);
    png_write_info(png, info);
    if (bitDepth == 16) png_set_swap(png);  // the buffer holds little-endian samples, PNG wants big
    // Readers take a sample as a fraction of 65535: low-aligned values would come out dark.
    if (partial && bits.lowAligned) png_set_shift(png, &sig);
    const size_t rowBytes = static_cast<size_t>(width) * 3 * (bitDepth / 8);
    for (uint32_t y = 0; y < height; ++y) png_write_row(png, pixels + y * rowBytes);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

std::string writeRgbPng(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits) {
    if (pixels == nullptr || width == 0 || height == 0 || (bitDepth != 8 && bitDepth != 16))
        return "no image to write";
    if (bits.significant < 1 || bits.significant > 16) return "significant bits must be 1..16";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return std::strerror(errno);
    char why[kWhyCapacity] = "";
    const bool written = writeRows(file, width, height, bitDepth, pixels, bits, why, sizeof why);
    const bool closed = std::fclose(file) == 0;
    if (!written) return why[0] != '\0' ? why : "cannot encode the image";
    if (!closed) return std::strerror(errno);
    return {};
}

}  // namespace pellucid
