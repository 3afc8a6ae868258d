#include "LiveFrames.h"

#include <turbojpeg.h>

#include <algorithm>

#include "BoardValues.h"
#include "Grab.h"
#include "SdkQueries.h"
#include "fglib5.h"

namespace pellucid::viewer {
namespace {

constexpr uint32_t kRightAligned = 0;  // FG_BITALIGNMENT: the 12 bits in the low bits of a 16-bit sample
constexpr auto kPoll = std::chrono::milliseconds(1);
constexpr auto kNoPictureAfter = std::chrono::seconds(5);
constexpr auto kRateWindow = std::chrono::seconds(2);

// The frame in 8 bits a channel, as JPEG knows it: 16-bit samples keep their top 8 significant bits.
const unsigned char* eightBit(const unsigned char* pixels, const FrameFormat& format, bool rightAligned,
                              std::vector<unsigned char>& scratch) {
    if (format.bytesPerChannel == 1) return pixels;
    const size_t samples = size_t{format.width} * format.height * 3;
    scratch.resize(samples);
    const int shift = rightAligned ? 4 : 8;
    for (size_t i = 0; i < samples; ++i) {
        const unsigned v = pixels[2 * i] | (unsigned{pixels[2 * i + 1]} << 8);
        scratch[i] = static_cast<unsigned char>(std::min(255u, v >> shift));
    }
    return scratch.data();
}

class JpegEncoder {
  public:
    JpegEncoder() : tj_(tjInitCompress()) {
        if (tj_ == nullptr) throw ToolError(std::string("cannot start the JPEG encoder: ") + tjGetErrorStr());
    }
    ~JpegEncoder() { tjDestroy(tj_); }
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    std::vector<unsigned char> encode(const unsigned char* rgb, uint32_t width, uint32_t height,
                                      int quality) {
        unsigned char* out = nullptr;
        unsigned long size = 0;
        if (tjCompress2(tj_, rgb, static_cast<int>(width), 0, static_cast<int>(height), TJPF_RGB, &out, &size,
                        TJSAMP_420, quality, TJFLAG_FASTDCT) != 0) {
            tjFree(out);
            throw ToolError(std::string("cannot encode a picture as JPEG: ") + tjGetErrorStr2(tj_));
        }
        std::vector<unsigned char> jpeg(out, out + size);
        tjFree(out);
        return jpeg;
    }

