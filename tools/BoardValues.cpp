#include "BoardValues.h"

#include "fglib5.h"

namespace pellucid {
namespace {

template <typename T>
T read(Board& board, int id, const char* name, int type) {
    T v{};
    const int rc = Fg_getParameterWithType(board.handle(), id, &v, 0, type);
    if (rc != 0) throw ToolError(std::string("cannot read ") + name + ": " + errorText(rc), rc, name);
    return v;
}

template <typename T>
void write(Board& board, int id, const char* name, T value, int type) {
    const int rc = Fg_setParameterWithType(board.handle(), id, &value, 0, type);
    if (rc != 0)
        throw ToolError(std::string("cannot set ") + name + " to " +
                            formatDouble(static_cast<double>(value)) + ": " + errorText(rc),
                        rc, name);
}

}  // namespace

uint32_t readUint(Board& board, int id, const char* name) {
    return read<uint32_t>(board, id, name, FG_PARAM_TYPE_UINT32_T);
}

double readDouble(Board& board, int id, const char* name) {
    return read<double>(board, id, name, FG_PARAM_TYPE_DOUBLE);
}

void writeUint(Board& board, int id, const char* name, uint32_t value) {
    write(board, id, name, value, FG_PARAM_TYPE_UINT32_T);
}

void writeDouble(Board& board, int id, const char* name, double value) {
    write(board, id, name, value, FG_PARAM_TYPE_DOUBLE);
}

}  // namespace pellucid
