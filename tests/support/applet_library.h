// Loads the applet library the way the SDK does (by path, RTLD_LOCAL) and binds its exports, so
// that tests call the applet's functions and not the SDK's functions of the same names.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "applet_entry.h"
#include "fglib5.h"

#define PELLUCID_APPLET_EXPORTS(X)                                                                         \
    X(Std_entry)                                                                                           \
    X(Info)                                                                                                \
    X(Fg_getAppletId) X(Fg_setParameterWithType) X(Fg_getParameterWithType) X(Fg_getNrOfParameter)         \
        X(Fg_getParameterName) X(Fg_getParameterId) X(Fg_getParameterIdByName) X(Fg_getStatusEx)           \
            X(Fg_saveConfig) X(Fg_loadConfig) X(Fg_AcquireEx) X(Fg_stopAcquireEx) X(Fg_getLastPicNumberEx) \
                X(Fg_getLastPicNumberBlockingEx) X(Fg_FreeGrabber) X(Fg_getLastErrorNumber)                \
                    X(Fg_getParameterInfo) X(Fg_getParameterInfoXML) X(Fg_AllocShading) X(Fg_FreeShading)  \
                        X(Shad_SetSubValueLine) X(Shad_SetMultValueLine) X(Shad_SetFixedPatternNoiseLine)  \
                            X(Shad_GetMaxLine) X(Shad_GetAccess) X(Shad_FreeAccess) X(Shad_WriteActLine)   \
                                X(Fg_getEventMask) X(Fg_getEventName)

struct AppletLibrary {
#define PELLUCID_DECLARE(name) decltype(&::name) name = nullptr;
    PELLUCID_APPLET_EXPORTS(PELLUCID_DECLARE)
#undef PELLUCID_DECLARE
    void* handle = nullptr;

    // The library, loaded once per process.
    static const AppletLibrary& get() {
        static const AppletLibrary library(PELLUCID_APPLET_PATH);
        return library;
    }

    explicit AppletLibrary(const char* path) : handle(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (handle == nullptr) throw std::runtime_error(std::string("cannot load the applet: ") + dlerror());
#define PELLUCID_BIND(name)                                        \
    name = reinterpret_cast<decltype(name)>(dlsym(handle, #name)); \
    if (name == nullptr) throw std::runtime_error("applet lacks " #name);
        PELLUCID_APPLET_EXPORTS(PELLUCID_BIND)
#undef PELLUCID_BIND
    }
};
