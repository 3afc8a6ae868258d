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

// A low-aligned sample of `significant` bits moved to the top of 16, its own top bits repeated
// below: readers take a sample as a fraction of 65535, and low-aligned values would come out dark.
uint16_t scaleUp(uint16_t v, int significant);

// Writes an RGB image of `bitDepth` 8 or 16 bits per channel: rows without padding, channels
// interleaved R, G, B, 16-bit channels little-endian. Empty on success, else why it failed.
std::string writeRgbPng(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits = {});

}  // namespace pellucid
