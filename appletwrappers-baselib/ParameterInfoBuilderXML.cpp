#include "ParameterInfoBuilderXML.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "FgZeWrapper.h"
#include "GenApiAddress.h"
#include "parameterInfo.h"

namespace {

// Description texts are Latin-1 (the micro sign of "µs"); the document is UTF-8.
std::string escape(const char* latin1) {
    std::string out;
    if (latin1 == nullptr) return out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(latin1); *p != 0; ++p) {
        switch (*p) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                if (*p < 0x80) {
                    out += static_cast<char>(*p);
                } else {
                    out += static_cast<char>(0xC0 | (*p >> 6));
                    out += static_cast<char>(0x80 | (*p & 0x3F));
                }
        }
    }
    return out;
}

// Node names allow letters, digits and underscores only.
std::string nodeName(const std::string& text) {
    std::string out;
    for (unsigned char c : text) out += std::isalnum(c) ? static_cast<char>(c) : '_';
    return out;
}

std::string number(double v) {
    char text[40];
    const auto r = std::to_chars(text, text + sizeof text, v, std::chars_format::general, 17);
    return std::string(text, r.ptr);
}

std::string hex(uint64_t v) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(v));
    return text;
}

const char* visibility(int flags) {
    switch (flags) {
        case 1:
            return "Beginner";
        case 2:
            return "Expert";
        case 3:
            return "Guru";
        default:
            return "Invisible";
    }
}

std::string element(const char* name, const std::string& value) {
    return std::string("    <") + name + ">" + value + "</" + name + ">\n";
}

std::string registerNode(const char* kind, const std::string& name, uint64_t address, int length,
                         const char* access, const std::string& extra, const std::string& index = {}) {
    std::string s = std::string("  <") + kind + " Name=\"" + name + "\">\n";
    s += element("Address", hex(address));
    if (!index.empty()) s += "    <pIndex Offset=\"4\">" + index + "</pIndex>\n";
    s += element("Length", std::to_string(length));
    s += element("AccessMode", access);
    s += element("pPort", "Device");
    s += element("Cachable", "NoCache");
    s += extra;
    s += std::string("  </") + kind + ">\n";
    return s;
}

const std::string kLittleEndian = element("Endianess", "LittleEndian");

bool isInteger(int format) {
    switch (format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT:
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD:
            return true;
        default:
            return false;
    }
}

// A one-entry enumeration only ever takes the value that triggers it: a command.
bool isCommand(const RegisterInfo& r) {
    return r.format == REG_FORMAT_ENUM && r.u.eReg.nrOfElements == 1;
}

struct Range {
    double from, to, step;
};

Range rangeOf(const RegisterInfo& r) {
    switch (r.format) {
        case REG_FORMAT_UINT:
            return {double(r.u.uiReg.from), double(r.u.uiReg.to), double(r.u.uiReg.steps)};
        case REG_FORMAT_INT:
            return {double(r.u.iReg.from), double(r.u.iReg.to), double(r.u.iReg.steps)};
        case REG_FORMAT_UINT64:
            return {double(r.u.iReg64.from), double(r.u.iReg64.to), double(r.u.iReg64.steps)};
        case REG_FORMAT_INT64:
            return {double(static_cast<int64_t>(r.u.iReg64.from)),
                    double(static_cast<int64_t>(r.u.iReg64.to)),
                    double(static_cast<int64_t>(r.u.iReg64.steps))};
        case REG_FORMAT_DOUBLE:
            return {r.u.dReg.from, r.u.dReg.to, r.u.dReg.steps};
        case REG_FORMAT_UINTFIELD:
            return {double(r.u.uifReg.from), double(r.u.uifReg.to), 1};
        case REG_FORMAT_INTFIELD:
            return {double(r.u.ifReg.from), double(r.u.ifReg.to), 1};
        default:
            return {0, 0, 0};
    }
}

// Steps at the resolution of a double mark continuous values; no consumer can step by them.
constexpr double kFinestFloatStep = 1e-9;

}  // namespace

ParameterInfoBuilderXML::ParameterInfoBuilderXML(Fg_ParameterInfo* info, FgZeWrapper& wrapper, int port)
    : mInfo(info), mWrapper(wrapper), mPort(port) {}

std::string ParameterInfoBuilderXML::commonElements(const RegisterInfo& r, const char* displayName) {
    std::string s;
    s += element("ToolTip", escape(mWrapper.getParameterHelp(r.id)));
    s += element("DisplayName", escape(displayName));
    s += element("Visibility", visibility(r.visibilityFlags));
    s += element("pIsLocked", nodeName(r.parameterName) + "_LockedReg");
    return s;
}

