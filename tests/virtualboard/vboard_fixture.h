// Shared set-up of the virtual board tests: board 0 configured from the project's design through
// a plain SDK handle, everything at power-on.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fglib5.h"
#include "haprt.h"
#include "qorviolibrt.h"
#include "vboard/control.h"
#include "vboard/fglib_ext.h"
#include "vboard/haprt_ext.h"

namespace vboard::test {

using Strings = std::vector<std::string>;

constexpr int kU32 = FG_PARAM_TYPE_UINT32_T, kI32 = FG_PARAM_TYPE_INT32_T, kU64 = FG_PARAM_TYPE_UINT64_T,
              kI64 = FG_PARAM_TYPE_INT64_T, kDouble = FG_PARAM_TYPE_DOUBLE,
              kBlock = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, kEntry = FG_PARAM_TYPE_STRUCT_FIELDPARAMINT;
constexpr int kInvalid = FG_INVALID_PARAMETER, kRange = FG_VALUE_OUT_OF_RANGE, kNA = FG_NOT_AVAILABLE;

inline const std::string kLutR = "Device1_Process0_LookupTable_R_LUTcontent";
inline const std::string kRed = "Device1_Process0_Bayer_White_RedCoefficient";
inline const std::string kXLength = "Device1_Process0_Buffer_0_DRAM_A_0_XLength";
inline const std::string kFormat = "Device1_Process0_Camera_Format";
inline const std::string kOverflow = "Device1_Process0_Overflow_OverflowOccurred";
inline const std::string kPeriod =
    "Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MinimumPeriod_Number";

class PlainHandle : public ::testing::Test {
  protected:
    void SetUp() override {
        control::reset();
        design = HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2628, 1);
        ASSERT_NE(design, nullptr) << HapGetLastErrorText();
        fg = Fg_InitHandleSlaveAware("Pellucid.hap", QorvBoardOpen(0), design, 0);
        ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
    }
    void TearDown() override {
        EXPECT_TRUE(fg == nullptr || Fg_FreeGrabber(fg) == 0);
        EXPECT_TRUE(design == nullptr || HapUnloadHapFile(design) == 0);
    }

    int id(const std::string& name) { return Fg_getParameterIdByName(fg, name.c_str()); }
    int reg(const char* name) { return HapGetRegisterByName(design, name); }
    template <typename T>
    int set(int id, const T& value, int type) {
        return Fg_setParameterWithType(fg, id, &value, 0, type);
    }
    template <typename T>
    int get(int id, T& value, int type) {
        return Fg_getParameterWithType(fg, id, &value, 0, type);
    }

    fpga_design* design = nullptr;
    Fg_Struct* fg = nullptr;
};

}  // namespace vboard::test
