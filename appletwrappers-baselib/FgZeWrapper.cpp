#include "FgZeWrapper.h"

#include <dlfcn.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "Fg_ConfigFileParser.h"
#include "ParameterInfoBuilderXML.h"
#include "TempFiles.h"
#include "fg_constants.h"
#include "haprt.h"

namespace {

std::atomic<ZEdevice*> gDeviceHandle{nullptr};
std::atomic<fpga_design*> gDesignHandle{nullptr};

// Binds one SDK symbol into a table slot of matching type; a missing symbol leaves it null.
template <typename Fn>
void bind(void* dll, const char* name, Fn& slot) {
    slot = reinterpret_cast<Fn>(dlsym(dll, name));
}

}  // namespace

FgZeWrapperPrivate::FgZeWrapperPrivate()
    : mWrapperFg(static_cast<Fg_Struct_s*>(std::calloc(1, sizeof(Fg_Struct_s)))),
      mParameterInfo(std::make_unique<Fg_ParameterInfo>()) {
    if (mWrapperFg == nullptr) throw std::bad_alloc();
}

FgZeWrapperPrivate::~FgZeWrapperPrivate() {
    std::free(mWrapperFg);
}

FgZeWrapper::FgZeWrapper() : d(std::make_unique<FgZeWrapperPrivate>()) {}

FgZeWrapper::~FgZeWrapper() {
    if (d->dll != nullptr) dlclose(d->dll);
    if (d->mDesignHandle != nullptr) HapUnloadHapFile(d->mDesignHandle);
    d.reset();
    register_info_map.clear();
}

int FgZeWrapper::initializeDllFunctions(const char* library) {
    d->dll = library != nullptr ? dlopen(library, RTLD_NOW) : nullptr;
    if (d->dll == nullptr) {
        setError(FG_SDK_NOT_LOADED);
        return FG_SDK_NOT_LOADED;
    }
    Fg_Struct_s& t = *d->mWrapperFg;
    void* dll = d->dll;
    bind(dll, "Fg_getAppletId", t.DLL_Fg_getAppletId);
    bind(dll, "Fg_setParameter", t.DLL_Fg_setParameter);
    bind(dll, "Fg_setParameterWithType", t.DLL_Fg_setParameterWithType);
    bind(dll, "Fg_getParameter", t.DLL_Fg_getParameter);
    bind(dll, "Fg_getParameterWithType", t.DLL_Fg_getParameterWithType);
    bind(dll, "Fg_saveConfig", t.DLL_Fg_saveConfig);
    bind(dll, "Fg_loadConfig", t.DLL_Fg_loadConfig);
    bind(dll, "Fg_Acquire", t.DLL_Fg_Acquire);
    bind(dll, "Fg_stopAcquire", t.DLL_Fg_stopAcquire);
    bind(dll, "Fg_getLastPicNumberBlockingEx", t.DLL_Fg_getLastPicNumberBlockingEx);
    bind(dll, "Fg_getLastPicNumberEx", t.DLL_Fg_getLastPicNumberEx);
    bind(dll, "Fg_FreeGrabber", t.DLL_Fg_FreeGrabber);
    bind(dll, "Fg_getLastErrorNumber", t.DLL_Fg_getLastErrorNumber);
    bind(dll, "Fg_getStatusEx", t.DLL_Fg_getStatusEx);
    bind(dll, "Fg_AcquireEx", t.DLL_Fg_AcquireEx);
    bind(dll, "Fg_stopAcquireEx", t.DLL_Fg_stopAcquireEx);
    bind(dll, "Fg_getParameterInfo", t.DLL_Fg_getParameterInfo);
    bind(dll, "Fg_AllocShading", t.DLL_Fg_AllocShading);
    bind(dll, "Fg_FreeShading", t.DLL_Fg_FreeShading);
    bind(dll, "Shad_SetSubValueLine", t.DLL_Shad_SetSubValueLine);
    bind(dll, "Shad_SetMultValueLine", t.DLL_Shad_SetMultValueLine);
    bind(dll, "Shad_SetFixedPatternNoiseLine", t.DLL_Shad_SetFixedPatternNoiseLine);
    bind(dll, "Shad_GetMaxLine", t.DLL_Shad_GetMaxLine);
    bind(dll, "Shad_GetAccess", t.DLL_Shad_GetAccess);
    bind(dll, "Shad_FreeAccess", t.DLL_Shad_FreeAccess);
    bind(dll, "Shad_WriteActLine", t.DLL_Shad_WriteActLine);
    bind(dll, "Fg_getParameterIdByName", d->DLL_Fg_getParameterIdByName);
    return 0;
}

