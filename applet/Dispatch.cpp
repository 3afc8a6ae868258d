// From the exported get and set calls to the per-parameter methods: the parameter lock, the
// direct-access id ranges, the id switches generated from the parameter list, and the lookups.
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <stdexcept>

#include "AppletWrapper.h"
#include "EnumTables.h"
#include "haprt.h"
#include "qorv_hw.h"

namespace {

using GuardT = qorv::templates::patterns::GenericLockGuard;

}  // namespace

// ---- maps ----

void FgZeWrapperImpl::initInternalMaps() {
    if (const char* raw = std::getenv("QORV_ENABLE_DZEA")) {
        std::string value(raw);
        for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        dzeaEnabled = value == "yes" || value == "true" || value == "on" || value == "1";
    }

    auto add = [this](const std::string& name, int id) {
        if (mNameToId.emplace(name, id).second) mIndexToName.push_back(name);
    };
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) add(#N, N);
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) add(#N, N);
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) add(#N, N);
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) add(#N, N);
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help) add(#N, N);
#include "ParameterList.h"

    if (draEnabled) {
        const int count = HapGetNrOfRegister(designHandle());
        for (int i = 1; i <= count; ++i) {
            const char* name = HapGetRegisterName(designHandle(), i);
            if (name == nullptr) continue;
            const int number = HapGetRegisterByName(designHandle(), name);
            if (number > 0) add(std::string("DRA_") + name, number + FG_DIRECT_REGISTER_ID_BASE);
        }
    }
    if (dzeaEnabled) {
        auto walk = [&](const RegisterInfo* r, auto&& self) -> void {
            if (r == nullptr) return;
            if (r->format == REG_FORMAT_GROUP) {
                for (int i = 0; i < r->u.gReg.nrOfElements; ++i) self(r->u.gReg.elements[i], self);
            } else if (r->parameterName != nullptr) {
                const int id = getParameterIdByName(r->parameterName);
                if (id > 0) add(std::string("DZEA_") + r->parameterName, id + FG_BASE_WRAPPER_ID_BASE);
            }
        };
        for (const RegisterInfo* g = getUnwrappedParameterInfo(); g != nullptr; g = g->next) walk(g, walk);
    }

    // The design numbers its events; each SDK event name pairs with the design event of that name.
    static const char* const kEventNames[] = {FG_EVENT_NAME_LIST};
    for (int index = 0; index < 64; ++index) {
        const HapEvent* event = HapGetEvent(designHandle(), index);
        if (event == nullptr) break;
        if (event->name == nullptr) continue;
        for (const char* sdkName : kEventNames) {
            if (std::strcmp(sdkName, event->name) == 0) {
                mEventNameToMask[sdkName] = event->mask;
                mEventMaskToName[event->mask] = sdkName;
            }
        }
    }

    mDmaToProcess[0] = 0;
}

int FgZeWrapperImpl::mapDmaToProcess(int dmaIndex) const {
    const auto it = mDmaToProcess.find(dmaIndex);
    if (it == mDmaToProcess.end()) throw FG_INVALID_PARAMETER;
    return it->second;
}

int FgZeWrapperImpl::Fg_getParameterIdByName(const char* name) {
    if (name == nullptr || *name == '\0') return fgError().setErr(FG_INVALID_PARAMETER);
    const auto it = mNameToId.find(name);
    if (it == mNameToId.end()) return fgError().setErr(FG_INVALID_PARAMETER);
    fgError().setErr(0);
    return it->second;
}

const char* FgZeWrapperImpl::Fg_getParameterName(int index) {
    if (index < 0 || static_cast<size_t>(index) >= mIndexToName.size()) {
        fgError().setErr(FG_INVALID_PARAMETER);
        return nullptr;
    }
    fgError().setErr(0);
    return mIndexToName[static_cast<size_t>(index)].c_str();
}

int FgZeWrapperImpl::Fg_getParameterId(int index) {
    const char* name = Fg_getParameterName(index);
    return name != nullptr ? Fg_getParameterIdByName(name) : FG_INVALID_PARAMETER;
}

int FgZeWrapperImpl::Fg_getParameterCount() {
    fgError().setErr(0);
    return static_cast<int>(mIndexToName.size());
}

