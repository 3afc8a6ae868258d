// Parameters of the "Miscellaneous" group and the applet's fixed read-outs.
#include <cstring>

#include "AppletWrapper.h"

namespace {

constexpr uint32_t kVersionNumber = 2;
constexpr uint32_t kRevisionNumber = 4;
constexpr uint32_t kProcessingBits = 12;

}  // namespace

// The timeout and the turbo DMA mode belong to the SDK; the applet keeps a copy to answer reads.
void FgZeWrapperImpl::set_sdk_param_FG_TIMEOUT_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_TIMEOUT, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TIMEOUT_P0, value, throwOnError,
           [&] { check(setUnwrappedParameter(FG_TIMEOUT, &value, 0)); });
}

void FgZeWrapperImpl::set_sdk_param_FG_TURBO_DMA_MODE_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_TURBO_DMA_MODE, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TURBO_DMA_MODE_P0, value, throwOnError,
           [&] { check(setUnwrappedParameter(FG_TURBO_DMA_MODE, &value, 0)); });
}

void FgZeWrapperImpl::get_sdk_param_FG_APPLET_ID_P0(uint32_t* out) {
    copyOut(static_cast<uint32_t>(getAppletID()), out);
}
void FgZeWrapperImpl::get_sdk_param_FG_APPLET_VERSION_P0(uint32_t* out) {
    copyOut(kVersionNumber, out);
}
void FgZeWrapperImpl::get_sdk_param_FG_APPLET_REVISION_P0(uint32_t* out) {
    copyOut(kRevisionNumber, out);
}
void FgZeWrapperImpl::get_sdk_param_FG_PIXELDEPTH_P0(uint32_t* out) {
    copyOut(kProcessingBits, out);
}
// The DMA engine of this design reports no errors of its own.
void FgZeWrapperImpl::get_sdk_param_FG_DMASTATUS_P0(uint32_t* out) {
    copyOut(0u, out);
}

void FgZeWrapperImpl::get_sdk_param_FG_HAP_FILE_P0(char* out) {
    copyOut(std::string(kDesignFileName), out);
}

void FgZeWrapperImpl::get_sdk_param_FG_DIGIO_INPUT_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    // The input levels are the SDK's own parameter, read typed on its handle.
    const auto get = wrapperFg()->DLL_Fg_getParameterWithType;
    if (get == nullptr || fglibFg() == nullptr) throw FG_NOT_AVAILABLE;
    uint32_t levels = 0;
    check(get(fglibFg(), FG_DIGIO_INPUT, &levels, 0, FG_PARAM_TYPE_UINT32_T));
    *out = levels;
}
