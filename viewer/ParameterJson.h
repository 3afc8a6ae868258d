// The board's parameters as the page sees them, and changes to them with the HTTP status their
// failure deserves.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "Board.h"

namespace pellucid::viewer {

// A request the viewer refuses; `what()` tells why, for the body.
struct HttpError : std::runtime_error {
    HttpError(int status, const std::string& what, std::string parameter = {})
        : std::runtime_error(what), status(status), parameter(std::move(parameter)) {}
    int status;
    std::string parameter;
};

// {"groups": [{"path", "parameters": [...]}]}, each parameter with its name, id, type, access,
// unit, help text, value, whether the page may edit it, and its range or entries. Walks the
// description records: no other thread may set parameters meanwhile.
nlohmann::json parameterTree(const Board& board, const std::map<std::string, std::string>& help);

// Sets the parameter named `name` to the value `text`. Refusals: 404 for an unknown parameter,
// 400 for a value not of its type, outside its range or not one of its entries, 409 for a
// parameter the board does not let change (read-only, or not now). The board keeps its value
// then.
void setParameter(Board& board, const std::string& name, const std::string& text);

}  // namespace pellucid::viewer
