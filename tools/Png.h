// Writes RGB images as PNG files.
#pragma once

#include <cstdint>
#include <string>

namespace pellucid {

// How many bits of a 16-bit sample carry the value, and where they sit in it.
struct SampleBits {
    int significant = 16;     // 1..16; below 16 the file says so in an sBIT chunk
    bool lowAligned = false;  // in the low bits: scaled up to the full range on writing
};

// Writes an RGB image of `bitDepth` 8 or 16 bits per channel: rows without padding, channels
// interleaved R, G, B, 16-bit channels little-endian. Empty on success, else why it failed.
std::string writeRgbPng(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits = {});

}  // namespace pellucid
