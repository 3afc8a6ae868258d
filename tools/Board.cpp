#include "Board.h"

#include <dlfcn.h>

#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <vector>

#include "ConfigCheck.h"
#include "ParameterTree.h"
#include "ScratchFolder.h"
#include "Text.h"
#include "fglib5.h"

namespace pellucid {
namespace {

// Room the SDK gets for a string value.
constexpr size_t kStringCapacity = 1024;

std::string quoted(const std::string& s) {
    return "\"" + s + "\"";
}

const char* nameOf(const RegisterInfo& r) {
    return r.parameterName != nullptr ? r.parameterName : "?";
}

// Every entry of an enumeration, for messages: `FG_COL24 (2, Color 24bit), ...`.
std::string entryList(const RegisterInfo& r) {
    std::string s;
    for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
        if (i > 0) s += ", ";
        const char* def = r.u.eReg.enumDefName != nullptr ? r.u.eReg.enumDefName[i] : nullptr;
        const char* display = r.u.eReg.enumNames != nullptr ? r.u.eReg.enumNames[i] : nullptr;
        s += def != nullptr ? def : std::to_string(r.u.eReg.enumValues[i]);
        s += " (" + std::to_string(r.u.eReg.enumValues[i]);
        if (display != nullptr) s += std::string(", ") + display;
        s += ")";
    }
    return s;
}

std::string allowedText(const RegisterInfo& r) {
    if (r.format == REG_FORMAT_ENUM) return "entries: " + entryList(r);
    return "allowed: " + rangeText(r);
}

template <typename T>
bool parseNumber(const std::string& text, T& out) {
    const char* end = text.data() + text.size();
    if constexpr (std::is_floating_point_v<T>) {
        // from_chars ignores the locale: "." is the separator whatever LC_NUMERIC says.
        auto [p, ec] = std::from_chars(text.data(), end, out, std::chars_format::general);
        return ec == std::errc() && p == end && !text.empty();
    } else {
        auto [p, ec] = std::from_chars(text.data(), end, out);
        return ec == std::errc() && p == end && !text.empty();
    }
}

// The value of an enumeration entry named by its symbolic name, display name or number.
bool enumValue(const RegisterInfo& r, const std::string& text, uint32_t& out) {
    const EnumReg_S& e = r.u.eReg;
    for (int i = 0; i < e.nrOfElements; ++i) {
        const bool match =
            (e.enumDefName != nullptr && e.enumDefName[i] != nullptr && text == e.enumDefName[i]) ||
            (e.enumNames != nullptr && e.enumNames[i] != nullptr && text == e.enumNames[i]);
        if (match) {
            out = static_cast<uint32_t>(e.enumValues[i]);
            return true;
        }
    }
    // A plain number goes to the applet, which knows best whether it is an entry.
    return parseNumber(text, out);
}

}  // namespace

std::string errorText(int rc) {
    return std::string(Fg_getErrorDescription(rc)) + " (" + std::to_string(rc) + ")";
}

std::string formatDouble(double v) {
    char buf[64];
    auto [p, ec] = std::to_chars(buf, buf + sizeof buf, v);
    return ec == std::errc() ? std::string(buf, p) : "?";
}

// Why the last open failed. An SDK that says more than the number (the virtual board names the
// fault of its bench description) offers Fg_getLastErrorDetail; other SDKs lack it.
std::string openFailureText() {
    const int rc = Fg_getLastErrorNumber(nullptr);
    using Detail = const char* (*)(Fg_Struct*);
    static const auto detail = reinterpret_cast<Detail>(dlsym(RTLD_DEFAULT, "Fg_getLastErrorDetail"));
    const char* text = detail != nullptr ? detail(nullptr) : nullptr;
    if (text == nullptr || *text == '\0') return errorText(rc);
    return std::string(text) + " (" + std::to_string(rc) + ")";
}

Board::Board(unsigned index) : index_(index) {
    reopen();
}

void Board::reopen() {
    if (fg_ != nullptr) Fg_FreeGrabber(fg_);
    fg_ = Fg_Init("Pellucid", index_);
    if (fg_ == nullptr) {
        const int rc = Fg_getLastErrorNumber(nullptr);
        throw ToolError(
            "cannot open board " + std::to_string(index_) + " with the Pellucid applet: " + openFailureText(),
            rc);
    }
}

Board::~Board() {
    if (fg_ != nullptr) Fg_FreeGrabber(fg_);
}

