// Writes RGB images as PNG files.
#pragma once

#include <cstdint>
#include <string>

namespace pellucid {

// Writes an RGB image of `bitDepth` 8 or 16 bits per channel: rows without padding, channels
// interleaved R, G, B, 16-bit channels little-endian. Empty on success, else why it failed.
std::string writeRgbPng(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels);

}  // namespace pellucid
