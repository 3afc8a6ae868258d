// Trigger-driven acquisition: the design's camera simulator makes one picture per software
// trigger. Each trigger is followed by a wait with a timeout; a last wait without a trigger shows
// how a timeout is reported.
//
//     software_trigger [TRIGGERS [BOARD]]     (defaults: 10 triggers, board 0)
#include <pellucid/pellucid.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

namespace {

struct SdkError : std::runtime_error {
    SdkError(const std::string& what, int rc)
        : std::runtime_error(what + ": " + Fg_getErrorDescription(rc) + " (" + std::to_string(rc) + ")") {}
};

// The board, its buffers and the acquisition on them, released on every way out.
class Grabber {
  public:
    explicit Grabber(unsigned board) : fg_(Fg_Init("Pellucid", board)) {
        if (fg_ == nullptr)
            throw SdkError("cannot open board " + std::to_string(board), Fg_getLastErrorNumber(nullptr));
    }
    ~Grabber() {
        if (memory_ != nullptr) {
            Fg_stopAcquireEx(fg_, 0, memory_, STOP_ASYNC);
            Fg_FreeMemEx(fg_, memory_);
        }
        Fg_FreeGrabber(fg_);
    }
    Grabber(const Grabber&) = delete;
    Grabber& operator=(const Grabber&) = delete;

    template <typename T>
    void set(int id, const char* name, T value) {
        constexpr int type = std::is_floating_point_v<T> ? FG_PARAM_TYPE_DOUBLE : FG_PARAM_TYPE_UINT32_T;
        using Stored = std::conditional_t<std::is_floating_point_v<T>, double, unsigned>;
        Stored v = static_cast<Stored>(value);
        if (int rc = Fg_setParameterWithType(fg_, id, &v, 0, type); rc != FG_OK) throw SdkError(name, rc);
    }

    void start(size_t pictureBytes) {
        memory_ = Fg_AllocMemEx(fg_, pictureBytes, 4);
        if (memory_ == nullptr) throw SdkError("cannot allocate buffers", Fg_getLastErrorNumber(fg_));
        if (int rc = Fg_AcquireEx(fg_, 0, GRAB_INFINITE, ACQ_STANDARD, memory_); rc != FG_OK)
            throw SdkError("cannot start the acquisition", rc);
    }

    // One software trigger. The design takes a new one only when it has passed the last one on
    // (FG_SOFTWARETRIGGER_IS_BUSY), so a refused trigger is sent again until `seconds` are over.
    void trigger(int seconds) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        unsigned pulse = 1;
        int rc;
        while ((rc = Fg_setParameterWithType(fg_, FG_SENDSOFTWARETRIGGER, &pulse, 0,
                                             FG_PARAM_TYPE_UINT32_T)) == FG_SOFTWARE_TRIGGER_PENDING &&
               std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (rc != FG_OK) throw SdkError("FG_SENDSOFTWARETRIGGER", rc);
    }

    // The newest picture number once `picture` is complete, or FG_TIMEOUT_ERR after `seconds`.
    long wait(long picture, int seconds) {
        return Fg_getLastPicNumberBlockingEx(fg_, picture, 0, seconds, memory_);
    }

  private:
    Fg_Struct* fg_;
    dma_mem* memory_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
    const long triggers = argc > 1 ? std::atol(argv[1]) : 10;
    const unsigned board = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 0;
    if (triggers < 1) {
        std::fprintf(stderr, "usage: software_trigger [TRIGGERS [BOARD]] with TRIGGERS at least 1\n");
        return 2;
    }
    try {
        Grabber g(board);
        const unsigned width = 512, height = 512;
        g.set(FG_WIDTH, "FG_WIDTH", width);
        g.set(FG_HEIGHT, "FG_HEIGHT", height);
        g.set(FG_FORMAT, "FG_FORMAT", FG_COL24);
        g.set(FG_GEN_ENABLE, "FG_GEN_ENABLE", FG_GENERATOR);
        g.set(FG_AREATRIGGERMODE, "FG_AREATRIGGERMODE", ATM_SOFTWARE);
        g.set(FG_TRIGGERSTATE, "FG_TRIGGERSTATE", TS_ACTIVE);
        g.start(std::size_t{width} * height * 3);

        for (long picture = 1; picture <= triggers; ++picture) {
            g.trigger(2);
            const long last = g.wait(picture, 2);
            if (last < 0)
                throw SdkError("no picture " + std::to_string(picture) + " after its trigger", int(last));
            std::printf("trigger %ld: picture %ld\n", picture, last);
        }
        // Without a trigger nothing comes: the wait ends with a timeout, not with a picture.
        const long idle = g.wait(triggers + 1, 1);
        if (idle != FG_TIMEOUT_ERR) {
            std::fprintf(stderr, "software_trigger: a picture came without a trigger (%ld)\n", idle);
            return 1;
        }
        std::printf("no trigger: %s\n", Fg_getErrorDescription(FG_TIMEOUT_ERR));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "software_trigger: %s\n", e.what());
        return 1;
    }
    return 0;
}
