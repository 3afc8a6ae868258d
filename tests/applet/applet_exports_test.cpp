// The applet's exported C interface on the virtual board: null handles, the entry's flag,
// forwarding to the SDK with its last-error rules, the 64-bit clear, shading answers, a lock
// misuse seen from the SDK, and Info. Freeing is checked with the entry's failure paths.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "applet_fixture.h"
#include "fg_constants.h"
#include "qorviolibrt.h"
#include "vboard/fglib_ext.h"

namespace {

// A function that takes a handle, called with `h` and zeros for its other arguments, answers
// "no applet": a null pointer, an empty mask, or FG_INVALID_HANDLE.
template <typename R, typename... Args>
void expectNoApplet(const char* name, R (*fn)(Fg_Struct*, Args...), Fg_Struct* h) {
    const R result = fn(h, Args{}...);
    if constexpr (std::is_pointer_v<R> || std::is_unsigned_v<R>) {
        EXPECT_FALSE(result) << name;
    } else {
        EXPECT_EQ(result, FG_INVALID_HANDLE) << name;
    }
}
void expectNoApplet(...) {}  // Std_entry and Info take no handle

TEST(AppletExports, EveryHandleFunctionAnswersItsNullResultWithoutAnApplet) {
    Fg_Struct empty{};
    for (Fg_Struct* h : {static_cast<Fg_Struct*>(nullptr), &empty}) {
#define PELLUCID_EXPECT_NO_APPLET(name) expectNoApplet(#name, A().name, h);
        PELLUCID_APPLET_EXPORTS(PELLUCID_EXPECT_NO_APPLET)
#undef PELLUCID_EXPECT_NO_APPLET
    }
}

TEST_F(AppletOnBoard, FailedForwardKeepsTheSdksErrorAndSuccessResetsIt) {
    const int rc = A().Fg_AcquireEx(&fg, 0, 1, ACQ_STANDARD, nullptr);  // no buffer set: the SDK refuses
    ASSERT_EQ(rc, FG_INVALID_MEMORY);
    EXPECT_EQ(lastError(), FG_INVALID_MEMORY);
    EXPECT_EQ(A().Fg_getLastPicNumberBlockingEx(&fg, 1, 7, 0, nullptr), FG_INVALID_PARAMETER);
    EXPECT_EQ(lastError(), FG_INVALID_PARAMETER) << "the DMA index is passed on unchanged";
    EXPECT_EQ(A().Fg_getStatusEx(&fg, VBOARD_STATUS_ACQUIRING, 0, 0, nullptr), 0);
    EXPECT_EQ(lastError(), 0);
}

TEST_F(AppletOnBoard, SixtyFourBitReadClearsTheUpperHalfFirstAndNullValuesAreRefused) {
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
    EXPECT_EQ(lastError(), FG_INVALID_PARAMETER);

    EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_WIDTH, nullptr, 0, 2), FG_INVALID_PARAMETER);
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_WIDTH, nullptr, 0, FG_PARAM_TYPE_UINT64_T),
              FG_INVALID_PARAMETER);
    EXPECT_EQ(lastError(), FG_INVALID_PARAMETER);
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

std::string bytes(const void* data, size_t size) {
    return data != nullptr ? std::string(static_cast<const char*>(data), size) : "(null)";
}

std::string readFile(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Texts come with their terminating zero, the embedded files byte for byte.
TEST(AppletInfo, AnswersEachQueryWithItsDataAndType) {
    auto text = [](const char* s) { return bytes(s, std::strlen(s) + 1); };
    const uint32_t typeCode = 2628;
    const struct {
        int query, type;
        std::string data;
    } cases[] = {{INFO_APPLET_DESIGN, FG_PARAM_TYPE_COMPLEX_DATATYPE, readFile(PELLUCID_DESIGN_PATH)},
                 {INFO_APPLET_ICON, FG_PARAM_TYPE_COMPLEX_DATATYPE, readFile(PELLUCID_ICON_PATH)},
                 {INFO_APPLET_HAP_UID, FG_PARAM_TYPE_CHAR_PTR, text("3c1f9a27-5b0e-4d86-a9e2-71d4c0b85f13")},
                 {INFO_APPLET_BITSTREAM_UID, FG_PARAM_TYPE_CHAR_PTR, text("")},
                 {INFO_APPLET_NAME, FG_PARAM_TYPE_CHAR_PTR, text("Pellucid")},
                 {INFO_APPLET_VERSION, FG_PARAM_TYPE_CHAR_PTR, text("1.2")},
                 {INFO_APPLET_TYPE_CODE, FG_PARAM_TYPE_UINT32_T, bytes(&typeCode, sizeof typeCode)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.query);
        const void* data = nullptr;
        uint64_t size = 0;
        int type = 0;
        ASSERT_EQ(A().Info(c.query, &data, &size, &type), 0);
        EXPECT_EQ(type, c.type);
        EXPECT_GT(c.data.size(), 0u);
        EXPECT_TRUE(bytes(data, size) == c.data) << "size " << size << ", expected " << c.data.size();
    }
    const void* data = &data;
    uint64_t size = 0;
    int type = 0;
    EXPECT_EQ(A().Info(1040, &data, &size, &type), FG_INVALID_PARAMETER);
    EXPECT_EQ(data, &data) << "nothing written for an unknown query";
    EXPECT_EQ(A().Info(INFO_APPLET_NAME, nullptr, &size, &type), FG_INVALID_PARAMETER);
}

}  // namespace