int FgZeWrapper::runFgInit(const char* hapName, ZEdevice* device, fpga_design* design, bool flag) {
    bind(d->dll, "Fg_InitHandleSlaveAware", d->Fg_Init_Func_Slave_Aware);
    bind(d->dll, "Fg_InitHandle", d->Fg_Init_Func);
    bind(d->dll, "Fg_getLastErrorNumber", d->DLL_Fg_getLastErrorNumber);

    Fg_Struct_s* fg;
    if (d->Fg_Init_Func_Slave_Aware != nullptr) {
        fg = d->Fg_Init_Func_Slave_Aware(hapName, device, design, flag ? 1 : 0);
    } else if (d->Fg_Init_Func != nullptr) {
        fg = d->Fg_Init_Func(hapName, device, design);
    } else {
        setError(FG_SDK_NOT_LOADED);
        return FG_SDK_NOT_LOADED;
    }
    d->mFglibFg = fg;
    if (fg != nullptr) {
        accessDeviceHandle(device);
        accessDesignHandle(design);
        return 0;
    }
    const int error = d->DLL_Fg_getLastErrorNumber != nullptr ? d->DLL_Fg_getLastErrorNumber(nullptr)
                                                              : FG_DESIGN_LOAD_FAILED;
    setError(error);
    return error;
}

void FgZeWrapper::initHandles(ZEdevice* device, fpga_design* design) {
    d->mBoardHandle = device;
    d->mDesignHandle = design;
}

ZEdevice* FgZeWrapper::accessDeviceHandle(ZEdevice* h) {
    if (h != nullptr) gDeviceHandle.store(h);
    return gDeviceHandle.load();
}

fpga_design* FgZeWrapper::accessDesignHandle(fpga_design* h) {
    if (h != nullptr) gDesignHandle.store(h);
    return gDesignHandle.load();
}

int FgZeWrapper::Fg_getLastErrorNumberZe() {
    if (d->mWrapperFg->DLL_Fg_getLastErrorNumber == nullptr || d->mFglibFg == nullptr)
        return FG_NOT_AVAILABLE;
    return d->mWrapperFg->DLL_Fg_getLastErrorNumber(d->mFglibFg);
}

int FgZeWrapper::getParameterIdByName(const char* name) {
    if (d->DLL_Fg_getParameterIdByName == nullptr || d->mFglibFg == nullptr) return FG_NOT_AVAILABLE;
    return d->DLL_Fg_getParameterIdByName(d->mFglibFg, name);
}

int FgZeWrapper::getUnwrappedParameter(int id, void* value, int dmaIndex) {
    if (d->mWrapperFg->DLL_Fg_getParameter == nullptr) return FG_NOT_AVAILABLE;
    return d->mWrapperFg->DLL_Fg_getParameter(d->mFglibFg, id, value, static_cast<unsigned>(dmaIndex));
}

int FgZeWrapper::setUnwrappedParameter(int id, const void* value, int dmaIndex) {
    if (d->mWrapperFg->DLL_Fg_setParameter == nullptr) return FG_NOT_AVAILABLE;
    return d->mWrapperFg->DLL_Fg_setParameter(d->mFglibFg, id, value, static_cast<unsigned>(dmaIndex));
}

RegisterInfo* FgZeWrapper::getUnwrappedParameterInfo() {
    if (d->mWrapperFg->DLL_Fg_getParameterInfo == nullptr) return nullptr;
    return d->mWrapperFg->DLL_Fg_getParameterInfo(d->mFglibFg, 0);
}

RegisterInfo* FgZeWrapper::Fg_getParameterInfo(int port) {
    return d->mParameterInfo->getRegisterInfo(port);
}

void FgZeWrapper::setFieldCache(void* array, const FieldParameterInt_s* record) {
    if (record != nullptr) static_cast<uint32_t*>(array)[record->index] = record->value;
}

void FgZeWrapper::getFieldCache(const void* array, FieldParameterInt_s* record) {
    if (record != nullptr) record->value = static_cast<const uint32_t*>(array)[record->index];
}

void FgZeWrapper::setFieldCache(void* array, const FieldParameterDouble_s* record) {
    if (record != nullptr) static_cast<double*>(array)[record->index] = record->value;
}

void FgZeWrapper::getFieldCache(const void* array, FieldParameterDouble_s* record) {
    if (record != nullptr) record->value = static_cast<const double*>(array)[record->index];
}

char* FgZeWrapper::createTempFile() {
    return qorv::createTempFile();
}

