// A board's simulated time and its trigger block. The acquisition thread and the SDK's reads of
// the trigger read-outs both bring the block up to the present before they look at it, so a
// read-out is never older than its read.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include "c_api.h"
#include "trigger_chain.h"

namespace vboard {

class Board;

// A level change of a camera-control line at a simulated time.
struct LineEdge {
    int64_t ns;
    int line;
    bool high;
};

class VBOARD_EXPORT Simulation {
  public:
    explicit Simulation(Board& board) : board_(board) {}

    // Simulated ns since power-on.
    int64_t nowNs();
    // From now on simulated time runs `factor` times as fast as real time.
    void setTimeScale(double factor);
    double timeScale();
    // Held, simulated time moves only by advance(); released, it runs on from where it stands.
    void hold(bool held);
    void advance(int64_t ns);
    // Power-on: time 0, a fresh trigger block driven by `inputs`, real time.
    void reset(std::vector<SignalDescription> inputs);
    // A new bench's signals drive the inputs from now on.
    void setInputs(std::vector<SignalDescription> inputs);

    // Brings the trigger block up to now (the board's settings, the signals, the read-outs) and
    // answers the simulated ns it reached.
    int64_t update();
    bool held();
    // While someone listens, the camera-control edges are kept for them.
    void listen(bool on);
    std::vector<LineEdge> takeEdges();
    void cameraMissed();
    // The block's state now, for the test control.
    TriggerReadouts readouts();

  private:
    int64_t nowLocked();
    void publish(const TriggerReadouts& r);

    Board& board_;
    std::mutex m_;
    TriggerChain chain_;
    using Clock = std::chrono::steady_clock;
    Clock::time_point anchor_ = Clock::now();
    int64_t anchorNs_ = 0;
    double scale_ = 1.0;
    bool held_ = false;
    bool listening_ = false;
    bool observed_ = false;  // someone asked for the time since power-on
    std::vector<LineEdge> edges_;
    TriggerReadouts published_;
    bool publishedOnce_ = false;
};

}  // namespace vboard
