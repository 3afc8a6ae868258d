// A 1024 x 1024 COL24 grab of 200 frames through the pellucid Python module (an embedded
// interpreter runs the loop) against the same grab written in C with the SDK calls, in turns in
// one run. The camera simulator runs free at its fastest pixel clock, with no trigger pacing, so
// both take pictures as fast as the board makes them and the ratio shows what the binding costs.
#include <benchmark/benchmark.h>
#include <pybind11/embed.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "bench_board.h"

namespace py = pybind11;

namespace {

constexpr long kFrames = 200;
constexpr long kBuffers = 16;
constexpr size_t kFrameBytes = size_t{1024} * 1024 * 3;
constexpr uint32_t kCcHigh = 5;            // FG_TRIGGERCC_SELECT0 CC_VCC: the simulator runs on its own
constexpr double kFastestClockMhz = 62.5;  // FG_GEN_FREQ

using Clock = std::chrono::steady_clock;

void check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "python_grab_bench: %s\n", what);
    std::abort();
}

// Both sides configure their handle the same way: the simulator configuration, then free run.
void configure(Fg_Struct* fg) {
    check(Fg_loadConfig(fg, PELLUCID_EXAMPLES_DIR "/simulator.mcf") == 0, "cannot load simulator.mcf");
    check(Fg_setParameterWithType(fg, FG_TRIGGERCC_SELECT0, &kCcHigh, 0, FG_PARAM_TYPE_UINT32_T) == 0,
          "cannot set FG_TRIGGERCC_SELECT0");
    check(Fg_setParameterWithType(fg, FG_GEN_FREQ, &kFastestClockMhz, 0, FG_PARAM_TYPE_DOUBLE) == 0,
          "cannot set FG_GEN_FREQ");
}

// What a C program does: wait for each picture, copy it out of its buffer.
double grabInC(Fg_Struct* fg, std::vector<unsigned char>& copy) {
    const auto start = Clock::now();
    dma_mem* memory = Fg_AllocMemEx(fg, kFrameBytes, kBuffers);
    check(memory != nullptr, "cannot allocate buffers");
    check(Fg_AcquireEx(fg, 0, kFrames, ACQ_STANDARD, memory) == 0, "cannot start");
    for (long n = 1; n <= kFrames; ++n) {
        check(Fg_getLastPicNumberBlockingEx(fg, n, 0, 10, memory) >= n, "no picture");
        const void* pixels = Fg_getImagePtrEx(fg, n, 0, memory);
        check(pixels != nullptr, "no image");
        std::memcpy(copy.data(), pixels, kFrameBytes);
        benchmark::DoNotOptimize(copy.data());
    }
    const auto end = Clock::now();
    Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC);
    Fg_FreeMemEx(fg, memory);
    return std::chrono::duration<double>(end - start).count();
}

constexpr const char* kPythonSide = R"(
import pellucid

def open_board():
    board = pellucid.Board(0)
    board.load(examples + "/simulator.mcf")
    board["FG_TRIGGERCC_SELECT0"] = "CC_VCC"
    board["FG_GEN_FREQ"] = 62.5
    return board

def grab(board, frames):
    for frame in board.grab(frames, timeout=10.0, buffers=16):
        pass
)";

void BM_PythonAgainstC(benchmark::State& state) {
    py::dict scope;
    scope["__builtins__"] = py::module_::import("builtins");
    scope["examples"] = PELLUCID_EXAMPLES_DIR;
    py::exec(kPythonSide, scope);
    const py::object board = scope["open_board"]();
    const py::object grab = scope["grab"];
    Fg_Struct* fg = openBoard();
    configure(fg);
    std::vector<unsigned char> copy(kFrameBytes);
    const auto [inPython, inC] = inTurns(
        state,
        [&] {
            const auto start = Clock::now();
            grab(board, kFrames);
            return std::chrono::duration<double>(Clock::now() - start).count();
        },
        [&] { return grabInC(fg, copy); });
    board.attr("close")();
    Fg_FreeGrabber(fg);
    const double frames = double(kFrames) * double(state.iterations());
    state.counters["c_fps"] = frames / inC;
    state.counters["python_fps"] = frames / inPython;
    state.counters["python_per_c"] = inC / inPython;
}
BENCHMARK(BM_PythonAgainstC)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(6);

}  // namespace

int main(int argc, char** argv) {
    py::scoped_interpreter python;
    py::module_::import("sys").attr("path").attr("insert")(0, PELLUCID_PYTHON_DIR);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
