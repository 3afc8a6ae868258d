// Walks and prints the parameter description tree a board hands out.
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

// Calls `visit` for every group, parents before children, with its path ("Trigger / Queue").
void forEachGroup(const RegisterInfo* head,
                  const std::function<void(const RegisterInfo& group, const std::string& path)>& visit);

// Calls `visit` for every parameter (no groups), in tree order.
void forEachParameter(const RegisterInfo* head, const std::function<void(const RegisterInfo&)>& visit);

// The parameter record with this id, or null.
const RegisterInfo* findParameter(const RegisterInfo* head, int id);

// Range of a numeric parameter (`16..16384 step 16`), the entries of an enumeration
// (`Color 24bit=2, ...`), or what else describes the values.
std::string rangeText(const RegisterInfo& r);
// Kind of value: "uint", "enum", "double", "string", "uint field", ...
const char* typeText(const RegisterInfo& r);
// Access flags: R, RW or RWC.
const char* accessText(int flags);

}  // namespace pellucid
