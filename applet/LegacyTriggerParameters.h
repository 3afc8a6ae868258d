// The parameters of the legacy trigger interface: published read-write-change, read only while
// the legacy trigger mode is off.
#pragma once

#include "fg_constants.h"

inline constexpr int kLegacyTriggerParameters[] = {
    FG_TRIGGERMODE,    FG_EXSYNCON,         FG_FLASHON,        FG_EXPOSURE,    FG_EXSYNCDELAY,
    FG_EXSYNCPOLARITY, FG_STROBEPULSEDELAY, FG_FLASH_POLARITY, FG_PRESCALER,   FG_CCSEL0,
    FG_CCSEL1,         FG_CCSEL2,           FG_CCSEL3,         FG_DIGIO_OUTPUT};
