// The description tree of the applet's parameters, built once from the parameter list.
#include <iterator>
#include <string>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "EnumTables.h"
#include "haprt.h"

namespace enums = pellucid::enums;

namespace {

template <size_t N>
RegisterInfo* addEnum(Fg_ParameterInfo& reg, RegisterInfo* group, const char* name,
                      const EnumField_ (&table)[N], int access, int rangeFlag, const char* unit, int id) {
    RegisterInfo* r =
        reg.addInfoEnum(group, name, name, static_cast<int>(N), access, rangeFlag, 1, unit, id, 0);
    if (r == nullptr) return nullptr;
    for (size_t i = 0; i < N; ++i) {
        reg.addEnumNameValue(r, static_cast<int>(i), table[i].name, static_cast<int>(table[i].value),
                             table[i].defName);
    }
    return r;
}

}  // namespace

void FgZeWrapperImpl::createUserParameters() {
    Fg_ParameterInfo& reg = *parameterInfo();
    auto remember = [this](RegisterInfo* r) {
        if (r != nullptr) register_info_map[0][r->id] = r;
    };
    RegisterInfo* group_TOP = nullptr;
#define PARAM_GROUP(key, parent, name) RegisterInfo* group_##key = reg.addGroupInfo(0, group_##parent, name);
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    remember(reg.addInfoUInt(group_##group, #N, #N, from, to, step, access, rangeFlag, 1, unit, N, 0));
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    remember(reg.addInfoDouble(group_##group, #N, #N, from, to, step, access, rangeFlag, 1, unit, N, 0));
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    remember(addEnum(reg, group_##group, #N, enums::table, access, rangeFlag, unit, N));
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    remember(reg.addInfoString(group_##group, #N, #N, pattern, access, rangeFlag, 1, unit, N, 0));
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help)                  \
    remember(reg.addInfoUIntField(group_##group, #N, #N, entries, from, to, 0, access, rangeFlag, 1, unit, \
                                  N, 0));
#include "ParameterList.h"
    (void)group_TOP;

    if (draEnabled) addDirectRegisterParameters(reg.addGroupInfo(0, nullptr, "Direct Register Access"));
    if (dzeaEnabled) addDirectZeParameters(reg.addGroupInfo(0, nullptr, "Direct ZE Access"));
}

void FgZeWrapperImpl::addDirectRegisterParameters(RegisterInfo* group) {
    Fg_ParameterInfo& reg = *parameterInfo();
    const int count = HapGetNrOfRegister(designHandle());
    for (int number = 1; number <= count; ++number) {
        const char* name = HapGetRegisterName(designHandle(), number);
        const int width = HapGetRegisterBitRange(designHandle(), number);
        if (name == nullptr || width < 1) continue;
        const std::string full = std::string("DRA_") + name;
        const int id = FG_DIRECT_REGISTER_ID_BASE + number;
        const int access = HapGetRegisterDirection(designHandle(), number) == 1 ? ACC_R : ACC_RWC;
        RegisterInfo* r =
            width <= 32
                ? reg.addInfoUInt(group, full.c_str(), full.c_str(), 0,
                                  static_cast<uint32_t>(width == 32 ? ~0u : (1u << width) - 1), 1, access, 1,
                                  1, "", id, 0)
                : reg.addInfoUInt64(group, full.c_str(), full.c_str(), 0,
                                    width == 64 ? ~0ull : (1ull << width) - 1, 1, access, 1, 1, "", id, 0);
        if (r != nullptr) register_info_map[0][id] = r;
    }
}

// Mirrors the SDK's own parameters, each with the kind and range the SDK describes.
void FgZeWrapperImpl::addDirectZeParameters(RegisterInfo* group) {
    Fg_ParameterInfo& reg = *parameterInfo();
    auto add = [&](const RegisterInfo& src, auto&& self) -> void {
        if (src.format == REG_FORMAT_GROUP) {
            for (int i = 0; i < src.u.gReg.nrOfElements; ++i) {
                if (src.u.gReg.elements[i] != nullptr) self(*src.u.gReg.elements[i], self);
            }
            return;
        }
        if (src.parameterName == nullptr) return;
        const int sdkId = getParameterIdByName(src.parameterName);
        if (sdkId <= 0) return;
        const std::string name = std::string("DZEA_") + src.parameterName;
        const int id = FG_BASE_WRAPPER_ID_BASE + sdkId;
        RegisterInfo* r = nullptr;
        switch (src.format) {
            case REG_FORMAT_DOUBLE:
                r = reg.addInfoDouble(group, name.c_str(), name.c_str(), src.u.dReg.from, src.u.dReg.to,
                                      src.u.dReg.steps, src.accessFlags, src.rangeFlags, 1, src.unit, id, 0);
                break;
            case REG_FORMAT_UINT64:
            case REG_FORMAT_INT64:
                r = reg.addInfoUInt64(group, name.c_str(), name.c_str(), src.u.iReg64.from, src.u.iReg64.to,
                                      src.u.iReg64.steps, src.accessFlags, src.rangeFlags, 1, src.unit, id,
                                      0);
                break;
            case REG_FORMAT_INT:
                r = reg.addInfoInt(group, name.c_str(), name.c_str(), src.u.iReg.from, src.u.iReg.to,
                                   src.u.iReg.steps, src.accessFlags, src.rangeFlags, 1, src.unit, id, 0);
                break;
            default:
                r = reg.addInfoUInt(group, name.c_str(), name.c_str(), src.u.uiReg.from, src.u.uiReg.to,
                                    src.u.uiReg.steps, src.accessFlags, src.rangeFlags, 1, src.unit, id, 0);
        }
        if (r != nullptr) register_info_map[0][id] = r;
    };
    for (const RegisterInfo* g = getUnwrappedParameterInfo(); g != nullptr; g = g->next) add(*g, add);
}

RegisterInfo* FgZeWrapperImpl::descriptionOf(int id, int dmaIndex) {
    auto& records = register_info_map[dmaIndex];
    if (auto it = records.find(id); it != records.end()) return it->second;
    // Not entered yet: look for it in the tree of port 0.
    RegisterInfo* found = nullptr;
    auto search = [&](RegisterInfo* r, auto&& self) -> void {
        if (found != nullptr || r == nullptr) return;
        if (r->format != REG_FORMAT_GROUP) {
            if (r->id == id) found = r;
            return;
        }
        for (int i = 0; i < r->u.gReg.nrOfElements; ++i) self(r->u.gReg.elements[i], self);
    };
    for (RegisterInfo* g = parameterInfo()->getRegisterInfo(0); g != nullptr && found == nullptr;
         g = g->next) {
        search(g, search);
    }
    if (found != nullptr) records[id] = found;
    return found;
}

const char* FgZeWrapperImpl::getParameterHelp(int id) {
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    case N:                                                                           \
        return help;
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    case N:                                                                             \
        return help;
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    case N:                                                                  \
        return help;
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    case N:                                                                      \
        return help;
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help) \
    case N:                                                                               \
        return help;
#include "ParameterList.h"
        default:
            return "";
    }
}

const char* FgZeWrapperImpl::getDesignUid() {
    return c_HAP_UID;
}
