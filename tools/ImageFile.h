// Writes a grabbed picture in one of the file formats a grab offers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Png.h"

namespace pellucid {

enum class ImageFormat { png, tiff, npy };
inline constexpr ImageFormat kImageFormats[] = {ImageFormat::png, ImageFormat::tiff, ImageFormat::npy};

// "png", "tiff" or "npy"; nothing for any other name.
std::optional<ImageFormat> parseImageFormat(const std::string& name);
// The file name extension, without the dot.
const char* extension(ImageFormat format);

// An uncompressed RGB TIFF of 8 or 16 bits per channel, samples as writeRgbPng stores them.
std::string writeRgbTiff(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                         const unsigned char* pixels, SampleBits bits = {});
// A NumPy .npy array of shape (height, width, 3), dtype uint8 or little-endian uint16.
std::string writeRgbNpy(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits = {});

// The writer for `format`, with writeRgbPng's arguments and answer.
std::string writeImage(ImageFormat format, const std::string& path, uint32_t width, uint32_t height,
                       int bitDepth, const unsigned char* pixels, SampleBits bits = {});

}  // namespace pellucid
