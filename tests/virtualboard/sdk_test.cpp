// The SDK: handle lifecycle, its own parameter description, opening a board with an applet,
// acquisition bookkeeping and error texts.
#include <dlfcn.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "vboard_fixture.h"

namespace vboard::test {
namespace {

TEST(Handles, InitRefusesUnknownBoardsAndMissingDesigns) {
    fpga_design* design = HapLoadHapFileWithType(designFile(), 2628, 1);
    ASSERT_NE(design, nullptr);
    int notABoard = 0;
    struct {
        ZEdevice* board;
        fpga_design* design;
        int error;
    } cases[] = {
        {nullptr, design, FG_INVALID_BOARD},
        {reinterpret_cast<ZEdevice*>(&notABoard), design, FG_INVALID_BOARD},
        {QorvBoardOpen(0), nullptr, FG_INVALID_PARAMETER},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Fg_InitHandleSlaveAware("Pellucid.hap", c.board, c.design, 0), nullptr);
        EXPECT_EQ(Fg_getLastErrorNumber(nullptr), c.error);
        EXPECT_EQ(Fg_InitHandle("Pellucid.hap", c.board, c.design), nullptr);
    }
    HapUnloadHapFile(design);
}

TEST(Handles, BoardsAreCountedAndIndexed) {
    EXPECT_EQ(QorvBoardCount(), 2);
    EXPECT_EQ(QorvBoardIndex(QorvBoardOpen(1)), 1);
    EXPECT_EQ(QorvBoardOpen(2), nullptr);
    EXPECT_EQ(QorvBoardIndex(nullptr), FG_INVALID_BOARD);
}

TEST_F(PlainHandle, AppletFunctionsAreNotAvailable) {
    EXPECT_EQ(fg->Master, nullptr);
    size_t size = 0;
    EXPECT_EQ(Fg_getAppletId(fg, nullptr), FG_NOT_AVAILABLE);
    EXPECT_EQ(Fg_loadConfig(fg, "x.mcf"), FG_NOT_AVAILABLE);
    EXPECT_EQ(Fg_getParameterInfoXML(fg, 0, nullptr, &size), FG_NOT_AVAILABLE);
    EXPECT_EQ(Shad_GetMaxLine(fg, nullptr), FG_NOT_AVAILABLE);
    EXPECT_EQ(Fg_getParameterName(fg, 0), nullptr);
    EXPECT_EQ(Fg_getEventName(fg, 1), nullptr);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_NOT_AVAILABLE);
}

TEST(Handles, NullHandleGivesTheNullResults) {
    int v = 0;
    EXPECT_EQ(Fg_getParameter(nullptr, 1, &v, 0), FG_INVALID_HANDLE);
    EXPECT_EQ(Fg_AcquireEx(nullptr, 0, 1, ACQ_STANDARD, nullptr), FG_INVALID_HANDLE);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(nullptr, 1, 0, 0, nullptr), FG_INVALID_HANDLE);
    EXPECT_EQ(Fg_FreeMemEx(nullptr, nullptr), FG_INVALID_HANDLE);
    EXPECT_EQ(Fg_AllocMemEx(nullptr, 16, 1), nullptr);
    EXPECT_EQ(Fg_getImagePtrEx(nullptr, 1, 0, nullptr), nullptr);
    EXPECT_EQ(Fg_getParameterInfo(nullptr, 0), nullptr);
    EXPECT_EQ(Fg_getEventMask(nullptr, "FG_OVERFLOW_CAM0"), 0u);
    EXPECT_EQ(Fg_FreeGrabber(nullptr), FG_INVALID_HANDLE);
}

