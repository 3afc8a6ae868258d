// The compiled part of the pellucid package: a board with its parameters as text (the tool's
// Board) and acquisitions that copy each picture into a NumPy array. pellucid/__init__.py builds
// the Python interface on it and holds the exception classes raised here.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Board.h"
#include "Docs.h"
#include "Grab.h"
#include "ParameterTree.h"
#include "SdkQueries.h"
#include "fglib5.h"

namespace py = pybind11;
using pellucid::ToolError;

namespace {

using Clock = std::chrono::steady_clock;

// Longest stretch a wait runs without the GIL before Python may handle a signal (Ctrl-C).
constexpr auto kSlice = std::chrono::milliseconds(20);
// Pauses between two looks at the last picture: short while pictures come quickly, longer while
// none comes. The ring of buffers absorbs the delay, so it costs no frame rate.
constexpr auto kFirstPause = std::chrono::microseconds(200);
constexpr auto kLongestPause = std::chrono::microseconds(2000);

// Raised as pellucid.UnknownParameter, a KeyError.
struct UnknownName : ToolError {
    using ToolError::ToolError;
};

// SDK texts are ASCII; whatever else comes through shows rather than fails.
py::str text(const std::string& s) {
    return py::reinterpret_steal<py::str>(
        PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "replace"));
}

py::object optional(long v) {
    return v < 0 ? py::object(py::none()) : py::object(py::int_(v));
}

class Grab;

// What a board object and its acquisitions share. Waits and copies run without the GIL while
// holding `sdk`, which is never held while taking the GIL: a close from another thread waits for
// them instead of freeing the handle under them.
struct BoardState {
    unsigned index = 0;
    std::unique_ptr<pellucid::Board> board;
    std::mutex sdk;
    std::atomic<bool> closing{false};
    Grab* active = nullptr;  // the running acquisition; guarded by `sdk`
    std::unique_ptr<std::map<std::string, std::string>> tips;

    explicit BoardState(unsigned i) : index(i), board(std::make_unique<pellucid::Board>(i)) {}

    pellucid::Board& open() const {
        if (board == nullptr || closing)
            throw ToolError("board " + std::to_string(index) + " is closed", FG_INVALID_HANDLE);
        return *board;
    }
    const RegisterInfo& describe(const std::string& name) const {
        try {
            return open().describe(name);
        } catch (const ToolError& e) {
            if (e.code == FG_INVALID_HANDLE) throw;
            throw UnknownName(e.what(), e.code, name);
        }
    }
    void close();
};

