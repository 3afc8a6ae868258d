// One board opened with the Pellucid applet, and the parameter access the tool's commands share:
// values as text both ways, configuration files, the GenApi document. Every failure is a
// ToolError whose text names the parameter or file and the SDK's error.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "fg_types.h"

namespace pellucid {

struct ToolError : std::runtime_error {
    // `code`: the SDK's error number behind the failure, 0 where none applies; `parameter`: the
    // parameter it concerns, if any. Bindings raise their own kinds of error from the two.
    explicit ToolError(const std::string& what, int code = 0, std::string parameter = {})
        : std::runtime_error(what), code(code), parameter(std::move(parameter)) {}
    int code;
    std::string parameter;
};

// A command line the tool cannot understand: an unknown parameter or entry, a value that is not
// of the parameter's type, a malformed assignment. The tool exits with 2 for these.
struct UsageError : ToolError {
    using ToolError::ToolError;
};

// "<description> (<number>)" for an SDK error number.
std::string errorText(int rc);

class Board {
  public:
    explicit Board(unsigned index);  // throws ToolError when the board or applet cannot be opened
    ~Board();
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    Fg_Struct* handle() const { return fg_; }
    unsigned index() const { return index_; }

    // Description records of port 0; null when the applet describes none.
    const RegisterInfo* tree() const;
    // The description record of a parameter named in any case, with or without "FG_", or by its
    // numeric id. An unknown name is a UsageError that suggests near misses.
    const RegisterInfo& describe(const std::string& name) const;

    // Current value as text; enumerations add their entry: `2 (FG_COL24, Color 24bit)`.
    std::string valueText(const RegisterInfo& r) const;
    // Parses `text` for the parameter's type and writes it.
    void setFromText(const RegisterInfo& r, const std::string& text);
    // `NAME=VALUE`: looks the name up, then setFromText.
    void assign(const std::string& assignment);

    // Closes and opens the board again: the applet's defaults.
    void reopen();

    // A file that does not load changes nothing, and the error names its first failing key.
    void loadConfig(const std::string& path);
    void saveConfig(const std::string& path);
    std::string xml() const;

  private:
    Fg_Struct* fg_ = nullptr;
    unsigned index_ = 0;
};

// Shortest text that reads back to the same double, always with '.'.
std::string formatDouble(double v);

}  // namespace pellucid
