// The SDK and the board behind it: access rules, value conversion, journal, failures, applets, DMA.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "qorv_hw.h"
#include "vboard_fixture.h"

namespace vboard::test {
namespace {

using Results = std::vector<long>;
using testing::ThrowsMessage;

// Whether the library is loaded in this process.
bool loaded(const char* path) {
    void* h = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    return h != nullptr && dlclose(h) == 0;
}

// Opening answers null, the reason as the last error of no handle.
int initError(Fg_Struct* fg) {
    return fg == nullptr ? Fg_getLastErrorNumber(nullptr) : 0;
}

// Unknown ids, null values, other channels never reach the board; a write stores only on success.
TEST_F(PlainHandle, WritesFollowTypeWidthAndAccess) {
    uint32_t v = 1;
    const int format = id(kFormat), base = VBOARD_DESIGN_PARAMETER_ID_BASE;
    for (int bad : {0, 100, base - 1, base + 100000, format}) {
        const unsigned dma = bad == format;  // the format exists, but only on channel 0
        EXPECT_EQ((Results{Fg_setParameterWithType(fg, bad, &v, dma, kU32),
                           Fg_getParameterWithType(fg, bad, &v, dma, kU32)}),
                  Results(2, kInvalid))
            << bad;
    }
    EXPECT_EQ(
        (Results{Fg_setParameterWithType(fg, format, nullptr, 0, kU32),
                 Fg_getParameterWithType(fg, format, nullptr, 0, kU32), id("AAGenEnable"), id("FG_WIDTH"),
                 id("device1_process0_camera_format"), Fg_getParameterIdByName(fg, nullptr)}),
        Results(6, kInvalid));
    EXPECT_EQ(control::writes(), Strings{});
    EXPECT_EQ(control::reads(), Strings{});
    const std::string &f = kFormat, &x = kXLength, &p = kPeriod,
                      status = "Device1_Process0_Buffer_0_DRAM_A_0_FillLevel";
    const int kChars = FG_PARAM_TYPE_CHAR_PTR;
    const std::tuple<const std::string&, int, uint64_t, int> cases[] = {
        {p, kU64, 1ull << 32, kRange}, {f, kU32, 7, 0},
        {f, kU32, 8, kRange},          {f, kI32, 5, 0},
        {f, kI32, 0xffffffff, kRange}, {x, kU64, 65535, 0},
        {x, kU64, 65536, kRange},      {p, kI64, ~0ull, kRange},
        {p, kU32, 0xfffffff7, 0},      {f, kDouble, 0, kInvalid},
        {f, kEntry, 0, kInvalid},      {f, kChars, 0, kInvalid},
        {kRed, kU32, 0, kInvalid},     {kOverflow, kU32, 0, kNA},
        {status, kU32, 50, kNA}};
    for (const auto& [name, type, value, result] : cases) {
        control::setValue(name, 1);
        EXPECT_EQ(set(id(name), value, type), result) << name << " " << value;
        EXPECT_EQ(Fg_getLastErrorNumber(fg), result);
        EXPECT_EQ(control::value(name), result == 0 ? value : 1) << name << " " << value;
    }
}

// A read fills the width asked for and is journaled; doubles are rounded, clamped codes of 1/1024.
TEST_F(PlainHandle, ReadsAndDoubles) {
    control::setValue(kPeriod, 0xfffffff0u);
    const int period = id(kPeriod);
    uint64_t wide = ~0ull, narrow = ~0ull;
    uint32_t natural = 0;
    int32_t signedValue = 0;
    double d = 0;
    EXPECT_EQ((Results{get(period, wide, kU64), get(period, narrow, kU32), get(period, signedValue, kI32),
                       Fg_getParameter(fg, period, &natural, 0), get(period, d, kDouble)}),
              (Results{0, 0, kRange, 0, kInvalid}));
    EXPECT_EQ(std::tuple(wide, narrow, natural), std::tuple(0xfffffff0u, 0xfffffffffffffff0ull, 0xfffffff0u));
    ASSERT_EQ(get(VBOARD_DESIGN_PARAMETER_ID_BASE, natural, kU32), 0);  // the design's first parameter
    const std::string n = kPeriod + ":";
    EXPECT_EQ(control::reads(),
              (Strings{n + "uint64", n + "uint32", n + "int32 !-6000", n + "auto", n + "double !-2070",
                       "Device1_Process0_Bayer_Bayer_BayerInit:uint32"}));

    const std::pair<double, uint64_t> cases[] = {
        {0.00048828125, 1},  // half a step rounds up
        {0.000488281, 0},   {1.5, 1536}, {-0.0, 0}, {3.9990234375, 4095},
        {4.0, 4095},        {-1.0, 0},   {NAN, 0},  {INFINITY, 4095}};
    for (const auto& [value, code] : cases) {
        control::setValue(kRed, 77);
        double back = -1;
        EXPECT_EQ((Results{set(id(kRed), value, kDouble), get(id(kRed), back, kDouble)}), (Results{0, 0}));
        EXPECT_EQ(control::value(kRed), code) << value;
        EXPECT_EQ(back, code / 1024.0);
    }
}

// Fields by block and by entry; a bad access changes nothing, one entry too wide refuses the block.
TEST_F(PlainHandle, Fields) {
    std::vector<uint32_t> values(4097, 1);
    uint32_t* v = values.data();
    const int lut = id(kLutR);
    FieldParameterAccess bad[] = {{kU32, 0xffffffffu, 2, 0, v},  // index + count wraps
                                  {kU32, 0, 4097, 0, v},        {kU32, 4095, 2, 0, v}, {kU32, 0, 0, 0, v},
                                  {kU32, 0, 1, 0, nullptr},     {kDouble, 0, 1, 0, v}};
    for (auto& block : bad)
        EXPECT_EQ((Results{set(lut, block, kBlock), get(lut, block, kBlock)}), Results(2, kInvalid))
            << block.count;
    FieldParameterInt past{1, 4096};
    EXPECT_EQ((Results{set(lut, past, kEntry), get(lut, past, kEntry), set(lut, 1u, kU32)}),
              Results(3, kInvalid));
    values[100] = 4096;
    EXPECT_EQ(set(lut, FieldParameterAccess{kU32, 0, 200, 0, v}, kBlock), kRange);
    EXPECT_EQ(set(lut, FieldParameterInt{4096, 3}, kEntry), kRange);
    EXPECT_EQ(control::field(kLutR), std::vector<uint64_t>(4096, 0));

    for (uint32_t i = 0; i < 4096; ++i) values[i] = 4095 - i;
    ASSERT_EQ(set(lut, FieldParameterAccess{kU32, 0, 4096, 0, v}, kBlock), 0);
    EXPECT_EQ(control::field(kLutR), std::vector<uint64_t>(values.begin(), values.end() - 1));
    FieldParameterInt one{0, 17};
    FieldParameterAccess tail{kU32, 4093, 3, 0, v};
    EXPECT_EQ(
        (Results{set(lut, FieldParameterInt{5, 17}, kEntry), get(lut, one, kEntry), get(lut, tail, kBlock)}),
        Results(3, 0));
    EXPECT_EQ(std::vector<uint32_t>({one.value, v[0], v[1], v[2]}), (std::vector<uint32_t>{5, 2, 1, 0}));
}

// Every attempt on a known target is journaled in order, a refused or failed one with its error. A
// rule fails the nth access of a name, or of any, once; reset clears rules, values and journal.
TEST_F(PlainHandle, JournalInjectedFailuresAndReset) {
    control::failWrite(kFormat, 2, FG_NOT_ENOUGH_MEMORY);
    control::failWrite("", 9, -5);
    control::failRead("", 1, -6);
    std::vector<uint32_t> lut(4096, 0);
    const std::string lutG = "Device1_Process0_LookupTable_G_LUTcontent";
    uint32_t out = 99;
    EXPECT_EQ(
        (Results{set(id(kXLength), 1024u, kU32), set(id(kRed), 1.5, kDouble),
                 set(id(kLutR), FieldParameterAccess{kU32, 0, 4096, 0, lut.data()}, kBlock),
                 set(id(lutG), FieldParameterInt{5, 17}, kEntry), set(id(kFormat), 3u, kU32),
                 set(id(kFormat), 4u, kU32), set(id(kFormat), 4u, kU32), set(FG_TIMEOUT, int32_t{30}, kI32),
                 QorvRegisterWrite(QorvBoardOpen(0), reg("AAGenRoll"), 1), set(FG_TURBO_DMA_MODE, 0u, kU32),
                 set(id(kFormat), 9u, kU32), get(id(kFormat), out, kU32), get(id(kFormat), out, kU32)}),
        (Results{0, 0, 0, 0, 0, FG_NOT_ENOUGH_MEMORY, 0, 0, -5, 0, kRange, -6, 0}));
    EXPECT_EQ(out, 4u);
    EXPECT_EQ(control::writes(),
              (Strings{kXLength + "=1024", kRed + "=1.5", kLutR + "[0+4096]", lutG + "[17]=5", kFormat + "=3",
                       kFormat + "=4 !-500", kFormat + "=4", "FG_TIMEOUT=30", "AAGenRoll=1 !-5",
                       "FG_TURBO_DMA_MODE=0", kFormat + "=9 !-6000"}));

    control::setFieldEntry(kLutR, 9, 9);
    control::failWrite(kFormat, 1, -1);
    control::reset();
    EXPECT_EQ(
        std::tuple(control::value(kFormat), control::fieldEntry(kLutR, 9), control::sdkValue(FG_TIMEOUT)),
        std::tuple(0u, 0u, 1000000u));
    EXPECT_EQ(control::writes(), Strings{});
    EXPECT_EQ(set(id(kFormat), 5u, kU32), 0);
    EXPECT_THAT([] { control::value(kFormat, 1); },  // board 1 has no design
                ThrowsMessage<std::invalid_argument>(testing::HasSubstr("board 1 ")));
    control::loadDesign(VBOARD_DESIGN_FILE, 1);  // until one is loaded
    EXPECT_EQ(control::value(kFormat, 1), 0u);
    EXPECT_THROW(control::setValue("NoSuchParameter", 1), std::invalid_argument);
    EXPECT_THROW(control::failWrite(kFormat, 0, -1), std::invalid_argument);
    EXPECT_THROW(control::setValue(kFormat, 8), std::out_of_range);
    EXPECT_THROW(control::fieldEntry(kLutR, 4096), std::out_of_range);
    // Another handle with the same design leaves the board's values as they are.
    control::setValue(kOverflow, 1);
    Fg_Struct* second = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design);
    EXPECT_EQ(control::value(kOverflow), 1u);
    EXPECT_EQ(Fg_FreeGrabber(second), 0);
    int heard = 0;  // the write hook hears the design file's first parameter too
    control::setWriteHook([&](std::string_view) { ++heard; });
    EXPECT_TRUE(set(id("Device1_Process0_Bayer_Bayer_BayerInit"), 1u, kU32) == 0 && heard == 1);
}

TEST(Handles, InitErrors) {
    fpga_design* design = HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2628, 1);
    int notABoard = 0;
    EXPECT_EQ((Results{initError(Fg_InitHandle("P", reinterpret_cast<ZEdevice*>(&notABoard), design)),
                       initError(Fg_InitHandle("P", nullptr, design)),
                       initError(Fg_InitHandle("P", QorvBoardOpen(0), nullptr)),
                       initError(Fg_Init("/nonexistent/libPellucid.so", 0)), initError(Fg_Init(nullptr, 0)),
                       initError(Fg_Init("Pellucid", 2)), initError(Fg_Init("NoSuchApplet", 0)),
                       initError(Fg_Init("qorv_hw", 0)),             // loads, but has no Std_entry
                       initError(Fg_Init(VBOARD_FAKE_APPLET, 1))}),  // which refuses board 1
              (Results{FG_INVALID_BOARD, FG_INVALID_BOARD, kInvalid, FG_APPLET_NOT_LOADED, kInvalid,
                       FG_INVALID_BOARD, FG_APPLET_NOT_LOADED, FG_APPLET_NOT_LOADED, FG_DESIGN_LOAD_FAILED}));
    EXPECT_FALSE(loaded(VBOARD_FAKE_APPLET));
    HapUnloadHapFile(design);
}

