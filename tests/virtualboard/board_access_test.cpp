// Design parameters and raw registers through the SDK's plain handle and the register library:
// access rules, value conversion, the journal and failure injection.
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include "qorv_hw.h"
#include "vboard_fixture.h"

namespace vboard::test {
namespace {

using Strings = std::vector<std::string>;

const std::string kFillLevel = "Device1_Process0_Buffer_0_DRAM_A_0_FillLevel";

struct Access {
    const char* what;
    std::string name;
    int type;
    uint64_t value;  // as the type's bytes
    int result;
};

void PrintTo(const Access& a, std::ostream* os) {
    *os << a.what;
}

class ParameterAccess : public PlainHandle, public ::testing::WithParamInterface<Access> {};

TEST_P(ParameterAccess, SetAnswersAndStoresOnlyOnSuccess) {
    const Access& a = GetParam();
    control::setValue(a.name, 1);
    const int result = Fg_setParameterWithType(fg, id(a.name), &a.value, 0, a.type);
    EXPECT_EQ(result, a.result);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), a.result);
    EXPECT_EQ(control::value(a.name), result == 0 ? a.value : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ParameterAccess,
    ::testing::Values(
        Access{"uint32", kFormat, FG_PARAM_TYPE_UINT32_T, 7, 0},
        Access{"tooWideFor3Bits", kFormat, FG_PARAM_TYPE_UINT32_T, 8, FG_VALUE_OUT_OF_RANGE},
        Access{"int32", kFormat, FG_PARAM_TYPE_INT32_T, 5, 0},
        Access{"negativeInt32", kFormat, FG_PARAM_TYPE_INT32_T, 0xffffffff, FG_VALUE_OUT_OF_RANGE},
        Access{"uint64", kXLength, FG_PARAM_TYPE_UINT64_T, 65535, 0},
        Access{"uint64TooWide", kXLength, FG_PARAM_TYPE_UINT64_T, 65536, FG_VALUE_OUT_OF_RANGE},
        Access{"upperHalfCounts", kPeriod, FG_PARAM_TYPE_UINT64_T, 1ull << 32, FG_VALUE_OUT_OF_RANGE},
        Access{"negativeInt64", kPeriod, FG_PARAM_TYPE_INT64_T, ~0ull, FG_VALUE_OUT_OF_RANGE},
        Access{"full32Bits", kPeriod, FG_PARAM_TYPE_UINT32_T, 4294967287u, 0},
        Access{"doubleOnUint", kFormat, FG_PARAM_TYPE_DOUBLE, 0, FG_INVALID_PARAMETER},
        Access{"fieldTypeOnUint", kFormat, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, 0, FG_INVALID_PARAMETER},
        Access{"stringType", kFormat, FG_PARAM_TYPE_CHAR_PTR, 0, FG_INVALID_PARAMETER},
        Access{"readOnly", kOverflow, FG_PARAM_TYPE_UINT32_T, 0, FG_NOT_AVAILABLE},
        Access{"readOnlyStatus", kFillLevel, FG_PARAM_TYPE_UINT32_T, 50, FG_NOT_AVAILABLE}));

TEST_F(PlainHandle, CallErrorsOfParameterAccess) {
    uint32_t v = 1;
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), nullptr, 0, FG_PARAM_TYPE_UINT32_T),
              FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kFormat), nullptr, 0, FG_PARAM_TYPE_UINT32_T),
              FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &v, 1, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kFormat), &v, 1, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER);
    for (int bad : {0, 100, VBOARD_DESIGN_PARAMETER_ID_BASE - 1, VBOARD_DESIGN_PARAMETER_ID_BASE + 100000}) {
        EXPECT_EQ(Fg_setParameterWithType(fg, bad, &v, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER)
            << bad;
        EXPECT_EQ(Fg_getParameterWithType(fg, bad, &v, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER)
            << bad;
    }
    EXPECT_EQ(Fg_setParameterWithType(nullptr, id(kFormat), &v, 0, FG_PARAM_TYPE_UINT32_T),
              FG_INVALID_HANDLE);
    EXPECT_EQ(control::writes(), Strings{});  // rejected calls never reach the board
}

TEST_F(PlainHandle, NamesResolveToStableIds) {
    EXPECT_EQ(id("Device1_Process0_Bayer_Bayer_BayerInit"), VBOARD_DESIGN_PARAMETER_ID_BASE);
    EXPECT_EQ(id("FG_DIGIO_INPUT"), FG_DIGIO_INPUT);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), 0);
    for (const char* unknown : {"", "AAGenEnable", "device1_process0_camera_format", "FG_WIDTH"})
        EXPECT_EQ(id(unknown), FG_INVALID_PARAMETER) << unknown;
    EXPECT_EQ(Fg_getParameterIdByName(fg, nullptr), FG_INVALID_PARAMETER);
}

