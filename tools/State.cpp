#include "State.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "Board.h"

namespace pellucid {
namespace fs = std::filesystem;
namespace {

fs::path boardFile(unsigned index, const char* extension) {
    return stateFolder() / ("board" + std::to_string(index) + extension);
}

void createFolder(const fs::path& folder) {
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) throw ToolError("cannot create the state folder \"" + folder.string() + "\": " + ec.message());
}

}  // namespace

fs::path stateFolder() {
    // Relative paths in the variable are to be ignored, as the base directory rules say.
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && fs::path(state).is_absolute()) return fs::path(state) / "pellucid";
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0')
        throw ToolError(
            "cannot tell where to keep the board's settings: neither XDG_STATE_HOME nor HOME is set");
    return fs::path(home) / ".local" / "state" / "pellucid";
}

BoardLock::BoardLock(unsigned index) {
    const fs::path path = boardFile(index, ".lock");
    createFolder(path.parent_path());
    fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd_ < 0)
        throw ToolError("cannot open the lock file \"" + path.string() + "\": " + std::strerror(errno));
    if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        char pid[32] = "";
        const ssize_t n = pread(fd_, pid, sizeof pid - 1, 0);
        close(fd_);
        fd_ = -1;
        if (error != EWOULDBLOCK)
            throw ToolError("cannot lock \"" + path.string() + "\": " + std::strerror(error));
        std::string holder = n > 0 ? std::string(pid, static_cast<size_t>(n)) : std::string();
        holder = holder.substr(0, holder.find('\n'));
        throw ToolError("board " + std::to_string(index) + " is in use by " +
                        (holder.empty() ? std::string("another process") : "process " + holder));
    }
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(fd_, 0) != 0 ||
        pwrite(fd_, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
        // The lock holds without the number; only the message of a second process is poorer.
    }
}

BoardLock::~BoardLock() {
    if (fd_ >= 0) close(fd_);  // closing releases the lock
}

WorkingConfiguration::WorkingConfiguration(unsigned index) : path_(boardFile(index, ".mcf")) {}

bool WorkingConfiguration::exists() const {
    std::error_code ec;
    return fs::exists(path_, ec);
}

void WorkingConfiguration::applyTo(Board& board) const {
    if (!exists()) return;
    try {
        board.loadConfig(path_.string());
    } catch (const ToolError& e) {
        std::fprintf(
            stderr,
            "pellucid: warning: ignoring the board's saved settings in \"%s\", which do not load: %s "
            "(pellucid reset removes them)\n",
            path_.c_str(), e.what());
        board.reopen();
    }
}

void WorkingConfiguration::save(Board& board) const {
    createFolder(path_.parent_path());
    // Written beside and renamed over, so a reader never sees half a file.
    const fs::path part =
        path_.parent_path() / (path_.stem().string() + "." + std::to_string(getpid()) + ".part.mcf");
    try {
        board.saveConfig(part.string());
    } catch (...) {
        std::remove(part.c_str());
        throw;
    }
    if (std::rename(part.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        std::remove(part.c_str());
        throw ToolError("cannot replace \"" + path_.string() + "\": " + std::strerror(error));
    }
}

bool WorkingConfiguration::remove() const {
    std::error_code ec;
    const bool removed = fs::remove(path_, ec);
    if (ec) throw ToolError("cannot remove \"" + path_.string() + "\": " + ec.message());
    return removed;
}

}  // namespace pellucid
