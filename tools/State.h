// What the tool keeps between commands for each board: the working configuration, and a lock so
// that one process at a time drives a board.
#pragma once

#include <filesystem>
#include <string>

namespace pellucid {

class Board;

// $XDG_STATE_HOME/pellucid, else ~/.local/state/pellucid. Throws ToolError when neither can be
// told (no HOME).
std::filesystem::path stateFolder();

// Holds board `index` for this process until destroyed. Real boards are exclusive, and two
// processes writing one working configuration would corrupt it, so the second one is refused:
// "board N is in use by process P".
class BoardLock {
  public:
    explicit BoardLock(unsigned index);
    ~BoardLock();
    BoardLock(const BoardLock&) = delete;
    BoardLock& operator=(const BoardLock&) = delete;

  private:
    int fd_ = -1;
};

// The board's working configuration: the settings `set` and `load` leave for later commands.
class WorkingConfiguration {
  public:
    explicit WorkingConfiguration(unsigned index);

    const std::filesystem::path& path() const { return path_; }
    bool exists() const;

    // Loads the saved settings into `board`. A file that does not load is reported on stderr
    // with its path and left out: the board is reopened, so nothing of it stays half-applied.
    void applyTo(Board& board) const;
    // Replaces the saved settings with the board's current ones, atomically.
    void save(Board& board) const;
    // Back to the applet's defaults; false when there was nothing to remove.
    bool remove() const;

  private:
    std::filesystem::path path_;
};

}  // namespace pellucid
