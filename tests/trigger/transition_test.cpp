// Every (mode, state) pair to every (mode, state) pair, on an applet object built in this process
// so that transitions changing mode and state at once can be asked for directly. The expected
// writes are built here from the transition rows, not taken from the applet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "AppletHap.h"
#include "AppletWrapper.h"
#include "haprt.h"
#include "qorviolibrt.h"
#include "vboard/control.h"

namespace {

using Writes = std::vector<std::string>;

enum Mode : uint32_t { Generator = 1, External = 2, Software = 4 };
enum State : uint32_t { Active = 0, AsyncStop = 1, SyncStop = 2 };
constexpr Mode kModes[] = {Generator, External, Software};
constexpr State kStates[] = {Active, AsyncStop, SyncStop};

// The building blocks of a transition and their composites.
enum Step {
    OutputsOff,
    OutputsOn,
    GeneratorOn,
    GeneratorOff,
    ClearPulseForms,
    ExternalOn,
    ExternalOff,
    FullRestart,
    RestartFromAsyncStop,
    GeneratorResume,
};
using Steps = std::vector<Step>;

struct Row {
    Mode mode;
    State state;
    std::map<Mode, Steps> modePart;
    std::map<State, Steps> statePart;
};

const Row kRows[] = {
    {Generator, SyncStop, {}, {{Active, {ClearPulseForms, GeneratorOn}}, {AsyncStop, {OutputsOff}}}},
    {Generator, AsyncStop, {}, {{Active, {ClearPulseForms, OutputsOn, GeneratorOn}}}},
    {Generator,
     Active,
     {{External, {FullRestart, ExternalOn}}, {Software, {FullRestart}}},
     {{AsyncStop, {OutputsOff, GeneratorOff}}, {SyncStop, {GeneratorOff}}}},
    {External,
     SyncStop,
     {{Generator, {GeneratorOff}}},
     {{Active, {FullRestart, ExternalOn}}, {AsyncStop, {OutputsOff}}}},
    {External, AsyncStop, {{Generator, {GeneratorOff}}}, {{Active, {RestartFromAsyncStop, ExternalOn}}}},
    {External,
     Active,
     {{Generator, {ExternalOff, GeneratorResume}}, {Software, {ExternalOff, FullRestart}}},
     {{AsyncStop, {OutputsOff, ExternalOff}}, {SyncStop, {ExternalOff}}}},
    {Software, SyncStop, {{Generator, {GeneratorOff}}}, {{Active, {FullRestart}}, {AsyncStop, {OutputsOff}}}},
    {Software, AsyncStop, {{Generator, {GeneratorOff}}}, {{Active, {RestartFromAsyncStop}}}},
    {Software,
     Active,
     {{Generator, {GeneratorResume}}, {External, {FullRestart, ExternalOn}}},
     {{AsyncStop, {OutputsOff}}}},
};

std::string t(const std::string& name) {
    return "Device1_Process1_Trigger_" + name;
}
std::string cam(const std::string& name) {
    return t("TriggerCam0_" + name);
}

// Output lines in their order, with the choices the defaults give them.
struct Line {
    std::string block;
    int k;
    uint32_t choice;
};
const Line kLines[] = {{"CameraControl", 0, 6}, {"CameraControl", 1, 5}, {"CameraControl", 2, 5},
                       {"CameraControl", 3, 5}, {"TriggerOutput", 0, 6}, {"TriggerOutput", 1, 7},
                       {"TriggerOutput", 2, 5}, {"TriggerOutput", 3, 5}, {"TriggerOutput", 4, 5},
                       {"TriggerOutput", 5, 5}, {"TriggerOutput", 6, 5}, {"TriggerOutput", 7, 5}};

// 1 / (16 * 8 Hz * 1e-9) truncated, minus 9.
const std::string kPeriodAt8Hz = cam("Generators_Generator_MinimumPeriod_Number=7812490");

void expand(Step step, Writes& out) {
    auto add = [&](const std::string& w) { out.push_back(w); };
    auto queue = [&](uint32_t enable) {
        add(cam("Generators_ClearQueuePulse_Mode=1"));
        add(cam("Generators_EnableQueue_Select=" + std::to_string(enable)));
        add(kPeriodAt8Hz);
        add(cam("PulseFormGenerators_Enable_Select=1"));
        add(cam("Generators_ClearQueuePulse_Mode=0"));
    };
    switch (step) {
        case OutputsOff:
            for (const Line& l : kLines)
                add(cam(l.block + "_Select" + std::to_string(l.k) + "_Select_Select=5"));
            break;
        case OutputsOn: {
            const uint32_t select[] = {0, 1, 2, 3, 5, 5, 0, 1, 2, 3, 4, 4};
            const uint32_t invert[] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 1};
            for (const Line& l : kLines) {
                const std::string base = cam(l.block + "_Select" + std::to_string(l.k));
                add(base + "_Select_Select=" + std::to_string(select[l.choice]));
                add(base + "_Polarity_Invert=" + std::to_string(invert[l.choice]));
            }
            break;
        }
        case GeneratorOn:
            queue(0);
            break;
        case GeneratorOff:
            add(cam("Generators_ClearQueuePulse_Mode=1"));
            break;
        case ClearPulseForms:
            add(t("Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode=2"));
            for (int g = 0; g < 4; ++g) {
                add(cam("PulseFormGenerators_PulseFormGenerator" + std::to_string(g) +
                        "_ClearDownscale_Mode=2"));
            }
            break;
        case ExternalOn:
            add(cam("TriggerMode_SelectExternal_Select=1"));
            break;
        case ExternalOff:
            add(cam("TriggerMode_SelectExternal_Select=0"));
            break;
        case FullRestart:
            expand(OutputsOff, out);
            expand(RestartFromAsyncStop, out);
            break;
        case RestartFromAsyncStop:
            add(cam("Downscale_Clear_Mode=2"));
            queue(1);
            add(cam("Generators_ClearDownscale_Mode=2"));
            expand(ClearPulseForms, out);
            expand(OutputsOn, out);
            break;
        case GeneratorResume:
            expand(OutputsOff, out);
            expand(ClearPulseForms, out);
            expand(OutputsOn, out);
            expand(GeneratorOn, out);
            break;
    }
}

