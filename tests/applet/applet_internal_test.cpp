// Parts of the applet class that no exported function reaches.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "AppletWrapper.h"

namespace {

TEST(AppletInternals, UnsupportedDmaOperationsSayWhichOneIsMissing) {
    FgZeWrapperImpl applet;
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { applet.processChannelToDma(0, 0); }, "processChannelToDma() is not implemented."},
        {[&] { applet.mapDmaToFormat(0); }, "mapDmaToFormat() is not implemented."},
        {[&] { applet.setDmaAlignment(0, 0); }, "setDmaAlignment() is not implemented."},
        {[&] { applet.getDmaAlignment(0); }, "getDmaAlignment() is not implemented."},
    };
    for (const auto& [call, message] : cases) {
        try {
            call();
            ADD_FAILURE() << "no exception for " << message;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), message);
        }
    }
}

TEST(AppletInternals, OnlyDmaChannelZeroMapsToAProcess) {
    FgZeWrapperImpl applet;
    applet.initInternalMaps();
    EXPECT_EQ(applet.mapDmaToProcess(0), 0);
    for (int dma : {-1, 1, 4}) {
        try {
            applet.mapDmaToProcess(dma);
            ADD_FAILURE() << dma;
        } catch (int error) {
            EXPECT_EQ(error, FG_INVALID_PARAMETER);
        }
    }
}

TEST(AppletInternals, IdentityMatchesTheConfigurationHeader) {
    FgZeWrapperImpl applet;
    EXPECT_STREQ(applet.getManufacturer(), "Varnholt GmbH");
    EXPECT_STREQ(applet.getCameraType(), "Pellucid");
    EXPECT_STREQ(applet.getCameraVersion(), "1.2");
    EXPECT_EQ(applet.getAppletID(), 0);
}

}  // namespace
