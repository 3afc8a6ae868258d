// The parameter model as callers see it: the published descriptions, the name and index lookups,
// the direct-access families, the dispatch's error numbers and the values set at start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "applet_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// Every parameter record below `head` with the path of its groups ("Trigger/Queue").
struct Leaf {
    const RegisterInfo* record;
    std::string path;
};

void collect(const RegisterInfo* r, const std::string& path, std::vector<Leaf>& out) {
    if (r->format != REG_FORMAT_GROUP) {
        out.push_back({r, path});
        return;
    }
    const std::string here = path.empty() ? r->name : path + "/" + r->name;
    for (int i = 0; i < r->u.gReg.nrOfElements; ++i) collect(r->u.gReg.elements[i], here, out);
}

std::vector<Leaf> leaves(const RegisterInfo* head) {
    std::vector<Leaf> out;
    for (const RegisterInfo* g = head; g != nullptr; g = g->next) collect(g, "", out);
    return out;
}

const Leaf* find(const std::vector<Leaf>& all, int id) {
    for (const Leaf& l : all) {
        if (l.record->id == id) return &l;
    }
    return nullptr;
}

class ParameterModel : public AppletOnBoard {
  protected:
    std::vector<Leaf> all() { return leaves(A().Fg_getParameterInfo(&fg, 0)); }
};

TEST_F(ParameterModel, TopLevelGroupsAreListedNewestFirst) {
    std::vector<std::string> names;
    for (const RegisterInfo* g = A().Fg_getParameterInfo(&fg, 0); g != nullptr; g = g->next)
        names.push_back(g->name);
    EXPECT_THAT(names, ElementsAre("Miscellaneous", "Camera Simulator", "Output Format", "Lookup Table",
                                   "Bayer Filter", "White Balance", "Image Selector", "Overflow", "Trigger",
                                   "ROI", "Camera Link"));
}

struct Published {
    int id;
    const char* path;
    REG_FORMAT format;
    double from, to, step;  // enumerations: number of entries in `from`
    int access;
    int rangeFlag;
    const char* unit;
};

