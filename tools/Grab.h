// Acquires pictures from a board into PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
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

// The pictures a board delivers with its current settings: RGB, 3 channels of 1 byte
// (FG_COL24) or 2 bytes (FG_COL48, little-endian), rows without padding.
struct FrameFormat {
    uint32_t width = 0;
    uint32_t height = 0;
    int bytesPerChannel = 1;
    size_t bytes() const { return size_t{width} * height * 3 * static_cast<size_t>(bytesPerChannel); }
};

// Reads FG_WIDTH, FG_HEIGHT and FG_FORMAT; throws ToolError for a format other than the two above
// or an empty picture.
FrameFormat frameFormat(Board& board);

// Owns a set of DMA buffers and the acquisition on them, so that every way out stops and frees.
class Acquisition {
  public:
    Acquisition(Fg_Struct* fg, size_t bufferSize, long count);
    ~Acquisition();
    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;

    dma_mem* memory() const { return memory_; }

    // Starts DMA 0 for `pictures` pictures (GRAB_INFINITE: until stopped).
    void start(long pictures);
    // Stops at once; an acquisition that ended with its picture count is no failure.
    void stop();

  private:
    Fg_Struct* fg_;
    dma_mem* memory_ = nullptr;
    bool running_ = false;
};

// Called after each picture with the number handled so far (written or skipped) and the total.
using GrabProgress = std::function<void(long done, long total)>;

// Grabs `frames` pictures on DMA 0 with the board's current settings and writes each to
// `outDir/frame_NNNN.png`. Throws ToolError on every failure, with the acquisition stopped
// and the buffers freed.
GrabResult grab(Board& board, const GrabOptions& options, const GrabProgress& progress);

}  // namespace pellucid