const RegisterInfo* Board::tree() const {
    return Fg_getParameterInfo(fg_, 0);
}

const RegisterInfo& Board::describe(const std::string& name) const {
    int id = Fg_getParameterIdByName(fg_, name.c_str());
    if (id < 0) {
        const int unknown = id;
        // A number names the parameter by its id; otherwise any case, with or without "FG_".
        long number = 0;
        const bool numeric = parseNumber(name, number) && number >= 0 && number <= INT32_MAX;
        std::vector<std::string> names;
        forEachParameter(tree(), [&](const RegisterInfo& r) {
            if (r.parameterName == nullptr) return;
            const std::string_view n = r.parameterName;
            if ((numeric && r.id == number) || equalsIgnoreCase(n, name) ||
                (n.size() > 3 && equalsIgnoreCase(n.substr(3), name)))
                id = r.id;
            names.emplace_back(n);
        });
        if (id < 0)
            throw UsageError(
                "unknown parameter " + quoted(name) + ": " + errorText(unknown) + didYouMean(name, names),
                unknown, name);
    }
    const RegisterInfo* r = findParameter(tree(), id);
    if (r == nullptr)
        throw ToolError("parameter " + quoted(name) + " (id " + std::to_string(id) + ") has no description",
                        FG_INVALID_PARAMETER, name);
    return *r;
}

std::string Board::valueText(const RegisterInfo& r) const {
    char text[kStringCapacity + 64];
    int rc = 0;
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_ENUM: {
            uint32_t v = 0;
            rc = Fg_getParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_UINT32_T);
            std::snprintf(text, sizeof text, "%" PRIu32, v);
            if (rc == 0 && r.format == REG_FORMAT_ENUM) {
                const EnumReg_S& e = r.u.eReg;
                for (int i = 0; i < e.nrOfElements; ++i) {
                    if (static_cast<uint32_t>(e.enumValues[i]) != v) continue;
                    const char* def = e.enumDefName != nullptr ? e.enumDefName[i] : nullptr;
                    const char* display = e.enumNames != nullptr ? e.enumNames[i] : nullptr;
                    std::snprintf(text, sizeof text, "%" PRIu32 " (%s%s%s)", v, def != nullptr ? def : "",
                                  def != nullptr && display != nullptr ? ", " : "", utf8(display).c_str());
                    break;
                }
            }
            break;
        }
        case REG_FORMAT_INT: {
            int32_t v = 0;
            rc = Fg_getParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_INT32_T);
            std::snprintf(text, sizeof text, "%" PRId32, v);
            break;
        }
        case REG_FORMAT_UINT64: {
            uint64_t v = 0;
            rc = Fg_getParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_UINT64_T);
            std::snprintf(text, sizeof text, "%" PRIu64, v);
            break;
        }
        case REG_FORMAT_INT64: {
            int64_t v = 0;
            rc = Fg_getParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_INT64_T);
            std::snprintf(text, sizeof text, "%" PRId64, v);
            break;
        }
        case REG_FORMAT_DOUBLE: {
            double v = 0;
            rc = Fg_getParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_DOUBLE);
            std::snprintf(text, sizeof text, "%s", formatDouble(v).c_str());
            break;
        }
        case REG_FORMAT_STRING: {
            std::vector<char> v(kStringCapacity, '\0');
            rc = Fg_getParameterWithType(fg_, r.id, v.data(), 0, FG_PARAM_TYPE_CHAR_PTR);
            v.back() = '\0';  // never trust the terminator of a full buffer
            std::snprintf(text, sizeof text, "\"%s\"", v.data());
            break;
        }
        default:
            throw ToolError(
                std::string(nameOf(r)) + " is a " + typeText(r) + " parameter: not readable as one value", 0,
                nameOf(r));
    }
    if (rc != 0)
        throw ToolError(std::string("cannot read ") + nameOf(r) + ": " + errorText(rc), rc, nameOf(r));
    return text;
}

