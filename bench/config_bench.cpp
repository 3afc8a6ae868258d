// Saving and loading a full configuration through the SDK, and the parsing part of a load alone.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Fg_ConfigFileParser.h"
#include "bench_board.h"
#include "fglib5.h"

namespace {

std::string scratch(const char* name) {
    return "/tmp/pellucid-bench-" + std::to_string(getpid()) + name;
}

void BM_SaveConfig(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    const std::string path = scratch("-save.mcf");
    for (auto _ : state) benchmark::DoNotOptimize(Fg_saveConfig(fg, path.c_str()));
    std::remove(path.c_str());
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_SaveConfig)->Unit(benchmark::kMicrosecond);

void BM_LoadConfig(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    const std::string path = scratch("-load.mcf");
    Fg_saveConfig(fg, path.c_str());
    for (auto _ : state) {
        if (Fg_loadConfig(fg, path.c_str()) != 0) state.SkipWithError("load failed");
    }
    std::remove(path.c_str());
    Fg_FreeGrabber(fg);
}
BENCHMARK(BM_LoadConfig)->Unit(benchmark::kMicrosecond);

// What a load asks of the parser: the header check, then every key of the port section read
// twice (once into the caches, once to apply).
void BM_ParseConfig(benchmark::State& state) {
    Fg_Struct* fg = openBoard();
    const std::string path = scratch("-parse.mcf");
    Fg_saveConfig(fg, path.c_str());
    Fg_FreeGrabber(fg);
    std::vector<std::string> keys;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("FG_", 0) == 0) keys.push_back(line.substr(0, line.find('=')));
    }
    state.counters["keys"] = static_cast<double>(keys.size());
    for (auto _ : state) {
        Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
        std::string text;
        int port = 0;
        parser.parseKeyFromLine("Hersteller", text);
        parser.parseKeyFromLine("Typ", text);
        parser.parseIntKeyFromHeader("AktivePort", port);
        for (int pass = 0; pass < 2; ++pass) {
            for (const std::string& key : keys)
                benchmark::DoNotOptimize(parser.parseKeySection(0, key.c_str(), text));
        }
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_ParseConfig)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
