// DMA channel 0 of a board: the buffer set, picture numbers, and the background thread that runs
// the camera simulator, the trigger and the image path while an acquisition runs.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "c_api.h"

namespace vboard {

class Board;
class SceneRenderer;
struct Bench;
struct CameraSettings;
struct LineEdge;

struct AcquisitionCounters {
    long delivered = 0;       // pictures completed in the buffers
    long lost = 0;            // frames the image selector passed that found no buffer
    long startOfFrame = 0;    // frames the camera began
    long endOfFrame = 0;      // frames the camera finished
    long missedTriggers = 0;  // pulses on its line the camera could not take
};

// Where a picture came from: the camera's frame number (from 0 at the start) and when its exposure
// began, in simulated ns since the board's power-on.
struct PictureInfo {
    uint64_t cameraFrame = 0;
    int64_t exposureStartNs = 0;
};

class VBOARD_EXPORT Acquisition {
  public:
    explicit Acquisition(Board& board);
    ~Acquisition();
    Acquisition(const Acquisition&) = delete;
    Acquisition& operator=(const Acquisition&) = delete;

    // owner: whatever started it (stopped with it); memory: the buffer set, or null (pictures
    // then count without images).
    int start(const void* owner, long pictures, const void* memory, long bufferCount, unsigned char* data,
              size_t bufferSize);
    // With finishFrame the frame the camera is reading out completes (delivered or lost) first;
    // otherwise it is abandoned at once.
    int stop(bool finishFrame = false);
    void stopOwnedBy(const void* owner);
    bool running() const;
    bool uses(const void* memory) const;
    long lastPicture() const;
    long wanted() const;
    long bufferCount() const;
    AcquisitionCounters counters() const;
    int fillLevel() const;  // percent of the buffers holding pictures not yet asked for
    // The last picture number once it reaches `number`, or FG_TIMEOUT_ERR after timeoutSeconds.
    // Asking for a picture frees the buffers of the older ones.
    long waitForPicture(long number, int timeoutSeconds);
    // Whether picture `number` of `memory` was overwritten already; asks for it otherwise.
    bool overwritten(const void* memory, long number);
    // The buffer set is going away: it holds no pictures any more.
    void forget(const void* memory);
    // Completes `frames` pictures without images (test stand-in for a frame source).
    void deliver(unsigned frames);
    void reset();
    // False for a picture not (or no longer) in the buffers.
    bool pictureInfo(long number, PictureInfo* info) const;

  private:
    struct Source;
    struct Camera;
    void run();
    Source sourceOf(const CameraSettings& c, const Bench& bench) const;
    void begin(Camera& cam, int64_t at);
    bool advance(Camera& cam, int64_t until);
    void edge(Camera& cam, const LineEdge& e);
    int64_t nextEvent(const Camera& cam) const;
    void complete(Camera& cam);
    void join();
    void publish();  // fill level and overflow to the design's read-outs
    int fillLevelLocked() const;
    void endLocked();

    Board& board_;
    mutable std::mutex m_;
    std::condition_variable cv_;      // picture numbers, for waiters
    std::condition_variable wakeCv_;  // the thread's sleep, ended by a stop
    std::mutex joinM_;                // held while the thread is started or joined
    std::thread thread_;
    bool running_ = false;
    bool stopping_ = false;
    bool finishFrame_ = false;  // a stop waits for the frame in progress, then ends the run
    const void* owner_ = nullptr;
    const void* memory_ = nullptr;  // of the running or the last acquisition
    unsigned char* data_ = nullptr;
    size_t bufferSize_ = 0;
    long wanted_ = 0;
    long bufferCount_ = 0;
    long last_ = 0;
    long asked_ = 0;
    bool overflow_ = false;
    AcquisitionCounters counters_;
    std::vector<PictureInfo> frames_;       // per buffer
    int64_t startNs_ = 0;                   // simulated time of the start
    std::shared_ptr<SceneRenderer> scene_;  // what the camera on the port shows; the thread's own
};

}  // namespace vboard
