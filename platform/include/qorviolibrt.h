/* The board I/O runtime (libqorviolibrt.so): the boards of this machine and their state. */
#ifndef PLATFORM_QORVIOLIBRT_H
#define PLATFORM_QORVIOLIBRT_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

int QorvBoardCount(void);                    /* number of boards; they are numbered 0..count-1 */
ZEdevice* QorvBoardOpen(unsigned int index); /* the board, or null for an unknown index; boards live
                                                as long as the process */
int QorvBoardIndex(const ZEdevice* board);   /* its index, or FG_INVALID_BOARD */

#ifdef __cplusplus
}
#endif

#endif