// One acquisition on DMA 0. Each picture is copied out of its buffer before it is handed back
// to the SDK (asked for): until then the board does not fill that buffer again, so a frame is
// never torn, however long the program spends between two pictures.
class Grab {
  public:
    Grab(std::shared_ptr<BoardState> state, long count, double timeoutSeconds, long buffers)
        : state_(std::move(state)),
          count_(count),
          timeout_(
              std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeoutSeconds))) {
        pellucid::Board& board = state_->open();
        std::lock_guard lock(state_->sdk);
        // DMA 0 takes one acquisition: a grab still running ends here, as a program that
        // starts anew means it to.
        if (state_->active != nullptr) state_->active->endLocked();
        format_ = pellucid::frameFormat(board);
        buffers_ = buffers > 0 ? buffers : count > 0 ? std::clamp(count, 4L, 16L) : 16L;
        acquisition_ = std::make_unique<pellucid::Acquisition>(board.handle(), format_.bytes(), buffers_);
        acquisition_->start(count > 0 ? count : GRAB_INFINITE);
        // Asked for later, a buffer's address would hand its picture back first. Right after the
        // start no picture is complete yet, so this asks for none.
        for (long k = 1; k <= buffers_; ++k)
            slots_.push_back(static_cast<const unsigned char*>(
                Fg_getImagePtrEx(board.handle(), k, 0, acquisition_->memory())));
        state_->active = this;
    }
    ~Grab() { stop(); }
    Grab(const Grab&) = delete;
    Grab& operator=(const Grab&) = delete;

    // (pixels, picture number, camera frame, exposure start in ns); StopIteration at the end.
    py::tuple next() {
        if (acquisition_ == nullptr || (count_ > 0 && next_ > count_)) {
            stop();
            state_->open();  // a grab that the board's close ended says so
            throw py::stop_iteration();
        }
        try {
            return take(waitFor(next_));
        } catch (...) {
            stop();
            throw;
        }
    }

    void stop() {
        std::lock_guard lock(state_->sdk);
        endLocked();
    }

    void endLocked() {
        if (acquisition_ == nullptr) return;
        lost_ = std::max(lost_, status(pellucid::sdk::kStatusLostPictures, 0));
        if (state_->active == this) state_->active = nullptr;
        acquisition_.reset();  // stops and frees the buffers
    }

    bool running() const { return acquisition_ != nullptr; }
    long skipped() const { return skipped_; }
    py::object lost() const {
        return pellucid::sdk::kStatusLostPictures < 0 ? py::object(py::none()) : py::int_(lost_);
    }

  private:
    long status(int query, long data) const {
        if (query < 0 || acquisition_ == nullptr) return -1;
        return Fg_getStatusEx(state_->board->handle(), query, data, 0, acquisition_->memory());
    }

    // Looks at the last picture until it is `n` or later, or `until` comes; 0 when ended meanwhile.
    long poll(long n, Clock::time_point until) const {
        auto pause = kFirstPause;
        for (;;) {
            if (state_->closing || acquisition_ == nullptr) return 0;
            const long last = Fg_getLastPicNumberEx(state_->board->handle(), 0, acquisition_->memory());
            if (last >= n || last < 0 || Clock::now() >= until) return last;
            std::this_thread::sleep_for(pause);
            pause = std::min(pause * 2, kLongestPause);
        }
    }

    long waitFor(long n) {
        const auto deadline = Clock::now() + timeout_;
        for (;;) {
            long last = 0;
            {
                py::gil_scoped_release nogil;
                std::lock_guard lock(state_->sdk);
                last = poll(n, std::min(deadline, Clock::now() + kSlice));
            }
            if (last >= n) return last;
            state_->open();
            if (acquisition_ == nullptr) throw py::stop_iteration();
            if (last < 0)
                throw ToolError(
                    "cannot wait for picture " + std::to_string(n) + ": " + pellucid::errorText(int(last)),
                    int(last));
            if (PyErr_CheckSignals() != 0) throw py::error_already_set();
            if (Clock::now() >= deadline)
                throw ToolError("no picture " + std::to_string(n) +
                                    " within the timeout: " + pellucid::errorText(FG_TIMEOUT_ERR) +
                                    "; is the camera simulator on (FG_GEN_ENABLE) and the trigger active "
                                    "(FG_TRIGGERSTATE)?",
                                FG_TIMEOUT_ERR);
        }
    }

    py::tuple take(long last) {
        // Pictures a later one overwrote in the ring are gone: their numbers are skipped.
        if (next_ <= last - buffers_) {
            skipped_ += last - buffers_ + 1 - next_;
            next_ = last - buffers_ + 1;
        }
        const std::vector<py::ssize_t> shape{format_.height, format_.width, 3};
        py::array pixels = format_.bytesPerChannel == 2 ? py::array(py::dtype::of<uint16_t>(), shape)
                                                        : py::array(py::dtype::of<uint8_t>(), shape);
        void* out = pixels.mutable_data();
        long camera = -1, exposure = -1;
        bool ended = false, copied = false;
        int error = 0;
        {
            py::gil_scoped_release nogil;
            std::lock_guard lock(state_->sdk);
            ended = state_->closing || acquisition_ == nullptr;
            if (!ended) {
                Fg_Struct* fg = state_->board->handle();
                dma_mem* memory = acquisition_->memory();
                const void* slot = slots_[static_cast<size_t>((next_ - 1) % buffers_)];
                if (slot == nullptr) slot = Fg_getImagePtrEx(fg, next_, 0, memory);
                copied = slot != nullptr;
                if (copied) std::memcpy(out, slot, format_.bytes());
                error = copied ? 0 : Fg_getLastErrorNumber(fg);
                camera = status(pellucid::sdk::kStatusCameraFrame, next_);
                exposure = status(pellucid::sdk::kStatusExposureStartNs, next_);
                Fg_getLastPicNumberBlockingEx(fg, next_, 0, 0, memory);  // hands the picture back
                lost_ = std::max(lost_, status(pellucid::sdk::kStatusLostPictures, 0));
            }
        }
        if (ended) {
            state_->open();
            throw py::stop_iteration();
        }
        if (!copied)
            throw ToolError(
                "no image for picture " + std::to_string(next_) + ": " + pellucid::errorText(error), error);
        const long number = next_++;
        return py::make_tuple(pixels, number, optional(camera), optional(exposure));
    }

    std::shared_ptr<BoardState> state_;
    long count_;  // 0: until stopped
    Clock::duration timeout_;
    pellucid::FrameFormat format_;
    long buffers_ = 0;
    std::unique_ptr<pellucid::Acquisition> acquisition_;  // null once ended
    std::vector<const unsigned char*> slots_;             // buffer addresses; null where the SDK gave none
    long next_ = 1;
    long skipped_ = 0;
    long lost_ = 0;
};

