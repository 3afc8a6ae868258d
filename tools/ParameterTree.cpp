#include "ParameterTree.h"

#include <string>

namespace pellucid {
namespace {

const char* accessText(int flags) {
    switch (flags) {
        case 7:
            return "RWC";
        case 3:
            return "RW";
        case 1:
            return "R";
        default:
            return "?";
    }
}

std::string rangeText(const RegisterInfo& r) {
    char buf[160];
    switch (r.format) {
        case REG_FORMAT_UINT:
            std::snprintf(buf, sizeof buf, "uint %u..%u step %u", r.u.uiReg.from, r.u.uiReg.to,
                          r.u.uiReg.steps);
            break;
        case REG_FORMAT_INT:
            std::snprintf(buf, sizeof buf, "int %d..%d step %d", r.u.iReg.from, r.u.iReg.to, r.u.iReg.steps);
            break;
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
            std::snprintf(buf, sizeof buf, "%s %llu..%llu", r.format == REG_FORMAT_INT64 ? "int64" : "uint64",
                          static_cast<unsigned long long>(r.u.iReg64.from),
                          static_cast<unsigned long long>(r.u.iReg64.to));
            break;
        case REG_FORMAT_DOUBLE:
            std::snprintf(buf, sizeof buf, "double %.12g..%.12g step %.12g", r.u.dReg.from, r.u.dReg.to,
                          r.u.dReg.steps);
            break;
        case REG_FORMAT_ENUM: {
            std::string s = "enum {";
            for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
                if (i > 0) s += ", ";
                s += r.u.eReg.enumNames[i] != nullptr ? r.u.eReg.enumNames[i] : "?";
                s += "=" + std::to_string(r.u.eReg.enumValues[i]);
            }
            return s + "}";
        }
        case REG_FORMAT_STRING:
            std::snprintf(buf, sizeof buf, "string%s%s%s", r.u.sReg.FileExtension ? " (" : "",
                          r.u.sReg.FileExtension ? r.u.sReg.FileExtension : "",
                          r.u.sReg.FileExtension ? ")" : "");
            break;
        case REG_FORMAT_UINTFIELD:
            std::snprintf(buf, sizeof buf, "uint field [%d] %u..%u", r.u.uifReg.nrOfElements, r.u.uifReg.from,
                          r.u.uifReg.to);
            break;
        case REG_FORMAT_INTFIELD:
            std::snprintf(buf, sizeof buf, "int field [%d] %d..%d", r.u.ifReg.nrOfElements, r.u.ifReg.from,
                          r.u.ifReg.to);
            break;
        case REG_FORMAT_DOUBLEFIELD:
            std::snprintf(buf, sizeof buf, "double field [%d] %.12g..%.12g", r.u.dfReg.nrOfElements,
                          r.u.dfReg.from, r.u.dfReg.to);
            break;
        default:
            std::snprintf(buf, sizeof buf, "kind %d", static_cast<int>(r.format));
    }
    return buf;
}

void printRecord(std::FILE* out, const RegisterInfo& r, int depth, const ValueReader& value) {
    const std::string indent(2 * static_cast<size_t>(depth), ' ');
    if (r.format == REG_FORMAT_GROUP) {
        std::fprintf(out, "%s[%s]\n", indent.c_str(), r.name != nullptr ? r.name : "");
        for (int i = 0; i < r.u.gReg.nrOfElements; ++i) {
            if (r.u.gReg.elements[i] != nullptr) printRecord(out, *r.u.gReg.elements[i], depth + 1, value);
        }
        return;
    }
    const std::string current = value ? value(r) : std::string();
    std::fprintf(out, "%s%s (%d) = %s: %s, %s%s%s\n", indent.c_str(),
                 r.parameterName != nullptr ? r.parameterName : "?", r.id,
                 current.empty() ? "-" : current.c_str(), rangeText(r).c_str(), accessText(r.accessFlags),
                 r.unit != nullptr && *r.unit ? ", " : "", r.unit != nullptr ? r.unit : "");
}

}  // namespace

void printParameterTree(std::FILE* out, const RegisterInfo* head, const ValueReader& value) {
    if (head == nullptr) {
        std::fprintf(out, "(no parameters described)\n");
        return;
    }
    for (const RegisterInfo* g = head; g != nullptr; g = g->next) printRecord(out, *g, 0, value);
}

}  // namespace pellucid
