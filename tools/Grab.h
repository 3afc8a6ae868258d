// Acquires pictures from a board into PNG files.
#pragma once

#include <functional>
#include <string>

#include "Board.h"

namespace pellucid {

struct GrabOptions {
    long frames = 1;
    std::string outDir;
    int timeoutSeconds = 5;
    long buffers = 0;  // 0: as many as fit the picture count, 4..16
};

struct GrabResult {
    long written = 0;
    long skipped = 0;  // overwritten before they were written: a later picture number came back
    long lost = 0;     // frames the SDK found no buffer for, where it counts them
    double seconds = 0;
    long dropped() const { return skipped + lost; }
    double framesPerSecond() const { return seconds > 0 ? static_cast<double>(written) / seconds : 0; }
};

// Called after each picture with the number handled so far (written or skipped) and the total.
using GrabProgress = std::function<void(long done, long total)>;

// Grabs `frames` pictures on DMA 0 with the board's current settings and writes each to
// `outDir/frame_NNNN.png`. Throws ToolError on every failure, with the acquisition stopped
// and the buffers freed.
GrabResult grab(Board& board, const GrabOptions& options, const GrabProgress& progress);

}  // namespace pellucid
