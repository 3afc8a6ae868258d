// The parameter model as callers see it: the published descriptions, the name and index lookups,
// the direct-access families, the dispatch's error numbers and the values set at start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
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

class ParameterModel : public AppletOnBoard {
  protected:
    std::vector<Leaf> all() { return leaves(A().Fg_getParameterInfo(&fg, 0)); }
};

// The published catalogue itself (groups, ranges, entries, units, defaults) is checked whole by
// the reference document's freshness test; here: that the setters honour what it publishes.
TEST_F(ParameterModel, EveryWritableNumberAcceptsExactlyItsPublishedRange) {
    struct Probe {
        double value;
        bool inRange;
    };
    struct Case {
        int id;
        std::string name;
        bool isDouble;
        std::vector<Probe> probes;
    };
    const double below = -std::numeric_limits<double>::infinity();
    std::vector<Case> cases;
    for (const Leaf& leaf : all()) {
        const RegisterInfo& r = *leaf.record;
        if ((r.accessFlags & FG_ACCESS_READ_WRITE) != FG_ACCESS_READ_WRITE) continue;
        Case c{r.id, r.name, r.format == REG_FORMAT_DOUBLE, {}};
        if (r.format == REG_FORMAT_UINT) {
            c.probes = {{double(r.u.uiReg.from), true}, {double(r.u.uiReg.to), true}};
            if (r.u.uiReg.from > 0) c.probes.push_back({r.u.uiReg.from - 1.0, false});
            if (r.u.uiReg.to < UINT32_MAX) c.probes.push_back({r.u.uiReg.to + 1.0, false});
        } else if (r.format == REG_FORMAT_ENUM) {
            const int* values = r.u.eReg.enumValues;
            for (int i = 0; i < r.u.eReg.nrOfElements; ++i) c.probes.push_back({double(values[i]), true});
            c.probes.push_back({*std::max_element(values, values + r.u.eReg.nrOfElements) + 1.0, false});
        } else if (c.isDouble) {
            c.probes = {{r.u.dReg.from, true},
                        {r.u.dReg.to, true},
                        {std::nextafter(r.u.dReg.from, below), false},
                        {std::nextafter(r.u.dReg.to, -below), false}};
        }
        cases.push_back(std::move(c));
    }
    for (const Case& c : cases) {
        for (const Probe& p : c.probes) {
            reopen();  // each probe on the state the description was read in
            // The phase's published range is static; the period it must stay below is not.
            if (c.id == FG_IMG_SELECT) {
                ASSERT_EQ(setUInt(FG_IMG_SELECT_PERIOD, 256), 0);
            }
            const int rc =
                c.isDouble ? setDouble(c.id, p.value) : setUInt(c.id, static_cast<uint32_t>(p.value));
            const bool stateRefusal = rc == FG_SOFTWARE_TRIGGER_WRONG_MODE || rc == FG_INVALID_PARAMETER;
            if (p.inRange || stateRefusal) {
                EXPECT_NE(rc, FG_VALUE_OUT_OF_RANGE) << c.name << " " << p.value;
            } else {
                EXPECT_EQ(rc, FG_VALUE_OUT_OF_RANGE) << c.name << " " << p.value;
            }
        }
    }
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

TEST_F(ParameterModel, DigitalInputsAreTheSdksTypedReadOut) {
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
