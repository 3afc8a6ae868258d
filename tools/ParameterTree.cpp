#include "ParameterTree.h"

#include <string>

#include "Text.h"
#include "fg_constants.h"

namespace pellucid {
namespace {

// Bounds for a malformed tree: a cycle must not hang the tool or overflow the stack.
constexpr int kMaxDepth = 32;
constexpr int kMaxTopLevelGroups = 4096;

void printRecord(std::FILE* out, const RegisterInfo& r, int depth, const ValueReader& value) {
    const std::string indent(2 * static_cast<size_t>(depth), ' ');
    if (r.format == REG_FORMAT_GROUP) {
        std::fprintf(out, "%s[%s]\n", indent.c_str(), utf8(r.name).c_str());
        if (depth >= kMaxDepth) return;
        for (int i = 0; i < r.u.gReg.nrOfElements; ++i) {
            if (r.u.gReg.elements[i] != nullptr) printRecord(out, *r.u.gReg.elements[i], depth + 1, value);
        }
        return;
    }
    const std::string current = value ? value(r) : std::string();
    std::fprintf(out, "%s%s (%d) = %s: %s %s, %s%s%s\n", indent.c_str(),
                 r.parameterName != nullptr ? r.parameterName : "?", r.id,
                 current.empty() ? "-" : current.c_str(), typeText(r), utf8(rangeText(r).c_str()).c_str(),
                 accessText(r.accessFlags), r.unit != nullptr && *r.unit ? ", " : "", utf8(r.unit).c_str());
}

void visitGroup(const RegisterInfo& g, const std::string& path, int depth,
                const std::function<void(const RegisterInfo&, const std::string&)>& visit) {
    visit(g, path);
    if (depth >= kMaxDepth) return;
    for (int i = 0; i < g.u.gReg.nrOfElements; ++i) {
        const RegisterInfo* child = g.u.gReg.elements[i];
        if (child != nullptr && child->format == REG_FORMAT_GROUP)
            visitGroup(*child, path + " / " + (child->name != nullptr ? child->name : ""), depth + 1, visit);
    }
}

void visitParameters(const RegisterInfo& r, int depth,
                     const std::function<void(const RegisterInfo&)>& visit) {
    if (r.format != REG_FORMAT_GROUP) return visit(r);
    if (depth >= kMaxDepth) return;
    for (int i = 0; i < r.u.gReg.nrOfElements; ++i) {
        if (r.u.gReg.elements[i] != nullptr) visitParameters(*r.u.gReg.elements[i], depth + 1, visit);
    }
}

const RegisterInfo* findIn(const RegisterInfo& r, int id, int depth) {
    if (r.format != REG_FORMAT_GROUP) return r.id == id ? &r : nullptr;
    if (depth >= kMaxDepth) return nullptr;
    for (int i = 0; i < r.u.gReg.nrOfElements; ++i) {
        if (r.u.gReg.elements[i] == nullptr) continue;
        if (const RegisterInfo* found = findIn(*r.u.gReg.elements[i], id, depth + 1)) return found;
    }
    return nullptr;
}

}  // namespace

std::string rangeText(const RegisterInfo& r) {
    char buf[160];
    switch (r.format) {
        case REG_FORMAT_UINT:
            std::snprintf(buf, sizeof buf, "%u..%u step %u", r.u.uiReg.from, r.u.uiReg.to, r.u.uiReg.steps);
            break;
        case REG_FORMAT_INT:
            std::snprintf(buf, sizeof buf, "%d..%d step %d", r.u.iReg.from, r.u.iReg.to, r.u.iReg.steps);
            break;
        case REG_FORMAT_UINT64:
            std::snprintf(buf, sizeof buf, "%llu..%llu", static_cast<unsigned long long>(r.u.iReg64.from),
                          static_cast<unsigned long long>(r.u.iReg64.to));
            break;
        case REG_FORMAT_INT64:
            std::snprintf(buf, sizeof buf, "%lld..%lld", static_cast<long long>(r.u.iReg64.from),
                          static_cast<long long>(r.u.iReg64.to));
            break;
        case REG_FORMAT_DOUBLE:
            std::snprintf(buf, sizeof buf, "%.12g..%.12g step %.12g", r.u.dReg.from, r.u.dReg.to,
                          r.u.dReg.steps);
            break;
        case REG_FORMAT_ENUM: {
            std::string s;
            for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
                if (i > 0) s += ", ";
                s += r.u.eReg.enumNames != nullptr && r.u.eReg.enumNames[i] != nullptr ? r.u.eReg.enumNames[i]
                                                                                       : "?";
                s += "=" + std::to_string(r.u.eReg.enumValues[i]);
            }
            return "{" + s + "}";
        }
        case REG_FORMAT_STRING:
            if (r.u.sReg.FileExtension == nullptr) return {};
            std::snprintf(buf, sizeof buf, "(%s)", r.u.sReg.FileExtension);
            break;
        case REG_FORMAT_UINTFIELD:
            std::snprintf(buf, sizeof buf, "[%d] %u..%u", r.u.uifReg.nrOfElements, r.u.uifReg.from,
                          r.u.uifReg.to);
            break;
        case REG_FORMAT_INTFIELD:
            std::snprintf(buf, sizeof buf, "[%d] %d..%d", r.u.ifReg.nrOfElements, r.u.ifReg.from,
                          r.u.ifReg.to);
            break;
        case REG_FORMAT_DOUBLEFIELD:
            std::snprintf(buf, sizeof buf, "[%d] %.12g..%.12g", r.u.dfReg.nrOfElements, r.u.dfReg.from,
                          r.u.dfReg.to);
            break;
        default:
            return {};
    }
    return buf;
}

