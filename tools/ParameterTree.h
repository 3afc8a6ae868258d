// Prints the parameter description tree a board hands out.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "fg_types.h"

namespace pellucid {

// Text of a parameter's current value, or empty when there is none to show.
using ValueReader = std::function<std::string(const RegisterInfo&)>;

// Writes every group and parameter reachable from `head` (top-level groups chained through
// `next`), one line each, indented by depth: name, id, current value, range, access, unit.
void printParameterTree(std::FILE* out, const RegisterInfo* head, const ValueReader& value);

}  // namespace pellucid