TEST_F(PlainHandle, SdkParameterDescription) {
    RegisterInfo* group = Fg_getParameterInfo(fg, 0);
    ASSERT_NE(group, nullptr);
    EXPECT_STREQ(group->name, "SDK");
    ASSERT_EQ(group->u.gReg.nrOfElements, 4);
    struct {
        const char* name;
        int id;
        uint32_t from, to;
        int access;
    } expected[] = {
        {"FG_TIMEOUT", FG_TIMEOUT, 2, 2147483646, FG_ACCESS_READ_WRITE_CHANGE},
        {"FG_TURBO_DMA_MODE", FG_TURBO_DMA_MODE, 0, 1, FG_ACCESS_READ_WRITE_CHANGE},
        {"FG_CAMSTATUS_EXTENDED", FG_CAMSTATUS_EXTENDED, 0, UINT32_MAX, FG_ACCESS_READ},
        {"FG_DIGIO_INPUT", FG_DIGIO_INPUT, 0, UINT32_MAX, FG_ACCESS_READ},
    };
    for (int i = 0; i < 4; ++i) {
        const RegisterInfo* leaf = group->u.gReg.elements[i];
        EXPECT_EQ(leaf->format, REG_FORMAT_UINT);
        EXPECT_STREQ(leaf->parameterName, expected[i].name);
        EXPECT_EQ(leaf->id, expected[i].id);
        EXPECT_EQ(leaf->u.uiReg.from, expected[i].from);
        EXPECT_EQ(leaf->u.uiReg.to, expected[i].to);
        EXPECT_EQ(leaf->accessFlags, expected[i].access);
        // The tree's names lead back to the ids, the way an applet enumerates them.
        EXPECT_EQ(Fg_getParameterIdByName(fg, leaf->parameterName), expected[i].id);
    }
    EXPECT_EQ(Fg_getParameterInfo(fg, 0), group);  // built once
    EXPECT_EQ(Fg_getParameterInfo(fg, 1), nullptr);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_INVALID_PARAMETER);
}

TEST(Init, ErrorsThatNeedNoApplet) {
    struct {
        const char* name;
        unsigned board;
        int error;
    } cases[] = {
        {nullptr, 0, FG_INVALID_PARAMETER},        {"Pellucid", 2, FG_INVALID_BOARD},
        {"NoSuchApplet", 0, FG_APPLET_NOT_LOADED}, {"/nonexistent/libPellucid.so", 0, FG_APPLET_NOT_LOADED},
        {"qorv_hw", 0, FG_APPLET_NOT_LOADED},  // loads, but has no Std_entry
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Fg_Init(c.name, c.board), nullptr);
        EXPECT_EQ(Fg_getLastErrorNumber(nullptr), c.error) << (c.name ? c.name : "null");
    }
}

// ---- routing, with a stand-in applet ----

bool loaded(const char* path) {
    void* h = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (h != nullptr) dlclose(h);
    return h != nullptr;
}

TEST(Routing, AppletHandleRoutesEveryCallToTheApplet) {
    Fg_Struct* fg = Fg_Init(VBOARD_FAKE_APPLET, 0);
    ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
    EXPECT_NE(fg->Master, nullptr);
    EXPECT_TRUE(loaded(VBOARD_FAKE_APPLET));

    int v = 0;
    EXPECT_EQ(Fg_setParameterWithType(fg, 100, &v, 3, FG_PARAM_TYPE_DOUBLE), FG_PARAM_TYPE_DOUBLE);
    EXPECT_EQ(Fg_setParameter(fg, 100, &v, 3), FG_PARAM_TYPE_AUTO);  // untyped goes to the typed export
    EXPECT_EQ(Fg_getParameter(fg, 40, &v, 2), FG_PARAM_TYPE_AUTO);
    EXPECT_EQ(v, 42);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), -4242);
    EXPECT_EQ(Fg_getStatusEx(fg, 5, 6, 0, nullptr), 11);
    // Functions the applet lacks.
    EXPECT_EQ(Fg_getAppletId(fg, nullptr), FG_NOT_AVAILABLE);
    EXPECT_EQ(Fg_AcquireEx(fg, 0, 1, ACQ_STANDARD, nullptr), FG_NOT_AVAILABLE);
    EXPECT_EQ(Fg_getParameterName(fg, 0), nullptr);
    EXPECT_EQ(Fg_getParameterInfo(fg, 0), nullptr);
    EXPECT_EQ(Fg_getEventMask(fg, "FG_OVERFLOW_CAM0"), 0u);
    // The SDK's own memory functions still serve the applet's board.
    dma_mem* memory = Fg_AllocMemEx(fg, 16, 2);
    EXPECT_NE(memory, nullptr);

    EXPECT_EQ(Fg_FreeGrabber(fg), 7);  // the applet's answer
    EXPECT_FALSE(loaded(VBOARD_FAKE_APPLET));
}

