#include "Grab.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "Png.h"
#include "SdkQueries.h"
#include "fglib5.h"

namespace pellucid {
namespace {

constexpr uint32_t kFormatCol24 = 2;
constexpr uint32_t kFormatCol48 = 6;

uint32_t readUint(Board& board, int id, const char* name) {
    uint32_t v = 0;
    const int rc = Fg_getParameterWithType(board.handle(), id, &v, 0, FG_PARAM_TYPE_UINT32_T);
    if (rc != 0) throw ToolError(std::string("cannot read ") + name + ": " + errorText(rc), rc, name);
    return v;
}

}  // namespace

FrameFormat frameFormat(Board& board) {
    FrameFormat f;
    f.width = readUint(board, FG_WIDTH, "FG_WIDTH");
    f.height = readUint(board, FG_HEIGHT, "FG_HEIGHT");
    const uint32_t format = readUint(board, FG_FORMAT, "FG_FORMAT");
    if (format != kFormatCol24 && format != kFormatCol48)
        throw ToolError("FG_FORMAT " + std::to_string(format) + " is neither FG_COL24 (2) nor FG_COL48 (6)",
                        0, "FG_FORMAT");
    f.bytesPerChannel = format == kFormatCol48 ? 2 : 1;
    if (f.bytes() == 0) throw ToolError("the picture is empty (FG_WIDTH or FG_HEIGHT is 0)");
    return f;
}

Acquisition::Acquisition(Fg_Struct* fg, size_t bufferSize, long count) : fg_(fg) {
    memory_ = Fg_AllocMemEx(fg, bufferSize, count);
    if (memory_ == nullptr) {
        const int rc = Fg_getLastErrorNumber(fg);
        throw ToolError("cannot allocate " + std::to_string(count) + " buffers of " +
                            std::to_string(bufferSize) + " bytes: " + errorText(rc),
                        rc);
    }
}

Acquisition::~Acquisition() {
    if (running_) Fg_stopAcquireEx(fg_, 0, memory_, STOP_ASYNC);
    Fg_FreeMemEx(fg_, memory_);
}

void Acquisition::start(long pictures) {
    const int rc = Fg_AcquireEx(fg_, 0, pictures, ACQ_STANDARD, memory_);
    if (rc != 0) throw ToolError("cannot start the acquisition: " + errorText(rc), rc);
    running_ = true;
}

void Acquisition::stop() {
    running_ = false;
    const int rc = Fg_stopAcquireEx(fg_, 0, memory_, STOP_ASYNC);
    // A finite acquisition ends by itself after its last picture.
    if (rc != 0 && rc != FG_ACQUISITION_NOT_RUNNING)
        throw ToolError("cannot stop the acquisition: " + errorText(rc), rc);
}

GrabResult grab(Board& board, const GrabOptions& options, const GrabProgress& progress) {
    if (options.frames < 1) throw ToolError("the number of frames must be at least 1");
    if (options.timeoutSeconds < 0) throw ToolError("the timeout must not be negative");
    const FrameFormat format = frameFormat(board);
    const int bitDepth = 8 * format.bytesPerChannel;

    std::error_code ec;
    std::filesystem::create_directories(options.outDir, ec);
    if (ec) throw ToolError("cannot create the folder \"" + options.outDir + "\": " + ec.message());

    // Enough buffers that writing a file does not fall behind the ring at once, without
    // holding more memory than the pictures need.
    const long buffers = options.buffers > 0 ? options.buffers : std::clamp(options.frames, 4L, 16L);
    Acquisition acquisition(board.handle(), format.bytes(), buffers);
    GrabResult result;
    const auto started = std::chrono::steady_clock::now();
    acquisition.start(options.frames);

    long next = 1;
    while (next <= options.frames) {
        const long last = Fg_getLastPicNumberBlockingEx(board.handle(), next, 0, options.timeoutSeconds,
                                                        acquisition.memory());
        if (last < 0) {
            std::string message = "no picture " + std::to_string(next) + " within " +
                                  std::to_string(options.timeoutSeconds) +
                                  " s: " + errorText(static_cast<int>(last));
            if (last == FG_TIMEOUT_ERR)
                message +=
                    "; is the camera simulator on (FG_GEN_ENABLE) and the trigger active (FG_TRIGGERSTATE)?";
            throw ToolError(message);
        }
        // Pictures a later one has overwritten in the ring are gone.
        if (next <= last - buffers) {
            result.skipped += last - buffers + 1 - next;
            next = last - buffers + 1;
        }
        const auto* pixels = static_cast<const unsigned char*>(
            Fg_getImagePtrEx(board.handle(), next, 0, acquisition.memory()));
        if (pixels == nullptr) {
            // Some SDKs refuse an overwritten picture themselves, after a later one came back.
            if (next < last) {
                ++result.skipped;
                ++next;
                if (progress) progress(next - 1, options.frames);
                continue;
            }
            throw ToolError("no image for picture " + std::to_string(next) + ": " +
                            errorText(Fg_getLastErrorNumber(board.handle())));
        }
        char name[32];
        std::snprintf(name, sizeof name, "frame_%04ld.png", result.written + 1);
        const std::string path = (std::filesystem::path(options.outDir) / name).string();
        const std::string why = writeRgbPng(path, format.width, format.height, bitDepth, pixels);
        if (!why.empty()) throw ToolError("cannot write \"" + path + "\": " + why);
        ++result.written;
        ++next;
        if (progress) progress(std::min(next - 1, options.frames), options.frames);
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();

    if constexpr (sdk::kStatusLostPictures >= 0) {
        const long lost =
            Fg_getStatusEx(board.handle(), sdk::kStatusLostPictures, 0, 0, acquisition.memory());
        if (lost > 0) result.lost = lost;
    }
    acquisition.stop();
    return result;
}

}  // namespace pellucid
