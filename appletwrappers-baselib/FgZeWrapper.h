// Design-independent base of an applet object: binds the SDK at run time, owns the SDK's handle
// for the board, the last error and the parameter description registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "Fg_Error.h"
#include "ParameterInfoBuilderXML.h"
#include "fg_types.h"
#include "parameterInfo.h"

class Fg_ConfigFileParser;

using Fg_Struct_s = Fg_Struct;

struct FgZeWrapperPrivate {
    using InitSlaveAwareFn = Fg_Struct_s* (*)(const char*, ZEdevice*, fpga_design*, int);
    using InitFn = Fg_Struct_s* (*)(const char*, ZEdevice*, fpga_design*);
    using IdByNameFn = int (*)(Fg_Struct_s*, const char*);
    using LastErrorFn = int (*)(Fg_Struct_s*);

    FgZeWrapperPrivate();
    ~FgZeWrapperPrivate();
    FgZeWrapperPrivate(const FgZeWrapperPrivate&) = delete;
    FgZeWrapperPrivate& operator=(const FgZeWrapperPrivate&) = delete;

    Fg_Struct_s* mWrapperFg;          // table of bound SDK functions (Master unused)
    Fg_Struct_s* mFglibFg = nullptr;  // the SDK's own handle for this board
    ZEdevice* mBoardHandle = nullptr;
    fpga_design* mDesignHandle = nullptr;  // owned: unloaded on destruction
    void* dll = nullptr;
    InitSlaveAwareFn Fg_Init_Func_Slave_Aware = nullptr;
    InitFn Fg_Init_Func = nullptr;
    IdByNameFn DLL_Fg_getParameterIdByName = nullptr;
    LastErrorFn DLL_Fg_getLastErrorNumber = nullptr;
    std::unique_ptr<Fg_ParameterInfo> mParameterInfo;
    Fg_Error mError;
};

class FgZeWrapper {
  public:
    FgZeWrapper();
    FgZeWrapper(const FgZeWrapper&) = delete;
    FgZeWrapper& operator=(const FgZeWrapper&) = delete;

    // The declaration order below is the virtual table order the SDK-facing layer relies on.
    virtual bool loadConfig(Fg_ConfigFileParser& parser) = 0;
    virtual void saveConfig(Fg_ConfigFileParser& parser) = 0;
    virtual int processChannelToDma(int process, int channel) = 0;
    virtual int mapDmaToFormat(int dmaIndex) = 0;
    virtual int setDmaAlignment(int dmaIndex, int alignment) = 0;
    virtual int getDmaAlignment(int dmaIndex) = 0;
    virtual ~FgZeWrapper();
    virtual void createUserParameters() = 0;
    virtual int Fg_setParameter(int id, const void* value, int dmaIndex) = 0;
    virtual int Fg_getParameter(int id, void* value, int dmaIndex) = 0;
    virtual int Fg_getParameterIdByName(const char* name) = 0;
    virtual const char* Fg_getParameterName(int index) = 0;
    virtual int Fg_getParameterId(int index) = 0;
    virtual int Fg_getParameterCount() = 0;
    virtual int Fg_saveConfig(Fg_Struct_s* fg, const char* filename);
    virtual int Fg_loadConfig(Fg_Struct_s* fg, const char* filename);
    virtual int Fg_getParameterInfoXML(Fg_Struct_s* fg, int port, char* buffer, size_t* bufferSize);
    virtual ShadingMaster* Fg_AllocShading(int a, int b);
    virtual int Fg_FreeShading(ShadingMaster* sh);
    virtual int Shad_SetSubValueLine(ShadingMaster* sh, int x, int channel, float sub);
    virtual int Shad_SetMultValueLine(ShadingMaster* sh, int x, int channel, float mult);
    virtual int Shad_SetFixedPatternNoiseLine(ShadingMaster* sh, int x, int channel, int on);
    virtual int Shad_GetMaxLine(ShadingMaster* sh);
    virtual int Shad_GetAccess(ShadingMaster* sh);
    virtual int Shad_FreeAccess(ShadingMaster* sh);
    virtual int Shad_WriteActLine(ShadingMaster* sh, int line);
    virtual unsigned long Fg_getEventMask(const char* name);
    virtual const char* Fg_getEventName(unsigned long mask);
    virtual const char* getManufacturer() = 0;
    virtual const char* getCameraType() = 0;
    virtual const char* getCameraVersion() = 0;
    virtual int getAppletID() = 0;
    // For the XML description: the design's unique identifier and a parameter's help text.
    virtual const char* getDesignUid() { return ""; }
    virtual const char* getParameterHelp(int /*id*/) { return ""; }
    // Features of the standard naming convention the applet's parameters stand for.
    virtual std::span<const GenApiStandardFeature> getStandardFeatures() { return {}; }

    // Opens the SDK library and binds its functions; 0, or -2031 when it cannot be opened.
    int initializeDllFunctions(const char* library);
    // Lets the SDK create its own handle for the board and design; 0 or the SDK's error.
    int runFgInit(const char* hapName, ZEdevice* device, fpga_design* design, bool flag);
    void initHandles(ZEdevice* device, fpga_design* design);

    // Process-wide handles for helpers that have no object at hand; a non-null argument
    // replaces the stored one. Shared by all applet objects: the last one set wins.
    static ZEdevice* accessDeviceHandle(ZEdevice* h);
    static fpga_design* accessDesignHandle(fpga_design* h);

    void setError(int error) { d->mError.setErr(error); }
    int Fg_getLastErrorNumber() const { return d->mError.getErrorNumberBuffer(); }
    int Fg_getLastErrorNumberZe();

    int getParameterIdByName(const char* name);
    int getUnwrappedParameter(int id, void* value, int dmaIndex);
    int setUnwrappedParameter(int id, const void* value, int dmaIndex);
    RegisterInfo* getUnwrappedParameterInfo();
    RegisterInfo* Fg_getParameterInfo(int port);

    static void setFieldCache(void* array, const FieldParameterInt_s* record);
    static void getFieldCache(const void* array, FieldParameterInt_s* record);
    static void setFieldCache(void* array, const FieldParameterDouble_s* record);
    static void getFieldCache(const void* array, FieldParameterDouble_s* record);

    static char* createTempFile();
    static void deleteTempFile(char* path);

    fpga_design* designHandle() const { return d->mDesignHandle; }
    ZEdevice* boardHandle() const { return d->mBoardHandle; }
    Fg_Error& fgError() { return d->mError; }
    Fg_ParameterInfo* parameterInfo() const { return d->mParameterInfo.get(); }
    Fg_Struct_s* wrapperFg() const { return d->mWrapperFg; }
    Fg_Struct_s* fglibFg() const { return d->mFglibFg; }

  protected:
    std::unique_ptr<FgZeWrapperPrivate> d;
    std::map<int, std::map<int, RegisterInfo*>> register_info_map;  // dma index -> id -> record
    bool draEnabled = false;
};
