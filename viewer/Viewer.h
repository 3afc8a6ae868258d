// `pellucid view`: a web page on the loopback address that shows a board's live pictures and
// edits its parameters. Changes last in the board's working configuration like `pellucid set`.
#pragma once

#include <atomic>
#include <memory>

#include "Board.h"
#include "State.h"

namespace pellucid::viewer {

struct ViewerOptions {
    int port = 8600;  // 0: any free port
    long buffers = 8;
    int jpegQuality = 85;
    size_t maxBody = 64 * 1024;  // larger requests are refused with 413
};

class Viewer {
  public:
    // Listens on 127.0.0.1 only, and never elsewhere, for what is served can change the board.
    // Throws ToolError when the port cannot be had (in use, not allowed). `working` (may be
    // null) receives every change.
    Viewer(Board& board, const WorkingConfiguration* working, const ViewerOptions& options);
    ~Viewer();
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    int port() const;
    // Serves until stop() or until `stop` (may be null) becomes non-zero.
    void run(const std::atomic<int>* stop);
    void stop();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace pellucid::viewer
