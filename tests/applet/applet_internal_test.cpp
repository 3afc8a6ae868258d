// Parts of the applet class that no exported function reaches: the DMA side of a one-channel
// design.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "AppletWrapper.h"

namespace {

// What `call` throws: an error number or a runtime error's message.
std::string thrown(const std::function<void()>& call) {
    try {
        call();
    } catch (int error) {
        return std::to_string(error);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "nothing";
}

TEST(AppletInternals, OnlyDmaChannelZeroExistsAndMissingOperationsSayWhichOne) {
    FgZeWrapperImpl applet;
    applet.initInternalMaps();
    EXPECT_EQ(applet.mapDmaToProcess(0), 0);
    const std::string invalid = std::to_string(FG_INVALID_PARAMETER);
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { applet.mapDmaToProcess(-1); }, invalid},
        {[&] { applet.mapDmaToProcess(1); }, invalid},
        {[&] { applet.mapDmaToProcess(4); }, invalid},
        {[&] { applet.processChannelToDma(0, 0); }, "processChannelToDma() is not implemented."},
        {[&] { applet.mapDmaToFormat(0); }, "mapDmaToFormat() is not implemented."},
        {[&] { applet.setDmaAlignment(0, 0); }, "setDmaAlignment() is not implemented."},
        {[&] { applet.getDmaAlignment(0); }, "getDmaAlignment() is not implemented."}};
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(thrown(cases[i].first), cases[i].second) << i;
}

}  // namespace
