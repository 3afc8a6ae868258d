// Prints the parameter description tree a board hands out.
#pragma once

#include <cstdio>

#include "fg_types.h"

namespace pellucid {

// Writes every group and parameter reachable from `head` (top-level groups chained through
// `next`), one line each, indented by depth.
void printParameterTree(std::FILE* out, const RegisterInfo* head);

}  // namespace pellucid
