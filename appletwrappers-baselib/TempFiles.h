// Unique temporary files for the coefficient data handed to the SDK.
#pragma once

#include <cstdint>

namespace qorv {

// Replaces the six 'X' before the last `suffixLength` characters of `templ` and creates that file
// exclusively (mode 0600). Returns the open descriptor, or -1: at once for a malformed template,
// after all attempts with templ[0] set to 0.
int mkstemps(char* templ, int suffixLength);

// The attempts of mkstemps() starting from `state`, which is advanced by 7777 per failed attempt.
int mkstempsFrom(char* templ, int suffixLength, uint64_t& state);

// "/tmp/coef-XXXXXX.tiff" made unique and created; malloc'd, release with deleteTempFile(). Null on failure.
char* createTempFile();

// Removes the file and frees the name; null is ignored.
void deleteTempFile(char* path);

}  // namespace qorv