unsigned long FgZeWrapperImpl::Fg_getEventMask(const char* name) {
    const auto it = name != nullptr ? mEventNameToMask.find(name) : mEventNameToMask.end();
    if (it == mEventNameToMask.end()) {
        fgError().setErr(FG_INVALID_PARAMETER);
        return 0;
    }
    fgError().setErr(0);
    return it->second;
}

const char* FgZeWrapperImpl::Fg_getEventName(unsigned long mask) {
    const auto it = mEventMaskToName.find(mask);
    if (it == mEventMaskToName.end()) {
        fgError().setErr(FG_INVALID_PARAMETER);
        return nullptr;
    }
    fgError().setErr(0);
    return it->second.c_str();
}

// The document is built from the description records, which setters change under the lock.
int FgZeWrapperImpl::Fg_getParameterInfoXML(Fg_Struct_s* fg, int port, char* buffer, size_t* size) {
    GuardT guard(mParameterLock);
    return FgZeWrapper::Fg_getParameterInfoXML(fg, port, buffer, size);
}

// ---- get and set ----

int FgZeWrapperImpl::setDirectRegister(int reg, const void* value) {
    const int width = HapGetRegisterBitRange(designHandle(), reg);
    const uint64_t v =
        width <= 32 ? *static_cast<const uint32_t*>(value) : *static_cast<const uint64_t*>(value);
    return QorvRegisterWrite(boardHandle(), reg, v);
}

int FgZeWrapperImpl::getDirectRegister(int reg, void* value) {
    const int width = HapGetRegisterBitRange(designHandle(), reg);
    uint64_t v = 0;
    if (const int rc = QorvRegisterRead(boardHandle(), reg, &v); rc != 0) return rc;
    if (width <= 32) {
        *static_cast<uint32_t*>(value) = static_cast<uint32_t>(v);
    } else {
        *static_cast<uint64_t*>(value) = v;
    }
    return 0;
}

int FgZeWrapperImpl::Fg_setParameter(int id, const void* value, int dmaIndex) {
    if (value == nullptr) return fgError().setErr(FG_INVALID_PARAMETER);
    GuardT guard(mParameterLock);
    int result = 0;
    if (id > FG_BASE_WRAPPER_ID_BASE) {
        result = setUnwrappedParameter(id - FG_BASE_WRAPPER_ID_BASE, value, dmaIndex);
    } else if (draEnabled && id > FG_DIRECT_REGISTER_ID_BASE) {
        result = setDirectRegister(id - FG_DIRECT_REGISTER_ID_BASE, value);
    } else {
        try {
            setParameter(id, value, dmaIndex);
        } catch (int error) {
            result = error;
        }
    }
    return fgError().setErr(result);
}

int FgZeWrapperImpl::Fg_getParameter(int id, void* value, int dmaIndex) {
    if (value == nullptr) return fgError().setErr(FG_INVALID_PARAMETER);
    GuardT guard(mParameterLock);
    int result = 0;
    if (id > FG_BASE_WRAPPER_ID_BASE) {
        result = getUnwrappedParameter(id - FG_BASE_WRAPPER_ID_BASE, value, dmaIndex);
    } else if (draEnabled && id > FG_DIRECT_REGISTER_ID_BASE) {
        result = getDirectRegister(id - FG_DIRECT_REGISTER_ID_BASE, value);
    } else {
        try {
            getParameter(id, value, dmaIndex);
        } catch (int error) {
            result = error;
        }
    }
    return fgError().setErr(result);
}

namespace {

// Where a setter's argument comes from: the caller's value pointer (the dispatch) or a number
// (default values, configuration files).
struct FromPointer {
    const void* p;
    uint32_t uint() const { return *static_cast<const uint32_t*>(p); }
    double dbl() const { return *static_cast<const double*>(p); }
    const char* str() const { return static_cast<const char*>(p); }
    const FieldParameterInt_s* field() const { return static_cast<const FieldParameterInt_s*>(p); }
};

struct FromNumber {
    double v;
    uint32_t uint() const { return static_cast<uint32_t>(v); }
    double dbl() const { return v; }
    const char* str() const { throw FG_INVALID_PARAMETER; }
    const FieldParameterInt_s* field() const { throw FG_INVALID_PARAMETER; }
};

}  // namespace