TEST_F(ParameterModel, EveryGroupPublishesItsLimitsAccessAndUnit) {
    const Published samples[] = {
        {FG_CAMERA_LINK_CAMTYPE, "Camera Link", REG_FORMAT_ENUM, 3, 0, 0, 7, 1, ""},
        {FG_WIDTH, "ROI", REG_FORMAT_UINT, 16, 16384, 16, 3, 2, "pixel"},
        // the offsets' maxima follow the default width and height of 1024
        {FG_XOFFSET, "ROI", REG_FORMAT_UINT, 0, 15360, 16, 3, 2, "pixel"},
        {FG_YOFFSET, "ROI", REG_FORMAT_UINT, 0, 64511, 1, 3, 2, "pixel"},
        // legacy parameters are narrowed to read-only at start
        {FG_EXSYNCDELAY, "Trigger/Legacy", REG_FORMAT_DOUBLE, 0, 10230, 10, 1, 2, "\xB5s"},
        {FG_CCSEL2, "Trigger/Legacy", REG_FORMAT_ENUM, 6, 0, 0, 1, 1, ""},
        {FG_TRIGGERIN_DOWNSCALE, "Trigger/Trigger Input/External", REG_FORMAT_UINT, 1, 4294967295.0, 1, 7, 2,
         ""},
        // the phase maximum follows the default input downscale of 1
        {FG_TRIGGERIN_DOWNSCALE_PHASE, "Trigger/Trigger Input/External", REG_FORMAT_UINT, 0, 0, 1, 7, 2, ""},
        {FG_SENDSOFTWARETRIGGER, "Trigger/Trigger Input/Software Trigger", REG_FORMAT_UINT, 1, 1, 1, 7, 2,
         "pulses"},
        {FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL, "Trigger/Trigger Input/Software Trigger", REG_FORMAT_UINT, 0,
         2040, 1, 1, 2, ""},
        {FG_TRIGGERIN_STATS_FREQUENCY, "Trigger/Trigger Input/Statistics", REG_FORMAT_DOUBLE, 0, 6.25e7,
         DBL_EPSILON, 1, 1, "Hz"},
        {FG_TRIGGER_MULTIPLY_PULSES, "Trigger/Sequencer", REG_FORMAT_UINT, 1, 65535, 1, 7, 1, "pulses"},
        {FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD, "Trigger/Queue", REG_FORMAT_UINT, 2, 2047, 1, 7, 1,
         "pulses"},
        {FG_TRIGGER_PULSEFORMGEN2_WIDTH, "Trigger/Pulse Form Generator 2", REG_FORMAT_DOUBLE, 1.0, 6.8e7,
         0.016, 7, 1, "\xB5s"},
        {FG_TRIGGERCC_SELECT3, "Trigger/CC Signal Mapping", REG_FORMAT_ENUM, 12, 0, 0, 7, 1, ""},
        {FG_TRIGGEROUT_SELECT7, "Trigger/Digital Output/Statistics", REG_FORMAT_ENUM, 12, 0, 0, 7, 1, ""},
        {FG_TRIGGER_OUTPUT_EVENT_SELECT, "Trigger/Output Event", REG_FORMAT_ENUM, 4, 0, 0, 7, 1, ""},
        {FG_TRIGGER_FRAMESPERSECOND, "Trigger", REG_FORMAT_DOUBLE, 0.01455191522836685, 6.25e6, DBL_EPSILON,
         7, 2, "Hz"},
        {FG_FILLLEVEL, "Overflow", REG_FORMAT_UINT, 0, 100, 1, 1, 1, "%"},
        {FG_IMG_SELECT_PERIOD, "Image Selector", REG_FORMAT_UINT, 1, 256, 1, 7, 1, "image"},
        {FG_SCALINGFACTOR_BLUE, "White Balance", REG_FORMAT_DOUBLE, 0, 3.9990234375, 0.0009765625, 7, 1, ""},
        {FG_BAYERINIT, "Bayer Filter", REG_FORMAT_ENUM, 4, 0, 0, 3, 1, ""},
        {FG_LUT_VALUE_GREEN, "Lookup Table", REG_FORMAT_UINTFIELD, 0, 4095, 0, 7, 1, ""},
        {FG_LUT_TYPE, "Lookup Table/Applet Properties", REG_FORMAT_ENUM, 2, 0, 0, 7, 1, ""},
        {FG_PROCESSING_GAMMA, "Lookup Table/Processing", REG_FORMAT_DOUBLE, -1000, 1000, 0.001, 7, 1, ""},
        {FG_PIXELDEPTH, "Output Format", REG_FORMAT_UINT, 0, 128, 1, 1, 1, ""},
        {FG_GEN_LINE_WIDTH, "Camera Simulator", REG_FORMAT_UINT, 0, 65535, 1, 1, 1, ""},
        {FG_TIMEOUT, "Miscellaneous", REG_FORMAT_UINT, 2, 2147483646, 1, 7, 1, "seconds"},
        {FG_HAP_FILE, "Miscellaneous", REG_FORMAT_STRING, 0, 0, 0, 1, 1, ""},
    };
    const std::vector<Leaf> tree = all();
    for (const Published& p : samples) {
        SCOPED_TRACE(p.id);
        const Leaf* leaf = find(tree, p.id);
        ASSERT_NE(leaf, nullptr);
        const RegisterInfo& r = *leaf->record;
        EXPECT_EQ(leaf->path, p.path);
        EXPECT_EQ(r.format, p.format);
        EXPECT_EQ(r.accessFlags, p.access);
        EXPECT_EQ(r.rangeFlags, p.rangeFlag);
        EXPECT_EQ(r.visibilityFlags, 1);
        EXPECT_STREQ(r.unit, p.unit);
        EXPECT_STREQ(r.name, r.parameterName);
        switch (r.format) {
            case REG_FORMAT_UINT:
                EXPECT_EQ(r.u.uiReg.from, static_cast<uint32_t>(p.from));
                EXPECT_EQ(r.u.uiReg.to, static_cast<uint32_t>(p.to));
                EXPECT_EQ(r.u.uiReg.steps, static_cast<uint32_t>(p.step));
                break;
            case REG_FORMAT_DOUBLE:
                EXPECT_EQ(r.u.dReg.from, p.from);
                EXPECT_EQ(r.u.dReg.to, p.to);
                EXPECT_EQ(r.u.dReg.steps, p.step);
                break;
            case REG_FORMAT_ENUM:
                EXPECT_EQ(r.u.eReg.nrOfElements, static_cast<int>(p.from));
                break;
            case REG_FORMAT_UINTFIELD:
                EXPECT_EQ(r.u.uifReg.nrOfElements, 4096);
                EXPECT_EQ(r.u.uifReg.to, 4095u);
                break;
            case REG_FORMAT_STRING:
                EXPECT_STREQ(r.u.sReg.FileExtension, "*.hap");
                break;
            default:
                ADD_FAILURE() << "unexpected kind";
        }
    }
}

