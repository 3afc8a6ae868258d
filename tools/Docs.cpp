#include "Docs.h"

#include <cstdlib>
#include <string_view>

#include "ParameterTree.h"

namespace pellucid {
namespace {

void appendUtf8(std::string& out, unsigned long cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x110000) {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// The description records' texts are Latin-1 (the micro sign of "µs"); the reference is UTF-8.
std::string utf8(const char* latin1) {
    std::string out;
    if (latin1 == nullptr) return out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(latin1); *p != 0; ++p)
        appendUtf8(out, *p);
    return out;
}

std::string decodeEntities(std::string_view s) {
    static constexpr std::pair<std::string_view, char> kNamed[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        const size_t semi = s[i] == '&' ? s.find(';', i) : std::string_view::npos;
        if (semi == std::string_view::npos || semi - i > 10) {
            out += s[i];
            continue;
        }
        const std::string_view name = s.substr(i + 1, semi - i - 1);
        bool decoded = false;
        for (const auto& [n, c] : kNamed) {
            if (name == n) {
                out += c;
                decoded = true;
            }
        }
        if (!decoded && name.size() > 1 && name[0] == '#') {
            const std::string digits(name.substr(1));
            char* end = nullptr;
            const bool hex = digits[0] == 'x' || digits[0] == 'X';
            const unsigned long cp = std::strtoul(digits.c_str() + (hex ? 1 : 0), &end, hex ? 16 : 10);
            if (end != nullptr && *end == '\0' && end != digits.c_str() + (hex ? 1 : 0)) {
                appendUtf8(out, cp);
                decoded = true;
            }
        }
        if (decoded) {
            i = semi;
        } else {
            out += s[i];
        }
    }
    return out;
}

// A table cell: no line breaks, no column separators.
std::string cell(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '|') {
            out += "\\|";
        } else if (c == '\n' || c == '\r') {
            out += ' ';
        } else {
            out += c;
        }
    }
    return out;
}

std::string rangeCell(const RegisterInfo& r) {
    if (r.format != REG_FORMAT_ENUM) return cell(utf8(rangeText(r).c_str()));
    std::string s;
    const EnumReg_S& e = r.u.eReg;
    for (int i = 0; i < e.nrOfElements; ++i) {
        if (i > 0) s += "<br>";
        const char* def = e.enumDefName != nullptr ? e.enumDefName[i] : nullptr;
        const char* display = e.enumNames != nullptr ? e.enumNames[i] : nullptr;
        if (def != nullptr) s += "`" + utf8(def) + "` = ";
        s += std::to_string(e.enumValues[i]);
        if (display != nullptr) s += " (" + utf8(display) + ")";
    }
    return cell(s);
}

}  // namespace

std::map<std::string, std::string> toolTips(const std::string& xml) {
    std::map<std::string, std::string> tips;
    static constexpr std::string_view kName = " Name=\"";
    static constexpr std::string_view kOpen = "<ToolTip>";
    static constexpr std::string_view kClose = "</ToolTip>";
    size_t pos = 0;
    while ((pos = xml.find(kName, pos)) != std::string::npos) {
        // The element whose start tag holds this attribute: its kind names its end tag.
        const size_t tagStart = xml.rfind('<', pos);
        const size_t nameStart = pos + kName.size();
        const size_t nameEnd = xml.find('"', nameStart);
        const size_t tagEnd = nameEnd == std::string::npos ? nameEnd : xml.find('>', nameEnd);
        if (tagStart == std::string::npos || tagEnd == std::string::npos) break;
        pos = tagEnd;
        const std::string kind =
            xml.substr(tagStart + 1, xml.find_first_of(" \t\n", tagStart) - tagStart - 1);
        if (kind.empty() || kind[0] == '/' || kind[0] == '?' || xml[tagEnd - 1] == '/') continue;
        const size_t end = xml.find("</" + kind + ">", tagEnd);
        const size_t open = xml.find(kOpen, tagEnd);
        if (open == std::string::npos || open > end) continue;
        const size_t close = xml.find(kClose, open);
        if (close == std::string::npos || close > end) continue;
        const std::string name = decodeEntities(std::string_view(xml).substr(nameStart, nameEnd - nameStart));
        tips.emplace(name, decodeEntities(std::string_view(xml).substr(open + kOpen.size(),
                                                                       close - open - kOpen.size())));
    }
    return tips;
}

std::string parameterReference(const Board& board) {
    const std::map<std::string, std::string> tips = toolTips(board.xml());
    std::string doc =
        "# Pellucid parameter reference\n\n"
        "Generated by `pellucid docs docs/parameters.md` from the applet's parameter descriptions; do not "
        "edit "
        "by hand. *Default* is the value right after the board is opened. Access: `R` read only, `RW` read "
        "and "
        "write, `RWC` read and write, also while acquiring.\n";
    forEachGroup(board.tree(), [&](const RegisterInfo& group, const std::string& path) {
        doc += "\n## " + utf8(path.c_str()) + "\n\n";
        std::string rows;
        for (int i = 0; i < group.u.gReg.nrOfElements; ++i) {
            const RegisterInfo* r = group.u.gReg.elements[i];
            if (r == nullptr || r->format == REG_FORMAT_GROUP || r->parameterName == nullptr) continue;
            std::string value;
            try {
                value = "`" + board.valueText(*r) + "`";
            } catch (const ToolError&) {
                value = "—";  // fields and write-only parameters have no single value
            }
            const auto tip = tips.find(r->parameterName);
            rows += "| `" + utf8(r->parameterName) + "` | " + std::to_string(r->id) + " | " + typeText(*r) +
                    " | " + rangeCell(*r) + " | " + cell(utf8(value.c_str())) + " | " +
                    accessText(r->accessFlags) + " | " + cell(utf8(r->unit)) + " | " +
                    (tip != tips.end() ? cell(tip->second) : "") + " |\n";
        }
        if (rows.empty()) {
            doc += "Sub-groups only.\n";
            return;
        }
        doc += "| Name | Id | Type | Range or entries | Default | Access | Unit | Help |\n";
        doc += "|---|---|---|---|---|---|---|---|\n";
        doc += rows;
    });
    return doc;
}

}  // namespace pellucid
