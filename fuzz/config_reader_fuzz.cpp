// Feeds arbitrary bytes to the configuration file reader: the header check of a load and the
// section reads of every value form.
#include <cstdint>
#include <string>

#include "Fg_ConfigFileParser.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = writeScratchFile("config_reader_fuzz", ".mcf", data, size);
    if (path.empty()) return 0;

    Fg_ConfigFileParser parser(nullptr, path.c_str(), true);
    std::string text;
    int i = 0;
    uint64_t u = 0;
    double d = 0;
    parser.parseKeyFromLine("Hersteller", text);
    parser.parseKeyFromLine("Typ", text);
    parser.parseIntKeyFromHeader("AktivePort", i);
    for (int port = 0; port < 3; ++port) {
        for (const char* key : {"FG_WIDTH", "FG_WIDTHX", "FG_LUT_CUSTOM_FILE", "FG_GEN_FREQ", "", "="}) {
            parser.parseKeySection(port, key, text);
            parser.parseIntKeySection(port, key, i);
            parser.parseUInt64KeySection(port, key, u);
            parser.parseDoubleKeySection(port, key, d);
        }
    }
    return 0;
}