Writes expected(Mode oldMode, State oldState, Mode newMode, State newState) {
    Writes out;
    for (const Row& row : kRows) {
        if (row.mode != oldMode || row.state != oldState) continue;
        if (auto it = row.modePart.find(newMode); it != row.modePart.end()) {
            for (Step s : it->second) expand(s, out);
        }
        if (auto it = row.statePart.find(newState); it != row.statePart.end()) {
            for (Step s : it->second) expand(s, out);
        }
    }
    return out;
}

// An applet object on board 0, started the way the entry point starts it.
class AppletInProcess : public ::testing::Test {
  protected:
    void SetUp() override {
        vboard::control::reset();
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
        vboard::control::reset();
    }
    int access(int id) { return applet->descriptionOf(id)->accessFlags; }

    FgZeWrapperImpl* applet = nullptr;
};

TEST_F(AppletInProcess, EveryTransitionWritesItsRowAndRefreshesTheAccessModes) {
    for (Mode oldMode : kModes) {
        for (State oldState : kStates) {
            for (Mode newMode : kModes) {
                for (State newState : kStates) {
                    SCOPED_TRACE(testing::Message() << "(" << oldMode << "," << oldState << ") -> ("
                                                    << newMode << "," << newState << ")");
                    // Leave the access modes wrong on purpose: the transition must put them right.
                    applet->descriptionOf(FG_SENDSOFTWARETRIGGER)->accessFlags = 3;
                    applet->descriptionOf(FG_TRIGGERIN_SRC)->accessFlags = 3;
                    vboard::control::clearJournal();
                    applet->switchTriggerModeAndState_P0(oldMode, oldState, newMode, newState);
                    EXPECT_EQ(vboard::control::writes(), expected(oldMode, oldState, newMode, newState));
                    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), newMode == External ? 1 : 7);
                    EXPECT_EQ(access(FG_TRIGGERIN_SRC), 7);
                }
            }
        }
    }
}

TEST_F(AppletInProcess, AnUnknownModeRunsNoRowAndLeavesTheAccessModes) {
    applet->descriptionOf(FG_SENDSOFTWARETRIGGER)->accessFlags = 3;
    vboard::control::clearJournal();
    applet->switchTriggerModeAndState_P0(3, Active, 3, SyncStop);
    EXPECT_TRUE(vboard::control::writes().empty());
    EXPECT_EQ(access(FG_SENDSOFTWARETRIGGER), 3);
}

TEST_F(AppletInProcess, StartRunsTheInitRoutinesAndNoDefaultFails) {
    // SetUp started the applet on a board just reset: the journal holds the whole start.
    Writes start = vboard::control::writes();
    Writes init;
    expand(OutputsOff, init);
    expand(GeneratorOff, init);
    // Before the defaults every line's cached choice is 0: pulse form generator 0, not inverted.
    for (const Line& l : kLines) {
        const std::string base = cam(l.block + "_Select" + std::to_string(l.k));
        init.push_back(base + "_Select_Select=0");
        init.push_back(base + "_Polarity_Invert=0");
    }
    ASSERT_GE(start.size(), init.size());
    EXPECT_EQ(Writes(start.begin(), start.begin() + static_cast<long>(init.size())), init);
    for (const std::string& w : start) EXPECT_EQ(w.find(" !"), std::string::npos) << w;
    // The legacy parameters are narrowed to read-only, the trigger parameters are open.
    EXPECT_EQ(access(FG_EXSYNCON), 1);
    EXPECT_EQ(access(FG_TRIGGER_PULSEFORMGEN3_WIDTH), 7);
}

}  // namespace