TEST_F(ParameterModel, EnumerationsCarryNamesValuesAndSymbols) {
    const std::vector<Leaf> tree = all();
    const Leaf* state = find(tree, FG_TRIGGERSTATE);
    ASSERT_NE(state, nullptr);
    const EnumReg_S& e = state->record->u.eReg;
    ASSERT_EQ(e.nrOfElements, 3);
    const std::vector<std::string> names(e.enumNames, e.enumNames + 3),
        symbols(e.enumDefName, e.enumDefName + 3);
    EXPECT_THAT(names, ElementsAre("Active", "Async Stop", "Sync Stop"));
    EXPECT_THAT(symbols, ElementsAre("TS_ACTIVE", "TS_ASYNC_STOP", "TS_SYNC_STOP"));
    EXPECT_THAT(std::vector<int>(e.enumValues, e.enumValues + 3), ElementsAre(0, 1, 2));
}

TEST_F(ParameterModel, EveryPublishedNameResolvesAndIndicesHaveNoGaps) {
    const std::vector<Leaf> tree = all();
    const int count = A().Fg_getNrOfParameter(&fg);
    EXPECT_EQ(static_cast<size_t>(count), tree.size());
    for (const Leaf& l : tree) {
        EXPECT_EQ(A().Fg_getParameterIdByName(&fg, l.record->parameterName), l.record->id)
            << l.record->parameterName;
    }
    std::set<std::string> seen;
    for (int i = 0; i < count; ++i) {
        const char* name = A().Fg_getParameterName(&fg, i);
        ASSERT_NE(name, nullptr) << i;
        EXPECT_TRUE(seen.insert(name).second) << "listed twice: " << name;
        EXPECT_EQ(A().Fg_getParameterId(&fg, i), A().Fg_getParameterIdByName(&fg, name));
        EXPECT_EQ(lastError(), 0);
    }
}

TEST_F(ParameterModel, FailedLookupsAnswerInvalidParameterAndRecordIt) {
    const int count = A().Fg_getNrOfParameter(&fg);
    struct Case {
        const char* what;
        std::function<bool()> fails;
    };
    const Case cases[] = {
        {"lower-case name",
         [&] { return A().Fg_getParameterIdByName(&fg, "fg_width") == FG_INVALID_PARAMETER; }},
        {"empty name", [&] { return A().Fg_getParameterIdByName(&fg, "") == FG_INVALID_PARAMETER; }},
        {"null name", [&] { return A().Fg_getParameterIdByName(&fg, nullptr) == FG_INVALID_PARAMETER; }},
        {"index past the end", [&] { return A().Fg_getParameterName(&fg, count) == nullptr; }},
        {"negative index", [&] { return A().Fg_getParameterId(&fg, -1) == FG_INVALID_PARAMETER; }},
        {"unknown event", [&] { return A().Fg_getEventMask(&fg, "FG_NO_SUCH_EVENT") == 0; }},
        {"no single event", [&] { return A().Fg_getEventName(&fg, 6) == nullptr; }},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(A().Fg_getParameterIdByName(&fg, "FG_WIDTH"), FG_WIDTH);
        ASSERT_EQ(lastError(), 0);
        EXPECT_TRUE(c.fails()) << c.what;
        EXPECT_EQ(lastError(), FG_INVALID_PARAMETER) << c.what;
    }
    // The count is a lookup too: it records its success.
    EXPECT_EQ(A().Fg_getNrOfParameter(&fg), count);
    EXPECT_EQ(lastError(), 0);
}