void FgZeWrapper::deleteTempFile(char* path) {
    qorv::deleteTempFile(path);
}

int FgZeWrapper::Fg_saveConfig(Fg_Struct_s*, const char* filename) {
    // A no-op on Linux, where no locale has that name; the writer uses "." whatever the locale.
    std::setlocale(LC_ALL, "English");
    Fg_ConfigFileParser parser(nullptr, nullptr, false);
    if (!parser.setSaveFile(filename)) {
        setError(FG_FILE_ACCESS_FAILED);
        return FG_FILE_ACCESS_FAILED;
    }
    parser.writeConfigFileHeader();
    parser.writeConfigFile("Hersteller", getManufacturer());
    parser.writeConfigFile("Typ", getCameraType());
    parser.writeConfigFile("Version", getCameraVersion());
    parser.writeConfigFileIntKey("LoadAppletId", getAppletID());
    parser.writeConfigFileIntKey("AktivePort", 0);
    saveConfig(parser);
    setError(0);
    return 0;
}

int FgZeWrapper::Fg_loadConfig(Fg_Struct_s*, const char* filename) {
    std::setlocale(LC_ALL, "English");
    Fg_ConfigFileParser parser(nullptr, filename, true);
    if (!parser.checkFileExist(filename)) {
        // The caller learns that the file is missing; the last error says the load failed.
        setError(FG_CONFIG_LOAD_FAILED);
        return FG_FILE_NOT_FOUND;
    }
    std::string maker, type;
    int port = 0;
    const bool ok = parser.checkFileType(filename) && parser.parseKeyFromLine("Hersteller", maker) == 0 &&
                    parser.parseKeyFromLine("Typ", type) == 0 && type == getCameraType() &&
                    parser.parseIntKeyFromHeader("AktivePort", port) == 0 && loadConfig(parser);
    setError(ok ? 0 : FG_CONFIG_LOAD_FAILED);
    return ok ? 0 : FG_CONFIG_LOAD_FAILED;
}

int FgZeWrapper::Fg_getParameterInfoXML(Fg_Struct_s*, int port, char* buffer, size_t* size) {
    if (size == nullptr || (buffer != nullptr && *size == 0)) {
        setError(FG_NOT_ENOUGH_MEMORY);
        return FG_NOT_ENOUGH_MEMORY;
    }
    if (d->mParameterInfo->getRegisterInfo(port) == nullptr) {
        setError(FG_VALUE_HAS_NO_CODE);
        return FG_VALUE_HAS_NO_CODE;
    }
    const std::string document = ParameterInfoBuilderXML(d->mParameterInfo.get(), *this, port).build();
    if (buffer != nullptr) {
        if (document.size() >= *size) {
            setError(FG_NOT_ENOUGH_MEMORY);
            return FG_NOT_ENOUGH_MEMORY;
        }
        std::memset(buffer, 0, *size);
        std::memcpy(buffer, document.c_str(), document.size());
    }
    *size = document.size() + 1;
    setError(0);
    return 0;
}

// This applet family has no shading unit.
ShadingMaster* FgZeWrapper::Fg_AllocShading(int, int) {
    return nullptr;
}
int FgZeWrapper::Fg_FreeShading(ShadingMaster*) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_SetSubValueLine(ShadingMaster*, int, int, float) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_SetMultValueLine(ShadingMaster*, int, int, float) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_SetFixedPatternNoiseLine(ShadingMaster*, int, int, int) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_GetMaxLine(ShadingMaster*) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_GetAccess(ShadingMaster*) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_FreeAccess(ShadingMaster*) {
    return FG_SHADING_NOT_SUPPORTED;
}
int FgZeWrapper::Shad_WriteActLine(ShadingMaster*, int) {
    return FG_SHADING_NOT_SUPPORTED;
}

unsigned long FgZeWrapper::Fg_getEventMask(const char* name) {
    if (name == nullptr) return 0;
    for (int index = 0; index < 64; ++index) {
        const HapEvent* event = HapGetEvent(d->mDesignHandle, index);
        if (event != nullptr && event->name != nullptr && std::strcmp(event->name, name) == 0)
            return 1UL << index;
    }
    return 0;
}

const char* FgZeWrapper::Fg_getEventName(unsigned long mask) {
    for (int index = 0; index < 64; ++index) {
        if (mask != 1UL << index) continue;
        const HapEvent* event = HapGetEvent(d->mDesignHandle, index);
        return event != nullptr ? event->name : nullptr;
    }
    return nullptr;
}
