// A stand-in applet for the SDK's routing: its answers echo what reached it.
#include "fglib5.h"
#include "qorviolibrt.h"

namespace {
int object;  // what Std_entry hands out
constexpr int kWrongCall = -9999;
}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* Std_entry(ZEdevice* board, int* error, int flag) {
    if (QorvBoardIndex(board) != 0 || flag != 0) {
        *error = FG_DESIGN_LOAD_FAILED;
        return nullptr;
    }
    *error = 0;
    return &object;
}

// The type code the call arrived with, as the result.
__attribute__((visibility("default"))) int Fg_setParameterWithType(Fg_Struct* fg, int id, const void* value,
                                                                   unsigned int dmaIndex, int type) {
    return fg->Master == &object && value != nullptr && id == 100 && dmaIndex == 3 ? type : kWrongCall;
}

__attribute__((visibility("default"))) int Fg_getParameterWithType(Fg_Struct* fg, int id, void* value,
                                                                   unsigned int dmaIndex, int type) {
    *static_cast<int*>(value) = id + static_cast<int>(dmaIndex);
    return fg->Master == &object ? type : kWrongCall;
}

__attribute__((visibility("default"))) int Fg_getLastErrorNumber(Fg_Struct*) {
    return -4242;
}

__attribute__((visibility("default"))) long Fg_getStatusEx(Fg_Struct*, int parameter, long data, unsigned int,
                                                           dma_mem*) {
    return parameter + data;
}

__attribute__((visibility("default"))) int Fg_FreeGrabber(Fg_Struct* fg) {
    fg->Master = nullptr;
    return 7;
}

}  // extern "C"
