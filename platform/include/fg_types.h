/* Types shared by the frame-grabber SDK, the platform runtimes and applet libraries.
 * C linkage, LP64, natural alignment: an applet binary must load unchanged on any
 * platform that presents these layouts. */
#ifndef PLATFORM_FG_TYPES_H
#define PLATFORM_FG_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZEdevice_s ZEdevice;           /* one board */
typedef struct fpga_design_s fpga_design;     /* one loaded hardware design */
typedef struct dma_mem_s dma_mem;             /* a set of DMA frame buffers */
typedef struct ShadingMaster_s ShadingMaster; /* shading access (unsupported by applets here) */

typedef struct FieldParameterInt_s {
    uint32_t value;
    uint32_t index;
} FieldParameterInt;

typedef struct FieldParameterDouble_s {
    double value;
    uint32_t index;
} FieldParameterDouble;

typedef struct FieldParameterAccess_s {
    int32_t vtype;  /* value type code of the entries (FG_PARAM_TYPE_UINT32_T for LUTs) */
    uint32_t index; /* first entry */
    uint32_t count; /* number of entries */
    uint32_t reserved;
    void* p; /* the entries */
} FieldParameterAccess;

/* Kind of a parameter description record; selects the member of RegisterInfo.u. */
typedef enum REG_FORMAT_e {
    REG_FORMAT_GROUP = 0,
    REG_FORMAT_UINT = 1,
    REG_FORMAT_FLOAT = 2,
    REG_FORMAT_ENUM = 3,
    REG_FORMAT_LUT = 4,
    REG_FORMAT_STRING = 5,
    REG_FORMAT_DOUBLE = 6,
    REG_FORMAT_UINTFIELD = 7,
    REG_FORMAT_DOUBLEFIELD = 8,
    REG_FORMAT_UINT64 = 9,
    REG_FORMAT_UINTFIELD64 = 10,
    REG_FORMAT_INT = 11,
    REG_FORMAT_INT64 = 12,
    REG_FORMAT_INTFIELD = 13,
    REG_FORMAT_INTFIELD64 = 14,
    REG_FORMAT_STRINGFIELD = 15,
    REG_FORMAT_ENUMFIELD = 16
} REG_FORMAT;

typedef struct RegisterInfo_s RegisterInfo;

typedef struct IntReg_S {
    int32_t from, to, steps, value;
} IntReg_S;
typedef struct UIntReg_S {
    uint32_t from, to, steps, value;
} UIntReg_S;
typedef struct IntReg64_S { /* also used for signed 64-bit parameters */
    uint64_t from, to, steps, value;
} IntReg64_S;
typedef struct FloatReg_S {
    float from, to, steps, value;
} FloatReg_S;
typedef struct DoubleReg_S {
    double from, to, steps, value;
} DoubleReg_S;
typedef struct GroupReg_S {
    int32_t nrOfElements;
    RegisterInfo** elements; /* exactly nrOfElements slots */
    int32_t autoIndex;       /* index the next child gets */
} GroupReg_S;
typedef struct EnumReg_S {
    int32_t nrOfElements;
    char** enumNames;
    int32_t* enumValues;
    int32_t absValue;
    int32_t indexValue;
    char** enumDefName; /* symbolic name of each entry, may be null */
} EnumReg_S;
typedef struct LutReg_S {
    int32_t nrOfElements, nrOfBits, id, number;
} LutReg_S;
typedef struct StringReg_S {
    char* string;
    char* FileExtension; /* extension offered for a file-name parameter, or null */
    int32_t strLen;
} StringReg_S;
typedef struct DoubleFieldReg_S {
    double from, to;
    int32_t nrOfElements, index;
    double value;
} DoubleFieldReg_S;
typedef struct IntFieldReg_S {
    int32_t from, to, nrOfElements, index, value;
} IntFieldReg_S;
typedef struct UIntFieldReg_S {
    uint32_t from, to;
    int32_t nrOfElements, index;
    uint32_t value;
} UIntFieldReg_S;
typedef struct Int64FieldReg_S {
    uint64_t from, to;
    int32_t nrOfElements, index;
    uint64_t value;
} Int64FieldReg_S;

