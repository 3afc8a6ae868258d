// libqorviolibrt.so: the boards of this machine. The boards' state lives in board.cpp.
#include "board.h"

extern "C" {

int QorvBoardCount(void) {
    return vboard::Board::kCount;
}

ZEdevice* QorvBoardOpen(unsigned int index) {
    vboard::Board* b = index < static_cast<unsigned>(vboard::Board::kCount)
                           ? vboard::Board::at(static_cast<int>(index))
                           : nullptr;
    return b != nullptr ? b->device() : nullptr;
}

int QorvBoardIndex(const ZEdevice* board) {
    const vboard::Board* b = vboard::Board::from(board);
    return b != nullptr ? b->index() : FG_INVALID_BOARD;
}

}  // extern "C"
