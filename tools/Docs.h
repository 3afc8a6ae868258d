// The parameter reference in Markdown, made from a board's description records, its values
// right after opening and the help texts of its GenApi document.
#pragma once

#include <map>
#include <string>

#include "Board.h"

namespace pellucid {

// Help text of every feature of a GenApi document, by feature name (the ToolTip element
// inside the element whose Name attribute names the feature). Entities are decoded.
std::map<std::string, std::string> toolTips(const std::string& xml);

// The whole reference document.
std::string parameterReference(const Board& board);

}  // namespace pellucid
