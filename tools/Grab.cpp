#include "Grab.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>

#include "BoardValues.h"
#include "GrabWarnings.h"
#include "ImageFile.h"
#include "SdkQueries.h"
#include "SoftwareTrigger.h"
#include "WriterPool.h"
#include "fglib5.h"

namespace pellucid {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFormatCol24 = 2;
constexpr uint32_t kFormatCol48 = 6;
constexpr uint32_t kRightAligned = 0;  // FG_BITALIGNMENT: the 12 bits in the low bits of a 16-bit sample
constexpr int kProcessedBits = 12;
constexpr uint32_t kApply = 1;
// How often a wait looks for the picture and for a stop request.
constexpr auto kSlice = std::chrono::milliseconds(1);
constexpr auto kMissedCheckEvery = std::chrono::milliseconds(250);
constexpr const char* kCsvName = "frames.csv";
constexpr const char* kTempPrefix = ".frame_";
constexpr const char* kTempSuffix = ".tmp";

std::string frameName(long picture, ImageFormat format) {
    char name[40];
    std::snprintf(name, sizeof name, "frame_%06ld.%s", picture, extension(format));
    return name;
}

bool digitsBetween(const std::string& s, const std::string& prefix, const std::string& suffix) {
    if (s.size() <= prefix.size() + suffix.size() || !s.starts_with(prefix) || !s.ends_with(suffix))
        return false;
    return std::all_of(s.begin() + static_cast<long>(prefix.size()),
                       s.end() - static_cast<long>(suffix.size()),
                       [](char c) { return c >= '0' && c <= '9'; });
}

// The files a grab writes, and the temporary ones an interrupted one may have left.
bool isGrabFile(const std::string& name) {
    if (name == kCsvName) return true;
    for (ImageFormat f : kImageFormats) {
        const std::string ext = std::string(".") + extension(f);
        if (digitsBetween(name, "frame_", ext) || digitsBetween(name, kTempPrefix, ext + kTempSuffix))
            return true;
    }
    return false;
}

// An earlier grab's files would mix with this one's and hide its gaps: the folder must be empty,
// or those files go with `overwrite`, and nothing else does.
void prepareFolder(const std::string& dir, bool overwrite) {
    std::error_code ec;
    const fs::file_status status = fs::status(dir, ec);
    if (!fs::exists(status)) {
        fs::create_directories(dir, ec);
        if (ec) throw ToolError("cannot create the folder \"" + dir + "\": " + ec.message());
        return;
    }
    if (!fs::is_directory(status)) throw UsageError("--out \"" + dir + "\" is not a folder");
    std::vector<fs::path> earlier;
    std::string other;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (it->is_regular_file() && isGrabFile(name))
            earlier.push_back(it->path());
        else if (other.empty())
            other = name;
    }
    if (ec) throw ToolError("cannot read the folder \"" + dir + "\": " + ec.message());
    if (!overwrite && (!earlier.empty() || !other.empty()))
        throw UsageError(
            "--out \"" + dir + "\" is not empty (it holds \"" +
            (earlier.empty() ? other : earlier.front().filename().string()) +
            "\"): choose a new or empty folder, or --overwrite to replace its frame_* files and " + kCsvName);
    for (const fs::path& p : earlier)
        if (!fs::remove(p, ec) && ec)
            throw ToolError("cannot remove \"" + p.string() + "\": " + ec.message());
}