// A design parameter as wide as the value itself still refuses negatives of the signed types; the
// same names in another layout are configured anew. A read-only field refuses an entry.
TEST(Handles, ParametersRefuseWhatTheirLayoutCannotTake) {
    control::reset();
    for (const std::string width : {"64", "63"}) {
        const std::string text = "QORV-DESIGN 1\nname W\nversion 1\ntypecode 1\nuid w\nparam W uint " +
                                 width + " rw\nparam F field 2 8 ro\nbitstream 0 2d06800538d394c2\n\nend\n";
        fpga_design* design = HapLoadDesignFromBuffer(text.data(), text.size(), 1);
        Fg_Struct* fg = Fg_InitHandleSlaveAware("W", QorvBoardOpen(1), design, 0);
        ASSERT_NE(fg, nullptr);
        const int64_t minus = -1;  // as an unsigned 64-bit value, the largest, which fits 64 bits
        const auto set = [&](const char* name, const auto& value, int type) {
            return Fg_setParameterWithType(fg, Fg_getParameterIdByName(fg, name), &value, 0, type);
        };
        EXPECT_EQ((Results{set("W", minus, kI32), set("W", minus, kI64), set("W", minus, kU64),
                           set("F", FieldParameterInt{1, 0}, kEntry)}),
                  (Results{kRange, kRange, width == "64" ? 0 : kRange, kNA}));
        EXPECT_EQ(Fg_FreeGrabber(fg), 0);
        HapUnloadHapFile(design);
    }
}