TEST_F(PlainHandle, ReadsDeliverTheAskedWidth) {
    control::setValue(kPeriod, 0xfffffff0u);
    uint64_t wide = ~0ull;
    ASSERT_EQ(Fg_getParameterWithType(fg, id(kPeriod), &wide, 0, FG_PARAM_TYPE_UINT64_T), 0);
    EXPECT_EQ(wide, 0xfffffff0u);  // all 8 bytes written
    uint64_t narrow = ~0ull;
    ASSERT_EQ(Fg_getParameterWithType(fg, id(kPeriod), &narrow, 0, FG_PARAM_TYPE_UINT32_T), 0);
    EXPECT_EQ(narrow, 0xfffffffffffffff0ull);  // upper half untouched
    int32_t signedValue = 0;
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kPeriod), &signedValue, 0, FG_PARAM_TYPE_INT32_T),
              FG_VALUE_OUT_OF_RANGE);
    uint32_t natural = 0;
    ASSERT_EQ(Fg_getParameter(fg, id(kPeriod), &natural, 0), 0);
    EXPECT_EQ(natural, 0xfffffff0u);
    double d = 0;
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kPeriod), &d, 0, FG_PARAM_TYPE_DOUBLE), FG_INVALID_PARAMETER);
}

struct Coefficient {
    double value;
    uint64_t code;
};

void PrintTo(const Coefficient& c, std::ostream* os) {
    char text[32];
    *os << std::string_view(text, std::to_chars(text, text + sizeof text, c.value).ptr - text);
}

class DoubleCode : public PlainHandle, public ::testing::WithParamInterface<Coefficient> {};

TEST_P(DoubleCode, RoundsAndClampsToTheCode) {
    const double v = GetParam().value;
    ASSERT_EQ(Fg_setParameterWithType(fg, id(kRed), &v, 0, FG_PARAM_TYPE_DOUBLE), 0);
    EXPECT_EQ(control::value(kRed), GetParam().code);
    double back = -1;
    ASSERT_EQ(Fg_getParameterWithType(fg, id(kRed), &back, 0, FG_PARAM_TYPE_DOUBLE), 0);
    EXPECT_EQ(back, GetParam().code / 1024.0);
    EXPECT_EQ(control::doubleValue(kRed), back);
}

INSTANTIATE_TEST_SUITE_P(Codes, DoubleCode,
                         ::testing::Values(Coefficient{1.0, 1024}, Coefficient{1.5, 1536},
                                           Coefficient{0.0, 0}, Coefficient{-0.0, 0},
                                           Coefficient{3.9990234375, 4095}, Coefficient{4.0, 4095},
                                           Coefficient{1e300, 4095}, Coefficient{-1.0, 0},
                                           Coefficient{0.00048828125, 1},  // half a step rounds up
                                           Coefficient{0.000488281, 0},    // just below half a step
                                           Coefficient{std::numeric_limits<double>::quiet_NaN(), 0},
                                           Coefficient{std::numeric_limits<double>::infinity(), 4095}));

TEST_F(PlainHandle, DoubleParametersTakeOnlyDoubles) {
    uint32_t v = 1;
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kRed), &v, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER);
    const double d = 2.25;
    EXPECT_EQ(Fg_setParameter(fg, id(kRed), &d, 0), 0);  // natural type: double
    EXPECT_EQ(control::doubleValue(kRed), 2.25);
}