const char* typeText(const RegisterInfo& r) {
    switch (r.format) {
        case REG_FORMAT_GROUP:
            return "group";
        case REG_FORMAT_UINT:
            return "uint";
        case REG_FORMAT_INT:
            return "int";
        case REG_FORMAT_UINT64:
            return "uint64";
        case REG_FORMAT_INT64:
            return "int64";
        case REG_FORMAT_DOUBLE:
            return "double";
        case REG_FORMAT_ENUM:
            return "enum";
        case REG_FORMAT_STRING:
            return "string";
        case REG_FORMAT_UINTFIELD:
            return "uint field";
        case REG_FORMAT_INTFIELD:
            return "int field";
        case REG_FORMAT_DOUBLEFIELD:
            return "double field";
        default:
            return "other";
    }
}

const char* accessText(int flags) {
    switch (flags) {
        case FG_ACCESS_READ_WRITE_CHANGE:
            return "RWC";
        case FG_ACCESS_READ_WRITE:
            return "RW";
        case FG_ACCESS_READ:
            return "R";
        default:
            return "?";
    }
}

void printParameterTree(std::FILE* out, const RegisterInfo* head, const ValueReader& value) {
    if (head == nullptr) {
        std::fprintf(out, "(no parameters described)\n");
        return;
    }
    int n = 0;
    for (const RegisterInfo* g = head; g != nullptr && n < kMaxTopLevelGroups; g = g->next, ++n)
        printRecord(out, *g, 0, value);
}

void forEachGroup(const RegisterInfo* head,
                  const std::function<void(const RegisterInfo& group, const std::string& path)>& visit) {
    int n = 0;
    for (const RegisterInfo* g = head; g != nullptr && n < kMaxTopLevelGroups; g = g->next, ++n) {
        if (g->format == REG_FORMAT_GROUP) visitGroup(*g, g->name != nullptr ? g->name : "", 0, visit);
    }
}

const RegisterInfo* findParameter(const RegisterInfo* head, int id) {
    int n = 0;
    for (const RegisterInfo* g = head; g != nullptr && n < kMaxTopLevelGroups; g = g->next, ++n) {
        if (const RegisterInfo* found = findIn(*g, id, 0)) return found;
    }
    return nullptr;
}

void forEachParameter(const RegisterInfo* head, const std::function<void(const RegisterInfo&)>& visit) {
    int n = 0;
    for (const RegisterInfo* g = head; g != nullptr && n < kMaxTopLevelGroups; g = g->next, ++n)
        visitParameters(*g, 0, visit);
}

}  // namespace pellucid
