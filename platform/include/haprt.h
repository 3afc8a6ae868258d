/* The hardware-applet runtime (libhaprt.so): loads a hardware design and answers queries about
 * its registers and events. */
#ifndef PLATFORM_HAPRT_H
#define PLATFORM_HAPRT_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

fpga_design* HapLoadDesignFromBuffer(const void* data, uint64_t size, int flags);
fpga_design* HapLoadHapFileWithType(const char* fileName, int typeCode, int flags);
int HapUnloadHapFile(fpga_design* design);
int HapGetNrOfRegister(fpga_design* design);                     /* n; registers are numbered 1..n */
const char* HapGetRegisterName(fpga_design* design, int number); /* null outside 1..n */
int HapGetRegisterByName(fpga_design* design, const char* name); /* its number, or -1 */
int HapGetRegisterBitRange(fpga_design* design, int number);     /* width in bits 1..64, or -1 */
int HapGetRegisterDirection(fpga_design* design, int number);    /* 0 rw, 1 read-only, 2 write-only, -1 */

typedef struct HapEvent_s {
    const char* name;
    uint64_t mask;
} HapEvent;
const HapEvent* HapGetEvent(fpga_design* design, int index); /* index 0.., null past the last */

#ifdef __cplusplus
}
#endif

#endif
