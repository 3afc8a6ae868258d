// libqorv_hw.so: raw register access on a board's register file.
#include "board.h"

extern "C" {

int QorvRegisterWrite(ZEdevice* board, int reg, uint64_t value) {
    vboard::Board* b = vboard::Board::from(board);
    return b != nullptr ? b->writeRegister(reg, value) : FG_INVALID_BOARD;
}

int QorvRegisterRead(ZEdevice* board, int reg, uint64_t* value) {
    vboard::Board* b = vboard::Board::from(board);
    return b != nullptr ? b->readRegister(reg, value) : FG_INVALID_BOARD;
}

}  // extern "C"
