#include "FileOpen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qorv {

FILE* openRegularFile(const char* path, const char* mode, FileKind* kind) {
    FileKind found = FileKind::None;
    FILE* stream = nullptr;
    int flags = -1;
    if (mode != nullptr) {
        if (std::strcmp(mode, "r") == 0) flags = O_RDONLY;
        if (std::strcmp(mode, "r+") == 0) flags = O_RDWR;
        if (std::strcmp(mode, "w") == 0) flags = O_WRONLY | O_CREAT | O_TRUNC;
    }
    // O_NONBLOCK: a FIFO opens at once (or fails for want of a reader) instead of waiting.
    const int fd =
        path != nullptr && flags >= 0 ? open(path, flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666) : -1;
    struct stat st {};
    if (fd >= 0 && fstat(fd, &st) == 0) {
        found = S_ISREG(st.st_mode)   ? FileKind::Regular
                : S_ISDIR(st.st_mode) ? FileKind::Directory
                                      : FileKind::Other;
    } else if (fd < 0 && errno == ENXIO) {
        found = FileKind::Other;  // a socket, or a FIFO that nobody reads
    } else if (fd < 0 && errno == EISDIR) {
        found = FileKind::Directory;
    }
    if (found == FileKind::Regular) {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
        stream = fdopen(fd, mode);
    }
    if (stream == nullptr && fd >= 0) {
        close(fd);
        if (found == FileKind::Regular) found = FileKind::None;
    }
    if (kind != nullptr) *kind = found;
    return stream;
}

}  // namespace qorv