TEST_F(ParameterModel, DispatchRefusesWithTheRightNumber) {
    struct Case {
        int id;
        unsigned dma;
        int set, get;
    };
    const Case cases[] = {
        {FG_APPLET_VERSION, 0, FG_NOT_AVAILABLE, 0},
        {FG_DMASTATUS, 0, FG_NOT_AVAILABLE, 0},
        {FG_PIXELDEPTH, 0, FG_NOT_AVAILABLE, 0},
        {FG_DIGIO_INPUT, 0, FG_NOT_AVAILABLE, 0},
        {FG_APC_STOP_TIMEOUT, 0, FG_NOT_AVAILABLE, FG_INVALID_PARAMETER},
        {FG_NR_OF_DMAS, 0, FG_NOT_AVAILABLE, FG_INVALID_PARAMETER},
        {FG_TRANSFER_LEN, 0, FG_NOT_AVAILABLE, FG_INVALID_PARAMETER},
        {FG_APPLET_ID, 0, FG_INVALID_PARAMETER, 0},
        {123456, 0, FG_INVALID_PARAMETER, FG_INVALID_PARAMETER},
        {FG_DIRECT_REGISTER_ID_BASE + 5, 0, FG_INVALID_PARAMETER, FG_INVALID_PARAMETER},
        {FG_TIMEOUT, 1, FG_INVALID_PARAMETER, FG_INVALID_PARAMETER},
        {FG_APPLET_ID, 7, FG_INVALID_PARAMETER, FG_INVALID_PARAMETER},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.id);
        uint32_t v = 10;
        EXPECT_EQ(A().Fg_setParameterWithType(&fg, c.id, &v, c.dma, FG_PARAM_TYPE_UINT32_T), c.set);
        EXPECT_EQ(lastError(), c.set);
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, c.id, &v, c.dma, FG_PARAM_TYPE_UINT32_T), c.get);
        EXPECT_EQ(lastError(), c.get);
    }
}

TEST_F(ParameterModel, FixedReadOutsAnswerTheirValues) {
    EXPECT_EQ(getUInt(FG_APPLET_ID), 0u);
    EXPECT_EQ(getUInt(FG_APPLET_VERSION), 2u);
    EXPECT_EQ(getUInt(FG_APPLET_REVISION), 4u);
    EXPECT_EQ(getUInt(FG_PIXELDEPTH), 12u);
    EXPECT_EQ(getUInt(FG_DMASTATUS), 0u);
    char hap[64] = "";
    EXPECT_EQ(A().Fg_getParameterWithType(&fg, FG_HAP_FILE, hap, 0, FG_PARAM_TYPE_CHAR_PTR), 0);
    EXPECT_STREQ(hap, "Pellucid.hap");
    vboard::control::setSdkValue(FG_DIGIO_INPUT, 0xA5);
    vboard::control::clearJournal();
    EXPECT_EQ(getUInt(FG_DIGIO_INPUT), 0xA5u);
    EXPECT_EQ(vboard::control::reads(), std::vector<std::string>{"FG_DIGIO_INPUT:uint32"}) << "a typed read";
}

TEST_F(ParameterModel, StartWritesTheSimulatorRegistersThenTheDefaults) {
    // The journal was cleared before the start: this is everything the start wrote.
    vboard::control::reset();
    A().Fg_FreeGrabber(&fg);
    int error = 1;
    fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
    ASSERT_EQ(error, 0);
    const std::vector<std::string> written = vboard::control::writes();
    // The trigger system's init routines come first (tests/trigger checks them); then the simulator.
    const auto first = std::find(written.begin(), written.end(), "AAGenEnable=0");
    ASSERT_GE(written.end() - first, 11);
    EXPECT_THAT(std::vector<std::string>(first, first + 11),
                ElementsAre("AAGenEnable=0", "AAGenStart=0", "AAGenWidth=0", "AAGenLineWidth=0",
                            "AAGenHeight=0", "AAGenActive=0", "AAGenPassive=0", "AAGenMask=0", "AAGenRoll=0",
                            "FG_TIMEOUT=1000000", "FG_TURBO_DMA_MODE=0"));
    for (const std::string& w : written)
        EXPECT_EQ(w.find(" !"), std::string::npos) << "a default failed: " << w;
    EXPECT_EQ(getUInt(FG_TIMEOUT), 1000000u);
    EXPECT_EQ(getUInt(FG_TURBO_DMA_MODE), 0u);
}