TEST(Routing, EntryFailureIsReportedAndUnloads) {
    EXPECT_EQ(Fg_Init(VBOARD_FAKE_APPLET, 1), nullptr);  // the stand-in refuses board 1
    EXPECT_EQ(Fg_getLastErrorNumber(nullptr), FG_DESIGN_LOAD_FAILED);
    EXPECT_FALSE(loaded(VBOARD_FAKE_APPLET));
}

TEST(Routing, BareNamesAreLookedUpInTheAppletFolder) {
    const std::string dir = std::filesystem::path(VBOARD_FAKE_APPLET).parent_path();
    setenv("QORV_APPLET_DIR", dir.c_str(), 1);
    Fg_Struct* fg = Fg_Init("vboard_fake_applet", 0);
    unsetenv("QORV_APPLET_DIR");
    ASSERT_NE(fg, nullptr) << Fg_getLastErrorNumber(nullptr);
    EXPECT_EQ(Fg_FreeGrabber(fg), 7);
}

// ---- acquisition ----

class Acquisition : public PlainHandle {
  protected:
    void SetUp() override {
        PlainHandle::SetUp();
        memory = Fg_AllocMemEx(fg, 64, 4);
        ASSERT_NE(memory, nullptr);
    }
    dma_mem* memory = nullptr;
};

TEST_F(Acquisition, MemoryArguments) {
    EXPECT_EQ(Fg_AllocMemEx(fg, 0, 4), nullptr);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_AllocMemEx(fg, 64, 0), nullptr);
    EXPECT_EQ(Fg_AllocMemEx(fg, 64, -1), nullptr);
    EXPECT_EQ(Fg_AllocMemEx(fg, SIZE_MAX / 2, 4), nullptr);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_NOT_ENOUGH_MEMORY);

    auto* base = static_cast<unsigned char*>(Fg_getImagePtrEx(fg, 1, 0, memory));
    ASSERT_NE(base, nullptr);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 2, 0, memory), base + 64);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 5, 0, memory), base);  // buffers are used round
    EXPECT_EQ(Fg_getImagePtrEx(fg, 0, 0, memory), nullptr);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 1, 1, memory), nullptr);
    EXPECT_EQ(Fg_getImagePtrEx(fg, 1, 0, nullptr), nullptr);

    EXPECT_EQ(Fg_FreeMemEx(fg, memory), 0);
    EXPECT_EQ(Fg_FreeMemEx(fg, memory), FG_INVALID_MEMORY);
    EXPECT_EQ(Fg_FreeMemEx(fg, nullptr), FG_INVALID_MEMORY);
    memory = nullptr;
}

