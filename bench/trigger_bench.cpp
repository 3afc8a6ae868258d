// A software trigger burst through the SDK on the virtual board: 2040 pulses, Software mode,
// active, queue on. The pulses must stay 160 ns apart, so 2040 x 160 ns = 0.33 ms is the floor.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "bench_board.h"
#include "fglib5.h"
#include "vboard/control.h"

namespace {

void check(int rc, const char* what) {
    if (rc != 0) {
        std::fprintf(stderr, "%s failed: %d\n", what, rc);
        std::abort();
    }
}

void BM_SoftwareTriggerBurst(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    uint32_t v = 4;
    check(Fg_setParameterWithType(fg, FG_AREATRIGGERMODE, &v, 0, FG_PARAM_TYPE_UINT32_T), "Software mode");
    v = 0;
    check(Fg_setParameterWithType(fg, FG_TRIGGERSTATE, &v, 0, FG_PARAM_TYPE_UINT32_T), "Active");
    v = 1;
    check(Fg_setParameterWithType(fg, FG_TRIGGERQUEUE_MODE, &v, 0, FG_PARAM_TYPE_UINT32_T), "queue on");
    uint32_t pulses = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        check(Fg_setParameterWithType(fg, FG_SENDSOFTWARETRIGGER, &pulses, 0, FG_PARAM_TYPE_UINT32_T),
              "burst");
        state.PauseTiming();
        vboard::control::clearJournal();  // keeps the journal's ring from growing into the timing
        state.ResumeTiming();
    }
    state.counters["floor_us"] = pulses * 0.160;
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_SoftwareTriggerBurst)
    ->Arg(2040)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
