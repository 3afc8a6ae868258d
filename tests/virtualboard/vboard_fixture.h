// Shared set-up of the virtual board tests: board 0 configured from the project's design through
// a plain SDK handle, everything at power-on.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "fglib5.h"
#include "haprt.h"
#include "qorviolibrt.h"
#include "vboard/control.h"
#include "vboard/fglib_ext.h"
#include "vboard/haprt_ext.h"

namespace vboard::test {

inline const char* designFile() {
    return VBOARD_DESIGN_FILE;
}

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
        design = HapLoadHapFileWithType(designFile(), 2628, 1);
        ASSERT_NE(design, nullptr) << HapGetLastErrorText();
        fg = Fg_InitHandleSlaveAware("Pellucid.hap", QorvBoardOpen(0), design, 0);
        ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
    }
    void TearDown() override {
        if (fg != nullptr) {
            EXPECT_EQ(Fg_FreeGrabber(fg), 0);
        }
        if (design != nullptr) {
            EXPECT_EQ(HapUnloadHapFile(design), 0);
        }
    }

    int id(const std::string& name) { return Fg_getParameterIdByName(fg, name.c_str()); }
    int reg(const char* name) { return HapGetRegisterByName(design, name); }

    fpga_design* design = nullptr;
    Fg_Struct* fg = nullptr;
};

}  // namespace vboard::test
