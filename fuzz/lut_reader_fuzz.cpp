// Feeds arbitrary bytes to the LUT reader as a file: every form of table it can read, and the
// applet's three-colour read.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Fg_LutFileParser.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = writeScratchFile("lut_reader_fuzz", ".txt", data, size);
    if (path.empty()) return 0;

    Fg_LutFileParser parser;
    LookupTable_s rgb[3] = {};
    if (parser.getLutFromFile(path.c_str(), &rgb[0], &rgb[1], &rgb[2]) == 0) {
        for (const LookupTable_s& t : rgb) {
            if (t.nrOfElements > Fg_LutFileParser::kMaxElements || (t.nrOfElements > 0 && t.lut == nullptr)) {
                std::abort();
            }
        }
    }
    LookupTable_s gray{};
    parser.getLutFromFile(path.c_str(), &gray, "[gray]");
    KneeLookupTable_s knee[3] = {};
    for (KneeLookupTable_s& k : knee) k.nrOfElements = 64;
    parser.getLutFromFile(path.c_str(), &knee[0], &knee[1], &knee[2]);

    for (LookupTable_s& t : rgb) std::free(t.lut);
    std::free(gray.lut);
    for (KneeLookupTable_s& k : knee) std::free(k.value);
    return 0;
}
