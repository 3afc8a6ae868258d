#include "ConfigCheck.h"

#include <fstream>
#include <map>
#include <vector>

#include "Board.h"
#include "fg_constants.h"

namespace pellucid {
namespace {

constexpr const char* kHeaderSection = "[Kamerasektion]";
constexpr const char* kPortSection = "[Port A]";

struct Entry {
    int line = 0;
    std::string key;
    std::string value;
};

// The keys as the applet's reader finds them: the header keys anywhere, the port's keys after the
// first line naming its section, the first occurrence of each.
struct ConfigFile {
    bool readable = false;
    bool hasPort = false;
    std::map<std::string, Entry> header;
    std::vector<Entry> port;
    std::map<std::string, size_t> portIndex;
};

std::string trimmed(const std::string& s) {
    const size_t first = s.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return {};
    return s.substr(first, s.find_last_not_of(" \t\r\n") - first + 1);
}

ConfigFile readConfig(const std::string& path) {
    ConfigFile f;
    std::ifstream in(path, std::ios::binary);
    if (!in) return f;
    f.readable = true;
    std::string text;
    for (int number = 1; std::getline(in, text); ++number) {
        const std::string line = trimmed(text);
        if (line.find(kPortSection) != std::string::npos) {
            f.hasPort = true;
            continue;
        }
        const size_t eq = line.find('=');
        if (eq == std::string::npos || eq == 0) continue;
        Entry e{number, line.substr(0, eq), line.substr(eq + 1)};
        e.value = e.value.substr(0, e.value.find(';'));
        if (e.value.size() >= 2 && e.value.front() == '\'' && e.value.back() == '\'')
            e.value = e.value.substr(1, e.value.size() - 2);
        if (f.hasPort) {
            if (f.portIndex.emplace(e.key, f.port.size()).second) f.port.push_back(e);
        } else {
            f.header.emplace(e.key, e);
        }
    }
    return f;
}

// Integer keys are saved signed: 4294967295 as -1.
std::string asSaved(const RegisterInfo& r, const std::string& value) {
    if ((r.format != REG_FORMAT_UINT && r.format != REG_FORMAT_ENUM) || value.empty() || value[0] != '-')
        return value;
    try {
        size_t used = 0;
        const long v = std::stol(value, &used);
        if (used == value.size() && v >= INT32_MIN) return std::to_string(static_cast<uint32_t>(v));
    } catch (const std::exception&) {
    }
    return value;
}

// Whether the parameter already has the value `text` names: enumerations print their entry after
// the number, strings in quotes, numbers in their shortest form.
bool holds(const Board& board, const RegisterInfo& r, const std::string& text) {
    try {
        std::string now = board.valueText(r);
        if (r.format == REG_FORMAT_STRING) return now == "\"" + text + "\"";
        now = now.substr(0, now.find(' '));
        size_t used = 0;
        const double a = std::stod(now), b = std::stod(text, &used);
        return used == text.size() && a == b;
    } catch (const std::exception&) {
        return false;
    }
}

// Sets one key; the error text, or empty when it took.
std::string trySet(Board& board, const Entry& e) {
    try {
        const RegisterInfo& r = board.describe(e.key);
        const std::string value = asSaved(r, e.value);
        try {
            board.setFromText(r, value);
        } catch (const ToolError&) {
            // A load keeps what the file's trigger mode locks instead of setting it: no fault
            // while it is read-only or already has the file's value.
            if (r.accessFlags != FG_ACCESS_READ && !holds(board, r, value)) throw;
        }
        return {};
    } catch (const ToolError& error) {
        return error.what();
    }
}

}  // namespace

std::string whyConfigFails(Board& board, const std::string& path, const std::string& reference) {
    if (path.find(".mcf") == std::string::npos) return "the name must contain \".mcf\"";
    const ConfigFile file = readConfig(path);
    if (!file.readable) return {};
    const ConfigFile expected = readConfig(reference);

    for (const char* key : {"Hersteller", "Typ", "AktivePort"}) {
        if (file.header.count(key) == 0)
            return std::string("the file has no key ") + key + " before " + kPortSection;
    }
    const Entry& type = file.header.at("Typ");
    const auto wanted = expected.header.find("Typ");
    if (wanted != expected.header.end() && type.value != wanted->second.value)
        return "line " + std::to_string(type.line) + ": the file is for '" + type.value + "', not for '" +
               wanted->second.value + "'";
    if (!file.hasPort) return std::string("the file has no section ") + kPortSection;
    for (const Entry& e : expected.port) {
        if (file.portIndex.count(e.key) == 0)
            return "the file has no key " + e.key + " in " + kPortSection +
                   " (a load needs every key a save writes)";
    }

    // Values that depend on each other (a width on its offset) may fail only for the order they
    // come in: what still fails once every other key is set is at fault.
    std::vector<const Entry*> failed;
    for (const Entry& e : file.port) {
        if (expected.portIndex.count(e.key) != 0 && !trySet(board, e).empty()) failed.push_back(&e);
    }
    for (const Entry* e : failed) {
        const std::string why = trySet(board, *e);
        if (!why.empty())
            return "line " + std::to_string(e->line) + ": " + e->key + "=" + e->value + ": " + why;
    }
    return {};
}

}  // namespace pellucid
