// A stand-in applet for the SDK's routing: its answers echo what reached it.
#include "fglib5.h"
#include "qorviolibrt.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

static int object;  // what Std_entry hands out
static constexpr int kWrongCall = -9999;

EXPORT void* Std_entry(ZEdevice* board, int* error, int flag) {
    *error = QorvBoardIndex(board) == 0 && flag == 0 ? 0 : FG_DESIGN_LOAD_FAILED;
    return *error == 0 ? &object : nullptr;
}

// The type code the call arrived with, as the result.
EXPORT int Fg_setParameterWithType(Fg_Struct* fg, int id, const void* value, unsigned int dmaIndex,
                                   int type) {
    return fg->Master == &object && value != nullptr && id == 100 && dmaIndex == 3 ? type : kWrongCall;
}

EXPORT int Fg_getParameterWithType(Fg_Struct* fg, int id, void* value, unsigned int dmaIndex, int type) {
    *static_cast<int*>(value) = id + static_cast<int>(dmaIndex);
    return fg->Master == &object ? type : kWrongCall;
}

EXPORT int Fg_getLastErrorNumber(Fg_Struct*) {
    return -4242;
}

EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    fg->Master = nullptr;
    return 7;
}
