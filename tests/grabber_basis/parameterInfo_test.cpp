#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fg_constants.h"
#include "parameterInfo.h"

namespace {

std::vector<std::string> topLevelNames(Fg_ParameterInfo& reg, int port) {
    std::vector<std::string> names;
    for (RegisterInfo* r = reg.getNextRegisterInfo(nullptr, port); r; r = reg.getNextRegisterInfo(r, port))
        names.emplace_back(r->name);
    return names;
}

RegisterInfo* addInt(Fg_ParameterInfo& reg, RegisterInfo* parent, const char* name, int port = 0) {
    return reg.addInfoInt(parent, name, name, 0, 10, 1, 7, 1, 1, nullptr, 100, port);
}

}  // namespace

TEST(ParameterInfo, TopLevelGroupsAreListedNewestFirst) {
    Fg_ParameterInfo reg;
    EXPECT_EQ(reg.getNextRegisterInfo(nullptr, 0), nullptr);
    RegisterInfo* a = reg.addGroupInfo(0, nullptr, "A");
    RegisterInfo* b = reg.addGroupInfo(0, nullptr, "B");
    RegisterInfo* c = reg.addGroupInfo(0, nullptr, "C");
    reg.addGroupInfo(1, nullptr, "other port");
    EXPECT_EQ(topLevelNames(reg, 0), (std::vector<std::string>{"C", "B", "A"}));
    EXPECT_EQ(reg.getRegisterInfo(0), c);
    EXPECT_TRUE(c->previous == nullptr && b->previous == c && a->previous == b);
    EXPECT_EQ(topLevelNames(reg, 1), std::vector<std::string>{"other port"});
}

TEST(ParameterInfo, RefusalsChangeNothing) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(0, nullptr, "G");
    EXPECT_EQ(addInt(reg, nullptr, "orphan"), nullptr);
    for (int bad : {-1, 4, 1000}) {
        EXPECT_EQ(reg.addGroupInfo(bad, nullptr, "X"), nullptr);
        EXPECT_EQ(addInt(reg, g, "x", bad), nullptr);
        EXPECT_EQ(reg.getRegisterInfo(bad), nullptr);
        EXPECT_EQ(reg.getNextRegisterInfo(g, bad), nullptr);
        reg.finalize(bad), reg.init(bad), reg.destroy(bad);
    }
    reg.finalize(0);
    EXPECT_EQ(reg.addGroupInfo(0, nullptr, "late"), nullptr);
    EXPECT_EQ(reg.addGroupInfo(0, g, "late sub"), nullptr);
    EXPECT_EQ(addInt(reg, g, "late leaf"), nullptr);
    EXPECT_EQ(g->u.gReg.nrOfElements, 0);
    EXPECT_EQ(g->u.gReg.autoIndex, 0);
    EXPECT_NE(reg.addGroupInfo(1, nullptr, "port 1 still open"), nullptr);

    reg.init(0);
    EXPECT_EQ(reg.getRegisterInfo(0), nullptr);
    ASSERT_NE(reg.addGroupInfo(0, nullptr, "again"), nullptr);
    EXPECT_EQ(topLevelNames(reg, 0), std::vector<std::string>{"again"});
}

