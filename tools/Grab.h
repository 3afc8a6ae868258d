// Acquires pictures from a board into image files.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "Board.h"
#include "ImageFile.h"

namespace pellucid {

// Receives each warning once per grab, without the "pellucid: warning: " prefix.
using GrabWarning = std::function<void(const std::string&)>;

struct GrabOptions {
    long frames = 1;
    std::string outDir;
    int timeoutSeconds = 5;
    long buffers = 0;            // 0: as many as fit the picture count, 4..16 (16 when continuous)
    bool continuous = false;     // until `stop`, instead of `frames`
    bool overwrite = false;      // replace an earlier grab's files in outDir
    double softwareTrigger = 0;  // pulses/s in software-trigger mode; 0: the trigger as set
    ImageFormat format = ImageFormat::png;
    unsigned writers = 0;                    // threads writing files; 0: one a core, 2..4
    const std::atomic<int>* stop = nullptr;  // non-zero (a signal number): end after the picture in hand
    GrabWarning warn;                        // default: standard error
};

struct GrabResult {
    long written = 0;
    long skipped = 0;  // overwritten in the ring before they were written
    long lost = 0;     // frames the SDK found no buffer for, where it counts them
    double seconds = 0;
    int signal = 0;  // the stop request that ended the grab, 0 if none did
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

// Called after each picture with the number handled so far (written or skipped) and the total,
// 0 for a continuous grab.
using GrabProgress = std::function<void(long done, long total)>;

// Grabs pictures on DMA 0 with the board's current settings into `outDir/frame_NNNNNN.<format>`,
// named by picture number, written on writer threads while acquiring, and lists them in picture
// order in `outDir/frames.csv`. A stop request completes the pictures already taken. Throws UsageError for an
// output folder that holds files (without `overwrite`) or a trigger rate the board cannot run at, before
// acquiring; ToolError on every other failure, with the acquisition stopped, the buffers freed
// and no partial file left.
GrabResult grab(Board& board, const GrabOptions& options, const GrabProgress& progress);

}  // namespace pellucid
