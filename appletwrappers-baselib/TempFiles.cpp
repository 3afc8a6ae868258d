#include "TempFiles.h"

#include <fcntl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace qorv {

namespace {

constexpr char kAlphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr uint64_t kBase = sizeof(kAlphabet) - 1;
constexpr int kAttempts = 62 * 62 * 62;
constexpr uint64_t kStep = 7777;
constexpr char kTempTemplate[] = "/tmp/coef-XXXXXX.tiff";
constexpr int kTempSuffix = 5;  // ".tiff"

// Start of the six placeholder characters, or null when the template cannot be used.
char* placeholders(char* templ, int suffixLength) {
    if (templ == nullptr || suffixLength < 0) return nullptr;
    const size_t length = strlen(templ);
    if (static_cast<size_t>(suffixLength) + 6 > length) return nullptr;
    char* x = templ + length - suffixLength - 6;
    return memcmp(x, "XXXXXX", 6) == 0 ? x : nullptr;
}

std::mutex gStateMutex;
uint64_t gState = 0;

}  // namespace

int mkstempsFrom(char* templ, int suffixLength, uint64_t& state) {
    char* x = placeholders(templ, suffixLength);
    if (x == nullptr) {
        errno = EINVAL;
        return -1;
    }
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        uint64_t v = state;
        for (int i = 0; i < 6; ++i) {
            x[i] = kAlphabet[v % kBase];
            v /= kBase;
        }
        // Never follow a link planted at a predictable name in a shared directory.
        const int fd = open(templ, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd >= 0) return fd;
        state += kStep;
    }
    templ[0] = '\0';
    return -1;
}

int mkstemps(char* templ, int suffixLength) {
    if (placeholders(templ, suffixLength) == nullptr) {
        errno = EINVAL;
        return -1;
    }
    struct sysinfo info;
    const uint64_t uptime = sysinfo(&info) == 0 ? static_cast<uint64_t>(info.uptime) : 0;
    std::lock_guard<std::mutex> lock(gStateMutex);
    gState += uptime;
    return mkstempsFrom(templ, suffixLength, gState);
}

char* createTempFile() {
    auto* path = static_cast<char*>(malloc(32));
    if (path == nullptr) return nullptr;
    memcpy(path, kTempTemplate, sizeof kTempTemplate);
    const int fd = mkstemps(path, kTempSuffix);
    if (fd < 0) {
        free(path);
        return nullptr;
    }
    close(fd);
    return path;
}

void deleteTempFile(char* path) {
    if (path == nullptr) return;
    unlink(path);
    free(path);
}

}  // namespace qorv
