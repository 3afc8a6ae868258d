// The parameter model as callers see it: the setters against the published descriptions, the name,
// index and event lookups, the dispatch's error numbers, the SDK's own parameters, the start and
// the direct-access families.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "applet_fixture.h"

namespace {

using Strings = std::vector<std::string>;

class ParameterModel : public AppletOnBoard {
  protected:
    // Every parameter record of port 0, below its groups.
    std::vector<const RegisterInfo*> leaves() {
        std::vector<const RegisterInfo*> out;
        auto walk = [&](const RegisterInfo* r, auto&& self) -> void {
            if (r->format != REG_FORMAT_GROUP) return out.push_back(r);
            for (int i = 0; i < r->u.gReg.nrOfElements; ++i) self(r->u.gReg.elements[i], self);
        };
        for (const RegisterInfo* g = A().Fg_getParameterInfo(&fg, 0); g != nullptr; g = g->next)
            walk(g, walk);
        return out;
    }
    // A writable number, copied out: the descriptions go with the object at a reopen.
    struct Writable {
        int id;
        std::string name;
        bool isDouble;
        std::vector<double> accepted;  // the range's ends, or every entry of an enumeration
    };
    std::vector<Writable> writableNumbers() {
        std::vector<Writable> out;
        for (const RegisterInfo* r : leaves()) {
            if ((r->accessFlags & FG_ACCESS_READ_WRITE) != FG_ACCESS_READ_WRITE) continue;
            if (r->format == REG_FORMAT_UINT) {
                out.push_back({r->id, r->name, false, {double(r->u.uiReg.from), double(r->u.uiReg.to)}});
            } else if (r->format == REG_FORMAT_DOUBLE) {
                out.push_back({r->id, r->name, true, {r->u.dReg.from, r->u.dReg.to}});
            } else if (r->format == REG_FORMAT_ENUM) {
                const int* v = r->u.eReg.enumValues;
                out.push_back({r->id, r->name, false, {v, v + r->u.eReg.nrOfElements}});
            }
        }
        return out;
    }
    int set(const Writable& w, double v) {
        return w.isDouble ? setDouble(w.id, v) : setUInt(w.id, static_cast<uint32_t>(v));
    }
    double get(const Writable& w) { return w.isDouble ? getDouble(w.id) : getUInt(w.id); }
};

// The published catalogue itself (groups, ranges, entries, units, defaults) is checked whole by
// the reference document's freshness test; here: that the setters honour what it publishes.
TEST_F(ParameterModel, EveryWritableNumberAcceptsExactlyItsPublishedRange) {
    const double inf = std::numeric_limits<double>::infinity();
    for (const Writable& w : writableNumbers()) {
        // Just outside: the next double, or the integers next to the smallest and the largest.
        const auto [min, max] = std::minmax_element(w.accepted.begin(), w.accepted.end());
        std::vector<std::pair<double, bool>> probes;
        for (double v : w.accepted) probes.emplace_back(v, true);
        if (w.isDouble) {
            probes.insert(probes.end(),
                          {{std::nextafter(*min, -inf), false}, {std::nextafter(*max, inf), false}});
        } else {
            if (*min > 0) probes.emplace_back(*min - 1, false);
            if (*max < UINT32_MAX) probes.emplace_back(*max + 1, false);
        }
        for (auto [value, inRange] : probes) {
            SCOPED_TRACE(w.name + " " + std::to_string(value));
            reopen();  // each probe on the state the description was read in
            // The phase's published range is static; the period it must stay below is not.
            if (w.id == FG_IMG_SELECT) {
                ASSERT_EQ(setUInt(FG_IMG_SELECT_PERIOD, 256), 0);
            }
            const int rc = set(w, value);
            if (inRange || rc == FG_SOFTWARE_TRIGGER_WRONG_MODE || rc == FG_INVALID_PARAMETER) {
                EXPECT_NE(rc, FG_VALUE_OUT_OF_RANGE);
            } else {
                EXPECT_EQ(rc, FG_VALUE_OUT_OF_RANGE);
            }
        }
    }
}

TEST_F(ParameterModel, EveryPublishedNameAndEventResolvesAndIndicesHaveNoGaps) {
    const std::vector<const RegisterInfo*> tree = leaves();
    const int count = A().Fg_getNrOfParameter(&fg);
    EXPECT_EQ(static_cast<size_t>(count), tree.size());
    for (const RegisterInfo* r : tree) {
        EXPECT_EQ(A().Fg_getParameterIdByName(&fg, r->parameterName), r->id) << r->parameterName;
    }
    std::set<std::string> seen;
    for (int i = 0; i < count; ++i) {
        const char* name = A().Fg_getParameterName(&fg, i);
        ASSERT_NE(name, nullptr) << i;
        EXPECT_TRUE(seen.insert(name).second) << "listed twice: " << name;
        EXPECT_EQ(A().Fg_getParameterId(&fg, i), A().Fg_getParameterIdByName(&fg, name));
        EXPECT_EQ(lastError(), 0);
    }
    for (int port : {-1, 4}) EXPECT_EQ(A().Fg_getParameterInfo(&fg, port), nullptr) << port;
    const std::vector<const char*> events = {FG_EVENT_NAME_LIST};
    ASSERT_EQ(events.size(), static_cast<size_t>(FG_EVENT_COUNT));
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(A().Fg_getEventMask(&fg, events[i]), 1UL << i) << events[i];
        EXPECT_STREQ(A().Fg_getEventName(&fg, 1UL << i), events[i]);
    }
}

