#include "AppletWrapper.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "fg_constants.h"
#include "haprt.h"
#include "qorv_hw.h"

namespace {

// An environment switch is on when its value, lower-cased, is one of `accepted`.
bool environmentSwitch(const char* variable, std::initializer_list<const char*> accepted) {
    const char* raw = std::getenv(variable);
    if (raw == nullptr) return false;
    std::string value(raw);
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::any_of(accepted.begin(), accepted.end(), [&](const char* a) { return value == a; });
}

}  // namespace

FgZeWrapperImpl::FgZeWrapperImpl() {
    draEnabled = environmentSwitch("QORV_ENABLE_DRA", {"yes", "true", "1"});
}

FgZeWrapperImpl::~FgZeWrapperImpl() noexcept = default;

// Configuration files come with the configuration parser.
bool FgZeWrapperImpl::loadConfig(Fg_ConfigFileParser&) { return false; }
void FgZeWrapperImpl::saveConfig(Fg_ConfigFileParser&) {}

int FgZeWrapperImpl::processChannelToDma(int, int) {
    throw std::runtime_error("processChannelToDma() is not implemented.");
}
int FgZeWrapperImpl::mapDmaToFormat(int) { throw std::runtime_error("mapDmaToFormat() is not implemented."); }
int FgZeWrapperImpl::setDmaAlignment(int, int) {
    throw std::runtime_error("setDmaAlignment() is not implemented.");
}
int FgZeWrapperImpl::getDmaAlignment(int) { throw std::runtime_error("getDmaAlignment() is not implemented."); }

void FgZeWrapperImpl::initInternalMaps() {}
void FgZeWrapperImpl::retrieveIds() {}
void FgZeWrapperImpl::createUserParameters() {}
void FgZeWrapperImpl::executeInitRoutines() {}
void FgZeWrapperImpl::setDefaultValues() {}

int FgZeWrapperImpl::mapDmaToProcess(int dmaIndex) const {
    // One DMA channel, fed by process 0.
    if (dmaIndex != 0) throw FG_INVALID_PARAMETER;
    return 0;
}

void FgZeWrapperImpl::setParameter(int id, const void*, int dmaIndex) {
    if (mapDmaToProcess(dmaIndex) != 0) throw FG_INVALID_PARAMETER;
    (void)id;
    throw FG_INVALID_PARAMETER;
}

void FgZeWrapperImpl::getParameter(int id, void* value, int dmaIndex) {
    if (mapDmaToProcess(dmaIndex) != 0) throw FG_INVALID_PARAMETER;
    if (value == nullptr) throw FG_INVALID_PARAMETER;
    (void)id;
    throw FG_INVALID_PARAMETER;
}

int FgZeWrapperImpl::setDirectRegister(int reg, const void* value) {
    const int width = HapGetRegisterBitRange(designHandle(), reg);
    const uint64_t v = width <= 32 ? *static_cast<const uint32_t*>(value) : *static_cast<const uint64_t*>(value);
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
    qorv::templates::patterns::GenericLockGuard guard(mParameterLock);
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
    qorv::templates::patterns::GenericLockGuard guard(mParameterLock);
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

int FgZeWrapperImpl::Fg_getParameterIdByName(const char* name) {
    if (name == nullptr || *name == '\0') return fgError().setErr(FG_INVALID_PARAMETER);
    return fgError().setErr(FG_INVALID_PARAMETER);
}

const char* FgZeWrapperImpl::Fg_getParameterName(int) {
    fgError().setErr(FG_INVALID_PARAMETER);
    return nullptr;
}

int FgZeWrapperImpl::Fg_getParameterId(int) { return fgError().setErr(FG_INVALID_PARAMETER); }

int FgZeWrapperImpl::Fg_getParameterCount() { return 0; }
