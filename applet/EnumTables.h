// Entries of the applet's enumerations: display name, value, symbolic name.
#pragma once

#include <cfloat>
#include <iterator>

#include "parameterInfo.h"

#include "fg_constants.h"

#define PARAM_DBL_EPSILON DBL_EPSILON

// Access modes of the parameter list.
inline constexpr int ACC_RWC = FG_ACCESS_READ_WRITE_CHANGE;
inline constexpr int ACC_RW = FG_ACCESS_READ_WRITE;
inline constexpr int ACC_R = FG_ACCESS_READ;

namespace pellucid::enums {

inline constexpr EnumField_ OnOff[] = {{"On", 1, "FG_ON"}, {"Off", 0, "FG_OFF"}};
inline constexpr EnumField_ YesNo[] = {{"Yes", 1, "FG_YES"}, {"No", 0, "FG_NO"}};
inline constexpr EnumField_ LowOnZero[] = {{"High Active", 0, "FG_HIGH"}, {"Low Active", 1, "FG_LOW"}};
inline constexpr EnumField_ Apply[] = {{"Apply", 1, "FG_APPLY"}};
inline constexpr EnumField_ BusyFlag[] = {{"Busy Flag is set", 1, "IS_BUSY"},
                                          {"Busy Flag is not set", 0, "IS_NOT_BUSY"}};
inline constexpr EnumField_ TriggerModes[] = {{"Free Run", 0, "FREE_RUN"},
                                              {"Grabber controlled", 1, "GRABBER_CONTROLLED"},
                                              {"Async External Trigger", 2, "ASYNC_TRIGGER"},
                                              {"Async Software Trigger", 4, "ASYNC_SOFTWARE_TRIGGER"}};
inline constexpr EnumField_ TriggerStates[] = {
    {"Active", 0, "TS_ACTIVE"}, {"Async Stop", 1, "TS_ASYNC_STOP"}, {"Sync Stop", 2, "TS_SYNC_STOP"}};
inline constexpr EnumField_ AreaTriggerModes[] = {
    {"Generator", 1, "ATM_GENERATOR"}, {"External", 2, "ATM_EXTERNAL"}, {"Software", 4, "ATM_SOFTWARE"}};
inline constexpr EnumField_ TriggerInSource[] = {
    {"Trigger Source 0", 0, "TRGINSRC_0"}, {"Trigger Source 1", 1, "TRGINSRC_1"},
    {"Trigger Source 2", 2, "TRGINSRC_2"}, {"Trigger Source 3", 3, "TRGINSRC_3"},
    {"Trigger Source 4", 4, "TRGINSRC_4"}, {"Trigger Source 5", 5, "TRGINSRC_5"},
    {"Trigger Source 6", 6, "TRGINSRC_6"}, {"Trigger Source 7", 7, "TRGINSRC_7"}};
inline constexpr EnumField_ TriggerPolarity[] = {{"Low Active", 1, "LOW_ACTIVE"},
                                                 {"High Active", 0, "HIGH_ACTIVE"}};
inline constexpr EnumField_ TriggerOutSelection_Gen4[] = {{"Pulse Generator 0", 0, "PULSEGEN0"},
                                                          {"Pulse Generator 1", 1, "PULSEGEN1"},
                                                          {"Pulse Generator 2", 2, "PULSEGEN2"},
                                                          {"Pulse Generator 3", 3, "PULSEGEN3"},
                                                          {"Gnd", 4, "GND"},
                                                          {"Vcc", 5, "VCC"},
                                                          {"Not Pulse Generator 0", 6, "NOT_PULSEGEN0"},
                                                          {"Not Pulse Generator 1", 7, "NOT_PULSEGEN1"},
                                                          {"Not Pulse Generator 2", 8, "NOT_PULSEGEN2"},
                                                          {"Not Pulse Generator 3", 9, "NOT_PULSEGEN3"},
                                                          {"Input Bypass", 10, "INPUT_BYPASS"},
                                                          {"Not Input Bypass", 11, "NOT_INPUT_BYPASS"}};
inline constexpr EnumField_ AcqCcSignalMapping_Gen4[] = {{"Pulse Generator 0", 0, "CC_PULSEGEN0"},
                                                         {"Pulse Generator 1", 1, "CC_PULSEGEN1"},
                                                         {"Pulse Generator 2", 2, "CC_PULSEGEN2"},
                                                         {"Pulse Generator 3", 3, "CC_PULSEGEN3"},
                                                         {"Gnd", 4, "CC_GND"},
                                                         {"Vcc", 5, "CC_VCC"},
                                                         {"Not Pulse Generator 0", 6, "CC_NOT_PULSEGEN0"},
                                                         {"Not Pulse Generator 1", 7, "CC_NOT_PULSEGEN1"},
                                                         {"Not Pulse Generator 2", 8, "CC_NOT_PULSEGEN2"},
                                                         {"Not Pulse Generator 3", 9, "CC_NOT_PULSEGEN3"},
                                                         {"Input Bypass", 10, "CC_INPUT_BYPASS"},
                                                         {"Not Input Bypass", 11, "CC_NOT_INPUT_BYPASS"}};
inline constexpr EnumField_ TriggerOutStatsSources_Gen4[] = {{"Pulse Generator 0", 0, "PULSEGEN0"},
                                                             {"Pulse Generator 1", 1, "PULSEGEN1"},
                                                             {"Pulse Generator 2", 2, "PULSEGEN2"},
                                                             {"Pulse Generator 3", 3, "PULSEGEN3"}};
inline constexpr EnumField_ CcSignalMappingLegacy[] = {
    {"Exsync", 0, "CC_EXSYNC"},     {"!Exsync", 6, "CC_NOT_EXSYNC"},
    {"Flash", 2, "CC_STROBEPULSE"}, {"!Flash", 8, "CC_NOT_STROBEPULSE"},
    {"Gnd", 4, "CC_GND"},           {"Vcc", 5, "CC_VCC"}};
inline constexpr EnumField_ BayerInitValues[] = {{"Green Followed By Red", 3, "GreenFollowedByRed"},
                                                 {"Green Followed By Blue", 0, "GreenFollowedByBlue"},
                                                 {"Red Followed By Green", 2, "RedFollowedByGreen"},
                                                 {"Blue Followed By Green", 1, "BlueFollowedByGreen"}};
inline constexpr EnumField_ AcqLutTypes[] = {{"Processor", 3, "LUT_TYPE_PROCESSING"},
                                             {"User file", 0, "LUT_TYPE_CUSTOM"}};
inline constexpr EnumField_ LookupTableImplementations[] = {{"Full LUT", 0, "LUT_IMPLEMENTATION_FULL_LUT"},
                                                            {"KneeLUT", 1, "LUT_IMPLEMENTATION_KNEELUT"}};
inline constexpr EnumField_ FormatColor[] = {{"Color 24bit", 2, "FG_COL24"}, {"Color 48bit", 6, "FG_COL48"}};
inline constexpr EnumField_ AlignmentModesBoth[] = {{"Left Aligned", 1, "FG_LEFT_ALIGNED"},
                                                    {"Right Aligned", 0, "FG_RIGHT_ALIGNED"}};
inline constexpr EnumField_ GeneratorSource[] = {{"Camera", 0, "FG_CAMPORT"},
                                                 {"Generator", 1, "FG_GENERATOR"}};
inline constexpr EnumField_ GeneratorStart[] = {{"Stop", 0, "FG_GEN_STOP"}, {"Start", 1, "FG_GEN_RUN"}};
inline constexpr EnumField_ CameraFormatGrayAreaMedium[] = {{"Medium 8bit", 208, "FG_CL_MEDIUM_8_BIT"},
                                                            {"Medium 10bit", 210, "FG_CL_MEDIUM_10_BIT"},
                                                            {"Medium 12bit", 212, "FG_CL_MEDIUM_12_BIT"}};

// True when `value` is one of the table's values.
template <size_t N>
constexpr bool contains(const EnumField_ (&table)[N], uint32_t value) {
    for (const EnumField_& e : table) {
        if (e.value == value) return true;
    }
    return false;
}

}  // namespace pellucid::enums