TEST_F(Acquisition, ArgumentChecks) {
    fpga_design* other = HapLoadHapFileWithType(designFile(), 2628, 1);
    Fg_Struct* board1 = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(1), other);
    ASSERT_NE(board1, nullptr);
    dma_mem* foreign = Fg_AllocMemEx(board1, 64, 1);
    int junk = 0;
    auto* notMemory = reinterpret_cast<dma_mem*>(&junk);

    struct {
        unsigned dma;
        long count;
        dma_mem* memory;
        int result;
    } cases[] = {
        {1, 1, memory, FG_INVALID_PARAMETER}, {0, 1, nullptr, FG_INVALID_MEMORY},
        {0, 1, foreign, FG_INVALID_MEMORY},   {0, 1, notMemory, FG_INVALID_MEMORY},
        {0, 0, memory, FG_INVALID_PARAMETER}, {0, -2, memory, FG_INVALID_PARAMETER},
    };
    for (const auto& c : cases) EXPECT_EQ(Fg_AcquireEx(fg, c.dma, c.count, ACQ_STANDARD, c.memory), c.result);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), FG_ACQUISITION_NOT_RUNNING);
    EXPECT_EQ(Fg_stopAcquire(fg, 0), FG_ACQUISITION_NOT_RUNNING);

    ASSERT_EQ(Fg_AcquireEx(fg, 0, GRAB_INFINITE, ACQ_STANDARD, memory), 0);
    EXPECT_EQ(Fg_AcquireEx(fg, 0, 1, ACQ_STANDARD, memory), FG_ACQUISITION_RUNNING);
    EXPECT_EQ(Fg_Acquire(fg, 0, 1), FG_ACQUISITION_RUNNING);
    EXPECT_EQ(Fg_FreeMemEx(fg, memory), FG_ACQUISITION_RUNNING);
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr), 1);
    EXPECT_EQ(Fg_getStatusEx(board1, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr), 0);  // another board
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_BUFFER_COUNT, 0, 0, memory), 4);
    EXPECT_EQ(Fg_getStatusEx(fg, 999, 0, 0, memory), FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, foreign), FG_INVALID_MEMORY);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, nullptr, STOP_ASYNC), FG_INVALID_MEMORY);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC), 0);
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr), 0);

    Fg_FreeGrabber(board1);  // frees `foreign` with it
    HapUnloadHapFile(other);
}

TEST_F(Acquisition, PictureNumbersAndBlockingWait) {
    ASSERT_EQ(Fg_AcquireEx(fg, 0, 3, ACQ_STANDARD, memory), 0);
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 0);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 1, 0, 0, memory), FG_TIMEOUT_ERR);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_TIMEOUT_ERR);
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 0, 0, 0, memory), FG_INVALID_PARAMETER);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 1, 0, 1, memory), FG_TIMEOUT_ERR);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(900));
    EXPECT_LT(waited, std::chrono::seconds(3));

    // A picture completing during the wait ends it.
    std::thread source([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        control::deliverFrames(2);
    });
    EXPECT_EQ(Fg_getLastPicNumberBlockingEx(fg, 2, 0, 10, memory), 2);
    source.join();
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 2);

    control::deliverFrames(5);  // only the third of the three pictures arrives
    EXPECT_EQ(Fg_getLastPicNumberEx(fg, 0, memory), 3);
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_ACQUIRING, 0, 0, memory), 0);
    EXPECT_EQ(Fg_getStatusEx(fg, VBOARD_STATUS_LAST_PICTURE, 0, 0, memory), 3);
    EXPECT_EQ(Fg_stopAcquireEx(fg, 0, memory, STOP_SYNC), FG_ACQUISITION_NOT_RUNNING);
}

TEST_F(Acquisition, FreeingTheHandleStopsItsAcquisition) {
    ASSERT_EQ(Fg_Acquire(fg, 0, GRAB_INFINITE), 0);
    ASSERT_EQ(Fg_FreeGrabber(fg), 0);
    fg = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design);
    ASSERT_NE(fg, nullptr);
    EXPECT_EQ(Fg_Acquire(fg, 0, 1), 0);
    EXPECT_EQ(Fg_stopAcquire(fg, 0), 0);
    EXPECT_EQ(Fg_FreeMemEx(fg, memory), FG_INVALID_MEMORY);  // went with its handle
}

TEST(Errors, TextsOfErrorNumbers) {
    EXPECT_STREQ(Fg_getErrorDescription(FG_TIMEOUT_ERR), "timeout");
    EXPECT_STRNE(Fg_getErrorDescription(FG_CONFIG_KEY_NOT_FOUND), "unknown error");
    EXPECT_STREQ(Fg_getErrorDescription(-12345), "unknown error");
}

}  // namespace
}  // namespace vboard::test
