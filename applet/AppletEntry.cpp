// Entry points of the applet library: Std_entry builds the applet object for a board, Info
// answers questions about the library that need no board.
#include <cstdlib>
#include <new>
#include <string>

#include "AppletHap.h"
#include "AppletIcon.h"
#include "AppletWrapper.h"
#include "applet_entry.h"
#include "applet_export.h"
#include "fg_constants.h"
#include "haprt.h"

APPLET_EXPORT void* Std_entry(ZEdevice* device, int* error, int flag) {
    int dummy = 0;
    if (error == nullptr) error = &dummy;
    if (flag != 0) {
        *error = FG_INVALID_PARAMETER;
        return nullptr;
    }
    FgZeWrapperImpl* applet = nullptr;
    try {
        applet = new FgZeWrapperImpl();
    } catch (...) {
        *error = FG_NOT_ENOUGH_MEMORY;
        return nullptr;
    }

    *error = applet->initializeDllFunctions("libfglib5.so");
    if (*error != 0) {
        delete applet;
        return nullptr;
    }

    fpga_design* design =
        std::getenv("__QORV_FORCE_EXTERNAL_HAP") != nullptr
            ? HapLoadHapFileWithType(FgZeWrapperImpl::kDesignFileName, FgZeWrapperImpl::kDesignTypeCode, 1)
            : HapLoadDesignFromBuffer(rawHap, rawHapSize, 1);
    if (design == nullptr) {
        // The object is left allocated on purpose: the SDK library it opened stays loaded.
        *error = FG_DESIGN_LOAD_FAILED;
        return nullptr;
    }

    *error = applet->runFgInit(FgZeWrapperImpl::kDesignFileName, device, design, false);
    if (*error != 0) {
        HapUnloadHapFile(design);
        delete applet;
        return nullptr;
    }

    try {
        applet->initHandles(device, design);
        applet->initInternalMaps();
        applet->retrieveIds();
        applet->createUserParameters();
        applet->executeInitRoutines();
        applet->setDefaultValues();
    } catch (const std::bad_alloc&) {
        *error = FG_NOT_ENOUGH_MEMORY;
        delete applet;
        return nullptr;
    }
    return applet;
}

APPLET_EXPORT int Info(int query, const void** data, uint64_t* size, int* dataType) {
    if (data == nullptr || size == nullptr || dataType == nullptr) return FG_INVALID_PARAMETER;
    auto answer = [&](const void* d, uint64_t s, int type) {
        *data = d;
        *size = s;
        *dataType = type;
        return 0;
    };
    auto text = [&](const char* s) {
        return answer(s, std::char_traits<char>::length(s) + 1, FG_PARAM_TYPE_CHAR_PTR);
    };
    static const uint32_t typeCode = FgZeWrapperImpl::kDesignTypeCode;
    switch (query) {
        case INFO_APPLET_ICON:
            return answer(appletIcon, appletIconSize, FG_PARAM_TYPE_COMPLEX_DATATYPE);
        case INFO_APPLET_DESIGN:
            return answer(rawHap, rawHapSize, FG_PARAM_TYPE_COMPLEX_DATATYPE);
        case INFO_APPLET_HAP_UID:
            return text(c_HAP_UID);
        case INFO_APPLET_BITSTREAM_UID:
            return text(c_BITSTREAM_UID);
        case INFO_APPLET_NAME:
            return text(FgZeWrapperImpl::kAppletName);
        case INFO_APPLET_VERSION:
            return text(FgZeWrapperImpl::kAppletVersion);
        case INFO_APPLET_TYPE_CODE:
            return answer(&typeCode, sizeof typeCode, FG_PARAM_TYPE_UINT32_T);
        default:
            return FG_INVALID_PARAMETER;
    }
}
