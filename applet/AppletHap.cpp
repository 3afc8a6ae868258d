#include "AppletHap.h"

extern const uint64_t rawHapData_size;

unsigned char* const rawHap = rawHapData;
const uint64_t rawHapSize = rawHapData_size;
const char* const c_HAP_UID = "3c1f9a27-5b0e-4d86-a9e2-71d4c0b85f13";
const char* const c_BITSTREAM_UID = "";
