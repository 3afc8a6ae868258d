// The fuzzers hand their input to file readers: each writes it to a scratch file of its own.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

// Writes the input to /tmp/<stem>_<pid><extension>; the path, or empty when it cannot be written.
inline std::string writeScratchFile(const char* stem, const char* extension, const uint8_t* data,
                                    size_t size) {
    const std::string path = std::string("/tmp/") + stem + "_" + std::to_string(getpid()) + extension;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return {};
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    return path;
}
