/* Board register access (libqorv_hw.so). reg is a design register number as answered by
 * HapGetRegisterByName. */
#ifndef PLATFORM_QORV_HW_H
#define PLATFORM_QORV_HW_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

int QorvRegisterWrite(ZEdevice* board, int reg, uint64_t value); /* 0, or a negative error */
int QorvRegisterRead(ZEdevice* board, int reg, uint64_t* value);

#ifdef __cplusplus
}
#endif

#endif
