// The applet's icon: a 32 x 32 RGBA PNG image.
#pragma once

#include <cstdint>

extern unsigned char appletIconData[];
extern unsigned char* const appletIcon;
extern const uint64_t appletIconSize;