// A picture is written under a temporary name in its folder and renamed when complete, so that
// an interruption or failure never leaves a partial file under a frame's name.
class TempFile {
  public:
    TempFile(const fs::path& dir, const std::string& name)
        : path_(dir / (kTempPrefix + name.substr(6) + kTempSuffix)), target_(dir / name) {}
    ~TempFile() {
        std::error_code ec;
        if (!committed_) fs::remove(path_, ec);
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    std::string path() const { return path_.string(); }
    void commit() {
        std::error_code ec;
        fs::rename(path_, target_, ec);
        if (ec) throw ToolError("cannot rename \"" + path_.string() + "\": " + ec.message());
        committed_ = true;
    }

  private:
    fs::path path_, target_;
    bool committed_ = false;
};

// One line for every file written, flushed at once so that it agrees with the folder whenever
// the grab ends.
class FrameList {
  public:
    explicit FrameList(const fs::path& path) : path_(path.string()), file_(std::fopen(path_.c_str(), "w")) {
        if (file_ == nullptr) throw ToolError("cannot write \"" + path_ + "\"");
        write("picture,camera_frame,exposure_start_ns,dropped_before\n");
    }
    ~FrameList() { std::fclose(file_); }
    FrameList(const FrameList&) = delete;
    FrameList& operator=(const FrameList&) = delete;

    void add(long picture, const std::string& cameraFrame, const std::string& exposureNs, long dropped) {
        write(std::to_string(picture) + "," + cameraFrame + "," + exposureNs + "," + std::to_string(dropped) +
              "\n");
    }

  private:
    void write(const std::string& line) {
        if (std::fputs(line.c_str(), file_) < 0 || std::fflush(file_) != 0)
            throw ToolError("cannot write \"" + path_ + "\"");
    }
    std::string path_;
    std::FILE* file_;
};

// A status of one picture while it is in the buffers; empty where the SDK has none.
std::string pictureStatus(Board& board, dma_mem* memory, int query, long picture) {
    if (query < 0) return {};
    const long v = Fg_getStatusEx(board.handle(), query, picture, 0, memory);
    return v >= 0 ? std::to_string(v) : std::string();
}

class Warnings {
  public:
    enum Kind { kLookupTable, kTriggerRate, kBuffers, kKinds };
    explicit Warnings(const GrabWarning& sink) : sink_(sink) {}
    void once(Kind kind, const std::string& text) {
        if (text.empty() || given_[kind]) return;
        given_[kind] = true;
        if (sink_)
            sink_(text);
        else
            std::fprintf(stderr, "pellucid: warning: %s\n", text.c_str());
    }
    bool given(Kind kind) const { return given_[kind]; }