void BoardState::close() {
    closing = true;
    {
        std::lock_guard lock(sdk);
        if (active != nullptr) active->endLocked();
    }
    board.reset();
}

std::vector<py::str> parameterNames(const BoardState& s) {
    std::vector<py::str> names;
    pellucid::forEachGroup(s.open().tree(), [&](const RegisterInfo& group, const std::string&) {
        for (int i = 0; i < group.u.gReg.nrOfElements; ++i) {
            const RegisterInfo* r = group.u.gReg.elements[i];
            if (r != nullptr && r->format != REG_FORMAT_GROUP && r->parameterName != nullptr)
                names.push_back(text(r->parameterName));
        }
    });
    return names;
}

py::dict describe(BoardState& s, const std::string& name) {
    const RegisterInfo& r = s.describe(name);
    if (s.tips == nullptr)
        s.tips = std::make_unique<std::map<std::string, std::string>>(pellucid::toolTips(s.open().xml()));
    const auto tip = s.tips->find(name);
    py::dict d;
    d["name"] = text(name);
    d["id"] = r.id;
    d["type"] = text(pellucid::typeText(r));
    d["access"] = text(pellucid::accessText(r.accessFlags));
    d["unit"] = text(r.unit != nullptr ? r.unit : "");
    d["help"] = text(tip != s.tips->end() ? tip->second : "");
    auto range = [&](auto from, auto to, auto step) {
        d["minimum"] = from;
        d["maximum"] = to;
        d["step"] = step;
    };
    switch (r.format) {
        case REG_FORMAT_UINT:
            range(r.u.uiReg.from, r.u.uiReg.to, r.u.uiReg.steps);
            break;
        case REG_FORMAT_INT:
            range(r.u.iReg.from, r.u.iReg.to, r.u.iReg.steps);
            break;
        case REG_FORMAT_UINT64:
            range(r.u.iReg64.from, r.u.iReg64.to, r.u.iReg64.steps);
            break;
        case REG_FORMAT_INT64:
            range(static_cast<int64_t>(r.u.iReg64.from), static_cast<int64_t>(r.u.iReg64.to),
                  static_cast<int64_t>(r.u.iReg64.steps));
            break;
        case REG_FORMAT_DOUBLE:
            range(r.u.dReg.from, r.u.dReg.to, r.u.dReg.steps);
            break;
        case REG_FORMAT_ENUM: {
            py::list entries;
            const EnumReg_S& e = r.u.eReg;
            for (int i = 0; i < e.nrOfElements; ++i) {
                const char* def = e.enumDefName != nullptr ? e.enumDefName[i] : nullptr;
                const char* display = e.enumNames != nullptr ? e.enumNames[i] : nullptr;
                entries.append(py::make_tuple(def != nullptr ? py::object(text(def)) : py::none(),
                                              e.enumValues[i],
                                              display != nullptr ? py::object(text(display)) : py::none()));
            }
            d["entries"] = entries;
            break;
        }
        default:
            break;
    }
    return d;
}

