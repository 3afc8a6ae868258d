// Parameter access through the SDK on the virtual board, and the cost of opening and closing a
// board with the applet.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench_board.h"
#include "fglib5.h"

namespace {

void BM_GetCachedParameter(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    uint32_t value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Fg_getParameterWithType(fg, FG_TIMEOUT, &value, 0, FG_PARAM_TYPE_UINT32_T));
        benchmark::DoNotOptimize(value);
    }
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_GetCachedParameter);

void BM_SetTimeout(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    uint32_t value = 2;
    for (auto _ : state) {
        value = value == 2 ? 3 : 2;
        benchmark::DoNotOptimize(Fg_setParameterWithType(fg, FG_TIMEOUT, &value, 0, FG_PARAM_TYPE_UINT32_T));
    }
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_SetTimeout);

void BM_OpenClose(benchmark::State& state) {
    for (auto _ : state) Fg_FreeGrabber(openBoard());
}
BENCHMARK(BM_OpenClose)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