void Board::setFromText(const RegisterInfo& r, const std::string& text) {
    const std::string name = nameOf(r);
    auto notA = [&](const char* what) {
        return UsageError(name + ": " + quoted(text) + " is not " + what + "; " + allowedText(r),
                          FG_VALUE_OUT_OF_RANGE, name);
    };
    // Parses the text as the parameter's number type and writes it.
    auto setNumber = [&](auto value, int type, const char* what) {
        if (!parseNumber(text, value)) throw notA(what);
        return Fg_setParameterWithType(fg_, r.id, &value, 0, type);
    };
    int rc = 0;
    switch (r.format) {
        case REG_FORMAT_ENUM: {
            uint32_t v = 0;
            if (!enumValue(r, text, v))
                throw UsageError(name + " has no entry " + quoted(text) + "; " + allowedText(r),
                                 FG_VALUE_OUT_OF_RANGE, name);
            rc = Fg_setParameterWithType(fg_, r.id, &v, 0, FG_PARAM_TYPE_UINT32_T);
            break;
        }
        case REG_FORMAT_UINT:
            rc = setNumber(uint32_t{0}, FG_PARAM_TYPE_UINT32_T, "an unsigned 32-bit number");
            break;
        case REG_FORMAT_INT:
            rc = setNumber(int32_t{0}, FG_PARAM_TYPE_INT32_T, "a 32-bit number");
            break;
        case REG_FORMAT_UINT64:
            rc = setNumber(uint64_t{0}, FG_PARAM_TYPE_UINT64_T, "an unsigned 64-bit number");
            break;
        case REG_FORMAT_INT64:
            rc = setNumber(int64_t{0}, FG_PARAM_TYPE_INT64_T, "a 64-bit number");
            break;
        case REG_FORMAT_DOUBLE:
            rc = setNumber(0.0, FG_PARAM_TYPE_DOUBLE, "a number (with '.' as decimal separator)");
            break;
        case REG_FORMAT_STRING: {
            if (text.size() >= kStringCapacity)
                throw ToolError(name + ": the text is longer than 1023 bytes", FG_VALUE_OUT_OF_RANGE, name);
            rc = Fg_setParameterWithType(fg_, r.id, text.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR);
            break;
        }
        default:
            throw ToolError(name + " is a " + typeText(r) + " parameter: not settable as one value", 0, name);
    }
    if (rc != 0) {
        std::string message = "cannot set " + name + " to " + text + ": " + errorText(rc);
        if (rc == FG_VALUE_OUT_OF_RANGE) message += "; " + allowedText(r);
        // Some parameters are read-only only while others hold certain values.
        const RegisterInfo* now = findParameter(tree(), r.id);
        if (now != nullptr && now->accessFlags == FG_ACCESS_READ)
            message += "; " + name + " is read-only now";
        throw ToolError(message, rc, name);
    }
}

void Board::assign(const std::string& assignment) {
    const size_t eq = assignment.find('=');
    if (eq == std::string::npos || eq == 0) throw UsageError(quoted(assignment) + " is not NAME=VALUE");
    setFromText(describe(assignment.substr(0, eq)), assignment.substr(eq + 1));
}

void Board::loadConfig(const std::string& path) {
    // The applet may have applied part of a file it refuses: keep what was there to go back to.
    const ScratchFolder scratch;
    const std::string snapshot = scratch.file("snapshot.mcf");
    saveConfig(snapshot);

    const int rc = Fg_loadConfig(fg_, path.c_str());
    if (rc == 0) return;
    std::string message = "cannot load configuration " + quoted(path) + ": " + errorText(rc);
    // The file's keys are tried from where the board was, not from what the refused load left.
    auto restore = [&] {
        if (Fg_loadConfig(fg_, snapshot.c_str()) == 0) return true;
        reopen();
        return false;
    };
    const bool restored = restore();
    const std::string why = whyConfigFails(*this, path, snapshot);
    if (!why.empty()) message += "; " + why;
    if (!restore() || !restored) message += "; the board is back at the applet's defaults";
    throw ToolError(message, rc);
}

void Board::saveConfig(const std::string& path) {
    const int rc = Fg_saveConfig(fg_, path.c_str());
    if (rc == 0) return;
    std::string message = "cannot save configuration " + quoted(path) + ": " + errorText(rc);
    if (path.find(".mcf") == std::string::npos) message += "; the name must contain \".mcf\"";
    throw ToolError(message, rc);
}

std::string Board::xml() const {
    size_t size = 0;
    int rc = Fg_getParameterInfoXML(fg_, 0, nullptr, &size);
    if (rc != 0 || size == 0)
        throw ToolError("cannot get the size of the GenApi document: " + errorText(rc), rc);
    std::vector<char> buffer(size + 1, '\0');
    rc = Fg_getParameterInfoXML(fg_, 0, buffer.data(), &size);
    if (rc != 0) throw ToolError("cannot get the GenApi document: " + errorText(rc), rc);
    return std::string(buffer.data(), strnlen(buffer.data(), buffer.size()));
}

}  // namespace pellucid
