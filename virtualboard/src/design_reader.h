// Reads a design file (format described in design_reader.cpp and virtualboard/README.md).
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "design.h"

namespace vboard {

// The design, or null with the reason ("line 12: width must be 1..64") in *error.
std::unique_ptr<fpga_design_s> readDesign(std::string_view data, std::string* error);

}  // namespace vboard