TEST_F(ParameterModel, FailedLookupsAnswerInvalidParameterAndRecordIt) {
    const int count = A().Fg_getNrOfParameter(&fg);
    auto idOf = [&](const char* name) { return A().Fg_getParameterIdByName(&fg, name); };
    auto maskOf = [&](const char* name) { return A().Fg_getEventMask(&fg, name); };
    auto eventOf = [&](unsigned long mask) { return A().Fg_getEventName(&fg, mask); };
    const std::pair<const char*, std::function<bool()>> cases[] = {
        {"lower-case name", [&] { return idOf("fg_width") == FG_INVALID_PARAMETER; }},
        {"empty name", [&] { return idOf("") == FG_INVALID_PARAMETER; }},
        {"null name", [&] { return idOf(nullptr) == FG_INVALID_PARAMETER; }},
        {"index past the end", [&] { return A().Fg_getParameterName(&fg, count) == nullptr; }},
        {"negative index", [&] { return A().Fg_getParameterId(&fg, -1) == FG_INVALID_PARAMETER; }},
        {"unknown event", [&] { return maskOf("FG_NO_SUCH_EVENT") == 0; }},
        {"lower-case event", [&] { return maskOf("fg_overflow_cam0") == 0; }},
        {"null event", [&] { return maskOf(nullptr) == 0; }},
        {"two events", [&] { return eventOf(3) == nullptr; }},
        {"no event", [&] { return eventOf(0) == nullptr; }},
        {"past the last event", [&] { return eventOf(1UL << FG_EVENT_COUNT) == nullptr; }}};
    for (const auto& [what, fails] : cases) {
        SCOPED_TRACE(what);
        ASSERT_EQ(idOf("FG_WIDTH"), FG_WIDTH);
        ASSERT_EQ(lastError(), 0);
        EXPECT_TRUE(fails());
        EXPECT_EQ(lastError(), FG_INVALID_PARAMETER);
    }
    // A found event and the count are lookups too: they record their success.
    EXPECT_EQ(maskOf("FG_OVERFLOW_CAM0"), 1UL);
    EXPECT_EQ(lastError(), 0);
    idOf("");
    EXPECT_EQ(A().Fg_getNrOfParameter(&fg), count);
    EXPECT_EQ(lastError(), 0);
}

// Read-only values refuse writes as not available, SDK parameters this applet does not offer
// too, unknown ids and other DMA channels are invalid.
TEST_F(ParameterModel, DispatchRefusesWithTheRightNumber) {
    const int na = FG_NOT_AVAILABLE, bad = FG_INVALID_PARAMETER;
    const struct {
        int set, get;
        unsigned dma;
        std::vector<int> ids;
    } rules[] = {{na, 0, 0, {FG_APPLET_VERSION, FG_DMASTATUS, FG_PIXELDEPTH, FG_DIGIO_INPUT}},
                 {na, bad, 0, {FG_APC_STOP_TIMEOUT, FG_NR_OF_DMAS, FG_TRANSFER_LEN}},
                 {bad, 0, 0, {FG_APPLET_ID}},
                 {bad, bad, 0, {123456, FG_DIRECT_REGISTER_ID_BASE + 5}},
                 {bad, bad, 1, {FG_TIMEOUT}},
                 {bad, bad, 7, {FG_APPLET_ID}}};
    for (const auto& rule : rules) {
        for (int id : rule.ids) {
            SCOPED_TRACE(std::to_string(id) + " on DMA " + std::to_string(rule.dma));
            uint32_t v = 10;
            EXPECT_EQ(A().Fg_setParameterWithType(&fg, id, &v, rule.dma, FG_PARAM_TYPE_UINT32_T), rule.set);
            EXPECT_EQ(lastError(), rule.set);
            EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, &v, rule.dma, FG_PARAM_TYPE_UINT32_T), rule.get);
            EXPECT_EQ(lastError(), rule.get);
        }
    }
}

