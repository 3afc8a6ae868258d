// A loaded design as the board libraries see it: raw registers, design parameters and events.
// Shared between libhaprt (which reads design files) and libfglib5/libqorviolibrt (which
// configure a board from it); implemented in libqorviolibrt.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "c_api.h"

namespace vboard {

enum class Access : uint8_t { ReadWrite = 0, ReadOnly = 1, WriteOnly = 2 };
enum class ParamKind : uint8_t { Uint, Double, Field };

struct RegisterLayout {
    std::string name;
    int width = 0;  // bits, 1..64
    Access access = Access::ReadWrite;
};

struct ParameterLayout {
    std::string name;
    ParamKind kind = ParamKind::Uint;
    int bits = 0;          // of the value, the double's code, or each field entry
    int fraction = 0;      // doubles: fraction bits of the code
    uint32_t entries = 1;  // fields: number of entries; 1 otherwise
    Access access = Access::ReadWrite;
};

class VBOARD_EXPORT Design {
  public:
    static constexpr size_t kMaxEvents = 64;  // masks are 1 << index in 64 bits

    Design() = default;
    // Events hand out pointers into the design.
    Design(const Design&) = delete;
    Design& operator=(const Design&) = delete;

    const std::string& name() const { return name_; }
    const std::string& version() const { return version_; }
    const std::string& uid() const { return uid_; }
    int typeCode() const { return typeCode_; }
    const std::vector<RegisterLayout>& registers() const { return registers_; }
    const std::vector<ParameterLayout>& parameters() const { return parameters_; }
    const std::vector<HapEvent>& events() const { return events_; }

    int findRegister(std::string_view name) const;   // number 1..n, or -1
    int findParameter(std::string_view name) const;  // position 0.., or -1
    int findEvent(std::string_view name) const;      // index 0.., or -1

    void setName(std::string v) { name_ = std::move(v); }
    void setVersion(std::string v) { version_ = std::move(v); }
    void setUid(std::string v) { uid_ = std::move(v); }
    void setTypeCode(int v) { typeCode_ = v; }
    // False when the name is taken (registers and parameters share one name space) or, for
    // events, when the table is full.
    bool addRegister(RegisterLayout layout);
    bool addParameter(ParameterLayout layout);
    bool addEvent(std::string name);

  private:
    std::string name_, version_, uid_;
    int typeCode_ = 0;
    std::vector<RegisterLayout> registers_;
    std::vector<ParameterLayout> parameters_;
    std::vector<std::unique_ptr<std::string>> eventNames_;  // stable addresses for events_
    std::vector<HapEvent> events_;
    // value: register number (> 0) or -(position + 1) of a parameter
    std::unordered_map<std::string, int> names_;
};

}  // namespace vboard

// What an fpga_design* points to.
struct fpga_design_s {
    static constexpr uint32_t kMagic = 0x48415044;  // "HAPD"
    uint32_t magic = kMagic;
    vboard::Design design;
};

namespace vboard {
// The design behind a handle, or null for null or an unloaded one.
inline Design* designOf(fpga_design* d) {
    return d != nullptr && d->magic == fpga_design_s::kMagic ? &d->design : nullptr;
}
}  // namespace vboard