TEST(ParameterInfo, SubGroupsAndTheSubGroupUnderLeafQuirk) {
    Fg_ParameterInfo reg;
    RegisterInfo* top = reg.addGroupInfo(0, nullptr, "Top");
    RegisterInfo* leaf = addInt(reg, top, "leaf");
    RegisterInfo* sub = reg.addGroupInfo(0, top, "Sub");
    RegisterInfo* subsub = reg.addGroupInfo(0, sub, "SubSub");
    ASSERT_TRUE(leaf && sub && subsub);
    EXPECT_EQ(sub->index, 1);
    EXPECT_EQ(sub->depth, 1);
    EXPECT_STREQ(sub->parentName, "Top");
    EXPECT_EQ(subsub->depth, 2);
    EXPECT_STREQ(subsub->parentName, "Sub");
    EXPECT_EQ(leaf->depth, 0);
    EXPECT_EQ(topLevelNames(reg, 0), std::vector<std::string>{"Top"});

    // Refused, but the leaf's child counter has moved on; the leaf's own fields stay intact.
    EXPECT_EQ(reg.addGroupInfo(0, leaf, "under leaf"), nullptr);
    RegisterInfo* child = addInt(reg, leaf, "child of leaf");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(child->index, 1);
    EXPECT_TRUE(leaf->u.iReg.from == 0 && leaf->u.iReg.to == 10 && leaf->u.iReg.steps == 1);
    EXPECT_EQ(top->u.gReg.nrOfElements, 2);
}

TEST(ParameterInfo, ElementArrayFollowsManyInserts) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(0, nullptr, "G");
    std::vector<RegisterInfo*> added;
    for (int i = 0; i < 300; ++i) {
        const std::string name = "p" + std::to_string(i);
        added.push_back(i % 7 == 3 ? reg.addGroupInfo(0, g, name.c_str()) : addInt(reg, g, name.c_str()));
    }
    ASSERT_EQ(g->u.gReg.nrOfElements, 300);
    EXPECT_EQ(g->u.gReg.autoIndex, 300);
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(g->u.gReg.elements[i], added[i]);
        EXPECT_EQ(added[i]->index, i);
    }
}

TEST(ParameterInfo, EnumEntriesAreCopiedReplacedAndChecked) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(0, nullptr, "G");
    RegisterInfo* e = reg.addInfoEnum(g, "Mode", "FG_MODE", 3, 7, 1, 1, nullptr, 42, 0);
    ASSERT_NE(e, nullptr);
    const EnumReg_S& er = e->u.eReg;
    ASSERT_EQ(er.nrOfElements, 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(er.enumNames[i] == nullptr && er.enumDefName[i] == nullptr && er.enumValues[i] == 0);

    char name[] = "Free Run";
    ASSERT_EQ(reg.addEnumNameValue(e, 1, name, 5, "ATM_FREE"), 0);
    name[0] = 'X';
    EXPECT_STREQ(er.enumNames[1], "Free Run");
    EXPECT_STREQ(er.enumDefName[1], "ATM_FREE");
    EXPECT_EQ(er.enumValues[1], 5);
    // Replacing drops the old symbolic name when none is given.
    ASSERT_EQ(reg.addEnumNameValue(e, 1, "Generator", -3, nullptr), 0);
    EXPECT_STREQ(er.enumNames[1], "Generator");
    EXPECT_EQ(er.enumDefName[1], nullptr);
    EXPECT_EQ(er.enumValues[1], -3);

    RegisterInfo* notEnum = addInt(reg, g, "i");
    RegisterInfo* empty = reg.addInfoEnum(g, "Empty", "FG_EMPTY", -2, 7, 1, 1, nullptr, 43, 0);
    RegisterInfo foreign = *e;
    foreign.port = 4;
    const struct {
        RegisterInfo* rec;
        int index;
        const char* name;
    } bad[] = {{nullptr, 0, "n"}, {e, -1, "n"},       {e, 3, "n"},    {notEnum, 0, "n"},
               {e, 0, nullptr},   {&foreign, 0, "n"}, {empty, 0, "n"}};
    for (const auto& b : bad)
        EXPECT_EQ(reg.addEnumNameValue(b.rec, b.index, b.name, 1, "d"), FG_INVALID_PARAMETER);
    EXPECT_EQ(er.enumNames[0], nullptr);
    EXPECT_STREQ(er.enumNames[1], "Generator");
}