TEST_F(PlainHandle, FieldsByBlockAndByEntry) {
    std::vector<uint32_t> lut(4096);
    for (uint32_t i = 0; i < 4096; ++i) lut[i] = 4095 - i;
    FieldParameterAccess block{FG_PARAM_TYPE_UINT32_T, 0, 4096, 0, lut.data()};
    ASSERT_EQ(Fg_setParameterWithType(fg, id(kLutR), &block, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS), 0);
    EXPECT_EQ(control::fieldEntry(kLutR, 0), 4095u);
    EXPECT_EQ(control::fieldEntry(kLutR, 4095), 0u);

    FieldParameterInt one{5, 17};
    ASSERT_EQ(Fg_setParameterWithType(fg, id(kLutR), &one, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT), 0);
    FieldParameterInt readOne{0, 17};
    ASSERT_EQ(Fg_getParameterWithType(fg, id(kLutR), &readOne, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT), 0);
    EXPECT_EQ(readOne.value, 5u);

    std::vector<uint32_t> part(3, 99);
    FieldParameterAccess tail{FG_PARAM_TYPE_UINT32_T, 4093, 3, 0, part.data()};
    ASSERT_EQ(Fg_getParameterWithType(fg, id(kLutR), &tail, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS), 0);
    EXPECT_EQ(part, (std::vector<uint32_t>{2, 1, 0}));
}

