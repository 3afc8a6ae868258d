// The hardware design carried inside the library, handed whole to the design runtime.
#pragma once

#include <cstdint>

extern unsigned char rawHapData[];  // the design file, byte for byte
extern unsigned char* const rawHap;
extern const uint64_t rawHapSize;
extern const char* const c_HAP_UID;  // the design's unique identifier
extern const char* const c_BITSTREAM_UID;
