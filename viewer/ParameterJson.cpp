#include "ParameterJson.h"

#include "ParameterTree.h"
#include "Text.h"
#include "fg_constants.h"

namespace pellucid::viewer {
namespace {

using nlohmann::json;

bool isScalar(const RegisterInfo& r) {
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT:
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
        case REG_FORMAT_DOUBLE:
        case REG_FORMAT_ENUM:
        case REG_FORMAT_STRING:
            return true;
        default:
            return false;
    }
}

// The value as the page edits it: an enumeration's number without its entry, a text unquoted.
std::string plainValue(const RegisterInfo& r, const std::string& text) {
    if (r.format == REG_FORMAT_ENUM) return text.substr(0, text.find(' '));
    if (r.format == REG_FORMAT_STRING && text.size() >= 2) return text.substr(1, text.size() - 2);
    return text;
}

void addRange(const RegisterInfo& r, json& p) {
    switch (r.format) {
        case REG_FORMAT_UINT:
            p["min"] = r.u.uiReg.from, p["max"] = r.u.uiReg.to, p["step"] = r.u.uiReg.steps;
            break;
        case REG_FORMAT_INT:
            p["min"] = r.u.iReg.from, p["max"] = r.u.iReg.to, p["step"] = r.u.iReg.steps;
            break;
        case REG_FORMAT_UINT64:
            p["min"] = r.u.iReg64.from, p["max"] = r.u.iReg64.to;
            break;
        case REG_FORMAT_INT64:
            p["min"] = static_cast<int64_t>(r.u.iReg64.from), p["max"] = static_cast<int64_t>(r.u.iReg64.to);
            break;
        case REG_FORMAT_DOUBLE:
            p["min"] = r.u.dReg.from, p["max"] = r.u.dReg.to, p["step"] = r.u.dReg.steps;
            break;
        case REG_FORMAT_ENUM: {
            json entries = json::array();
            const EnumReg_S& e = r.u.eReg;
            for (int i = 0; i < e.nrOfElements; ++i) {
                const char* symbol = e.enumDefName != nullptr ? e.enumDefName[i] : nullptr;
                const char* label = e.enumNames != nullptr ? e.enumNames[i] : nullptr;
                entries.push_back({{"value", e.enumValues[i]},
                                   {"symbol", utf8(symbol)},
                                   {"label", label != nullptr ? utf8(label) : utf8(symbol)}});
            }
            p["entries"] = std::move(entries);
            break;
        }
        default:
            p["range"] = utf8(rangeText(r).c_str());
    }
}

json parameterJson(const Board& board, const RegisterInfo& r,
                   const std::map<std::string, std::string>& help) {
    const std::string name = r.parameterName != nullptr ? r.parameterName : "";
    json p = {{"name", name},         {"id", r.id},
              {"type", typeText(r)},  {"access", accessText(r.accessFlags)},
              {"unit", utf8(r.unit)}, {"editable", isScalar(r) && r.accessFlags != FG_ACCESS_READ}};
    if (const auto h = help.find(name); h != help.end()) p["help"] = h->second;
    addRange(r, p);
    if (isScalar(r)) {
        try {
            const std::string text = board.valueText(r);
            p["value"] = plainValue(r, text);
            p["text"] = text;
        } catch (const ToolError& e) {
            p["error"] = e.what();  // write-only: nothing to show
        }
    }
    return p;
}

}  // namespace

json parameterTree(const Board& board, const std::map<std::string, std::string>& help) {
    json groups = json::array();
    forEachGroup(board.tree(), [&](const RegisterInfo& group, const std::string& path) {
        json parameters = json::array();
        for (int i = 0; i < group.u.gReg.nrOfElements; ++i) {
            const RegisterInfo* child = group.u.gReg.elements[i];
            if (child != nullptr && child->format != REG_FORMAT_GROUP)
                parameters.push_back(parameterJson(board, *child, help));
        }
        if (!parameters.empty()) groups.push_back({{"path", utf8(path.c_str())}, {"parameters", parameters}});
    });
    return {{"groups", std::move(groups)}};
}

void setParameter(Board& board, const std::string& name, const std::string& text) {
    const RegisterInfo* r = nullptr;
    try {
        r = &board.describe(name);
    } catch (const ToolError& e) {
        throw HttpError(404, e.what(), name);
    }
    const std::string canonical = r->parameterName != nullptr ? r->parameterName : name;
    if (!isScalar(*r))
        throw HttpError(400, canonical + " is a " + typeText(*r) + " parameter: not settable as one value",
                        canonical);
    if (r->accessFlags == FG_ACCESS_READ)
        throw HttpError(409, canonical + " is read-only: " + errorText(FG_NOT_AVAILABLE), canonical);
    try {
        board.setFromText(*r, text);
    } catch (const UsageError& e) {
        throw HttpError(400, e.what(), canonical);
    } catch (const ToolError& e) {
        // A parameter that is read-only for now is the board's state refusing it, not the value.
        throw HttpError(e.code == FG_NOT_AVAILABLE ? 409 : 400, e.what(), canonical);
    }
}

}  // namespace pellucid::viewer
