// The applet's exported C interface on the virtual board: null handles, forwarding to the SDK
// with its last-error rules, the 64-bit clear, events, shading answers, Info and freeing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <vector>

#include "applet_fixture.h"
#include "fg_constants.h"
#include "qorviolibrt.h"
#include "vboard/fglib_ext.h"

namespace {

TEST(AppletExports, EveryHandleFunctionAnswersItsNullResultWithoutAnApplet) {
    Fg_Struct empty{};
    for (Fg_Struct* h : {static_cast<Fg_Struct*>(nullptr), &empty}) {
        int i = 0;
        char buf[8];
        size_t size = sizeof buf;
        EXPECT_EQ(A().Fg_getAppletId(h, "x"), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_setParameterWithType(h, FG_WIDTH, &i, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getParameterWithType(h, FG_WIDTH, &i, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getNrOfParameter(h), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getParameterName(h, 0), nullptr);
        EXPECT_EQ(A().Fg_getParameterId(h, 0), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getParameterIdByName(h, "FG_WIDTH"), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getStatusEx(h, 0, 0, 0, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_saveConfig(h, "x.mcf"), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_loadConfig(h, "x.mcf"), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_AcquireEx(h, 0, 1, ACQ_STANDARD, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_stopAcquireEx(h, 0, nullptr, 0), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getLastPicNumberEx(h, 0, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getLastPicNumberBlockingEx(h, 1, 0, 1, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_FreeGrabber(h), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getLastErrorNumber(h), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getParameterInfo(h, 0), nullptr);
        EXPECT_EQ(A().Fg_getParameterInfoXML(h, 0, buf, &size), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_AllocShading(h, 1, 0), nullptr);
        EXPECT_EQ(A().Fg_FreeShading(h, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_SetSubValueLine(h, nullptr, 0, 0, 0.f), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_SetMultValueLine(h, nullptr, 0, 0, 0.f), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_SetFixedPatternNoiseLine(h, nullptr, 0, 0, 0), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_GetMaxLine(h, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_GetAccess(h, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_FreeAccess(h, nullptr), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Shad_WriteActLine(h, nullptr, 0), FG_INVALID_HANDLE);
        EXPECT_EQ(A().Fg_getEventMask(h, "FG_OVERFLOW_CAM0"), 0UL);
        EXPECT_EQ(A().Fg_getEventName(h, 1), nullptr);
    }
}

TEST(AppletEntry, FlagIsRefusedBeforeAnythingIsAllocated) {
    int error = 0;
    EXPECT_EQ(A().Std_entry(QorvBoardOpen(0), &error, 1), nullptr);
    EXPECT_EQ(error, FG_INVALID_PARAMETER);
    EXPECT_EQ(A().Std_entry(QorvBoardOpen(0), nullptr, 1), nullptr);  // no error slot: no crash
}

TEST(AppletEntry, NullErrorSlotStillBuildsTheObject) {
    Fg_Struct fg{};
    fg.Master = A().Std_entry(QorvBoardOpen(0), nullptr, 0);
    ASSERT_NE(fg.Master, nullptr);
    EXPECT_EQ(A().Fg_FreeGrabber(&fg), 0);
}

TEST_F(AppletOnBoard, FailedForwardKeepsTheSdksErrorAndSuccessResetsIt) {
    const int rc = A().Fg_AcquireEx(&fg, 0, 1, ACQ_STANDARD, nullptr);  // no buffer set: the SDK refuses
    ASSERT_EQ(rc, FG_INVALID_MEMORY);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_INVALID_MEMORY);
    EXPECT_EQ(A().Fg_getLastPicNumberBlockingEx(&fg, 1, 7, 0, nullptr), FG_INVALID_PARAMETER);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_INVALID_PARAMETER) << "the DMA index is passed on unchanged";

    EXPECT_EQ(A().Fg_getStatusEx(&fg, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr), 0);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), 0);
}

TEST_F(AppletOnBoard, SixtyFourBitReadClearsTheUpperHalfFirst) {
    const int sdkTimeout = FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT;  // a 32-bit value of the SDK's own
    uint64_t value = ~0ULL;
    ASSERT_EQ(A().Fg_getParameterWithType(&fg, sdkTimeout, &value, 0, FG_PARAM_TYPE_UINT64_T), 0);
    EXPECT_EQ(value >> 32, 0u);
    EXPECT_NE(value, 0u);

    value = ~0ULL;
    ASSERT_EQ(A().Fg_getParameterWithType(&fg, sdkTimeout, &value, 0, FG_PARAM_TYPE_UINT32_T), 0);
    EXPECT_EQ(value >> 32, 0xFFFFFFFFu) << "only 64-bit types clear the upper half";

    value = ~0ULL;
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, 987654, &value, 0, FG_PARAM_TYPE_INT64_T),
              FG_INVALID_PARAMETER);
    EXPECT_EQ(value, 0u) << "cleared even when the read then fails";
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_INVALID_PARAMETER);
}

TEST_F(AppletOnBoard, NullValueIsRefusedAndRecorded) {
    EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_WIDTH, nullptr, 0, 2), FG_INVALID_PARAMETER);
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_WIDTH, nullptr, 0, 4), FG_INVALID_PARAMETER);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_INVALID_PARAMETER);
}

