// Feeds arbitrary bytes to the bench description reader: whatever it reads, it either gives a
// bench or refuses with its reason.
#include <cstdint>
#include <string>

#include "bench.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = writeScratchFile("bench_reader_fuzz", ".json", data, size);
    if (path.empty()) return 0;
    try {
        const vboard::Bench bench = vboard::readBench(path);
        (void)vboard::readoutNs(bench.camera);
    } catch (const vboard::BenchError&) {
    }
    return 0;
}
