// Board 0 opened with the applet through the SDK, as a program opens it; a benchmark that
// cannot open it stops at once.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "fglib5.h"

inline Fg_Struct* openBoard() {
    Fg_Struct* fg = Fg_Init(PELLUCID_APPLET_PATH, 0);
    if (fg == nullptr) {
        std::fprintf(stderr, "cannot open board 0: %d\n", Fg_getLastErrorNumber(nullptr));
        std::abort();
    }
    return fg;
}

// Runs `measured` and its `peer` (each answers its seconds) once an iteration, taking turns at going
// first so that neither always runs on a board fresh from the other's stop. The iteration's time is
// the measured side's; answers the total seconds of both.
template <typename Measured, typename Peer>
std::pair<double, double> inTurns(benchmark::State& state, Measured measured, Peer peer) {
    double measuredSeconds = 0, peerSeconds = 0;
    bool peerFirst = true;
    for (auto _ : state) {
        if (peerFirst) peerSeconds += peer();
        const double seconds = measured();
        if (!peerFirst) peerSeconds += peer();
        peerFirst = !peerFirst;
        measuredSeconds += seconds;
        state.SetIterationTime(seconds);
    }
    return {measuredSeconds, peerSeconds};
}