TEST_F(AppletOnBoard, EventsResolveBothWays) {
    const std::vector<const char*> names = {FG_EVENT_NAME_LIST};
    ASSERT_EQ(names.size(), static_cast<size_t>(FG_EVENT_COUNT));
    for (size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(names[i]);
        EXPECT_EQ(A().Fg_getEventMask(&fg, names[i]), 1UL << i);
        EXPECT_STREQ(A().Fg_getEventName(&fg, 1UL << i), names[i]);
    }
    EXPECT_EQ(A().Fg_getEventMask(&fg, "fg_overflow_cam0"), 0UL);
    EXPECT_EQ(A().Fg_getEventMask(&fg, nullptr), 0UL);
    EXPECT_EQ(A().Fg_getEventName(&fg, 3), nullptr) << "two bits are no event";
    EXPECT_EQ(A().Fg_getEventName(&fg, 0), nullptr);
    EXPECT_EQ(A().Fg_getEventName(&fg, 1UL << FG_EVENT_COUNT), nullptr);
}

TEST_F(AppletOnBoard, ShadingIsNotSupportedAndReportsItsResultAsLastError) {
    EXPECT_EQ(A().Fg_AllocShading(&fg, 1, 0), nullptr);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_ERROR);
    ShadingMaster* sh = nullptr;
    const std::vector<std::function<int()>> calls = {
        [&] { return A().Fg_FreeShading(&fg, sh); },
        [&] { return A().Shad_SetSubValueLine(&fg, sh, 0, 0, 1.f); },
        [&] { return A().Shad_SetMultValueLine(&fg, sh, 0, 0, 1.f); },
        [&] { return A().Shad_SetFixedPatternNoiseLine(&fg, sh, 0, 0, 1); },
        [&] { return A().Shad_GetMaxLine(&fg, sh); },
        [&] { return A().Shad_GetAccess(&fg, sh); },
        [&] { return A().Shad_FreeAccess(&fg, sh); },
        [&] { return A().Shad_WriteActLine(&fg, sh, 0); },
    };
    for (const auto& call : calls) {
        A().Fg_setParameterWithType(&fg, FG_WIDTH, nullptr, 0, 2);  // some other last error first
        EXPECT_EQ(call(), FG_SHADING_NOT_SUPPORTED);
        EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_SHADING_NOT_SUPPORTED);
    }
}

TEST_F(AppletOnBoard, FreeGrabberDestroysTheObjectAndClearsMaster) {
    EXPECT_EQ(A().Fg_FreeGrabber(&fg), 0);
    EXPECT_EQ(fg.Master, nullptr);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_INVALID_HANDLE);
    EXPECT_EQ(A().Fg_FreeGrabber(&fg), FG_INVALID_HANDLE);
}

TEST_F(AppletOnBoard, ParameterInfoIsTheAppletsOwnRegistry) {
    // Ports beyond the registry's four have no records.
    EXPECT_EQ(A().Fg_getParameterInfo(&fg, 4), nullptr);
    EXPECT_EQ(A().Fg_getParameterInfo(&fg, -1), nullptr);
}