const GenApiStandardFeature* ParameterInfoBuilderXML::commandOn(int id) {
    for (const GenApiStandardFeature& f : mWrapper.getStandardFeatures()) {
        if (f.kind == GenApiStandardFeature::Command && f.id == id) return &f;
    }
    return nullptr;
}

const RegisterInfo* ParameterInfoBuilderXML::record(int id) const {
    const RegisterInfo* found = nullptr;
    auto search = [&](const RegisterInfo* r, auto&& self) -> void {
        if (r == nullptr || found != nullptr) return;
        if (r->format != REG_FORMAT_GROUP) {
            if (r->id == id && r->parameterName != nullptr) found = r;
            return;
        }
        for (int i = 0; i < r->u.gReg.nrOfElements; ++i) self(r->u.gReg.elements[i], self);
    };
    for (RegisterInfo* g = mInfo->getRegisterInfo(mPort); g != nullptr;
         g = mInfo->getNextRegisterInfo(g, mPort))
        search(g, search);
    return found;
}

void ParameterInfoBuilderXML::category(const RegisterInfo& group, const std::string& name) {
    std::string features;
    std::vector<std::pair<const RegisterInfo*, std::string>> subgroups;
    for (int i = 0; i < group.u.gReg.nrOfElements; ++i) {
        const RegisterInfo* child = group.u.gReg.elements[i];
        if (child == nullptr) continue;
        if (child->format == REG_FORMAT_GROUP) {
            const std::string sub = name + "_" + nodeName(child->name != nullptr ? child->name : "");
            subgroups.emplace_back(child, sub);
            features += element("pFeature", sub);
        } else if (child->parameterName != nullptr) {
            features += element("pFeature", nodeName(child->parameterName));
            if (commandOn(child->id) != nullptr)
                features += element("pFeature", nodeName(child->parameterName) + "_Count");
            if (child->format == REG_FORMAT_UINTFIELD || child->format == REG_FORMAT_INTFIELD) {
                features += element("pFeature", nodeName(child->parameterName) + "_Index");
            }
        }
    }
    mNodes += "  <Category Name=\"" + name + "\" NameSpace=\"Custom\">\n";
    mNodes += element("DisplayName", escape(group.name));
    mNodes += element("Visibility", "Beginner");
    mNodes += features;
    mNodes += "  </Category>\n";
    for (int i = 0; i < group.u.gReg.nrOfElements; ++i) {
        const RegisterInfo* child = group.u.gReg.elements[i];
        if (child == nullptr || child->format == REG_FORMAT_GROUP || child->parameterName == nullptr)
            continue;
        mNodes += feature(*child, nodeName(child->parameterName), "Custom");
        registers(*child);
    }
    for (const auto& [sub, subName] : subgroups) category(*sub, subName);
}

// The registers behind a parameter's feature: its value, its limits and its lock.
void ParameterInfoBuilderXML::registers(const RegisterInfo& r) {
    using namespace pellucid::genapi;
    const std::string name = nodeName(r.parameterName);
    const std::string value = name + "_Val";
    const bool field = r.format == REG_FORMAT_UINTFIELD || r.format == REG_FORMAT_INTFIELD;
    const bool isUnsigned = r.format == REG_FORMAT_UINT || r.format == REG_FORMAT_UINT64 ||
                            r.format == REG_FORMAT_UINTFIELD || r.format == REG_FORMAT_ENUM;
    const std::string sign = element("Sign", isUnsigned ? "Unsigned" : "Signed");
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT:
        case REG_FORMAT_ENUM:
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD:
            mNodes += registerNode("IntReg", value, address(r.id, kValue), 4, "RW", sign + kLittleEndian,
                                   field ? name + "_Index" : std::string());
            break;
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
            mNodes += registerNode("IntReg", value, address(r.id, kValue), 8, "RW", sign + kLittleEndian);
            break;
        case REG_FORMAT_DOUBLE:
            mNodes += registerNode("FloatReg", value, address(r.id, kValue), 8, "RW", kLittleEndian);
            break;
        default:
            break;  // strings are their own register
    }
    if (pellucid::genapi::hasLimits(r) && (isInteger(r.format) || r.format == REG_FORMAT_DOUBLE)) {
        for (auto [space, suffix] : {std::pair(kMinimum, "_MinReg"), std::pair(kMaximum, "_MaxReg")}) {
            mNodes +=
                r.format == REG_FORMAT_DOUBLE
                    ? registerNode("FloatReg", name + suffix, address(r.id, space), 8, "RO", kLittleEndian)
                    : registerNode("IntReg", name + suffix, address(r.id, space), 8, "RO",
                                   element("Sign", "Signed") + kLittleEndian);
        }
    }
    mNodes += registerNode("IntReg", name + "_LockedReg", address(r.id, kLocked), 4, "RO",
                           element("Sign", "Unsigned") + kLittleEndian);
}

