// Addresses on the GenApi port "Device" of the XML description. One parameter owns the 4 GiB
// above its id; within it the top byte says what is read, so limits and access are read where
// they are asked for rather than written into the document when it is made:
//
//   bits 63..32  parameter id (unsigned)
//   bits 31..24  what: GenApiSpace below
//   bits 23..0   byte offset; 4 x entry for the entries of a field parameter, else 0
#pragma once

#include <cstdint>

#include "fg_constants.h"
#include "fg_types.h"

namespace pellucid::genapi {

enum GenApiSpace : uint32_t {
    kValue = 0,    // the value: 4 bytes (32-bit kinds, enumerations), 8 (doubles, 64-bit), 256 (strings)
    kMinimum = 1,  // the current minimum: 8 bytes, a double for doubles, else a signed 64-bit integer
    kMaximum = 2,  // the current maximum, as the minimum
    kLocked = 3,   // 4 bytes: 1 while the parameter is read-only, else 0; read-only itself
};

inline constexpr int kStringLength = 256;
inline constexpr uint64_t kOffsetMask = 0xFFFFFF;

constexpr uint64_t address(int id, GenApiSpace space, uint32_t offset = 0) {
    return (uint64_t{static_cast<uint32_t>(id)} << 32) | (uint64_t{space} << 24) | (offset & kOffsetMask);
}
constexpr int idOf(uint64_t address) {
    return static_cast<int>(static_cast<uint32_t>(address >> 32));
}
constexpr uint32_t spaceOf(uint64_t address) {
    return static_cast<uint32_t>(address >> 24) & 0xFF;
}
constexpr uint32_t offsetOf(uint64_t address) {
    return static_cast<uint32_t>(address & kOffsetMask);
}

// "0 to 0 step 0" marks a read-only value without a range (versions, ids): it has no limit
// registers, so that its value never lies outside what is published.
inline bool hasLimits(const RegisterInfo& r) {
    switch (r.format) {
        case REG_FORMAT_UINT:
            return r.u.uiReg.from < r.u.uiReg.to || r.u.uiReg.steps != 0;
        case REG_FORMAT_INT:
            return r.u.iReg.from < r.u.iReg.to || r.u.iReg.steps != 0;
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
            return r.u.iReg64.from < r.u.iReg64.to || r.u.iReg64.steps != 0;
        case REG_FORMAT_DOUBLE:
            return r.u.dReg.from < r.u.dReg.to || r.u.dReg.steps != 0;
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD:
            return true;
        default:
            return false;
    }
}

// A parameter is locked while its access lacks the write bit.
inline bool isLocked(const RegisterInfo& r) {
    return (r.accessFlags & (FG_ACCESS_READ_WRITE & ~FG_ACCESS_READ)) == 0;
}

}  // namespace pellucid::genapi
