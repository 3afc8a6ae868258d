// The fuzzers hand their input to file readers through a scratch file of their own.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>

// Made once under /tmp with exclusive creation under an unpredictable name, so that nothing
// planted there beforehand (a symlink) is followed; rewritten through its descriptor for every
// input, removed at exit. The path, or empty when it cannot be written.
inline std::string writeScratchFile(const char* stem, const char* extension, const uint8_t* data,
                                    size_t size) {
    struct File {
        File(const char* stem, const char* extension)
            : path(std::string("/tmp/") + stem + "_XXXXXX" + extension),
              fd(mkstemps(path.data(), static_cast<int>(std::strlen(extension)))) {}
        ~File() {
            if (fd >= 0) unlink(path.c_str());
        }
        std::string path;
        int fd;
    };
    static File file(stem, extension);
    if (file.fd < 0 || ftruncate(file.fd, 0) != 0) return {};
    for (size_t done = 0; done < size;) {
        const ssize_t n = pwrite(file.fd, data + done, size - done, static_cast<off_t>(done));
        if (n <= 0) return {};
        done += static_cast<size_t>(n);
    }
    return file.path;
}