// A handle opened with an applet (a stand-in that echoes what reaches it) routes every call to it.
TEST(Applets, HandleRoutesEveryCallToTheApplet) {
    Fg_Struct* fg = Fg_Init(VBOARD_FAKE_APPLET, 0);
    ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
    int v = 0;
    // The untyped calls go to the typed exports; the applet lacks the last two.
    EXPECT_EQ((Results{Fg_setParameterWithType(fg, 100, &v, 3, kDouble), Fg_setParameter(fg, 100, &v, 3),
                       Fg_getParameter(fg, 40, &v, 2), v, Fg_getLastErrorNumber(fg),
                       Fg_getAppletId(fg, nullptr), Fg_AcquireEx(fg, 0, 1, ACQ_STANDARD, nullptr)}),
              (Results{kDouble, FG_PARAM_TYPE_AUTO, FG_PARAM_TYPE_AUTO, 42, -4242, kNA, kNA}));
    EXPECT_NE(Fg_AllocMemEx(fg, 16, 2), nullptr);  // the SDK's own memory serves the applet's board
    EXPECT_EQ(Fg_FreeGrabber(fg), 7);              // the applet's answer
    EXPECT_FALSE(loaded(VBOARD_FAKE_APPLET));
    setenv("QORV_APPLET_DIR", std::filesystem::path(VBOARD_FAKE_APPLET).parent_path().c_str(), 1);
    fg = Fg_Init("vboard_fake_applet", 0);  // a bare name, looked up in the applet folder
    unsetenv("QORV_APPLET_DIR");
    EXPECT_EQ(fg != nullptr ? Fg_FreeGrabber(fg) : initError(fg), 7);
}

