// The output lines (four camera-control lines, eight trigger outputs), the output statistics and
// event, and the trigger monitor's status flags.
#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

// Signal choice -> multiplexer input: generators 0..3, the input bypass 4, the constant-low source 5.
constexpr uint32_t kSelectOf[] = {0, 1, 2, 3, 5, 5, 0, 1, 2, 3, 4, 4};
// Choices that are their source inverted: Vcc, the four "Not Pulse Generator" and "Not Input Bypass".
constexpr uint32_t kInvertedChoices = 0xbe0;

}  // namespace

void FgZeWrapperImpl::setOutputLine(uint32_t& cache, uint32_t value, bool throwOnError, int designSelect,
                                    int designInvert) {
    if (!enums::contains(enums::TriggerOutSelection_Gen4, value))
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(designSelect, kSelectOf[value]);
        triggerPut(designInvert, (kInvertedChoices >> value) & 1);
    });
}

#define OUTPUT_LINE(NAME, block, k)                                                                   \
    void FgZeWrapperImpl::set_sdk_param_##NAME##_P0(uint32_t value, bool throwOnError) {              \
        setOutputLine(cache_##NAME##_P0, value, throwOnError,                                         \
                      id_Device1_Process1_Trigger_TriggerCam0_##block##_Select##k##_Select_Select,    \
                      id_Device1_Process1_Trigger_TriggerCam0_##block##_Select##k##_Polarity_Invert); \
    }
OUTPUT_LINE(FG_TRIGGERCC_SELECT0, CameraControl, 0)
OUTPUT_LINE(FG_TRIGGERCC_SELECT1, CameraControl, 1)
OUTPUT_LINE(FG_TRIGGERCC_SELECT2, CameraControl, 2)
OUTPUT_LINE(FG_TRIGGERCC_SELECT3, CameraControl, 3)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT0, TriggerOutput, 0)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT1, TriggerOutput, 1)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT2, TriggerOutput, 2)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT3, TriggerOutput, 3)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT4, TriggerOutput, 4)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT5, TriggerOutput, 5)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT6, TriggerOutput, 6)
OUTPUT_LINE(FG_TRIGGEROUT_SELECT7, TriggerOutput, 7)
#undef OUTPUT_LINE

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGEROUT_STATS_SOURCE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerOutStatsSources_Gen4, value)) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_TRIGGEROUT_STATS_SOURCE_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_OutputStatistics_Select_Select, value);
    });
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGEROUT_STATS_PULSECOUNT_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    // The counter is 16 bits wide.
    *out = static_cast<uint32_t>(
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_OutputStatistics_ReadPulses_Status) & 0xFFFF);
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR_P0(uint32_t value,
                                                                            bool throwOnError) {
    applyStatusClear(cache_FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR_P0, value, throwOnError,
                     id_Device1_Process1_Trigger_TriggerCam0_OutputStatistics_ClearPulses_Mode);
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_OUTPUT_EVENT_SELECT_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerOutStatsSources_Gen4, value)) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_TRIGGER_OUTPUT_EVENT_SELECT_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_OutputEvent_Select_Select, value);
    });
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = static_cast<uint32_t>(
        triggerFetch(id_Device1_Process1_Trigger_Monitoring_CheckPeriod_Cam0_Exceeded_Status) & 1);
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR_P0(uint32_t value,
                                                                               bool throwOnError) {
    applyStatusClear(cache_FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR_P0, value, throwOnError,
                     id_Device1_Process1_Trigger_Monitoring_CheckPeriod_Cam0_ResetExceeded_Mode);
}

void FgZeWrapperImpl::get_sdk_param_FG_MISSING_CAMERA_FRAME_RESPONSE_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = static_cast<uint32_t>(
        triggerFetch(id_Device1_Process1_Trigger_Monitoring_CheckForMissingFrame_Cam0_Missing_Status) & 1);
}

void FgZeWrapperImpl::set_sdk_param_FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR_P0(uint32_t value,
                                                                              bool throwOnError) {
    applyStatusClear(cache_FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR_P0, value, throwOnError,
                     id_Device1_Process1_Trigger_Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode);
}
