/* The frame-grabber SDK (libfglib5.so).
 *
 * A program opens a board with an applet through Fg_Init(); the SDK loads the applet library,
 * calls its Std_entry and keeps the applet object in Master of the handle it returns. Every
 * call on such a handle is routed to the applet's export of the same name. A plain handle
 * (Master null, made by Fg_InitHandle*) acts on the loaded design's parameters and the SDK's
 * own parameters directly: that is how an applet reaches its design. */
#ifndef PLATFORM_FGLIB5_H
#define PLATFORM_FGLIB5_H

#include "fg_constants.h"
#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- plain handles (used by applets) ---- */
Fg_Struct* Fg_InitHandleSlaveAware(const char* hapName, ZEdevice* board, fpga_design* design, int flag);
Fg_Struct* Fg_InitHandle(const char* hapName, ZEdevice* board, fpga_design* design);

/* ---- program-facing open call ----
 * appletName is a path (it contains a '/') or a bare name such as "Pellucid", which is loaded as
 * "lib<name>.so": from the folder named by the environment variable QORV_APPLET_DIR when it is
 * set, else from the SDK library's own folder or its sibling "lib" folder, else through the
 * dynamic loader's search. Null on failure, with the reason in Fg_getLastErrorNumber(NULL):
 * FG_INVALID_PARAMETER (null name), FG_INVALID_BOARD, FG_APPLET_NOT_LOADED (library or Std_entry
 * missing) or the error Std_entry reported. */
Fg_Struct* Fg_Init(const char* appletName, unsigned int boardIndex);

/* ---- the functions of the handle table (routed to the applet on applet handles) ---- */
int Fg_getAppletId(Fg_Struct* fg, const char* ignored);
int Fg_setParameter(Fg_Struct* fg, int id, const void* value, unsigned int dmaIndex);
int Fg_setParameterWithType(Fg_Struct* fg, int id, const void* value, unsigned int dmaIndex, int type);
int Fg_getParameter(Fg_Struct* fg, int id, void* value, unsigned int dmaIndex);
int Fg_getParameterWithType(Fg_Struct* fg, int id, void* value, unsigned int dmaIndex, int type);
int Fg_saveConfig(Fg_Struct* fg, const char* filename);
int Fg_loadConfig(Fg_Struct* fg, const char* filename);
int Fg_Acquire(Fg_Struct* fg, unsigned int dmaIndex, long pictureCount);
int Fg_stopAcquire(Fg_Struct* fg, unsigned int dmaIndex);
long Fg_getLastPicNumberBlockingEx(Fg_Struct* fg, long pictureNumber, unsigned int dmaIndex, int timeout,
                                   dma_mem* memory);
long Fg_getLastPicNumberEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory);
int Fg_FreeGrabber(Fg_Struct* fg);
int Fg_getLastErrorNumber(Fg_Struct* fg);
long Fg_getStatusEx(Fg_Struct* fg, int parameter, long data, unsigned int dmaIndex, dma_mem* memory);
int Fg_AcquireEx(Fg_Struct* fg, unsigned int dmaIndex, long pictureCount, int flag, dma_mem* memory);
int Fg_stopAcquireEx(Fg_Struct* fg, unsigned int dmaIndex, dma_mem* memory, int flag);
RegisterInfo* Fg_getParameterInfo(Fg_Struct* fg, int port);
ShadingMaster* Fg_AllocShading(Fg_Struct* fg, int a, int b);
int Fg_FreeShading(Fg_Struct* fg, ShadingMaster* sh);
int Shad_SetSubValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float sub);
int Shad_SetMultValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float mult);
int Shad_SetFixedPatternNoiseLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, int on);
int Shad_GetMaxLine(Fg_Struct* fg, ShadingMaster* sh);
int Shad_GetAccess(Fg_Struct* fg, ShadingMaster* sh);
int Shad_FreeAccess(Fg_Struct* fg, ShadingMaster* sh);
int Shad_WriteActLine(Fg_Struct* fg, ShadingMaster* sh, int line);

/* ---- further functions routed to the applet ---- */
int Fg_getParameterIdByName(Fg_Struct* fg, const char* name);
int Fg_getNrOfParameter(Fg_Struct* fg);
const char* Fg_getParameterName(Fg_Struct* fg, int index);
int Fg_getParameterId(Fg_Struct* fg, int index);
int Fg_getParameterInfoXML(Fg_Struct* fg, int port, char* buffer, size_t* bufferSize);
unsigned long Fg_getEventMask(Fg_Struct* fg, const char* name);
const char* Fg_getEventName(Fg_Struct* fg, unsigned long mask);

/* ---- DMA buffer sets (SDK only) ---- */
#define ACQ_STANDARD 1      /* Fg_AcquireEx flag */
#define STOP_SYNC 0         /* Fg_stopAcquireEx flag: wait for the frame in progress */
#define STOP_ASYNC 1        /* Fg_stopAcquireEx flag: stop at once */
#define GRAB_INFINITE (-1L) /* picture count of an endless acquisition */

dma_mem* Fg_AllocMemEx(Fg_Struct* fg, size_t bufferSize, long bufferCount);
int Fg_FreeMemEx(Fg_Struct* fg, dma_mem* memory);
void* Fg_getImagePtrEx(Fg_Struct* fg, long pictureNumber, unsigned int dmaIndex, dma_mem* memory);

/* Text of an error number, never null. */
const char* Fg_getErrorDescription(int errorNumber);

#ifdef __cplusplus
}
#endif

#endif