TEST(ParameterInfo, EveryKindStoresItsFields) {
    Fg_ParameterInfo reg;
    RegisterInfo* g = reg.addGroupInfo(2, nullptr, "G");
    const int A = 3, R = 2, V = 1, ID = 300123, P = 2;
    char n[] = "Display", pn[] = "FG_PARAM", un[] = "us";
    const RegisterInfo* recs[] = {
        reg.addInfoInt(g, n, pn, -5, 9, 2, A, R, V, un, ID, P),
        reg.addInfoUInt(g, n, pn, 1, ~0u, 4, A, R, V, un, ID, P),
        reg.addInfoInt64(g, n, pn, -1, INT64_MAX, 3, A, R, V, un, ID, P),
        reg.addInfoUInt64(g, n, pn, 2, UINT64_MAX, 8, A, R, V, un, ID, P),
        reg.addInfoDouble(g, n, pn, 0.5, 6.25e6, 1e-3, A, R, V, un, ID, P),
        reg.addInfoIntField(g, n, pn, 4096, -1, 4095, 7, A, R, V, un, ID, P),
        reg.addInfoUIntField(g, n, pn, 16, 1, 99, 9, A, R, V, un, ID, P),
        reg.addInfoDoubleField(g, n, pn, 3, -1.5, 2.5, .25, A, R, V, un, ID, P),
        reg.addInfoString(g, n, pn, "lut", A, R, V, un, ID, P),
        reg.addInfoEnum(g, n, pn, 2, A, R, V, un, ID, P),
    };
    n[0] = pn[0] = un[0] = '?';  // borrowed strings: the records must hold copies
    const REG_FORMAT formats[] = {REG_FORMAT_INT,       REG_FORMAT_UINT,        REG_FORMAT_INT64,
                                  REG_FORMAT_UINT64,    REG_FORMAT_DOUBLE,      REG_FORMAT_INTFIELD,
                                  REG_FORMAT_UINTFIELD, REG_FORMAT_DOUBLEFIELD, REG_FORMAT_STRING,
                                  REG_FORMAT_ENUM};
    // Expected type-specific parts, every byte not named zero.
    decltype(RegisterInfo::u) u[8];
    memset(u, 0, sizeof u);
    u[0].iReg = {-5, 9, 2, 0};
    u[1].uiReg = {1, ~0u, 4, 0};
    u[2].iReg64 = {~0ull, uint64_t(INT64_MAX), 3, 0};
    u[3].iReg64 = {2, UINT64_MAX, 8, 0};
    u[4].dReg = {0.5, 6.25e6, 1e-3, 0};
    u[5].ifReg = {-1, 4095, 4096, 0, 7};
    u[6].uifReg = {1, 99, 16, 0, 9};
    u[7].dfReg = {-1.5, 2.5, 3, 0, 0.25};
    for (int i = 0; i < 10; ++i) {
        SCOPED_TRACE(i);
        const RegisterInfo* r = recs[i];
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->format, formats[i]);
        EXPECT_STREQ(r->name, "Display");
        EXPECT_STREQ(r->parameterName, "FG_PARAM");
        EXPECT_STREQ(r->unit, "us");
        EXPECT_TRUE(r->accessFlags == A && r->rangeFlags == R && r->visibilityFlags == V);
        EXPECT_TRUE(r->id == ID && r->port == P && r->index == i && r->depth == 0);
        EXPECT_TRUE(r->next == nullptr && r->previous == nullptr && r->parentName == nullptr);
        if (i < 8) {
            EXPECT_EQ(memcmp(&u[i], &r->u, sizeof u[i]), 0);
        }
    }
    EXPECT_STREQ(recs[8]->u.sReg.FileExtension, "lut");
    EXPECT_TRUE(recs[8]->u.sReg.string == nullptr && recs[8]->u.sReg.strLen == 0);
    RegisterInfo* bare = reg.addInfoString(g, "s", "FG_S", nullptr, A, R, V, nullptr, ID, P);
    ASSERT_NE(bare, nullptr);
    EXPECT_TRUE(bare->unit == nullptr && bare->u.sReg.FileExtension == nullptr);
}
