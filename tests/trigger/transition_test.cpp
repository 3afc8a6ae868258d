// Every (mode, state) pair to every (mode, state) pair, on an applet object built in this process
// so that transitions changing mode and state at once can be asked for directly. The expected
// writes are built here from the transition rows, not taken from the applet.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "haprt.h"
#include "qorviolibrt.h"
#include "vboard/control.h"

namespace {

using Writes = std::vector<std::string>;
namespace vc = vboard::control;

enum : uint32_t { Generator = 1, External = 2, Software = 4, Active = 0, AsyncStop = 1, SyncStop = 2 };
constexpr uint32_t kModes[] = {Generator, External, Software};

// The steps of each transition: a line per old mode (Generator, External, Software), in it a row
// per old state (Active, AsyncStop, SyncStop), and in the row the steps for each new mode, then
// those for each new state; the mode's steps run first. Steps: o/O outputs off/on, g/G generator
// held/on, Q queue on, c pulse form downscales cleared, d/s input/sequence downscale cleared, e/E
// external off/on; composites F full restart, R restart from an async stop, U generator resume.
const char* const kRows[3][3][6] = {
    {{"", "FE", "F", "", "og", "g"}, {"", "", "", "cOG", "", ""}, {"", "", "", "cG", "o", ""}},
    {{"eU", "", "eF", "", "oe", "e"}, {"g", "", "", "RE", "", ""}, {"g", "", "", "FE", "o", ""}},
    {{"U", "FE", "", "", "o", ""}, {"g", "", "", "R", "", ""}, {"g", "", "", "F", "o", ""}},
};

std::string line(int i) {
    return i < 4 ? "CameraControl_Select" + std::to_string(i)
                 : "TriggerOutput_Select" + std::to_string(i - 4);
}
// Every output line's select, and its invert bit unless `select` is null (the constant source).
Writes outputs(const uint32_t* select, int invert) {
    Writes out;
    for (int i = 0; i < 12; ++i) {
        out.push_back(line(i) + "_Select_Select=" + std::to_string(select ? select[i] : 5));
        if (select) out.push_back(line(i) + "_Polarity_Invert=" + std::to_string(invert));
    }
    return out;
}

Writes expand(std::string_view steps) {
    // The default output choices all invert: not pulse form generator 0 or 1, or Vcc.
    static const uint32_t kDefaultSelects[12] = {0, 5, 5, 5, 0, 1, 5, 5, 5, 5, 5, 5};
    static const std::map<char, std::string_view> kComposites = {{'F', "oR"}, {'R', "dQscO"}, {'U', "ocOG"}};
    Writes out;
    auto add = [&](const Writes& w) { out.insert(out.end(), w.begin(), w.end()); };
    for (char c : steps) {
        const std::string n = c == 'G' ? "0" : "1";
        if (kComposites.contains(c)) add(expand(kComposites.at(c)));
        if (c == 'o' || c == 'O') add(outputs(c == 'O' ? kDefaultSelects : nullptr, 1));
        if (c == 'g') add({"Generators_ClearQueuePulse_Mode=1"});
        // 1 / (16 * 8 Hz * 1e-9) truncated, minus 9.
        if (c == 'G' || c == 'Q') {
            add({"Generators_ClearQueuePulse_Mode=1", "Generators_EnableQueue_Select=" + n,
                 "Generators_Generator_MinimumPeriod_Number=7812490", "PulseFormGenerators_Enable_Select=1",
                 "Generators_ClearQueuePulse_Mode=0"});
        }
        if (c == 'c') add({"Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode=2"});
        for (int g = 0; g < 4 && c == 'c'; ++g)
            add({"PulseFormGenerators_PulseFormGenerator" + std::to_string(g) + "_ClearDownscale_Mode=2"});
        if (c == 'e' || c == 'E')
            add({std::string("TriggerMode_SelectExternal_Select=") + (c == 'E' ? "1" : "0")});
        if (c == 'd') add({"Downscale_Clear_Mode=2"});
        if (c == 's') add({"Generators_ClearDownscale_Mode=2"});
    }
    return out;
}

int modeIndex(uint32_t mode) {
    return mode == Generator ? 0 : mode == External ? 1 : 2;
}

Writes expected(uint32_t oldMode, uint32_t oldState, uint32_t newMode, uint32_t newState) {
    const char* const* row = kRows[modeIndex(oldMode)][oldState];
    return expand(std::string(row[modeIndex(newMode)]) + row[3 + newState]);
}

// The journal without the trigger system's common name prefixes.
Writes journal() {
    Writes out;
    for (std::string w : vc::writes()) {
        for (const char* p : {"Device1_Process1_Trigger_TriggerCam0_", "Device1_Process1_Trigger_"})
            if (w.starts_with(p)) w.erase(0, std::string_view(p).size());
        out.push_back(w);
    }
    return out;
}

// An applet object on board 0, started the way the entry point starts it.
class AppletInProcess : public ::testing::Test {
  protected:
    void SetUp() override {
        vc::reset();
        applet = new FgZeWrapperImpl();
        ASSERT_EQ(applet->initializeDllFunctions("libfglib5.so"), 0);
        fpga_design* design = HapLoadDesignFromBuffer(rawHap, rawHapSize, 1);
        ASSERT_NE(design, nullptr);
        ZEdevice* board = QorvBoardOpen(0);
        ASSERT_EQ(applet->runFgInit(FgZeWrapperImpl::kDesignFileName, board, design, false), 0);
        applet->initHandles(board, design);
        applet->initInternalMaps();
        applet->retrieveIds();
        applet->createUserParameters();
        applet->executeInitRoutines();
        applet->setDefaultValues();
    }
    void TearDown() override {
        if (applet->fglibFg() != nullptr) applet->wrapperFg()->DLL_Fg_FreeGrabber(applet->fglibFg());
        delete applet;
        vc::reset();
    }
    int access(int id) { return applet->descriptionOf(id)->accessFlags; }