class Acquisition : public PlainHandle {
  protected:
    void SetUp() override {
        PlainHandle::SetUp();
        emptyCameraPort();
        ASSERT_NE(memory = Fg_AllocMemEx(fg, 64, 4), nullptr);
    }
};

// Buffers are used round; foreign or no memory, other channels and bad counts are refused.
TEST_F(Acquisition, Arguments) {
    EXPECT_EQ((Results{Fg_AllocMemEx(fg, 0, 4) == nullptr, Fg_getLastErrorNumber(fg),
                       Fg_AllocMemEx(fg, 64, 0) == nullptr, Fg_AllocMemEx(fg, SIZE_MAX / 2, 4) == nullptr,
                       Fg_getLastErrorNumber(fg), Fg_AllocShading(fg, 1, 1) == nullptr,
                       Fg_getLastErrorNumber(fg), Fg_AllocShading(nullptr, 1, 1) == nullptr}),
              (Results{1, kInvalid, 1, 1, FG_NOT_ENOUGH_MEMORY, 1, kNA, 1}));
    auto* base = static_cast<char*>(Fg_getImagePtrEx(fg, 1, 0, memory));
    EXPECT_EQ((std::vector{Fg_getImagePtrEx(fg, 2, 0, memory), Fg_getImagePtrEx(fg, 5, 0, memory),
                           Fg_getImagePtrEx(fg, 0, 0, memory), Fg_getImagePtrEx(fg, 1, 1, memory),
                           Fg_getImagePtrEx(fg, 1, 0, nullptr)}),
              (std::vector<void*>{base + 64, base, nullptr, nullptr, nullptr}));

    fpga_design* other = HapLoadHapFileWithType(VBOARD_DESIGN_FILE, 2628, 1);
    Fg_Struct* board1 = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(1), other);
    dma_mem* foreign = Fg_AllocMemEx(board1, 64, 1);
    EXPECT_EQ((Results{Fg_AcquireEx(fg, 1, 1, ACQ_STANDARD, memory), acquire(1, nullptr), acquire(1, foreign),
                       acquire(0), acquire(-2), Fg_stopAcquire(fg, 0)}),
              (Results{kInvalid, FG_INVALID_MEMORY, FG_INVALID_MEMORY, kInvalid, kInvalid,
                       FG_ACQUISITION_NOT_RUNNING}));
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    EXPECT_EQ((Results{acquire(1), Fg_FreeMemEx(fg, memory), status(VBOARD_STATUS_ACQUIRING),
                       Fg_getStatusEx(board1, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr),
                       status(VBOARD_STATUS_BUFFER_COUNT), Fg_getLastErrorNumber(fg), status(999), stop(),
                       status(VBOARD_STATUS_ACQUIRING)}),
              (Results{FG_ACQUISITION_RUNNING, FG_ACQUISITION_RUNNING, 1, 0, 4, 0, kInvalid, 0, 0}));
    Fg_FreeGrabber(board1);  // frees `foreign` with it
    HapUnloadHapFile(other);
    EXPECT_EQ((Results{Fg_FreeMemEx(fg, memory), Fg_FreeMemEx(fg, memory), Fg_FreeMemEx(fg, nullptr)}),
              (Results{0, FG_INVALID_MEMORY, FG_INVALID_MEMORY}));
    memory = nullptr;
}

