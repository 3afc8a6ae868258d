// Start-up failure paths of Std_entry. This program does not link the SDK: each test run chooses
// through LD_LIBRARY_PATH which SDK build (if any) the applet finds, and whether the SDK library is
// still loaded afterwards tells whether the applet object was destroyed (it holds the library).
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "applet_library.h"
#include "fg_constants.h"
#include "qorviolibrt.h"

// The design-load failure leaves the applet object allocated on purpose, and an SDK without a
// free function cannot release the handle it made.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:Std_entry\nleak:Fg_InitHandle\n";
}

namespace {

namespace fs = std::filesystem;

const AppletLibrary& A() {
    return AppletLibrary::get();
}

bool sdkLoaded() {
    void* h = dlopen("libfglib5.so", RTLD_NOW | RTLD_NOLOAD);
    if (h != nullptr) dlclose(h);
    return h != nullptr;
}

// Run with no SDK on the search path, and with an SDK that has neither init function.
TEST(SdkNotLoaded, EntryFails) {
    int error = 0;
    EXPECT_EQ(A().Std_entry(QorvBoardOpen(0), &error, 0), nullptr);
    EXPECT_EQ(error, FG_SDK_NOT_LOADED);
}

// --- run with the full SDK on the search path; the leaking design-load failure comes last ---
TEST(FullSdk, TheObjectHoldsTheSdkUntilFreedOrItsInitFails) {
    ASSERT_FALSE(sdkLoaded());
    int error = 0;
    EXPECT_EQ(A().Std_entry(nullptr, &error, 0), nullptr);  // no board: the SDK's init refuses
    EXPECT_EQ(error, FG_INVALID_BOARD);
    EXPECT_FALSE(sdkLoaded()) << "the object and its SDK binding were released";

    Fg_Struct fg{};
    fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
    ASSERT_NE(fg.Master, nullptr);
    EXPECT_TRUE(sdkLoaded());
    EXPECT_EQ(A().Fg_FreeGrabber(&fg), 0);
    EXPECT_EQ(fg.Master, nullptr);
    EXPECT_FALSE(sdkLoaded());
}

// With the switch set the design is read from the current folder instead of the library.
TEST(FullSdk, ExternalDesignComesFromTheCurrentFolder) {
    const fs::path old = fs::current_path();
    const fs::path folder = fs::temp_directory_path() / ("pellucid-entry-" + std::to_string(getpid()));
    fs::create_directories(folder);
    fs::current_path(folder);
    setenv("__QORV_FORCE_EXTERNAL_HAP", "", 1);  // presence is enough, the value is not read
    int error = 0;
    EXPECT_EQ(A().Std_entry(QorvBoardOpen(0), &error, 0), nullptr);
    EXPECT_EQ(error, FG_DESIGN_LOAD_FAILED);
    EXPECT_TRUE(sdkLoaded()) << "the object that opened the SDK was kept";

    fs::copy_file(PELLUCID_DESIGN_PATH, folder / "Pellucid.hap");
    Fg_Struct fg{};
    fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
    EXPECT_EQ(error, 0);
    if (fg.Master != nullptr) {
        EXPECT_EQ(A().Fg_getEventMask(&fg, "FG_TRIGGER_OUTPUT_CAM0"), 1UL << 21);
        EXPECT_EQ(A().Fg_FreeGrabber(&fg), 0);
    }
    unsetenv("__QORV_FORCE_EXTERNAL_HAP");
    fs::current_path(old);
    fs::remove_all(folder);
}

// --- run with an SDK that has no error function ---
TEST(SdkWithoutErrorFunction, FailedInitReportsDesignLoadFailure) {
    int error = 0;
    EXPECT_EQ(A().Std_entry(nullptr, &error, 0), nullptr);
    EXPECT_EQ(error, FG_DESIGN_LOAD_FAILED);
}

// --- run with an SDK that lacks the status, free, typed-access and parameter-description functions ---
TEST(SdkWithoutSomeFunctions, UnboundForwardsAnswerNotAvailable) {
    Fg_Struct fg{};
    int error = 1;
    fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
    ASSERT_NE(fg.Master, nullptr);
    EXPECT_EQ(A().Fg_getStatusEx(&fg, 0, 0, 0, nullptr), FG_NOT_AVAILABLE);
    EXPECT_EQ(A().Fg_getLastErrorNumber(&fg), FG_NOT_AVAILABLE);
    EXPECT_EQ(A().Fg_getParameterInfo(&fg, 0), nullptr) << "an SDK that describes no parameters gates it";
    // Without typed access the design is out of reach, and so are the SDK's own input levels.
    uint32_t value = 1024;
    EXPECT_EQ(A().Fg_setParameterWithType(&fg, FG_WIDTH, &value, 0, FG_PARAM_TYPE_UINT32_T),
              FG_NOT_AVAILABLE);
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_DIGIO_INPUT, &value, 0, FG_PARAM_TYPE_UINT32_T),
              FG_NOT_AVAILABLE);
    // With no SDK free function there is nothing to call: the result is 0 and the object goes.
    EXPECT_EQ(A().Fg_FreeGrabber(&fg), 0);
    EXPECT_EQ(fg.Master, nullptr);
}

}  // namespace
