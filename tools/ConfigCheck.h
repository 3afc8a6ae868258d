// Why a configuration file does not load. The applet answers a refused file with one number;
// the tool reads the file's keys itself to name the first one at fault.
#pragma once

#include <string>

namespace pellucid {

class Board;

// The first fault of the file at `path`, with its line where it has one: "line 14: FG_WIDTH=7:
// ..."; empty when no single key explains the refusal. `reference` is a file the board saved
// (the keys and header a load needs). Tries the file's values on `board` one by one, so the
// caller restores the board's settings afterwards.
std::string whyConfigFails(Board& board, const std::string& path, const std::string& reference);

}  // namespace pellucid