TEST_F(Acquisition, PictureNumbersBlockingWaitAndFreeing) {
    // The test control's reset stops a running acquisition first.
    ASSERT_EQ(acquire(GRAB_INFINITE), 0);
    control::reset();
    EXPECT_EQ(status(VBOARD_STATUS_ACQUIRING), 0);
    emptyCameraPort();
    ASSERT_EQ(acquire(3), 0);
    EXPECT_EQ(
        (Results{waitFor(1, 0), Fg_getLastErrorNumber(fg), last(), Fg_getLastErrorNumber(fg), waitFor(0, 0)}),
        (Results{FG_TIMEOUT_ERR, FG_TIMEOUT_ERR, 0, 0, kInvalid}));
    // A picture completing during the wait ends it.
    std::thread source([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        control::deliverFrames(2);
    });
    EXPECT_EQ(waitFor(2, 10), 2);
    source.join();
    control::deliverFrames(5);  // only the third of the three pictures arrives
    EXPECT_EQ((Results{status(VBOARD_STATUS_LAST_PICTURE), status(VBOARD_STATUS_ACQUIRING), stop(STOP_SYNC)}),
              (Results{3, 0, FG_ACQUISITION_NOT_RUNNING}));
    // Freeing the handle stops its acquisition and frees its memory.
    ASSERT_EQ(Fg_Acquire(fg, 0, GRAB_INFINITE), 0);
    ASSERT_EQ(Fg_FreeGrabber(fg), 0);
    fg = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design);
    EXPECT_EQ((Results{Fg_Acquire(fg, 0, 1), (control::deliverFrames(2), Fg_stopAcquire(fg, 0)),
                       Fg_FreeMemEx(fg, memory)}),
              (Results{0, FG_ACQUISITION_NOT_RUNNING, FG_INVALID_MEMORY}));  // ended by its one picture
}

}  // namespace
}  // namespace vboard::test
