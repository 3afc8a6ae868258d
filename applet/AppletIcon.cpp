#include "AppletIcon.h"

extern const uint64_t appletIconData_size;

unsigned char* const appletIcon = appletIconData;
const uint64_t appletIconSize = appletIconData_size;
