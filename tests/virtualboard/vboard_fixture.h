// Shared set-up of the board tests: a handle with its buffers and the calls on DMA channel 0; the
// plain one is board 0 configured from the project's design, everything at power-on.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bench.h"
#include "fglib5.h"
#include "haprt.h"
#include "qorviolibrt.h"
#include "vboard/control.h"
#include "vboard/fglib_ext.h"
#include "vboard/haprt_ext.h"

namespace vboard::test {

using Strings = std::vector<std::string>;

// Nothing plugged into board 0's camera port: pictures come only from what the test drives.
inline void emptyCameraPort() {
    Bench empty;
    empty.camera.connected = false;
    control::setBench(empty);
}

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

class Board : public ::testing::Test {
  protected:
    template <typename T>
    int set(int id, const T& value, int type) {
        return Fg_setParameterWithType(fg, id, &value, 0, type);
    }
    template <typename T>
    int get(int id, T& value, int type) {
        return Fg_getParameterWithType(fg, id, &value, 0, type);
    }
    long status(int query, long picture = 0) { return Fg_getStatusEx(fg, query, picture, 0, memory); }
    long exposureStart(long picture) { return status(VBOARD_STATUS_EXPOSURE_START_NS, picture); }
    int acquire(long pictures) { return acquire(pictures, memory); }
    int acquire(long pictures, dma_mem* m) { return Fg_AcquireEx(fg, 0, pictures, ACQ_STANDARD, m); }
    int stop(int flag = STOP_ASYNC) { return Fg_stopAcquireEx(fg, 0, memory, flag); }
    long last() { return Fg_getLastPicNumberEx(fg, 0, memory); }
    long waitFor(long picture, int seconds = 5) {
        return Fg_getLastPicNumberBlockingEx(fg, picture, 0, seconds, memory);
    }

    Fg_Struct* fg = nullptr;
    dma_mem* memory = nullptr;
};

class PlainHandle : public Board {
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

    fpga_design* design = nullptr;
};

}  // namespace vboard::test