  private:
    tjhandle tj_;
};

}  // namespace

// One acquisition on the board's current picture format.
struct LiveFrames::Acquiring {
    Acquiring(Board& board, long buffers)
        : format(frameFormat(board)),
          rightAligned(format.bytesPerChannel == 2 &&
                       readUint(board, FG_BITALIGNMENT, "FG_BITALIGNMENT") == kRightAligned),
          acquisition(board.handle(), format.bytes(), buffers) {
        acquisition.start(GRAB_INFINITE);
    }
    FrameFormat format;
    bool rightAligned;
    Acquisition acquisition;
    long next = 1;
    long skipped = 0;
    Clock::time_point lastPicture = Clock::now();
};

LiveFrames::LiveFrames(Board& board, long buffers, int jpegQuality)
    : board_(board), buffers_(buffers), quality_(jpegQuality), thread_([this] { run(); }) {}

LiveFrames::~LiveFrames() {
    {
        std::lock_guard lock(m_);
        quit_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void LiveFrames::start() {
    {
        std::lock_guard lock(m_);
        running_ = true;
    }
    changed_.notify_all();
}

void LiveFrames::stop() {
    std::unique_lock lock(m_);
    running_ = false;
    changed_.notify_all();
    // Answered once the acquisition has ended, so that a status right after says so.
    changed_.wait(lock, [this] { return idle_; });
}

LiveFrames::Pause::Pause(LiveFrames& frames) : frames_(frames) {
    std::unique_lock lock(frames_.m_);
    ++frames_.paused_;
    frames_.changed_.notify_all();
    frames_.changed_.wait(lock, [this] { return frames_.idle_; });
}

LiveFrames::Pause::~Pause() {
    {
        std::lock_guard lock(frames_.m_);
        --frames_.paused_;
        frames_.formatDirty_ = true;
    }
    frames_.changed_.notify_all();
}

EncodedFrame LiveFrames::next(uint64_t after, std::chrono::milliseconds wait) const {
    std::unique_lock lock(m_);
    changed_.wait_for(lock, wait, [&] { return latest_.sequence > after || quit_; });
    return latest_;
}

FrameStats LiveFrames::stats() const {
    std::lock_guard lock(m_);
    FrameStats s = stats_;
    s.running = running_;
    s.sequence = latest_.sequence;
    // Rates over the last two seconds; none once pictures stopped coming.
    if (recent_.size() >= 2 && Clock::now() - recent_.back().first < kRateWindow) {
        const double seconds =
            std::chrono::duration<double>(recent_.back().first - recent_.front().first).count();
        if (seconds > 0) {
            s.boardFps = static_cast<double>(recent_.back().second - recent_.front().second) / seconds;
            s.shownFps = static_cast<double>(recent_.size() - 1) / seconds;
        }
    }
    return s;
}

void LiveFrames::setError(const std::string& error) {
    std::lock_guard lock(m_);
    stats_.error = error;
}

bool LiveFrames::publish(EncodedFrame frame, long lost, long skipped) {
    {
        std::lock_guard lock(m_);
        if (formatDirty_) return false;
        const auto now = Clock::now();
        if (!recent_.empty() && frame.picture < recent_.back().second) recent_.clear();  // a new start
        recent_.emplace_back(now, frame.picture);
        while (recent_.size() > 2 && now - recent_.front().first > kRateWindow) recent_.pop_front();
        frame.sequence = latest_.sequence + 1;
        stats_.pictures = frame.picture;
        stats_.width = frame.width;
        stats_.height = frame.height;
        stats_.lost = lost;
        stats_.skipped = skipped;
        stats_.error.clear();
        latest_ = std::move(frame);
    }
    changed_.notify_all();
    return true;
}

// Waits while the thread is not wanted, or `most` at the longest; false when it is to end.
bool LiveFrames::idleWait(std::chrono::milliseconds most) {
    std::unique_lock lock(m_);
    idle_ = true;
    changed_.notify_all();
    if (most.count() > 0)
        changed_.wait_for(lock, most, [this] { return quit_.load(); });
    else
        changed_.wait(lock, [this] { return wanted() || quit_; });
    idle_ = false;
    return !quit_;
}

void LiveFrames::run() {
    JpegEncoder encoder;
    std::vector<unsigned char> scratch;
    std::unique_ptr<Acquiring> a;
    for (;;) {
        if (!wanted() || (a && formatDirty_)) {
            // A new format needs new buffers; a format unchanged keeps the acquisition.
            bool keep = false;
            if (a && wanted()) {
                formatDirty_ = false;
                try {
                    const FrameFormat f = frameFormat(board_);
                    keep = f.width == a->format.width && f.height == a->format.height &&
                           f.bytesPerChannel == a->format.bytesPerChannel;
                } catch (const ToolError&) {
                    // the error comes again, with its text, from the next start
                }
            }
            if (!keep) {
                a.reset();
                if (!wanted() && !idleWait(std::chrono::milliseconds(0))) return;
            }
        }
        if (quit_) return;
        if (!a) {
            try {
                formatDirty_ = false;
                a = std::make_unique<Acquiring>(board_, buffers_);
            } catch (const ToolError& e) {
                setError(e.what());
                if (!idleWait(std::chrono::milliseconds(500))) return;
                continue;
            }
        }
        // The board's handle is reopened only while the thread is idle, so it stays valid here.
        Fg_Struct* const h = board_.handle();
        dma_mem* const memory = a->acquisition.memory();
        const long last = Fg_getLastPicNumberEx(h, 0, memory);
        if (last < a->next) {
            if (Clock::now() - a->lastPicture > kNoPictureAfter)
                setError(
                    "no picture for 5 s: is the camera simulator on (FG_GEN_ENABLE) or a camera connected, "
                    "and the trigger active (FG_TRIGGERSTATE)?");
            std::this_thread::sleep_for(kPoll);
            continue;
        }
        a->lastPicture = Clock::now();
        // Asking for the newest picture gives the buffers of the older ones back to the board.
        const long got = Fg_getLastPicNumberBlockingEx(h, last, 0, 1, memory);
        const auto* pixels = static_cast<const unsigned char*>(Fg_getImagePtrEx(h, last, 0, memory));
        if (got < 0 || pixels == nullptr) {
            a->skipped += last - a->next + 1;
            a->next = last + 1;
            continue;
        }
        EncodedFrame frame;
        frame.picture = last;
        frame.width = a->format.width;
        frame.height = a->format.height;
        try {
            frame.jpeg = std::make_shared<const std::vector<unsigned char>>(encoder.encode(
                eightBit(pixels, a->format, a->rightAligned, scratch), frame.width, frame.height, quality_));
        } catch (const ToolError& e) {
            setError(e.what());
            a->next = last + 1;
            continue;
        }
        a->skipped += last - a->next;
        a->next = last + 1;
        // The ring came round to the buffer while it was encoded: the picture may mix two.
        if (Fg_getLastPicNumberEx(h, 0, memory) >= last + buffers_ - 1) {
            ++a->skipped;
            continue;
        }
        long lost = -1;
        if constexpr (sdk::kStatusLostPictures >= 0)
            lost = Fg_getStatusEx(h, sdk::kStatusLostPictures, 0, 0, memory);
        if (!publish(std::move(frame), lost, a->skipped)) ++a->skipped;
    }
}

}  // namespace pellucid::viewer
