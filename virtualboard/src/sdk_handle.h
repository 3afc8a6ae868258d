// The SDK's handles (libfglib5.so internals).
#pragma once

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <type_traits>

#include "board.h"

class Fg_ParameterInfo;

namespace vboard::sdk {

// Every function of fglib5.h that takes a handle: an applet handle routes each to the applet's
// export of the same name. The three memory functions are the SDK's own unless an applet
// provides them.
// clang-format off
#define VBOARD_ROUTED_FUNCTIONS(X) \
    X(Fg_getAppletId) \
    X(Fg_setParameter) \
    X(Fg_setParameterWithType) \
    X(Fg_getParameter) \
    X(Fg_getParameterWithType) \
    X(Fg_saveConfig) \
    X(Fg_loadConfig) \
    X(Fg_Acquire) \
    X(Fg_stopAcquire) \
    X(Fg_getLastPicNumberBlockingEx) \
    X(Fg_getLastPicNumberEx) \
    X(Fg_FreeGrabber) \
    X(Fg_getLastErrorNumber) \
    X(Fg_getStatusEx) \
    X(Fg_AcquireEx) \
    X(Fg_stopAcquireEx) \
    X(Fg_getParameterInfo) \
    X(Fg_AllocShading) \
    X(Fg_FreeShading) \
    X(Shad_SetSubValueLine) \
    X(Shad_SetMultValueLine) \
    X(Shad_SetFixedPatternNoiseLine) \
    X(Shad_GetMaxLine) \
    X(Shad_GetAccess) \
    X(Shad_FreeAccess) \
    X(Shad_WriteActLine) \
    X(Fg_getParameterIdByName) \
    X(Fg_getNrOfParameter) \
    X(Fg_getParameterName) \
    X(Fg_getParameterId) \
    X(Fg_getParameterInfoXML) \
    X(Fg_getEventMask) \
    X(Fg_getEventName) \
    X(Fg_AllocMemEx) \
    X(Fg_FreeMemEx) \
    X(Fg_getImagePtrEx)
// clang-format on

enum class Fn {
#define VBOARD_FN_ENUM(name) name,
    VBOARD_ROUTED_FUNCTIONS(VBOARD_FN_ENUM)
#undef VBOARD_FN_ENUM
        kCount
};

// An opened applet library and the exports found in it (null where it has none).
struct AppletLibrary {
    void* dl = nullptr;
    void* fn[static_cast<int>(Fn::kCount)] = {};
};

struct HandleState {
    static constexpr uint32_t kMagic = 0x46474844;  // "FGHD"
    uint32_t magic = kMagic;
    Board* board = nullptr;
    std::atomic<int> lastError{0};
    std::atomic<bool> appletRaised{false};  // the last call routed to the applet threw
    std::unique_ptr<AppletLibrary> applet;  // set on handles made by Fg_Init
    std::mutex infoMutex;
    std::unique_ptr<Fg_ParameterInfo> info;  // the SDK's own parameter description, built on demand

    HandleState();
    ~HandleState();
};

// What an Fg_Struct* handed out by the SDK points to: the public part first, so the pointers
// convert both ways.
struct Handle {
    Fg_Struct fg;
    HandleState* state;
};
static_assert(std::is_standard_layout_v<Handle>);

inline HandleState* stateOf(Fg_Struct* fg) {
    if (fg == nullptr) return nullptr;
    HandleState* s = reinterpret_cast<Handle*>(fg)->state;
    return s != nullptr && s->magic == HandleState::kMagic ? s : nullptr;
}

inline bool isApplet(const HandleState* s) {
    return s->applet != nullptr;
}

// The applet's export, cast to the SDK function's own type.
template <typename F>
F appletFunction(const HandleState* s, Fn fn) {
    return reinterpret_cast<F>(s->applet->fn[static_cast<int>(fn)]);
}

// Writes "fglib5: <function>: the applet raised: <what>" to standard error.
void reportAppletException(const char* function, const char* what);

// Calls an applet's export. An exception must not unwind into the program: its message goes to
// standard error, and the program gets FG_APPLET_EXCEPTION (null or 0 where a pointer or a mask
// is answered) and reads it as the handle's last error until the next routed call.
template <typename R, typename Call>
R callApplet(HandleState* s, const char* name, Call&& call) {
    s->appletRaised = false;
    try {
        return call();
    } catch (const std::exception& e) {
        reportAppletException(name, e.what());
    } catch (...) {
        reportAppletException(name, "an exception of unknown type");
    }
    s->appletRaised = true;
    if constexpr (std::is_pointer_v<R> || std::is_unsigned_v<R>) {
        return R{};
    } else {
        return static_cast<R>(FG_APPLET_EXCEPTION);
    }
}

// On an applet handle, hands the call to the applet's export of the same name (or answers
// `missing` when the applet has none).
#define ROUTE_TO_APPLET(s, name, missing, ...)                                      \
    if (isApplet(s)) {                                                              \
        auto function = appletFunction<decltype(&::name)>(s, Fn::name);             \
        if (function == nullptr) return (missing);                                  \
        using Result = decltype(function(__VA_ARGS__));                             \
        return callApplet<Result>(s, #name, [&] { return function(__VA_ARGS__); }); \
    }

// The SDK's memory functions: an applet that exports one gets the call; otherwise the SDK
// answers it itself, also on an applet handle.
#define ROUTE_IF_PROVIDED(s, name, ...)                                                 \
    if (isApplet(s)) {                                                                  \
        if (auto function = appletFunction<decltype(&::name)>(s, Fn::name)) {           \
            using Result = decltype(function(__VA_ARGS__));                             \
            return callApplet<Result>(s, #name, [&] { return function(__VA_ARGS__); }); \
        }                                                                               \
    }

// Records the handle's last error and returns it.
inline int fail(HandleState* s, int error) {
    s->lastError = error;
    return error;
}

// Frees the SDK's memory and acquisition of a handle that is going away (sdk_acquisition.cpp).
void releaseHandleResources(Fg_Struct* fg, HandleState* s);

}  // namespace vboard::sdk