    FgZeWrapperImpl* applet = nullptr;
};

TEST_F(AppletInProcess, EveryTransitionWritesItsRowAndRefreshesTheAccessModes) {
    for (uint32_t oldMode : kModes) {
        for (uint32_t oldState : {Active, AsyncStop, SyncStop}) {
            for (uint32_t newMode : kModes) {
                for (uint32_t newState : {Active, AsyncStop, SyncStop}) {
                    SCOPED_TRACE(testing::Message() << "(" << oldMode << "," << oldState << ") -> ("
                                                    << newMode << "," << newState << ")");
                    // Leave the access modes wrong on purpose: the transition must put them right.
                    applet->descriptionOf(FG_SENDSOFTWARETRIGGER)->accessFlags = 3;
                    applet->descriptionOf(FG_TRIGGERIN_SRC)->accessFlags = 3;
                    vc::clearJournal();
                    applet->switchTriggerModeAndState_P0(oldMode, oldState, newMode, newState);
                    EXPECT_EQ(journal(), expected(oldMode, oldState, newMode, newState));
                    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), newMode == External ? 1 : 7);
                    EXPECT_EQ(access(FG_TRIGGERIN_SRC), 7);
                }
            }
        }
    }
    // An unknown mode runs no row and leaves the access modes alone.
    applet->descriptionOf(FG_SENDSOFTWARETRIGGER)->accessFlags = 3;
    vc::clearJournal();
    applet->switchTriggerModeAndState_P0(3, Active, 3, SyncStop);
    EXPECT_TRUE(vc::writes().empty());
    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), 3);
}

TEST_F(AppletInProcess, StartRunsTheInitRoutinesAndNoDefaultFails) {
    // SetUp started the applet on a board just reset: the journal holds the whole start. Before
    // the defaults every line's cached choice is 0: pulse form generator 0, not inverted.
    const uint32_t zeros[12] = {};
    Writes init = expand("og"), start = journal();
    for (const std::string& w : outputs(zeros, 0)) init.push_back(w);
    ASSERT_GE(start.size(), init.size());
    EXPECT_EQ(Writes(start.begin(), start.begin() + static_cast<long>(init.size())), init);
    for (const std::string& w : start) EXPECT_EQ(w.find(" !"), std::string::npos) << w;
    // The legacy parameters are narrowed to read-only, the trigger parameters are open.
    EXPECT_EQ(access(FG_EXSYNCON), 1);
    EXPECT_EQ(access(FG_TRIGGER_PULSEFORMGEN3_WIDTH), 7);
}

}  // namespace
