// Board 0 opened with the applet through the SDK, as a program opens it; a benchmark that
// cannot open it stops at once.
#pragma once

#include <cstdio>
#include <cstdlib>

#include "fglib5.h"

inline Fg_Struct* openBoard() {
    Fg_Struct* fg = Fg_Init(PELLUCID_APPLET_PATH, 0);
    if (fg == nullptr) {
        std::fprintf(stderr, "cannot open board 0: %d\n", Fg_getLastErrorNumber(nullptr));
        std::abort();
    }
    return fg;
}
