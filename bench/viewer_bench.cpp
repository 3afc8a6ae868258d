// The viewer's pictures (encoded as JPEG and served over HTTP on the loopback address) against a
// plain in-process grab of the same board's frames, 1024 x 1024 FG_COL24, in the same run; and
// the delay from a parameter change to the first picture that shows it.
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <stdlib.h>
#include <turbojpeg.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "Board.h"
#include "Grab.h"
#include "Viewer.h"
#include "fglib5.h"
#include "vboard/control.h"

namespace {

namespace fs = std::filesystem;

// Board time runs this much faster than real time, so the board offers more frames than either
// consumer takes and the rate measured is the consumer's.
constexpr double kTimeScale = 20;
double plainFps = 0, viewerFps = 0;

double secondsSince(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

std::unique_ptr<pellucid::Board> simulatorBoard() {
    auto board = std::make_unique<pellucid::Board>(0);
    board->loadConfig(PELLUCID_SIMULATOR_MCF);
    for (const char* a : {"FG_WIDTH=1024", "FG_HEIGHT=1024", "FG_FORMAT=FG_COL24"}) board->assign(a);
    vboard::control::setTimeScale(kTimeScale);
    return board;
}

void BM_PlainGrab(benchmark::State& state) {
    const auto board = simulatorBoard();
    const pellucid::FrameFormat format = pellucid::frameFormat(*board);
    pellucid::Acquisition acquisition(board->handle(), format.bytes(), 8);
    acquisition.start(GRAB_INFINITE);
    long next = 1, frames = 0;
    unsigned checksum = 0;
    const auto started = std::chrono::steady_clock::now();
    for (auto _ : state) {
        const long last = Fg_getLastPicNumberBlockingEx(board->handle(), next, 0, 5, acquisition.memory());
        if (last < 0) {
            state.SkipWithError("no picture");
            break;
        }
        const auto* p = static_cast<const unsigned char*>(
            Fg_getImagePtrEx(board->handle(), last, 0, acquisition.memory()));
        for (size_t i = 0; p != nullptr && i < format.bytes(); i += 4096) checksum += p[i];
        next = last + 1;
        ++frames;
    }
    plainFps = static_cast<double>(frames) / secondsSince(started);
    benchmark::DoNotOptimize(checksum);
    acquisition.stop();
    state.counters["fps"] = plainFps;
    vboard::control::setTimeScale(1);
}
BENCHMARK(BM_PlainGrab)->UseRealTime()->MinTime(3)->Unit(benchmark::kMillisecond);

struct Served {
    std::unique_ptr<pellucid::Board> board = simulatorBoard();
    pellucid::viewer::Viewer viewer{*board, nullptr, pellucid::viewer::ViewerOptions{0}};
    std::thread thread{[this] { viewer.run(nullptr); }};
    httplib::Client client{"127.0.0.1", viewer.port()};
    uint64_t sequence = 0;

    ~Served() {
        viewer.stop();
        thread.join();
        vboard::control::setTimeScale(1);
    }
    // The next picture the viewer serves, as JPEG.
    std::string next() {
        for (;;) {
            const auto r = client.Get(("/api/frame?after=" + std::to_string(sequence)).c_str());
            if (!r) return {};
            if (r->status != 200) continue;
            sequence = std::stoull(r->get_header_value("X-Frame-Sequence"));
            return r->body;
        }
    }
};

void BM_ViewerServe(benchmark::State& state) {
    Served s;
    long bytes = 0;
    const auto started = std::chrono::steady_clock::now();
    for (auto _ : state) bytes += static_cast<long>(s.next().size());
    viewerFps = static_cast<double>(state.iterations()) / secondsSince(started);
    state.counters["fps"] = viewerFps;
    state.counters["jpeg_kB"] = static_cast<double>(bytes) / static_cast<double>(state.iterations()) / 1000;
}
BENCHMARK(BM_ViewerServe)->UseRealTime()->MinTime(3)->Unit(benchmark::kMillisecond);

// Mean sample of a JPEG picture, decoded at an eighth of its size.
double meanOf(const std::string& jpeg) {
    tjhandle tj = tjInitDecompress();
    const int w = 128, h = 128;
    std::vector<unsigned char> rgb(size_t{w} * h * 3);
    const int rc = tjDecompress2(tj, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size(),
                                 rgb.data(), w, 0, h, TJPF_RGB, TJFLAG_FASTDCT);
    tjDestroy(tj);
    if (rc != 0) return -1;
    double sum = 0;
    for (unsigned char v : rgb) sum += v;
    return sum / static_cast<double>(rgb.size());
}

// Gain 0 darkens the picture, gain 1 brings it back: each iteration is one change and the wait
// for the first picture that shows it, at the board's own 50 frames/s.
void BM_ChangeToFrame(benchmark::State& state) {
    Served s;
    vboard::control::setTimeScale(1);
    bool dark = false;
    for (auto _ : state) {
        dark = !dark;
        const std::string body =
            std::string(R"({"name": "FG_PROCESSING_GAIN", "value": )") + (dark ? "0" : "1") + "}";
        if (s.client.Post("/api/parameters", body, "application/json")->status != 200) {
            state.SkipWithError("the change was refused");
            break;
        }
        for (int n = 0; n < 500; ++n) {
            const double mean = meanOf(s.next());
            if (dark ? mean < 5 : mean > 20) break;
        }
    }
}
BENCHMARK(BM_ChangeToFrame)->UseRealTime()->Iterations(40)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The viewer keeps no state here, but a board's state folder must not be the user's.
    const fs::path state = fs::temp_directory_path() / ("pellucid_viewer_bench_" + std::to_string(getpid()));
    setenv("XDG_STATE_HOME", state.c_str(), 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (plainFps > 0 && viewerFps > 0)
        std::printf("viewer / plain grab: %.1f / %.1f frames/s = %.3f\n", viewerFps, plainFps,
                    viewerFps / plainFps);
    fs::remove_all(state);
    return 0;
}
