#include "ParameterInfoBuilderXML.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <utility>
#include <vector>

#include "FgZeWrapper.h"
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

const char* accessMode(int flags) {
    return flags == FG_ACCESS_READ ? "RO" : "RW";
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

}  // namespace

ParameterInfoBuilderXML::ParameterInfoBuilderXML(Fg_ParameterInfo* info, FgZeWrapper& wrapper, int port)
    : mInfo(info), mWrapper(wrapper), mPort(port) {}

std::string ParameterInfoBuilderXML::commonElements(const RegisterInfo& r, const char* displayName) {
    std::string s;
    s += element("ToolTip", escape(mWrapper.getParameterHelp(r.id)));
    s += element("DisplayName", escape(displayName));
    s += element("Visibility", visibility(r.visibilityFlags));
    return s;
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
        if (child != nullptr && child->format != REG_FORMAT_GROUP) feature(*child);
    }
    for (const auto& [sub, subName] : subgroups) category(*sub, subName);
}

void ParameterInfoBuilderXML::feature(const RegisterInfo& r) {
    if (r.parameterName == nullptr) return;
    const std::string name = nodeName(r.parameterName);
    const std::string value = name + "_Val";
    const char* access = accessMode(r.accessFlags);
    const std::string imposed = r.accessFlags == FG_ACCESS_READ ? element("ImposedAccessMode", "RO") : "";
    const std::string unit = r.unit != nullptr && *r.unit != '\0' ? element("Unit", escape(r.unit)) : "";
    const uint64_t address = static_cast<uint32_t>(r.id);
    auto integer = [&](double from, double to, double step) {
        std::string s = "  <Integer Name=\"" + name + "\" NameSpace=\"Custom\">\n" +
                        commonElements(r, r.name) + imposed + element("pValue", value) +
                        element("Min", number(from)) + element("Max", number(to));
        if (step >= 1) s += element("Inc", number(step));
        return s + unit + "  </Integer>\n";
    };
    const std::string littleEndian = element("Endianess", "LittleEndian");
    switch (r.format) {
        case REG_FORMAT_UINT:
            mNodes += integer(r.u.uiReg.from, r.u.uiReg.to, r.u.uiReg.steps);
            mNodes +=
                registerNode("IntReg", value, address, 4, access, element("Sign", "Unsigned") + littleEndian);
            break;
        case REG_FORMAT_INT:
            mNodes += integer(r.u.iReg.from, r.u.iReg.to, r.u.iReg.steps);
            mNodes +=
                registerNode("IntReg", value, address, 4, access, element("Sign", "Signed") + littleEndian);
            break;
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
            mNodes += integer(static_cast<double>(r.u.iReg64.from), static_cast<double>(r.u.iReg64.to),
                              static_cast<double>(r.u.iReg64.steps));
            mNodes += registerNode(
                "IntReg", value, address, 8, access,
                element("Sign", r.format == REG_FORMAT_INT64 ? "Signed" : "Unsigned") + littleEndian);
            break;
        case REG_FORMAT_DOUBLE:
            mNodes += "  <Float Name=\"" + name + "\" NameSpace=\"Custom\">\n" + commonElements(r, r.name) +
                      imposed + element("pValue", value) + element("Min", number(r.u.dReg.from)) +
                      element("Max", number(r.u.dReg.to)) +
                      (r.u.dReg.steps > 0 ? element("Inc", number(r.u.dReg.steps)) : "") + unit +
                      "  </Float>\n";
            mNodes += registerNode("FloatReg", value, address, 8, access, littleEndian);
            break;
        case REG_FORMAT_ENUM: {
            std::string entries;
            for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
                const char* symbol =
                    r.u.eReg.enumDefName[i] != nullptr ? r.u.eReg.enumDefName[i] : r.u.eReg.enumNames[i];
                entries += "    <EnumEntry Name=\"" + nodeName(symbol != nullptr ? symbol : "") + "\">\n";
                entries += "  " + element("DisplayName", escape(r.u.eReg.enumNames[i]));
                entries += "  " + element("Value", std::to_string(r.u.eReg.enumValues[i]));
                entries += "    </EnumEntry>\n";
            }
            mNodes += "  <Enumeration Name=\"" + name + "\" NameSpace=\"Custom\">\n" +
                      commonElements(r, r.name) + imposed + entries + element("pValue", value) +
                      "  </Enumeration>\n";
            mNodes +=
                registerNode("IntReg", value, address, 4, access, element("Sign", "Unsigned") + littleEndian);
            break;
        }
        case REG_FORMAT_STRING:
            mNodes += "  <StringReg Name=\"" + name + "\" NameSpace=\"Custom\">\n" +
                      commonElements(r, r.name) + imposed + element("Address", hex(address)) +
                      element("Length", std::to_string(kStringLength)) + element("AccessMode", access) +
                      element("pPort", "Device") + element("Cachable", "NoCache") + "  </StringReg>\n";
            break;
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD: {
            const bool isUnsigned = r.format == REG_FORMAT_UINTFIELD;
            const int entries = isUnsigned ? r.u.uifReg.nrOfElements : r.u.ifReg.nrOfElements;
            const std::string index = name + "_Index";
            mNodes +=
                "  <Integer Name=\"" + index + "\" NameSpace=\"Custom\">\n" +
                element("ToolTip", "Entry of " + name + " that the feature " + name + " reads and writes.") +
                element("DisplayName", name + " index") + element("Visibility", "Expert") +
                element("pSelected", name) + element("Value", "0") + element("Min", "0") +
                element("Max", std::to_string(entries > 0 ? entries - 1 : 0)) + element("Inc", "1") +
                "  </Integer>\n";
            mNodes += isUnsigned ? integer(r.u.uifReg.from, r.u.uifReg.to, 1)
                                 : integer(r.u.ifReg.from, r.u.ifReg.to, 1);
            mNodes += registerNode("IntReg", value, address << 32, 4, access,
                                   element("Sign", isUnsigned ? "Unsigned" : "Signed") + littleEndian, index);
            break;
        }
        default:
            break;  // kinds the registry never creates
    }
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
    const char* uid = mWrapper.getDesignUid();
    std::string doc = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
    doc += "<RegisterDescription ModelName=\"" + nodeName(mWrapper.getCameraType()) + "\" VendorName=\"" +
           nodeName(mWrapper.getManufacturer()) + "\" ToolTip=\"Parameters of the " +
           escape(mWrapper.getCameraType()) +
           " applet\" StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
           "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
           "ProductGuid=\"" +
           escape(uid) + "\" VersionGuid=\"" + escape(uid) +
           "\" xmlns=\"http://www.genicam.org/GenApi/Version_1_1\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
           "xsi:schemaLocation=\"http://www.genicam.org/GenApi/Version_1_1 "
           "http://www.genicam.org/GenApi/GenApiSchema_Version_1_1.xsd\">\n";
    doc += "  <Category Name=\"Root\" NameSpace=\"Standard\">\n" + root + "  </Category>\n";
    doc += mNodes;
    doc += "  <Port Name=\"Device\" NameSpace=\"Standard\">\n";
    doc += element("ToolTip", "The applet's parameters, addressed by their ids.");
    doc += "  </Port>\n</RegisterDescription>\n";
    return doc;
}