#define PARAM_SET_CASE_OWN(N, setFn, arg) \
    case N:                               \
        setFn(arg, throwOnError);         \
        return;
#define PARAM_SET_CASE_RO(N, setFn, arg) \
    case N:                              \
        throw FG_NOT_AVAILABLE;
#define PARAM_SET_CASE_NONE(N, setFn, arg)

template <typename Arg>
void FgZeWrapperImpl::dispatchSet(int id, const Arg& arg, bool throwOnError) {
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    PARAM_SET_CASE_##set(N, set_sdk_param_##N##_P0, arg.uint())
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    PARAM_SET_CASE_##set(N, set_sdk_param_##N##_P0, arg.uint())
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    PARAM_SET_CASE_##set(N, set_sdk_param_##N##_P0, arg.dbl())
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    PARAM_SET_CASE_##set(N, set_sdk_param_##N##_P0, arg.str())
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help) \
    PARAM_SET_CASE_##set(N, set_sdk_param_##N##_P0, arg.field())
#include "ParameterList.h"
        // SDK parameters this applet does not offer, but which callers may try to write.
        case FG_APC_STOP_TIMEOUT:
        case FG_NR_OF_DMAS:
        case FG_TRANSFER_LEN:
            throw FG_NOT_AVAILABLE;
        default:
            throw FG_INVALID_PARAMETER;
    }
}

void FgZeWrapperImpl::setParameter(int id, const void* value, int dmaIndex) {
    if (mapDmaToProcess(dmaIndex) != 0) throw FG_INVALID_PARAMETER;
    dispatchSet(id, FromPointer{value}, true);
}

void FgZeWrapperImpl::setFromNumber(int id, double value, bool throwOnError) {
    try {
        dispatchSet(id, FromNumber{value}, throwOnError);
    } catch (int) {
        if (throwOnError) throw;
    }
}

#define PARAM_GET_CASE_OWN(N, getFn, out) \
    case N:                               \
        getFn(out);                       \
        return;
#define PARAM_GET_CASE_CACHE(N, getFn, out) PARAM_GET_CASE_OWN(N, getFn, out)
#define PARAM_GET_CASE_NONE(N, getFn, out)

void FgZeWrapperImpl::getParameter(int id, void* value, int dmaIndex) {
    if (mapDmaToProcess(dmaIndex) != 0) throw FG_INVALID_PARAMETER;
    if (value == nullptr) throw FG_INVALID_PARAMETER;
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    PARAM_GET_CASE_##get(N, get_sdk_param_##N##_P0, static_cast<uint32_t*>(value))
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    PARAM_GET_CASE_##get(N, get_sdk_param_##N##_P0, static_cast<uint32_t*>(value))
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    PARAM_GET_CASE_##get(N, get_sdk_param_##N##_P0, static_cast<double*>(value))
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    PARAM_GET_CASE_##get(N, get_sdk_param_##N##_P0, static_cast<char*>(value))
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help) \
    PARAM_GET_CASE_##get(N, get_sdk_param_##N##_P0, static_cast<FieldParameterInt_s*>(value))
#include "ParameterList.h"
        default:
            throw FG_INVALID_PARAMETER;
    }
}

void FgZeWrapperImpl::copyOut(const std::string& cache, char* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    std::memcpy(out, cache.c_str(), cache.size() + 1);
}

void FgZeWrapperImpl::copyOut(const LutArray& cache, FieldParameterInt_s* out) {
    if (out == nullptr || out->index >= cache.size()) throw FG_INVALID_PARAMETER;
    getFieldCache(cache.data(), out);
}

// ---- DMA operations this applet does not offer ----

int FgZeWrapperImpl::processChannelToDma(int, int) {
    throw std::runtime_error("processChannelToDma() is not implemented.");
}
int FgZeWrapperImpl::mapDmaToFormat(int) {
    throw std::runtime_error("mapDmaToFormat() is not implemented.");
}
int FgZeWrapperImpl::setDmaAlignment(int, int) {
    throw std::runtime_error("setDmaAlignment() is not implemented.");
}
int FgZeWrapperImpl::getDmaAlignment(int) {
    throw std::runtime_error("getDmaAlignment() is not implemented.");
}