TEST_F(ParameterModel, TimeoutIsCheckedPassedToTheSdkAndRestoredOnFailure) {
    for (uint32_t bad : {0u, 1u, 2147483647u, 4294967295u}) {
        EXPECT_EQ(setUInt(FG_TIMEOUT, bad), FG_VALUE_OUT_OF_RANGE) << bad;
    }
    vboard::control::clearJournal();
    EXPECT_EQ(setUInt(FG_TIMEOUT, 2), 0);
    EXPECT_EQ(setUInt(FG_TIMEOUT, 2147483646), 0);
    EXPECT_THAT(vboard::control::writes(), ElementsAre("FG_TIMEOUT=2", "FG_TIMEOUT=2147483646"));
    EXPECT_EQ(vboard::control::sdkValue(FG_TIMEOUT), 2147483646u);

    vboard::control::failWrite("FG_TIMEOUT", 1, -77);
    EXPECT_EQ(setUInt(FG_TIMEOUT, 30), -77);
    EXPECT_EQ(lastError(), -77);
    EXPECT_EQ(getUInt(FG_TIMEOUT), 2147483646u) << "the cache is restored";

    EXPECT_EQ(setUInt(FG_TURBO_DMA_MODE, 2), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_TURBO_DMA_MODE, 1), 0);
    EXPECT_EQ(getUInt(FG_TURBO_DMA_MODE), 1u);
}

TEST_F(ParameterModel, BaseWrapperIdsReachTheSdksOwnParameters) {
    EXPECT_EQ(setUInt(FG_TIMEOUT, 77), 0);
    EXPECT_EQ(getUInt(FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT), 77u);
    EXPECT_EQ(setUInt(FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT, 88), 0);
    EXPECT_EQ(vboard::control::sdkValue(FG_TIMEOUT), 88u);
    uint32_t v = 0;
    EXPECT_LT(A().Fg_getParameterWithType(&fg, FG_BASE_WRAPPER_ID_BASE + 1, &v, 0, 2), 0)
        << "no SDK parameter 1";
}

// ---- the direct-access families, switched by the environment at construction ----

struct Switch {
    const char* variable;
    const char* value;
    bool dra, dzea;
};

class DirectAccess : public AppletOnBoard, public ::testing::WithParamInterface<Switch> {
  protected:
    void SetUp() override {
        setenv(GetParam().variable, GetParam().value, 1);
        AppletOnBoard::SetUp();
    }
    void TearDown() override {
        AppletOnBoard::TearDown();
        unsetenv(GetParam().variable);
    }
    bool hasGroup(const char* name) {
        for (const RegisterInfo* g = A().Fg_getParameterInfo(&fg, 0); g != nullptr; g = g->next) {
            if (std::string(g->name) == name) return true;
        }
        return false;
    }
};

TEST_P(DirectAccess, FamiliesAppearOnlyWhenSwitchedOn) {
    const Switch& s = GetParam();
    const int draId = A().Fg_getParameterIdByName(&fg, "DRA_AAGenHeight");
    const int dzeaId = A().Fg_getParameterIdByName(&fg, "DZEA_FG_TIMEOUT");
    EXPECT_EQ(hasGroup("Direct Register Access"), s.dra);
    EXPECT_EQ(hasGroup("Direct ZE Access"), s.dzea);
    if (s.dra) {
        EXPECT_EQ(draId, FG_DIRECT_REGISTER_ID_BASE + 5);  // the fifth register of the design
        vboard::control::clearJournal();
        EXPECT_EQ(setUInt(draId, 480), 0);
        EXPECT_THAT(vboard::control::writes(), ElementsAre("AAGenHeight=480"));
        EXPECT_EQ(getUInt(draId), 480u);
        EXPECT_EQ(setUInt(A().Fg_getParameterIdByName(&fg, "DRA_AAGenEnable"), 2), FG_VALUE_OUT_OF_RANGE);
    } else {
        EXPECT_EQ(draId, FG_INVALID_PARAMETER);
        EXPECT_EQ(setUInt(FG_DIRECT_REGISTER_ID_BASE + 5, 480), FG_INVALID_PARAMETER);
    }
    EXPECT_EQ(dzeaId, s.dzea ? FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT : FG_INVALID_PARAMETER);
}

INSTANTIATE_TEST_SUITE_P(Environment, DirectAccess,
                         ::testing::Values(Switch{"QORV_ENABLE_DRA", "TRUE", true, false},
                                           Switch{"QORV_ENABLE_DRA", "Yes", true, false},
                                           Switch{"QORV_ENABLE_DRA", "1", true, false},
                                           Switch{"QORV_ENABLE_DRA", "on", false, false},
                                           Switch{"QORV_ENABLE_DRA", "enabled", false, false},
                                           Switch{"QORV_ENABLE_DZEA", "TRUE", false, true},
                                           Switch{"QORV_ENABLE_DZEA", "On", false, true},
                                           Switch{"QORV_ENABLE_DZEA", "enabled", false, false},
                                           Switch{"QORV_ENABLE_DZEA", "0", false, false}));

}  // namespace
