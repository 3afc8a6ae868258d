// The C functions the SDK calls on a handle opened with this applet. Each finds the applet
// object in Master and either forwards to the SDK's own function (with the SDK's handle for the
// board) or calls the object. Error numbers never cross this boundary as exceptions; a misused
// parameter lock reports itself with std::logic_error, which goes on to the caller (the SDK).
#include <new>
#include <stdexcept>
#include <type_traits>

#include "FgZeWrapper.h"
#include "applet_export.h"
#include "fg_constants.h"

namespace {

FgZeWrapper* wrapperOf(Fg_Struct* fg) {
    return fg != nullptr ? static_cast<FgZeWrapper*>(fg->Master) : nullptr;
}

// Running out of memory is an error number like any other; every other exception passes.
template <typename R, typename Body>
R guarded(FgZeWrapper* w, R onError, Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        w->setError(FG_NOT_ENOUGH_MEMORY);
    }
    return onError;
}

template <typename R>
constexpr R errorResult(int error) {
    if constexpr (std::is_pointer_v<R>) {
        return nullptr;
    } else {
        return static_cast<R>(error);
    }
}

// Forwards a call to a bound SDK function, replacing the caller's handle with the SDK's handle.
// A failure leaves the SDK's own error number as the applet's last error; success resets it.
template <auto Slot, typename... Args>
auto forwardToSdk(Fg_Struct* fg, Args... args) {
    using Fn = std::remove_reference_t<decltype(std::declval<Fg_Struct&>().*Slot)>;
    using R = std::invoke_result_t<Fn, Fg_Struct*, Args...>;
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return errorResult<R>(FG_INVALID_HANDLE);
    Fn fn = w->wrapperFg()->*Slot;
    if (fn == nullptr || w->fglibFg() == nullptr) {
        w->setError(FG_NOT_AVAILABLE);
        return errorResult<R>(FG_NOT_AVAILABLE);
    }
    const R result = fn(w->fglibFg(), args...);
    w->setError(result < 0 ? w->Fg_getLastErrorNumberZe() : 0);
    return result;
}

// Shading calls report their result as the last error too.
template <typename Body>
int shading(Fg_Struct* fg, Body&& body) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    const int result = guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return body(w); });
    w->setError(result);
    return result;
}

}  // namespace

APPLET_EXPORT int Fg_getAppletId(Fg_Struct* fg, const char* ignored) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_getAppletId>(fg, ignored);
}

APPLET_EXPORT int Fg_setParameterWithType(Fg_Struct* fg, int parameter, const void* value,
                                          unsigned int dmaIndex,
                                          int /*type: the value's width follows from the parameter*/) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY,
                   [&] { return w->Fg_setParameter(parameter, value, static_cast<int>(dmaIndex)); });
}

APPLET_EXPORT int Fg_getParameterWithType(Fg_Struct* fg, int parameter, void* value, unsigned int dmaIndex,
                                          int type) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    // A 64-bit read of a 32-bit parameter must not leave garbage in the upper half.
    if ((type == FG_PARAM_TYPE_INT64_T || type == FG_PARAM_TYPE_UINT64_T) && value != nullptr) {
        *static_cast<uint64_t*>(value) = 0;
    }
    return guarded(w, FG_NOT_ENOUGH_MEMORY,
                   [&] { return w->Fg_getParameter(parameter, value, static_cast<int>(dmaIndex)); });
}

APPLET_EXPORT int Fg_getNrOfParameter(Fg_Struct* fg) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return w->Fg_getParameterCount(); });
}

APPLET_EXPORT const char* Fg_getParameterName(Fg_Struct* fg, int index) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return nullptr;
    return guarded(w, static_cast<const char*>(nullptr), [&] { return w->Fg_getParameterName(index); });
}

APPLET_EXPORT int Fg_getParameterId(Fg_Struct* fg, int index) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return w->Fg_getParameterId(index); });
}

APPLET_EXPORT int Fg_getParameterIdByName(Fg_Struct* fg, const char* name) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return w->Fg_getParameterIdByName(name); });
}

APPLET_EXPORT long Fg_getStatusEx(Fg_Struct* fg, int parameter, long data, unsigned int dmaIndex,
                                  dma_mem* memory) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_getStatusEx>(fg, parameter, data, dmaIndex, memory);
}

APPLET_EXPORT int Fg_saveConfig(Fg_Struct* fg, const char* filename) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return w->Fg_saveConfig(w->fglibFg(), filename); });
}

APPLET_EXPORT int Fg_loadConfig(Fg_Struct* fg, const char* filename) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY, [&] { return w->Fg_loadConfig(w->fglibFg(), filename); });
}