// Raises the exception class of pellucid/__init__.py that fits the failure.
void raise(const ToolError& e) {
    const bool badValue = e.code == FG_VALUE_OUT_OF_RANGE || e.code == FG_NOT_ALIGNED;
    const char* kind = dynamic_cast<const UnknownName*>(&e) != nullptr ? "UnknownParameter"
                       : badValue                                      ? "InvalidValue"
                                                                       : "Error";
    try {
        const py::object type = py::module_::import("pellucid").attr(kind);
        const py::object error = type(text(e.what()), e.code != 0 ? py::object(py::int_(e.code)) : py::none(),
                                      e.parameter.empty() ? py::object(py::none()) : text(e.parameter));
        PyErr_SetObject(type.ptr(), error.ptr());
    } catch (const py::error_already_set&) {
        PyErr_SetString(PyExc_RuntimeError, e.what());  // _pellucid imported on its own
    }
}

}  // namespace

PYBIND11_MODULE(_pellucid, m) {
    m.doc() = "The compiled part of pellucid; use the pellucid package, not this module.";
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const ToolError& e) {
            raise(e);
        }
    });
    m.def(
        "error_description", [](int code) { return text(Fg_getErrorDescription(code)); }, py::arg("code"),
        "The SDK's text for an error number.");

    py::class_<BoardState, std::shared_ptr<BoardState>>(m, "Board",
                                                        "A board opened with the Pellucid applet.")
        .def(py::init([](unsigned index) { return std::make_shared<BoardState>(index); }), py::arg("index"))
        .def_readonly("index", &BoardState::index, "The board's index.")
        .def_property_readonly(
            "closed", [](const BoardState& s) { return s.board == nullptr || s.closing; },
            "True once closed.")
        .def("close", &BoardState::close,
             "Stops a running acquisition, frees its buffers and closes the board.")
        .def(
            "get",
            [](const BoardState& s, const std::string& name) {
                return text(s.open().valueText(s.describe(name)));
            },
            py::arg("name"), "The value as text; enumerations as `2 (FG_COL24, Color 24bit)`.")
        .def(
            "set",
            [](BoardState& s, const std::string& name, const std::string& value) {
                s.open().setFromText(s.describe(name), value);
            },
            py::arg("name"), py::arg("value"), "Parses the text for the parameter's type and writes it.")
        .def("describe", &describe, py::arg("name"), "The parameter's description record as a dict.")
        .def("parameters", &parameterNames, "Every parameter's name, group by group.")
        .def(
            "load", [](const BoardState& s, const std::string& path) { s.open().loadConfig(path); },
            py::arg("path"), "Loads a configuration file.")
        .def(
            "save", [](const BoardState& s, const std::string& path) { s.open().saveConfig(path); },
            py::arg("path"), "Saves the configuration to a file.")
        .def(
            "xml", [](const BoardState& s) { return text(s.open().xml()); }, "The GenApi document.")
        .def(
            "grab",
            [](const std::shared_ptr<BoardState>& s, long count, double timeout, long buffers) {
                return std::make_unique<Grab>(s, count, timeout, buffers);
            },
            py::arg("count"), py::arg("timeout"), py::arg("buffers"),
            "Starts an acquisition of `count` pictures (0: until stopped).");

    py::class_<Grab>(m, "Grab", "A running acquisition.")
        .def("next", &Grab::next, "The next picture as (pixels, number, camera frame, exposure start ns).")
        .def("stop", &Grab::stop, "Stops the acquisition and frees its buffers.")
        .def_property_readonly("running", &Grab::running, "True until the acquisition ended.")
        .def_property_readonly("skipped", &Grab::skipped, "Pictures overwritten before they were read.")
        .def_property_readonly("lost", &Grab::lost,
                               "Frames that found no free buffer, where the SDK counts them.");
}