std::string ParameterInfoBuilderXML::feature(const RegisterInfo& r, const std::string& name,
                                             const char* nameSpace,
                                             std::span<const GenApiEntryName> renames) {
    const std::string target = nodeName(r.parameterName);
    const std::string value = target + "_Val";
    const std::string unit = r.unit != nullptr && *r.unit != '\0' ? element("Unit", escape(r.unit)) : "";
    auto open = [&](const char* kind) {
        return std::string("  <") + kind + " Name=\"" + name + "\" NameSpace=\"" + nameSpace + "\">\n" +
               commonElements(r, r.name);
    };
    auto limits = [&]() {
        return pellucid::genapi::hasLimits(r)
                   ? element("pMin", target + "_MinReg") + element("pMax", target + "_MaxReg")
                   : std::string();
    };
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_INT:
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64: {
            const Range range = rangeOf(r);
            if (const GenApiStandardFeature* command = commandOn(r.id);
                command != nullptr && std::strcmp(nameSpace, "Custom") == 0) {
                // A count that acts when written (pulses to send) is a command; how many it sends
                // is the consumer's setting, limited as the parameter is.
                const std::string count = name + "_Count";
                return open("Command") + element("pValue", value) + element("pCommandValue", count) +
                       "  </Command>\n" + "  <Integer Name=\"" + count + "\" NameSpace=\"Custom\">\n" +
                       element("ToolTip", "How many the command " + name + " sends.") +
                       element("DisplayName", name + " count") + element("Visibility", "Expert") +
                       element("Value", std::to_string(command->value)) + limits() +
                       (range.step >= 1 ? element("Inc", number(range.step)) : "") + unit + "  </Integer>\n";
            }
            return open("Integer") + element("pValue", value) + limits() +
                   (range.step >= 1 ? element("Inc", number(range.step)) : "") + unit + "  </Integer>\n";
        }
        case REG_FORMAT_DOUBLE:
            return open("Float") + element("pValue", value) + limits() +
                   (r.u.dReg.steps > kFinestFloatStep ? element("Inc", number(r.u.dReg.steps)) : "") + unit +
                   "  </Float>\n";
        case REG_FORMAT_ENUM: {
            if (isCommand(r)) {
                return open("Command") + element("pValue", value) +
                       element("CommandValue", std::to_string(r.u.eReg.enumValues[0])) + "  </Command>\n";
            }
            std::string entries;
            for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
                const char* symbol =
                    r.u.eReg.enumDefName[i] != nullptr ? r.u.eReg.enumDefName[i] : r.u.eReg.enumNames[i];
                std::string entryName = nodeName(symbol != nullptr ? symbol : "");
                for (const GenApiEntryName& rename : renames) {
                    if (symbol != nullptr && std::strcmp(rename.symbol, symbol) == 0) entryName = rename.name;
                }
                entries += "    <EnumEntry Name=\"" + entryName + "\">\n";
                entries += "  " + element("DisplayName", escape(r.u.eReg.enumNames[i]));
                entries += "  " + element("Value", std::to_string(r.u.eReg.enumValues[i]));
                entries += "    </EnumEntry>\n";
            }
            return open("Enumeration") + entries + element("pValue", value) + "  </Enumeration>\n";
        }
        case REG_FORMAT_STRING:
            return open("StringReg") +
                   element("Address", hex(pellucid::genapi::address(r.id, pellucid::genapi::kValue))) +
                   element("Length", std::to_string(pellucid::genapi::kStringLength)) +
                   element("AccessMode", "RW") + element("pPort", "Device") + element("Cachable", "NoCache") +
                   "  </StringReg>\n";
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD: {
            const int entries =
                r.format == REG_FORMAT_UINTFIELD ? r.u.uifReg.nrOfElements : r.u.ifReg.nrOfElements;
            const std::string index = name + "_Index";
            return "  <Integer Name=\"" + index + "\" NameSpace=\"" + nameSpace + "\">\n" +
                   element("ToolTip",
                           "Entry of " + name + " that the feature " + name + " reads and writes.") +
                   element("DisplayName", name + " index") + element("Visibility", "Expert") +
                   element("Value", "0") + element("Min", "0") +
                   element("Max", std::to_string(entries > 0 ? entries - 1 : 0)) + element("Inc", "1") +
                   element("pSelected", name) + "  </Integer>\n" + open("Integer") +
                   element("pValue", value) + limits() + element("Inc", "1") + unit + "  </Integer>\n";
        }
        default:
            return {};  // kinds the registry never creates
    }
}

