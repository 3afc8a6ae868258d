// The image path's heavy operations: recomputing the three lookup tables when the LUT type is set
// to the processor, and a LUT file of three 4096-entry tables written and read back (by the
// parser alone, and through the applet's save and load parameters).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Fg_LutFileParser.h"
#include "bench_board.h"
#include "fglib5.h"

namespace {

std::string scratchFile() {
    return "/tmp/image_path_bench_" + std::to_string(getpid()) + ".txt";
}

void BM_LutRecomputeOnTypeSet(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    double gain = 1.0, gamma = 0.8;
    Fg_setParameterWithType(fg, FG_PROCESSING_GAIN, &gain, 0, FG_PARAM_TYPE_DOUBLE);
    Fg_setParameterWithType(fg, FG_PROCESSING_GAMMA, &gamma, 0, FG_PARAM_TYPE_DOUBLE);
    uint32_t processor = 3;
    for (auto _ : state) {
        if (Fg_setParameterWithType(fg, FG_LUT_TYPE, &processor, 0, FG_PARAM_TYPE_UINT32_T) != 0) {
            state.SkipWithError("FG_LUT_TYPE refused");
            break;
        }
    }
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_LutRecomputeOnTypeSet)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void BM_LutFileSaveLoad(benchmark::State& state) {
    std::vector<uint32_t> values[3];
    LookupTable_s tables[3];
    for (uint32_t c = 0; c < 3; ++c) {
        values[c].resize(4096);
        for (uint32_t i = 0; i < 4096; ++i) values[c][i] = (i * (c + 1)) % 4096;
        tables[c] = {values[c].data(), c, 4096, 0, 0};
    }
    const std::string path = scratchFile();
    for (auto _ : state) {
        Fg_LutFileParser parser;
        LookupTable_s read[3] = {};
        if (parser.saveLutToFile(path.c_str(), &tables[0], &tables[1], &tables[2]) != 0 ||
            parser.getLutFromFile(path.c_str(), &read[0], &read[1], &read[2]) != 0) {
            state.SkipWithError("LUT file round trip failed");
        }
        benchmark::DoNotOptimize(read[2].lut);
        for (LookupTable_s& t : read) std::free(t.lut);
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_LutFileSaveLoad)->Unit(benchmark::kMillisecond)->Repetitions(9)->ReportAggregatesOnly(true);

void BM_LutFileSaveLoadThroughApplet(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    uint32_t userFile = 0;
    Fg_setParameterWithType(fg, FG_LUT_TYPE, &userFile, 0, FG_PARAM_TYPE_UINT32_T);
    const std::string path = scratchFile();
    for (auto _ : state) {
        if (Fg_setParameterWithType(fg, FG_LUT_SAVE_FILE, path.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0 ||
            Fg_setParameterWithType(fg, FG_LUT_CUSTOM_FILE, path.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0) {
            state.SkipWithError("save or load refused");
            break;
        }
    }
    std::remove(path.c_str());
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_LutFileSaveLoadThroughApplet)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
