// The external trigger input: line, polarity, debounce, downscaler, bypass and its statistics.
#include <cmath>

#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

constexpr double kTickSeconds = 16e-9;

// A period in design ticks as a frequency; no period seen yet reads as 0 Hz.
double frequencyOfPeriod(uint64_t ticks) {
    return ticks == 0 ? 0.0 : 1.0 / (static_cast<double>(ticks) * kTickSeconds);
}

}  // namespace

// Source and polarity stay settable in legacy mode: the legacy interface has no input choice.
void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_SRC_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerInSource, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_SRC_P0, value, throwOnError,
           [&] { triggerPut(id_Device1_Process1_Trigger_TriggerCam0_InputSelect_Select_Select, value); });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_POLARITY_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerPolarity, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_POLARITY_P0, value, throwOnError,
           [&] { triggerPut(id_Device1_Process1_Trigger_TriggerCam0_InputSelect_Polarity_Invert, value); });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_BYPASS_SRC_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerInSource, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_BYPASS_SRC_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_InputSelect_BypassSelect_Select, value);
    });
}

// Microseconds in units of 48 ns. A NaN passes the range check and reaches the design as 0.
void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_DEBOUNCE_P0(double value, bool throwOnError) {
    if (value < 0.096 || value > 3.024) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_DEBOUNCE_P0, value, throwOnError, [&] {
        guardLegacy();
        const uint32_t units = std::isnan(value) ? 0 : static_cast<uint32_t>(value * 1000 / 48 + 0.5);
        triggerPut(id_Device1_Process1_Trigger_TriggerInput_Debounce8_Prescale_Period, units);
    });
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERIN_DEBOUNCE_P0(double* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    const uint64_t units = triggerFetch(id_Device1_Process1_Trigger_TriggerInput_Debounce8_Prescale_Period);
    *out = static_cast<double>(units) * 16 * 3 / 1000;
}

// Downscale and phase publish each other's limits: phase <= downscale - 1.
void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_DOWNSCALE_P0(uint32_t value, bool throwOnError) {
    if (uint64_t{value} < uint64_t{cache_FG_TRIGGERIN_DOWNSCALE_PHASE_P0} + 1) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_TRIGGERIN_DOWNSCALE_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Downscale_Downscale_Downscale, value);
        if (RegisterInfo* r = descriptionOf(FG_TRIGGERIN_DOWNSCALE_PHASE)) r->u.uiReg.to = value - 1;
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_DOWNSCALE_PHASE_P0(uint32_t value, bool throwOnError) {
    if (value > cache_FG_TRIGGERIN_DOWNSCALE_P0 - 1) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_DOWNSCALE_PHASE_P0, value, throwOnError, [&] {
        guardLegacy();
        // The design counts pulses from 1.
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Downscale_Downscale_SelectedPulse, value + 1);
        if (RegisterInfo* r = descriptionOf(FG_TRIGGERIN_DOWNSCALE)) r->u.uiReg.from = value + 1;
    });
}

void FgZeWrapperImpl::applyStatusClear(uint32_t& cache, uint32_t value, bool throwOnError, int designId) {
    if (!enums::contains(enums::Apply, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(designId, 2);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR_P0(uint32_t value,
                                                                           bool throwOnError) {
    applyStatusClear(cache_FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR_P0, value, throwOnError,
                     id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ClearPulses_Mode);
}

// The design clears its minimum and maximum on every change of this bit, so the clear toggles it.
void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR_P0(uint32_t value,
                                                                                bool throwOnError) {
    if (!enums::contains(enums::Apply, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR_P0, value, throwOnError, [&] {
        guardLegacy();
        const int toggle = id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ClearMinMax_Value;
        triggerPut(toggle, triggerFetch(toggle) == 0 ? 1 : 0);
    });
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERIN_STATS_PULSECOUNT_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    // The counter is 16 bits wide.
    *out = static_cast<uint32_t>(
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ReadPulses_Status) & 0xFFFF);
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERIN_STATS_FREQUENCY_P0(double* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = frequencyOfPeriod(
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ReadPeriod_Status));
}

// The lowest frequency is the longest period, and the other way round.
void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERIN_STATS_MINFREQUENCY_P0(double* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = frequencyOfPeriod(
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ReadMax_Status));
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERIN_STATS_MAXFREQUENCY_P0(double* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = frequencyOfPeriod(
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_InputStatistics_ReadMin_Status));
}
