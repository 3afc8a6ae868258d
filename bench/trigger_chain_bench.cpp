// The trigger block's simulation under a 100 kHz encoder signal with the whole chain active:
// debounce, input downscale, queue, generator, four pulse form generators on the four
// camera-control lines. Real time is one simulated second per second of wall time.
#include <benchmark/benchmark.h>

#include "trigger_chain.h"

namespace {

void BM_EncoderSecond(benchmark::State& state) {
    vboard::SignalDescription encoder;
    encoder.rateHz = static_cast<double>(state.range(0));
    encoder.widthNs = static_cast<int64_t>(5e8 / encoder.rateHz);  // half the period
    vboard::TriggerSettings s;
    s.selectExternal = s.pulseFormEnable = s.queueInPath = true;
    s.queueHeldCleared = false;
    s.debounce = 2;
    s.periodTicks = 10;
    s.queueCapacity = 2040;
    for (uint32_t g = 0; g < 4; ++g) {
        s.pulseForm[g] = {g + 1, 1, 10 * g, 50};
        s.cameraControl[g].select = g;
    }
    constexpr int64_t kSecond = 1000000000 / vboard::kDesignTickNs;
    uint64_t edges = 0;
    for (auto _ : state) {
        vboard::TriggerChain chain({encoder});
        chain.apply(s, 0);
        chain.run(kSecond, [&](int64_t, int, bool) { ++edges; });
        benchmark::DoNotOptimize(chain.readouts());
    }
    // Input pulses simulated per second of wall time; at least the rate itself is real time.
    state.counters["pulses_per_s"] = benchmark::Counter(
        encoder.rateHz * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["realtime_factor"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["line_edges"] = static_cast<double>(edges) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_EncoderSecond)->Arg(100000)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