// The applet keeps a copy of the SDK's timeout and turbo mode to answer reads.
// Whatever a setter writes first (design, register or SDK value) may fail: the setter answers that
// error and the old value stays readable.
TEST_F(ParameterModel, EveryFailedFirstWriteFailsItsSetterAndKeepsTheOldValue) {
    int failing = 0;
    for (const Writable& w : writableNumbers()) {
        if (w.accepted.size() < 2) continue;
        reopen();
        const double old = get(w), value = old == w.accepted[1] ? w.accepted[0] : w.accepted[1];
        vboard::control::clearJournal();
        vboard::control::failWrite("", 1, -77);
        const int rc = set(w, value);
        if (vboard::control::writesMatching("!-77").empty()) continue;  // refused, or only cached
        ++failing;
        EXPECT_EQ(std::pair(rc, lastError()), std::pair(-77, -77)) << w.name;
        EXPECT_EQ(get(w), old) << w.name;
    }
    EXPECT_GT(failing, 50);
}

TEST_F(ParameterModel, SdkOwnedValuesReachTheSdk) {
    for (const auto& [id, name, value] : {std::tuple(FG_TIMEOUT, "FG_TIMEOUT", 2147483646u),
                                          std::tuple(FG_TURBO_DMA_MODE, "FG_TURBO_DMA_MODE", 1u)}) {
        vboard::control::clearJournal();
        EXPECT_EQ(setUInt(id, value), 0);
        EXPECT_EQ(vboard::control::writes(), Strings{name + ("=" + std::to_string(value))});
        EXPECT_EQ(vboard::control::sdkValue(id), value);
    }
}

// The families are switched by the environment when the applet object is built.
TEST_F(ParameterModel, DirectAccessFamiliesAppearOnlyWhenSwitchedOn) {
    const struct {
        const char* variable;
        const char* value;
        bool dra, dzea;
    } cases[] = {{"QORV_ENABLE_DRA", "TRUE", true, false},     {"QORV_ENABLE_DRA", "Yes", true, false},
                 {"QORV_ENABLE_DRA", "1", true, false},        {"QORV_ENABLE_DRA", "on", false, false},
                 {"QORV_ENABLE_DRA", "enabled", false, false}, {"QORV_ENABLE_DZEA", "TRUE", false, true},
                 {"QORV_ENABLE_DZEA", "On", false, true},      {"QORV_ENABLE_DZEA", "enabled", false, false},
                 {"QORV_ENABLE_DZEA", "0", false, false}};
    auto hasGroup = [&](const std::string& name) {
        for (const RegisterInfo* g = A().Fg_getParameterInfo(&fg, 0); g != nullptr; g = g->next) {
            if (g->name == name) return true;
        }
        return false;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.variable) + "=" + c.value);
        setenv(c.variable, c.value, 1);
        reopen();
        unsetenv(c.variable);
        const int draId = A().Fg_getParameterIdByName(&fg, "DRA_AAGenHeight");
        EXPECT_EQ(hasGroup("Direct Register Access"), c.dra);
        EXPECT_EQ(hasGroup("Direct ZE Access"), c.dzea);
        if (c.dra) {
            EXPECT_EQ(draId, FG_DIRECT_REGISTER_ID_BASE + 5);  // the fifth register of the design
            vboard::control::clearJournal();
            EXPECT_EQ(setUInt(draId, 480), 0);
            EXPECT_EQ(vboard::control::writes(), Strings{"AAGenHeight=480"});
            uint64_t wide = ~0ull;  // a 32-bit register fills only the caller's 32 bits
            EXPECT_EQ(A().Fg_getParameterWithType(&fg, draId, &wide, 0, FG_PARAM_TYPE_UINT32_T), 0);
            EXPECT_EQ(wide, 0xFFFFFFFF000001E0ull);
            EXPECT_EQ(setUInt(A().Fg_getParameterIdByName(&fg, "DRA_AAGenEnable"), 2), FG_VALUE_OUT_OF_RANGE);
        } else {
            EXPECT_EQ(draId, FG_INVALID_PARAMETER);
            EXPECT_EQ(setUInt(FG_DIRECT_REGISTER_ID_BASE + 5, 480), FG_INVALID_PARAMETER);
        }
        EXPECT_EQ(A().Fg_getParameterIdByName(&fg, "DZEA_FG_TIMEOUT"),
                  c.dzea ? FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT : FG_INVALID_PARAMETER);
        if (c.dzea) {
            EXPECT_EQ(description(FG_BASE_WRAPPER_ID_BASE + FG_TIMEOUT)->port, 0) << "a copy of port 0";
        }
    }
}

}  // namespace
