// The fuzzers hand their input to file readers: each writes it to a scratch file of its own.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <string>

// A file of this process's own under /tmp, made with exclusive creation under an unpredictable
// name, so that nothing planted there beforehand (a symlink) is followed; removed at exit.
class ScratchFile {
  public:
    ScratchFile(const char* stem, const char* extension) {
        std::string templ = std::string("/tmp/") + stem + "_XXXXXX" + extension;
        fd_ = mkstemps(templ.data(), static_cast<int>(std::char_traits<char>::length(extension)));
        if (fd_ >= 0) path_ = templ;
    }
    ~ScratchFile() {
        if (fd_ < 0) return;
        close(fd_);
        unlink(path_.c_str());
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    // Replaces the content; the path, or empty when it cannot be written.
    std::string write(const uint8_t* data, size_t size) {
        if (fd_ < 0 || ftruncate(fd_, 0) != 0) return {};
        for (size_t done = 0; done < size;) {
            const ssize_t n = pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
            if (n <= 0) return {};
            done += static_cast<size_t>(n);
        }
        return path_;
    }

  private:
    int fd_ = -1;
    std::string path_;
};

// Writes the input to this process's scratch file for `stem`; the path, or empty.
inline std::string writeScratchFile(const char* stem, const char* extension, const uint8_t* data,
                                    size_t size) {
    static ScratchFile file(stem, extension);
    return file.write(data, size);
}
