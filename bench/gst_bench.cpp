// Pictures a second through `pellucidsrc ! fakesink` against the tool's grab to memory (an
// acquisition and a wait for each picture, nothing encoded), in turns in one run: 1024 x 1024
// COL24 from the camera simulator running free at its fastest pixel clock, so that both take
// pictures as fast as the board makes them and the ratio shows what the element costs.
#include <benchmark/benchmark.h>
#include <gst/gst.h>
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Board.h"
#include "Grab.h"
#include "bench_board.h"
#include "fglib5.h"

namespace {

constexpr long kFrames = 200;
constexpr long kBuffers = 16;
// Both sides apply these on top of the simulator configuration.
constexpr const char* kSettings[] = {"FG_TRIGGERCC_SELECT0=CC_VCC", "FG_GEN_FREQ=62.5"};

using Clock = std::chrono::steady_clock;

void check(bool ok, const std::string& what) {
    if (ok) return;
    std::fprintf(stderr, "gst_bench: %s\n", what.c_str());
    std::abort();
}

double grabToMemory() {
    pellucid::Board board(0);
    board.loadConfig(PELLUCID_EXAMPLES_DIR "/simulator.mcf");
    for (const char* s : kSettings) board.assign(s);
    const pellucid::FrameFormat format = pellucid::frameFormat(board);
    check(format.width == 1024 && format.height == 1024 && format.bytesPerChannel == 1,
          "not 1024 x 1024 COL24");
    const auto start = Clock::now();
    pellucid::Acquisition acquisition(board.handle(), format.bytes(), kBuffers);
    acquisition.start(kFrames);
    for (long n = 1; n <= kFrames; ++n) {
        check(Fg_getLastPicNumberBlockingEx(board.handle(), n, 0, 10, acquisition.memory()) >= n,
              "no picture");
        benchmark::DoNotOptimize(Fg_getImagePtrEx(board.handle(), n, 0, acquisition.memory()));
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    acquisition.stop();
    return seconds;
}

// From PLAYING to the end of the stream: the board is opened and configured before, in PAUSED.
double grabThroughPipeline() {
    const std::string description =
        std::string("pellucidsrc working-config=false config=") + PELLUCID_EXAMPLES_DIR +
        "/simulator.mcf set=" + kSettings[0] + "," + kSettings[1] + " buffers=" + std::to_string(kBuffers) +
        " num-buffers=" + std::to_string(kFrames) + " ! video/x-raw,format=RGB ! fakesink";
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(description.c_str(), &error);
    check(pipeline != nullptr && error == nullptr, "cannot build the pipeline");
    check(gst_element_set_state(pipeline, GST_STATE_PAUSED) != GST_STATE_CHANGE_FAILURE, "cannot pause");
    const auto start = Clock::now();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    check(message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS, "the pipeline failed");
    gst_message_unref(message);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    return seconds;
}

void BM_PipelineAgainstTool(benchmark::State& state) {
    const auto [pipeline, tool] = inTurns(state, grabThroughPipeline, grabToMemory);
    const double frames = double(kFrames) * double(state.iterations());
    state.counters["tool_fps"] = frames / tool;
    state.counters["gst_fps"] = frames / pipeline;
    state.counters["gst_per_tool"] = tool / pipeline;
}
BENCHMARK(BM_PipelineAgainstTool)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(6);

}  // namespace

int main(int argc, char** argv) {
    // The element locks the board in a state folder of this run, never the user's.
    char state[] = "/tmp/gst_bench-XXXXXX";
    check(mkdtemp(state) != nullptr, "cannot create a state folder");
    setenv("XDG_STATE_HOME", state, 1);
    gst_init(&argc, &argv);
    GError* error = nullptr;
    GstPlugin* plugin = gst_plugin_load_file(PELLUCID_GST_PLUGIN, &error);
    check(plugin != nullptr, std::string("cannot load ") + PELLUCID_GST_PLUGIN);
    gst_object_unref(plugin);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(state);
    return 0;
}
