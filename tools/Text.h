// Text helpers the tool's commands share: the applet's Latin-1 texts as UTF-8, and near misses
// for names a person mistyped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pellucid {

// Appends code point `cp` encoded as UTF-8.
void appendUtf8(std::string& out, unsigned long cp);
// The description records' texts are Latin-1 (the micro sign of "µs"); terminals and browsers
// want UTF-8.
std::string utf8(const char* latin1);

bool equalsIgnoreCase(std::string_view a, std::string_view b);

// The candidates a person most likely meant by `word`: the closest by edit distance (ignoring
// case and a leading "FG_"), else those containing it; at most `most`, best first, none when
// nothing comes near.
std::vector<std::string> nearMisses(std::string_view word, const std::vector<std::string>& candidates,
                                    size_t most = 3);

// "; did you mean X?" or "; did you mean X, Y or Z?", empty without near misses.
std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace pellucid