TEST_F(PlainHandle, BadFieldAccessesChangeNothing) {
    std::vector<uint32_t> values(4097, 1);
    const int lut = id(kLutR);
    const int access = FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
    struct {
        FieldParameterAccess block;
        int result;
    } cases[] = {
        {{FG_PARAM_TYPE_UINT32_T, 0, 4097, 0, values.data()}, FG_INVALID_PARAMETER},  // past the end
        {{FG_PARAM_TYPE_UINT32_T, 4095, 2, 0, values.data()}, FG_INVALID_PARAMETER},
        {{FG_PARAM_TYPE_UINT32_T, 0xffffffffu, 2, 0, values.data()},
         FG_INVALID_PARAMETER},  // index + count wraps
        {{FG_PARAM_TYPE_UINT32_T, 0, 0, 0, values.data()}, FG_INVALID_PARAMETER},
        {{FG_PARAM_TYPE_UINT32_T, 0, 1, 0, nullptr}, FG_INVALID_PARAMETER},
        {{FG_PARAM_TYPE_DOUBLE, 0, 1, 0, values.data()}, FG_INVALID_PARAMETER},
    };
    for (auto& c : cases) {
        EXPECT_EQ(Fg_setParameterWithType(fg, lut, &c.block, 0, access), c.result);
        EXPECT_EQ(Fg_getParameterWithType(fg, lut, &c.block, 0, access), c.result);
    }
    FieldParameterInt past{1, 4096};
    EXPECT_EQ(Fg_setParameterWithType(fg, lut, &past, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT),
              FG_INVALID_PARAMETER);
    EXPECT_EQ(Fg_getParameterWithType(fg, lut, &past, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT),
              FG_INVALID_PARAMETER);
    uint32_t plain = 1;
    EXPECT_EQ(Fg_setParameterWithType(fg, lut, &plain, 0, FG_PARAM_TYPE_UINT32_T), FG_INVALID_PARAMETER);
    EXPECT_EQ(control::writes(), Strings{});

    // One entry too wide refuses the whole block.
    values[100] = 4096;
    FieldParameterAccess wide{FG_PARAM_TYPE_UINT32_T, 0, 200, 0, values.data()};
    EXPECT_EQ(Fg_setParameterWithType(fg, lut, &wide, 0, access), FG_VALUE_OUT_OF_RANGE);
    FieldParameterInt wideOne{4096, 3};
    EXPECT_EQ(Fg_setParameterWithType(fg, lut, &wideOne, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT),
              FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(control::field(kLutR), std::vector<uint64_t>(4096, 0));
}

TEST_F(PlainHandle, RegisterAccessRules) {
    const int enable = reg("AAGenEnable"), width = reg("AAGenWidth");
    ZEdevice* board = QorvBoardOpen(0);
    EXPECT_EQ(QorvRegisterWrite(board, enable, 1), 0);
    EXPECT_EQ(QorvRegisterWrite(board, enable, 2), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(QorvRegisterWrite(board, width, 0xffffffffu), 0);
    EXPECT_EQ(QorvRegisterWrite(board, width, 1ull << 32), FG_VALUE_OUT_OF_RANGE);
    uint64_t v = 0;
    ASSERT_EQ(QorvRegisterRead(board, enable, &v), 0);
    EXPECT_EQ(v, 1u);
    for (int bad : {0, 10}) EXPECT_EQ(QorvRegisterRead(board, bad, &v), FG_INVALID_PARAMETER) << bad;
    EXPECT_EQ(QorvRegisterRead(board, enable, nullptr), FG_INVALID_PARAMETER);
    int notABoard = 0;
    EXPECT_EQ(QorvRegisterWrite(reinterpret_cast<ZEdevice*>(&notABoard), enable, 0), FG_INVALID_BOARD);
    EXPECT_EQ(QorvRegisterRead(nullptr, enable, &v), FG_INVALID_BOARD);
}

TEST(Registers, ReadOnlyAndWriteOnlyRegisters) {
    control::reset();
    const char* text =
        "QORV-DESIGN 1\nname T\nversion 1\ntypecode 1\nuid u\nregister R 8 ro\nregister W 8 wo\nbitstream 0 "
        "2d06800538d394c2\n\nend\n";
    fpga_design* d = HapLoadDesignFromBuffer(text, strlen(text), 1);
    ASSERT_NE(d, nullptr);
    Fg_Struct* fg = Fg_InitHandle("T", QorvBoardOpen(1), d);
    ASSERT_NE(fg, nullptr);
    ZEdevice* board = QorvBoardOpen(1);
    uint64_t v = 7;
    EXPECT_EQ(QorvRegisterWrite(board, 1, 1), FG_NOT_AVAILABLE);
    EXPECT_EQ(QorvRegisterRead(board, 1, &v), 0);
    EXPECT_EQ(QorvRegisterWrite(board, 2, 1), 0);
    EXPECT_EQ(QorvRegisterRead(board, 2, &v), FG_NOT_AVAILABLE);
    EXPECT_EQ(control::writes(1), (Strings{"R=1 !-12", "W=1"}));
    EXPECT_EQ(control::writes(0), Strings{});
    Fg_FreeGrabber(fg);
    HapUnloadHapFile(d);
}

TEST_F(PlainHandle, JournalKeepsOrderAndTextForm) {
    const uint32_t width = 1024, format = 9;
    const double red = 1.5;
    std::vector<uint32_t> lut(4096, 0);
    FieldParameterAccess block{FG_PARAM_TYPE_UINT32_T, 0, 4096, 0, lut.data()};
    FieldParameterInt entry{5, 17};
    const int32_t timeout = 30;

    Fg_setParameterWithType(fg, id(kXLength), &width, 0, FG_PARAM_TYPE_UINT32_T);
    Fg_setParameterWithType(fg, id(kRed), &red, 0, FG_PARAM_TYPE_DOUBLE);
    Fg_setParameterWithType(fg, id(kLutR), &block, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    Fg_setParameterWithType(fg, id("Device1_Process0_LookupTable_G_LUTcontent"), &entry, 0,
                            FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
    QorvRegisterWrite(QorvBoardOpen(0), reg("AAGenEnable"), 1);
    Fg_setParameterWithType(fg, id(kFormat), &format, 0, FG_PARAM_TYPE_UINT32_T);
    Fg_setParameterWithType(fg, FG_TIMEOUT, &timeout, 0, FG_PARAM_TYPE_INT32_T);

    EXPECT_EQ(control::writes(), (Strings{"Device1_Process0_Buffer_0_DRAM_A_0_XLength=1024",
                                          "Device1_Process0_Bayer_White_RedCoefficient=1.5",
                                          "Device1_Process0_LookupTable_R_LUTcontent[0+4096]",
                                          "Device1_Process0_LookupTable_G_LUTcontent[17]=5", "AAGenEnable=1",
                                          "Device1_Process0_Camera_Format=9 !-6000", "FG_TIMEOUT=30"}));
    EXPECT_EQ(control::writesMatching("LUTcontent").size(), 2u);

    const auto entries = control::journal();
    ASSERT_EQ(entries.size(), 7u);
    EXPECT_EQ(entries[1].kind, control::Kind::Parameter);
    EXPECT_EQ(entries[1].type, FG_PARAM_TYPE_DOUBLE);
    EXPECT_EQ(entries[1].doubleValue, 1.5);
    EXPECT_EQ(entries[1].value, 0x3ff8000000000000ull);
    EXPECT_EQ(entries[2].index, 0u);
    EXPECT_EQ(entries[2].count, 4096u);
    EXPECT_EQ(entries[4].kind, control::Kind::Register);
    EXPECT_EQ(entries[6].kind, control::Kind::Sdk);
    for (size_t i = 1; i < entries.size(); ++i) EXPECT_GE(entries[i].timeNs, entries[i - 1].timeNs);

    control::clearJournal();
    EXPECT_EQ(control::writes(), Strings{});
}

TEST_F(PlainHandle, JournalKeepsOnlyTheNewestWrites) {
    const int height = reg("AAGenHeight");
    ZEdevice* board = QorvBoardOpen(0);
    control::clearJournal();
    constexpr uint64_t kWrites = 65536 + 100;
    for (uint64_t i = 0; i < kWrites; ++i) ASSERT_EQ(QorvRegisterWrite(board, height, i), 0);
    const auto entries = control::journal();
    ASSERT_EQ(entries.size(), 65536u);
    EXPECT_EQ(entries.front().value, 100u) << "the oldest writes were dropped";
    EXPECT_EQ(entries.back().value, kWrites - 1);
}

TEST_F(PlainHandle, InjectedWriteFailuresHitTheNthWriteOfAName) {
    const uint32_t v = 3;
    control::failWrite(kFormat, 2, FG_NOT_ENOUGH_MEMORY);
    control::failWrite("AAGenRoll", 1, -77);
    for (int i = 0; i < 3; ++i) Fg_setParameterWithType(fg, id(kXLength), &v, 0, FG_PARAM_TYPE_UINT32_T);
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &v, 0, FG_PARAM_TYPE_UINT32_T), 0);
    const uint32_t other = 4;
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &other, 0, FG_PARAM_TYPE_UINT32_T),
              FG_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(Fg_getLastErrorNumber(fg), FG_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(control::value(kFormat), 3u);  // unchanged by the failed write
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &other, 0, FG_PARAM_TYPE_UINT32_T), 0);  // fires once
    EXPECT_EQ(QorvRegisterWrite(QorvBoardOpen(0), reg("AAGenRoll"), 1), -77);
    EXPECT_EQ(control::writesMatching("!"),
              (Strings{"Device1_Process0_Camera_Format=4 !-500", "AAGenRoll=1 !-77"}));
}