std::vector<unsigned char> readFile(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A parameter call that re-enters the parameter path on its own thread (here from inside the SDK,
// while the applet writes the design) meets the lock's report, which the exported function lets
// through to its caller, the SDK: that one tells the program.
TEST(AppletThroughSdk, ALockMisuseReachesTheSdkWhichReportsIt) {
    vboard::control::reset();
    Fg_Struct* fg = Fg_Init("Pellucid", 0);
    ASSERT_NE(fg, nullptr);
    vboard::control::setWriteHook([&](std::string_view) {
        vboard::control::setWriteHook(nullptr);
        uint32_t v = 0;
        A().Fg_getParameterWithType(fg, FG_WIDTH, &v, 0, FG_PARAM_TYPE_UINT32_T);
        ADD_FAILURE() << "the re-entering call returned";
    });
    uint32_t width = 512;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Fg_setParameterWithType(fg, FG_WIDTH, &width, 0, FG_PARAM_TYPE_UINT32_T), FG_APPLET_EXCEPTION);
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        ::testing::HasSubstr("Fg_setParameterWithType: the applet raised: GenericLock object got lock "
                             "but is already marked as locked"));
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_APPLET_EXCEPTION);
    EXPECT_EQ(Fg_setParameterWithType(fg, FG_WIDTH, &width, 0, FG_PARAM_TYPE_UINT32_T), 0) << "lock released";
    EXPECT_EQ(Fg_getLastErrorNumber(fg), 0);
    EXPECT_EQ(Fg_FreeGrabber(fg), 0);
}

TEST(AppletInfo, HandsOutTheEmbeddedDesignByteForByte) {
    const void* data = nullptr;
    uint64_t size = 0;
    int type = 0;
    ASSERT_EQ(A().Info(INFO_APPLET_DESIGN, &data, &size, &type), 0);
    EXPECT_EQ(size, 2836503u);
    const std::vector<unsigned char> file = readFile(PELLUCID_DESIGN_PATH);
    ASSERT_EQ(size, file.size());
    EXPECT_EQ(std::memcmp(data, file.data(), file.size()), 0);
    EXPECT_EQ(type, FG_PARAM_TYPE_COMPLEX_DATATYPE);
}

TEST(AppletInfo, IconIsA32By32RgbaPng) {
    const void* data = nullptr;
    uint64_t size = 0;
    int type = 0;
    ASSERT_EQ(A().Info(INFO_APPLET_ICON, &data, &size, &type), 0);
    ASSERT_GE(size, 33u);
    const auto* p = static_cast<const unsigned char*>(data);
    EXPECT_EQ(std::memcmp(p, "\x89PNG\r\n\x1a\n", 8), 0);
    EXPECT_EQ(std::memcmp(p + 12, "IHDR", 4), 0);
    auto be32 = [&](int at) { return (p[at] << 24) | (p[at + 1] << 16) | (p[at + 2] << 8) | p[at + 3]; };
    EXPECT_EQ(be32(16), 32);  // width
    EXPECT_EQ(be32(20), 32);  // height
    EXPECT_EQ(p[24], 8);      // bits per channel
    EXPECT_EQ(p[25], 6);      // colour type: RGBA
}

TEST(AppletInfo, AnswersEachQueryWithItsType) {
    struct Case {
        int query;
        int type;
        const char* text;
    };
    const Case cases[] = {
        {INFO_APPLET_HAP_UID, FG_PARAM_TYPE_CHAR_PTR, "3c1f9a27-5b0e-4d86-a9e2-71d4c0b85f13"},
        {INFO_APPLET_BITSTREAM_UID, FG_PARAM_TYPE_CHAR_PTR, ""},
        {INFO_APPLET_NAME, FG_PARAM_TYPE_CHAR_PTR, "Pellucid"},
        {INFO_APPLET_VERSION, FG_PARAM_TYPE_CHAR_PTR, "1.2"},
    };
    for (const Case& c : cases) {
        const void* data = nullptr;
        uint64_t size = 0;
        int type = 0;
        ASSERT_EQ(A().Info(c.query, &data, &size, &type), 0) << c.query;
        EXPECT_EQ(type, c.type);
        EXPECT_STREQ(static_cast<const char*>(data), c.text);
        EXPECT_EQ(size, std::strlen(c.text) + 1);
    }
    const void* data = nullptr;
    uint64_t size = 0;
    int type = 0;
    ASSERT_EQ(A().Info(INFO_APPLET_TYPE_CODE, &data, &size, &type), 0);
    EXPECT_EQ(type, FG_PARAM_TYPE_UINT32_T);
    EXPECT_EQ(*static_cast<const uint32_t*>(data), 2628u);

    data = &size;
    EXPECT_EQ(A().Info(1040, &data, &size, &type), FG_INVALID_PARAMETER);
    EXPECT_EQ(data, &size) << "nothing written for an unknown query";
    EXPECT_EQ(A().Info(INFO_APPLET_NAME, nullptr, &size, &type), FG_INVALID_PARAMETER);
}

}  // namespace
