// Typed parameter access by id, for values the grab reads and sets itself. Failures are ToolErrors
// that name the parameter and the SDK's error.
#pragma once

#include <cstdint>

#include "Board.h"

namespace pellucid {

uint32_t readUint(Board& board, int id, const char* name);
double readDouble(Board& board, int id, const char* name);
void writeUint(Board& board, int id, const char* name, uint32_t value);
void writeDouble(Board& board, int id, const char* name, double value);

}  // namespace pellucid