  private:
    const GrabWarning& sink_;
    bool given_[kKinds] = {};
};

std::string fixed(double v, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
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
    if (!options.continuous && options.frames < 1)
        throw UsageError("the number of frames must be at least 1");
    if (options.timeoutSeconds < 0) throw UsageError("the timeout must not be negative");
    if (options.buffers < 0 || options.buffers == 1)
        throw UsageError(
            "--buffers must be at least 2: the board may write the next picture into a single "
            "buffer while it is being saved");
    const FrameFormat format = frameFormat(board);
    SampleBits bits;
    if (format.bytesPerChannel == 2)
        bits = {kProcessedBits, readUint(board, FG_BITALIGNMENT, "FG_BITALIGNMENT") == kRightAligned};

    std::optional<SoftwareTrigger> trigger;
    if (options.softwareTrigger != 0) trigger.emplace(board, options.softwareTrigger);
    Warnings warnings(options.warn);
    warnings.once(Warnings::kLookupTable, zeroLookupTable(board));
    warnings.once(Warnings::kTriggerRate, unreachableTriggerRate(board, options.softwareTrigger));
    prepareFolder(options.outDir, options.overwrite);
    const fs::path dir(options.outDir);
    FrameList list(dir / kCsvName);
    // Writers encode while the acquisition goes on; with one spare buffer each, a writer never
    // waits for a copy.
    const unsigned writers =
        options.writers > 0 ? options.writers : std::clamp(std::thread::hardware_concurrency(), 2u, 4u);
    // Counted from here on; not every SDK offers the flag.
    const uint32_t apply = kApply;
    Fg_setParameterWithType(board.handle(), FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR, &apply, 0,
                            FG_PARAM_TYPE_UINT32_T);

    // Enough buffers that writing a file does not fall behind the ring at once, without
    // holding more memory than the pictures need.
    const long buffers = options.buffers > 0  ? options.buffers
                         : options.continuous ? 16L
                                              : std::clamp(options.frames, 4L, 16L);
    const long total = options.continuous ? 0 : options.frames;
    Acquisition acquisition(board.handle(), format.bytes(), buffers);
    dma_mem* const memory = acquisition.memory();
    GrabResult result;
    long written = 0;  // by the writers, read once they are drained
    WriterPool pool(writers, 2 * size_t{writers}, format.bytes());
    const auto started = Clock::now();
    acquisition.start(options.continuous ? GRAB_INFINITE : options.frames);
    if (trigger) trigger->start();

    const auto stopRequest = [&] { return options.stop != nullptr ? options.stop->load() : 0; };
    const auto checkMissed = [&] {
        long missed = -1;
        if constexpr (sdk::kStatusMissedTriggers >= 0)
            missed = Fg_getStatusEx(board.handle(), sdk::kStatusMissedTriggers, 0, 0, memory);
        warnings.once(Warnings::kTriggerRate, missedTriggers(board, missed, options.softwareTrigger));
    };
    // The newest complete picture once `picture` is there, without giving any buffer back; 0 on a
    // stop request, FG_TIMEOUT_ERR when the time is up.
    const auto waitFor = [&](long picture) -> long {
        const auto deadline = Clock::now() + std::chrono::seconds(options.timeoutSeconds);
        for (;;) {
            const long last = Fg_getLastPicNumberEx(board.handle(), 0, memory);
            if (last < 0 || last >= picture) return last;
            if (stopRequest() != 0) return 0;
            if (trigger && trigger->error() != 0)
                throw ToolError("cannot send a software trigger: " + errorText(trigger->error()),
                                trigger->error(), "FG_SENDSOFTWARETRIGGER");
            if (Clock::now() >= deadline) return FG_TIMEOUT_ERR;
            std::this_thread::sleep_for(kSlice);
        }
    };

    double writeSeconds = 0;  // a running mean of the time one picture keeps the loop from the ring
    long next = 1, droppedBefore = 0, lostBefore = 0;
    auto lastMissedCheck = started;
    while (options.continuous || next <= options.frames) {
        if ((result.signal = stopRequest()) != 0) break;
        long last = waitFor(next);
        if (last == 0) {
            result.signal = stopRequest();
            break;
        }
        if (last < 0) {
            std::string message = "no picture " + std::to_string(next) + " within " +
                                  std::to_string(options.timeoutSeconds) +
                                  " s: " + errorText(static_cast<int>(last));
            if (last == FG_TIMEOUT_ERR)
                message +=
                    "; is the camera simulator on (FG_GEN_ENABLE) and the trigger active (FG_TRIGGERSTATE)?";
            throw ToolError(message);
        }
        // Once picture k is asked for, picture k + buffers reuses its buffer and may begin as soon
        // as k + buffers - 1 is complete. Pictures already past that are gone; of the others, the
        // oldest that stays intact while the expected pictures arrive during its writing is taken.
        const double elapsed = std::chrono::duration<double>(Clock::now() - started).count();
        const double rate = elapsed > 0 ? static_cast<double>(last) / elapsed : 0;
        const long arriving = std::lround(writeSeconds * rate);
        long safe = std::min(last, last + arriving - buffers + 2);
        if (!options.continuous) safe = std::min(safe, options.frames - buffers + 1);  // the rest stay
        const long picture = std::max(next, safe);
        const auto ringTooSmall = [&] {
            const long needed = std::max(buffers + 1, std::lround(writeSeconds * rate) + 2);
            return "--buffers " + std::to_string(buffers) + " is too few for " +
                   std::to_string(format.width) + " x " + std::to_string(format.height) + " pictures at " +
                   fixed(rate, 1) + " pictures/s: taking one out (a free writer included) takes " +
                   fixed(writeSeconds * 1000, 1) + " ms, but its buffer may be reused after " +
                   std::to_string(buffers - 1) + " more pictures, " +
                   fixed(rate > 0 ? (buffers - 1) / rate * 1000 : 0, 1) +
                   " ms; pictures are dropped. Give --buffers " + std::to_string(needed) + " or more";
        };
        // Pictures already overwritten say the same as a predicted overrun; the warning waits for
        // a write so that it can state how long one takes.
        // Only a picture whose buffer the rest of the grab reuses can be overrun while it is taken.
        const bool reused = options.continuous || picture + buffers <= options.frames;
        bool overrun = picture > next || (reused && arriving >= buffers - 1 && rate > 0);
        droppedBefore += picture - next;
        result.skipped += picture - next;
        next = picture;

        last = Fg_getLastPicNumberBlockingEx(board.handle(), picture, 0, 0, memory);
        const auto* pixels =
            static_cast<const unsigned char*>(Fg_getImagePtrEx(board.handle(), picture, 0, memory));
        if (last < 0 || pixels == nullptr) {
            // Some SDKs refuse an overwritten picture themselves, after a later one came back.
            if (last > picture) {
                ++result.skipped;
                ++droppedBefore;
                ++next;
                if (progress) progress(next - 1, total);
                continue;
            }
            throw ToolError(
                "no image for picture " + std::to_string(picture) + ": " +
                errorText(last < 0 ? static_cast<int>(last) : Fg_getLastErrorNumber(board.handle())));
        }
        const std::string cameraFrame = pictureStatus(board, memory, sdk::kStatusCameraFrame, picture);
        const std::string exposureNs = pictureStatus(board, memory, sdk::kStatusExposureStartNs, picture);

        const auto writeStart = Clock::now();
        // Copied out of the ring, so that a writer's time does not hold a buffer.
        unsigned char* copy = pool.buffer();
        std::memcpy(copy, pixels, format.bytes());
        const double took = std::chrono::duration<double>(Clock::now() - writeStart).count();
        writeSeconds = writeSeconds == 0 ? took : 0.75 * writeSeconds + 0.25 * took;

        const long now = Fg_getLastPicNumberEx(board.handle(), 0, memory);
        const bool mixed = reused && now >= picture + buffers - 1;
        if (overrun || mixed) warnings.once(Warnings::kBuffers, ringTooSmall());
        if (mixed) {
            // The picture that reuses the buffer may have begun: the copy could mix the two.
            pool.release(copy);
            ++result.skipped;
            ++droppedBefore;
        } else {
            if constexpr (sdk::kStatusLostPictures >= 0) {
                const long lost = Fg_getStatusEx(board.handle(), sdk::kStatusLostPictures, 0, 0, memory);
                if (lost > lostBefore) {
                    droppedBefore += lost - lostBefore;
                    lostBefore = lost;
                }
            }
            auto file = std::make_shared<TempFile>(dir, frameName(picture, options.format));
            pool.submit(
                copy,
                [file, format, bits, type = options.format](const unsigned char* picturePixels) {
                    const std::string why = writeImage(type, file->path(), format.width, format.height,
                                                       8 * format.bytesPerChannel, picturePixels, bits);
                    return why.empty() ? why : "cannot write \"" + file->path() + "\": " + why;
                },
                [file, &list, &written, picture, cameraFrame, exposureNs, droppedBefore] {
                    file->commit();
                    list.add(picture, cameraFrame, exposureNs, droppedBefore);
                    ++written;
                });
            droppedBefore = 0;
        }
        ++next;
        if (progress) progress(options.continuous ? next - 1 : std::min(next - 1, options.frames), total);
        if (Clock::now() - lastMissedCheck >= kMissedCheckEvery) {
            checkMissed();
            lastMissedCheck = Clock::now();
        }
    }
    // The pictures in hand are completed, on a stop request too.
    pool.drain();
    result.written = written;
    result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
    if (trigger) trigger->stop();

    if constexpr (sdk::kStatusLostPictures >= 0) {
        const long lost = Fg_getStatusEx(board.handle(), sdk::kStatusLostPictures, 0, 0, memory);
        if (lost > 0) result.lost = lost;
    }
    checkMissed();
    acquisition.stop();
    return result;
}

}  // namespace pellucid
