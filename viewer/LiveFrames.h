// The board's pictures as JPEG for the viewer: one thread acquires continuously, takes the newest
// picture, encodes it and hands it to every waiting request.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Board.h"

namespace pellucid::viewer {

using Clock = std::chrono::steady_clock;

struct EncodedFrame {
    uint64_t sequence = 0;  // 0: none yet; counts every frame encoded since the viewer began
    long picture = 0;       // the board's picture number, from 1 at each start
    uint32_t width = 0, height = 0;
    std::shared_ptr<const std::vector<unsigned char>> jpeg;
};

struct FrameStats {
    bool running = false;
    double boardFps = 0;  // pictures the board completes a second
    double shownFps = 0;  // pictures encoded and offered a second
    long pictures = 0;    // last picture number of this start
    long skipped = 0;     // pictures passed over because a newer one was there: not shown, not lost
    long lost = -1;       // frames the board found no buffer for; -1 where the SDK does not say
    uint64_t sequence = 0;
    uint32_t width = 0, height = 0;
    std::string error;  // why no pictures come, empty while they do
};

class LiveFrames {
  public:
    // `buffers`: DMA buffers of the ring; a picture is dropped when the ring comes round to it
    // while it is encoded.
    LiveFrames(Board& board, long buffers = 8, int jpegQuality = 85);
    ~LiveFrames();
    LiveFrames(const LiveFrames&) = delete;
    LiveFrames& operator=(const LiveFrames&) = delete;

    void start();
    void stop();

    // The newest frame once one newer than `after` is there, or after `wait` whatever is newest.
    EncodedFrame next(uint64_t after, std::chrono::milliseconds wait) const;
    FrameStats stats() const;

    // Parameters changed: the picture format is read again before the next picture, and the
    // acquisition starts over when it differs.
    void settingsChanged() { formatDirty_ = true; }

    // While one lives, no acquisition runs and no buffers are held, so the board can be reopened
    // or a configuration loaded.
    class Pause {
      public:
        explicit Pause(LiveFrames& frames);
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

      private:
        LiveFrames& frames_;
    };

  private:
    struct Acquiring;
    void run();
    bool wanted() const { return running_ && paused_ == 0 && !quit_; }
    void setError(const std::string& error);
    // False, and nothing shown, when the settings changed while the frame was made: it may show the
    // ones before, and a change is answered before this thread sees it.
    bool publish(EncodedFrame frame, long lost, long skipped);
    bool idleWait(std::chrono::milliseconds most);

    Board& board_;
    long buffers_;
    int quality_;

    mutable std::mutex m_;
    mutable std::condition_variable changed_;
    std::atomic<bool> running_{true};
    std::atomic<int> paused_{0};
    std::atomic<bool> quit_{false};
    std::atomic<bool> formatDirty_{false};
    bool idle_ = false;  // the thread holds no acquisition and waits
    EncodedFrame latest_;
    FrameStats stats_;
    std::deque<std::pair<Clock::time_point, long>> recent_;  // (time, picture) of the last frames shown
    std::thread thread_;
};

}  // namespace pellucid::viewer