TEST_F(PlainHandle, InjectedFailuresOfAnyNameAndOfReads) {
    const uint32_t v = 1;
    control::failWrite("", 3, -5);
    control::failRead("", 1, -6);
    control::failRead(kOverflow, 2, -7);
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kXLength), &v, 0, FG_PARAM_TYPE_UINT32_T), 0);
    EXPECT_EQ(QorvRegisterWrite(QorvBoardOpen(0), reg("AAGenStart"), 1), 0);
    EXPECT_EQ(Fg_setParameterWithType(fg, FG_TURBO_DMA_MODE, &v, 0, FG_PARAM_TYPE_UINT32_T), -5);
    EXPECT_EQ(control::sdkValue(FG_TURBO_DMA_MODE), 0u);

    control::setValue(kOverflow, 1);
    uint32_t out = 99;
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kOverflow), &out, 0, FG_PARAM_TYPE_UINT32_T), -6);
    EXPECT_EQ(out, 99u);  // nothing read
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kOverflow), &out, 0, FG_PARAM_TYPE_UINT32_T), -7);
    EXPECT_EQ(Fg_getParameterWithType(fg, id(kOverflow), &out, 0, FG_PARAM_TYPE_UINT32_T), 0);
    EXPECT_EQ(out, 1u);

    control::failWrite(kFormat, 1, -8);
    control::clearFailures();
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &v, 0, FG_PARAM_TYPE_UINT32_T), 0);
}