APPLET_EXPORT int Fg_AcquireEx(Fg_Struct* fg, unsigned int dmaIndex, long pictureCount, int flag,
                               dma_mem* memory) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_AcquireEx>(fg, dmaIndex, pictureCount, flag, memory);
}

APPLET_EXPORT int Fg_stopAcquireEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory, int flag) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_stopAcquireEx>(fg, dmaIndex, memory, flag);
}

APPLET_EXPORT long Fg_getLastPicNumberEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_getLastPicNumberEx>(fg, dmaIndex, memory);
}

APPLET_EXPORT long Fg_getLastPicNumberBlockingEx(Fg_Struct* fg, long pictureNumber, unsigned int dmaIndex,
                                                 int timeout, dma_mem* memory) {
    return forwardToSdk<&Fg_Struct::DLL_Fg_getLastPicNumberBlockingEx>(fg, pictureNumber, dmaIndex, timeout,
                                                                       memory);
}

APPLET_EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    int result = 0;
    // Calling the SDK with no bound function would jump to null: then there is nothing to free.
    if (w->wrapperFg()->DLL_Fg_FreeGrabber != nullptr && w->fglibFg() != nullptr) {
        result = w->wrapperFg()->DLL_Fg_FreeGrabber(w->fglibFg());
    }
    try {
        delete w;
    } catch (...) {
        // A misused lock reports itself from a destructor; the object is gone all the same.
    }
    fg->Master = nullptr;
    return result;
}

APPLET_EXPORT int Fg_getLastErrorNumber(Fg_Struct* fg) {
    FgZeWrapper* w = wrapperOf(fg);
    return w != nullptr ? w->Fg_getLastErrorNumber() : FG_INVALID_HANDLE;
}

APPLET_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct* fg, int index) {
    FgZeWrapper* w = wrapperOf(fg);
    // The SDK function is never called; its presence only says that the SDK describes parameters.
    if (w == nullptr || w->wrapperFg()->DLL_Fg_getParameterInfo == nullptr || w->fglibFg() == nullptr) {
        return nullptr;
    }
    return w->Fg_getParameterInfo(index);
}

APPLET_EXPORT int Fg_getParameterInfoXML(Fg_Struct* fg, int port, char* buffer, size_t* bufferSize) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return FG_INVALID_HANDLE;
    return guarded(w, FG_NOT_ENOUGH_MEMORY,
                   [&] { return w->Fg_getParameterInfoXML(fg, port, buffer, bufferSize); });
}

APPLET_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct* fg, int a, int b) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return nullptr;
    ShadingMaster* sh =
        guarded(w, static_cast<ShadingMaster*>(nullptr), [&] { return w->Fg_AllocShading(a, b); });
    w->setError(sh == nullptr ? FG_ERROR : 0);
    return sh;
}

APPLET_EXPORT int Fg_FreeShading(Fg_Struct* fg, ShadingMaster* sh) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Fg_FreeShading(sh); });
}

APPLET_EXPORT int Shad_SetSubValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float sub) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_SetSubValueLine(sh, x, channel, sub); });
}

APPLET_EXPORT int Shad_SetMultValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float mult) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_SetMultValueLine(sh, x, channel, mult); });
}

APPLET_EXPORT int Shad_SetFixedPatternNoiseLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel,
                                                int on) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_SetFixedPatternNoiseLine(sh, x, channel, on); });
}

APPLET_EXPORT int Shad_GetMaxLine(Fg_Struct* fg, ShadingMaster* sh) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_GetMaxLine(sh); });
}

APPLET_EXPORT int Shad_GetAccess(Fg_Struct* fg, ShadingMaster* sh) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_GetAccess(sh); });
}

APPLET_EXPORT int Shad_FreeAccess(Fg_Struct* fg, ShadingMaster* sh) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_FreeAccess(sh); });
}

APPLET_EXPORT int Shad_WriteActLine(Fg_Struct* fg, ShadingMaster* sh, int line) {
    return shading(fg, [&](FgZeWrapper* w) { return w->Shad_WriteActLine(sh, line); });
}

APPLET_EXPORT unsigned long Fg_getEventMask(Fg_Struct* fg, const char* name) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return 0;
    return guarded(w, 0UL, [&] { return w->Fg_getEventMask(name); });
}

APPLET_EXPORT const char* Fg_getEventName(Fg_Struct* fg, unsigned long mask) {
    FgZeWrapper* w = wrapperOf(fg);
    if (w == nullptr) return nullptr;
    return guarded(w, static_cast<const char*>(nullptr), [&] { return w->Fg_getEventName(mask); });
}