/* One parameter description record: a group or a parameter. */
struct RegisterInfo_s {
    REG_FORMAT format;
    int index; /* position among the parent's elements; not set for top-level groups */
    char* name;
    char* parameterName; /* null for groups */
    int accessFlags;     /* 7 read-write-change, 3 read-write, 1 read only */
    int rangeFlags;
    int visibilityFlags;
    int id;
    union {
        IntReg_S iReg;
        UIntReg_S uiReg;
        IntReg64_S iReg64;
        FloatReg_S fReg;
        DoubleReg_S dReg;
        GroupReg_S gReg;
        EnumReg_S eReg;
        LutReg_S lReg;
        StringReg_S sReg;
        DoubleFieldReg_S dfReg;
        IntFieldReg_S ifReg;
        UIntFieldReg_S uifReg;
        Int64FieldReg_S if64Reg;
    } u;
    RegisterInfo* next;     /* next top-level group of the port */
    RegisterInfo* previous; /* previous top-level group of the port */
    int depth;              /* groups: 0 top level, parent's depth + 1 below */
    const char* parentName; /* sub-groups: the parent group's name */
    const char* unit;
    int port;
};

/* The SDK's board handle. The SDK may leave the function pointers unset in the handles it
 * hands out; applets keep a private copy of the same shape as their table of bound SDK
 * functions. */
typedef struct Fg_Struct_s Fg_Struct;
struct Fg_Struct_s {
    void* Master; /* the applet object of a board opened with an applet; null on a plain handle */
    int (*DLL_Fg_getAppletId)(Fg_Struct*, const char*);
    int (*DLL_Fg_setParameter)(Fg_Struct*, int, const void*, unsigned int);
    int (*DLL_Fg_setParameterWithType)(Fg_Struct*, int, const void*, unsigned int, int);
    int (*DLL_Fg_getParameter)(Fg_Struct*, int, void*, unsigned int);
    int (*DLL_Fg_getParameterWithType)(Fg_Struct*, int, void*, unsigned int, int);
    int (*DLL_Fg_saveConfig)(Fg_Struct*, const char*);
    int (*DLL_Fg_loadConfig)(Fg_Struct*, const char*);
    int (*DLL_Fg_Acquire)(Fg_Struct*, unsigned int, long);
    int (*DLL_Fg_stopAcquire)(Fg_Struct*, unsigned int);
    long (*DLL_Fg_getLastPicNumberBlockingEx)(Fg_Struct*, long, unsigned int, int, dma_mem*);
    long (*DLL_Fg_getLastPicNumberEx)(Fg_Struct*, unsigned int, dma_mem*);
    int (*DLL_Fg_FreeGrabber)(Fg_Struct*);
    int (*DLL_Fg_getLastErrorNumber)(Fg_Struct*);
    long (*DLL_Fg_getStatusEx)(Fg_Struct*, int, long, unsigned int, dma_mem*);
    int (*DLL_Fg_AcquireEx)(Fg_Struct*, unsigned int, long, int, dma_mem*);
    int (*DLL_Fg_stopAcquireEx)(Fg_Struct*, unsigned int, dma_mem*, int);
    RegisterInfo* (*DLL_Fg_getParameterInfo)(Fg_Struct*, int);
    ShadingMaster* (*DLL_Fg_AllocShading)(Fg_Struct*, int, int);
    int (*DLL_Fg_FreeShading)(Fg_Struct*, ShadingMaster*);
    int (*DLL_Shad_SetSubValueLine)(Fg_Struct*, ShadingMaster*, int, int, float);
    int (*DLL_Shad_SetMultValueLine)(Fg_Struct*, ShadingMaster*, int, int, float);
    int (*DLL_Shad_SetFixedPatternNoiseLine)(Fg_Struct*, ShadingMaster*, int, int, int);
    int (*DLL_Shad_GetMaxLine)(Fg_Struct*, ShadingMaster*);
    int (*DLL_Shad_GetAccess)(Fg_Struct*, ShadingMaster*);
    int (*DLL_Shad_FreeAccess)(Fg_Struct*, ShadingMaster*);
    int (*DLL_Shad_WriteActLine)(Fg_Struct*, ShadingMaster*, int);
};

#ifdef __cplusplus
}
#endif

#endif