TEST_F(PlainHandle, SdkParameters) {
    struct {
        int id;
        uint32_t value;
        int result;
    } cases[] = {
        {FG_TIMEOUT, 2, 0},
        {FG_TIMEOUT, 2147483646, 0},
        {FG_TIMEOUT, 1, FG_VALUE_OUT_OF_RANGE},
        {FG_TIMEOUT, 2147483647, FG_VALUE_OUT_OF_RANGE},
        {FG_TURBO_DMA_MODE, 1, 0},
        {FG_TURBO_DMA_MODE, 2, FG_VALUE_OUT_OF_RANGE},
        {FG_CAMSTATUS_EXTENDED, 0, FG_NOT_AVAILABLE},
        {FG_DIGIO_INPUT, 0, FG_NOT_AVAILABLE},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Fg_setParameter(fg, c.id, &c.value, 0), c.result) << c.id << "=" << c.value;
    EXPECT_EQ(control::sdkValue(FG_TIMEOUT), 2147483646u);
    EXPECT_EQ(control::writes().size(), 8u);

    control::setSdkValue(FG_CAMSTATUS_EXTENDED, 0x1f);
    control::setSdkValue(FG_DIGIO_INPUT, 0xa5);
    uint32_t status = 0;
    uint64_t input = ~0ull;
    ASSERT_EQ(Fg_getParameter(fg, FG_CAMSTATUS_EXTENDED, &status, 0), 0);
    ASSERT_EQ(Fg_getParameterWithType(fg, FG_DIGIO_INPUT, &input, 0, FG_PARAM_TYPE_UINT64_T), 0);
    EXPECT_EQ(status, 0x1fu);
    EXPECT_EQ(input, 0xa5u);
    control::reset();
    EXPECT_EQ(control::sdkValue(FG_TIMEOUT), 1000000u);
}

TEST_F(PlainHandle, ControlRefusesUnknownNamesAndWrongKinds) {
    EXPECT_THROW(control::setValue("NoSuchParameter", 1), std::invalid_argument);
    EXPECT_THROW(control::value("FG_TIMEOUT"), std::invalid_argument);
    EXPECT_THROW(control::failRead("Typo", 1, -1), std::invalid_argument);
    EXPECT_THROW(control::failWrite(kFormat, 0, -1), std::invalid_argument);
    EXPECT_THROW(control::setValue(kLutR, 1), std::invalid_argument);
    EXPECT_THROW(control::setDouble(kFormat, 1.0), std::invalid_argument);
    EXPECT_THROW(control::journal(2), std::invalid_argument);
    EXPECT_THROW(control::setValue(kFormat, 8), std::out_of_range);
    EXPECT_THROW(control::setFieldEntry(kLutR, 4096, 0), std::out_of_range);
    EXPECT_THROW(control::value(kFormat, 1), std::invalid_argument);  // board 1 has no design
    EXPECT_NO_THROW(control::failWrite("FG_TIMEOUT", 1, -1));
}

TEST_F(PlainHandle, ResetRestoresPowerOnButKeepsTheLayout) {
    const uint32_t v = 5;
    Fg_setParameterWithType(fg, id(kFormat), &v, 0, FG_PARAM_TYPE_UINT32_T);
    control::setFieldEntry(kLutR, 9, 9);
    control::failWrite(kFormat, 1, -1);
    control::reset();
    EXPECT_EQ(control::value(kFormat), 0u);
    EXPECT_EQ(control::fieldEntry(kLutR, 9), 0u);
    EXPECT_EQ(control::writes(), Strings{});
    EXPECT_EQ(Fg_setParameterWithType(fg, id(kFormat), &v, 0, FG_PARAM_TYPE_UINT32_T), 0);  // rule gone
}

TEST_F(PlainHandle, ReopeningWithTheSameDesignKeepsPresetValues) {
    control::setValue(kOverflow, 1);
    Fg_Struct* second = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(control::value(kOverflow), 1u);
    EXPECT_EQ(Fg_FreeGrabber(second), 0);
}

TEST(Control, LoadDesignConfiguresABoardBeforeAnyHandle) {
    control::reset();
    EXPECT_THROW(control::loadDesign("/nonexistent.hap", 1), std::invalid_argument);
    control::loadDesign(VBOARD_DESIGN_FILE, 1);
    control::setValue(kOverflow, 1, 1);
    control::failWrite(kFormat, 1, -3, 1);
    EXPECT_EQ(control::value(kOverflow, 1), 1u);
}

}  // namespace
}  // namespace vboard::test