std::string ParameterInfoBuilderXML::standardFeatures() {
    std::vector<std::pair<std::string, std::string>> categories;  // name, its features
    for (const GenApiStandardFeature& f : mWrapper.getStandardFeatures()) {
        const RegisterInfo* r = record(f.id);
        if (r == nullptr) continue;
        const std::string target = nodeName(r->parameterName);
        switch (f.kind) {
            case GenApiStandardFeature::Alias:
                mNodes += feature(*r, f.name, "Standard", f.entries);
                break;
            case GenApiStandardFeature::Command:
                mNodes += "  <Command Name=\"" + std::string(f.name) + "\" NameSpace=\"Standard\">\n" +
                          commonElements(*r, f.name) + element("pValue", target + "_Val") +
                          element("CommandValue", std::to_string(f.value)) + "  </Command>\n";
                break;
            case GenApiStandardFeature::OnOff: {
                if (r->format != REG_FORMAT_ENUM) continue;
                std::string off, on;
                int64_t lowest = INT64_MAX, highest = INT64_MIN;
                for (int i = 0; i < r->u.eReg.nrOfElements; ++i) {
                    const char* symbol = r->u.eReg.enumDefName[i];
                    const int64_t v = r->u.eReg.enumValues[i];
                    lowest = std::min(lowest, v), highest = std::max(highest, v);
                    if (symbol == nullptr) continue;
                    if (std::strcmp(symbol, f.off) == 0) off = std::to_string(v);
                    if (std::strcmp(symbol, f.on) == 0) on = std::to_string(v);
                }
                if (off.empty() || on.empty()) continue;
                // The converter's range is its formula at the limits of what it converts: an
                // integer over the entries' span keeps it at Off..On.
                const std::string converter = std::string(f.name) + "_Conv";
                const std::string span = std::string(f.name) + "_Span";
                mNodes += "  <Enumeration Name=\"" + std::string(f.name) + "\" NameSpace=\"Standard\">\n" +
                          commonElements(*r, f.name) +
                          "    <EnumEntry Name=\"Off\">\n      <Value>0</Value>\n    </EnumEntry>\n"
                          "    <EnumEntry Name=\"On\">\n      <Value>1</Value>\n    </EnumEntry>\n" +
                          element("pValue", converter) + "  </Enumeration>\n";
                mNodes += "  <IntConverter Name=\"" + converter + "\">\n" +
                          element("Visibility", "Invisible") + "    <pVariable Name=\"CUR\">" + target +
                          "_Val</pVariable>\n" +
                          element("FormulaTo",
                                  "(FROM = 0) ? " + off + " : ((CUR = " + off + ") ? " + on + " : CUR)") +
                          element("FormulaFrom", "(TO = " + off + ") ? 0 : 1") + element("pValue", span) +
                          "  </IntConverter>\n";
                mNodes += "  <Integer Name=\"" + span + "\">\n" + element("Visibility", "Invisible") +
                          element("pValue", target + "_Val") + element("Min", std::to_string(lowest)) +
                          element("Max", std::to_string(highest)) + "  </Integer>\n";
                break;
            }
        }
        auto it = std::find_if(categories.begin(), categories.end(),
                               [&](const auto& c) { return c.first == f.category; });
        if (it == categories.end()) it = categories.insert(categories.end(), {f.category, {}});
        it->second += element("pFeature", f.name);
    }
    std::string root;
    for (const auto& [name, features] : categories) {
        root += element("pFeature", name);
        mNodes +=
            "  <Category Name=\"" + name + "\" NameSpace=\"Standard\">\n" + features + "  </Category>\n";
    }
    return root;
}

std::string ParameterInfoBuilderXML::build() {
    mNodes.clear();
    std::string root;
    for (RegisterInfo* g = mInfo->getRegisterInfo(mPort); g != nullptr;
         g = mInfo->getNextRegisterInfo(g, mPort)) {
        const std::string name = nodeName(g->name != nullptr ? g->name : "");
        root += element("pFeature", name);
        category(*g, name);
    }
    root += standardFeatures();
    const char* uid = mWrapper.getDesignUid();
    std::string doc = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    doc += "<RegisterDescription ModelName=\"" + nodeName(mWrapper.getCameraType()) + "\" VendorName=\"" +
           nodeName(mWrapper.getManufacturer()) + "\" ToolTip=\"Parameters of the " +
           escape(mWrapper.getCameraType()) +
           " applet\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"1\" SubMinorVersion=\"0\" "
           "ProductGuid=\"" +
           escape(uid) + "\" VersionGuid=\"" + escape(uid) +
           "\" xmlns=\"http://www.genicam.org/GenApi/Version_1_1\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 "
           "http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd\">\n";
    doc += "  <Category Name=\"Root\" NameSpace=\"Standard\">\n" + root + "  </Category>\n";
    doc += mNodes;
    doc += "  <Port Name=\"Device\" NameSpace=\"Standard\">\n";
    doc += element("ToolTip", "The applet's parameters, their limits and access, addressed by their ids.");
    doc += "  </Port>\n</RegisterDescription>\n";
    return doc;
}
