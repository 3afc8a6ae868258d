// The four pulse form generators: downscale, phase, delay and width of each, kept within the
// trigger period.
#include <algorithm>
#include <cmath>

#include "AppletWrapper.h"

namespace {

constexpr uint32_t kMaxDownscale = 7;
constexpr double kMaxDelayUs = 3.4e7;
constexpr double kMinWidthUs = 1.0;
constexpr double kMaxWidthUs = 6.8e7;

// One tick of the design clock is 16 ns.
uint32_t ticksOfUs(double us) {
    return static_cast<uint32_t>(us * 1000 * 0.0625 + 0.5);
}

}  // namespace

#define PULSE_FORM(g)                                                                                                    \
    PulseForm {                                                                                                          \
        cache_FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_P0,                                                                 \
            cache_FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_PHASE_P0,                                                       \
            cache_FG_TRIGGER_PULSEFORMGEN##g##_DELAY_P0, cache_FG_TRIGGER_PULSEFORMGEN##g##_WIDTH_P0,                    \
            id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator##g##_Downscale_Downscale,     \
            id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator##g##_Downscale_SelectedPulse, \
            id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator##g##_Delay_Delay,             \
            id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator##g##_Width_Width,             \
            FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE, FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_PHASE                         \
    }

FgZeWrapperImpl::PulseForm FgZeWrapperImpl::pulseForm(int g) {
    switch (g) {
        case 0:
            return PULSE_FORM(0);
        case 1:
            return PULSE_FORM(1);
        case 2:
            return PULSE_FORM(2);
        default:
            return PULSE_FORM(3);
    }
}
#undef PULSE_FORM

double FgZeWrapperImpl::designTimeUs(int designId) {
    return static_cast<double>(triggerFetch(designId)) * 16 / 1000;
}

// The period goes to ticks and back on purpose: the limit is the period the generator really has.
bool FgZeWrapperImpl::fitsTriggerPeriod(double delayUs, double widthUs, uint32_t downscale) const {
    const double f = cache_FG_TRIGGER_FRAMESPERSECOND_P0;
    const double generated = 1 / ((1 / (f * 16 * 1e-9)) * 16 * 1e-9);
    return 1e6 / generated > std::max(delayUs / downscale, widthUs / downscale);
}

void FgZeWrapperImpl::setPulseFormDownscale(int g, uint32_t value, bool throwOnError) {
    PulseForm p = pulseForm(g);
    if (uint64_t{value} < uint64_t{p.phase} + 1 || value > kMaxDownscale) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(p.downscale, value, throwOnError, [&] {
        guardLegacy();
        const double delay = designTimeUs(p.designDelay);
        const double width = designTimeUs(p.designWidth);
        if (!fitsTriggerPeriod(delay, width, value)) throw FG_PULSEFORM_DOWNSCALE_CONFLICT;
        triggerPut(p.designDownscale, value);
        if (RegisterInfo* r = descriptionOf(p.sdkPhase)) r->u.uiReg.to = value - 1;
    });
}

void FgZeWrapperImpl::setPulseFormPhase(int g, uint32_t value, bool throwOnError) {
    PulseForm p = pulseForm(g);
    if (value > p.downscale - 1) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(p.phase, value, throwOnError, [&] {
        guardLegacy();
        // The design counts pulses from 1.
        triggerPut(p.designSelectedPulse, value + 1);
        if (RegisterInfo* r = descriptionOf(p.sdkDownscale)) r->u.uiReg.from = value + 1;
    });
}

// A NaN passes the range check; the period check then refuses it.
void FgZeWrapperImpl::setPulseFormDelay(int g, double value, bool throwOnError) {
    if (value < 0.0 || value > kMaxDelayUs) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    PulseForm p = pulseForm(g);
    update(p.delay, value, throwOnError, [&] {
        guardLegacy();
        if (!fitsTriggerPeriod(value, designTimeUs(p.designWidth), p.downscale))
            throw FG_TRIGGER_PERIOD_CONFLICT;
        triggerPut(p.designDelay, ticksOfUs(value));
    });
}

void FgZeWrapperImpl::setPulseFormWidth(int g, double value, bool throwOnError) {
    if (!(value >= kMinWidthUs && value <= kMaxWidthUs)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    PulseForm p = pulseForm(g);
    update(p.width, value, throwOnError, [&] {
        guardLegacy();
        if (!fitsTriggerPeriod(designTimeUs(p.designDelay), value, p.downscale))
            throw FG_TRIGGER_PERIOD_CONFLICT;
        triggerPut(p.designWidth, ticksOfUs(value));
    });
}

#define PULSE_FORM_METHODS(g)                                                                                \
    void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_P0(uint32_t value,            \
                                                                                  bool throwOnError) {       \
        setPulseFormDownscale(g, value, throwOnError);                                                       \
    }                                                                                                        \
    void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_PHASE_P0(uint32_t value,      \
                                                                                        bool throwOnError) { \
        setPulseFormPhase(g, value, throwOnError);                                                           \
    }                                                                                                        \
    void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_DELAY_P0(double value,                  \
                                                                              bool throwOnError) {           \
        setPulseFormDelay(g, value, throwOnError);                                                           \
    }                                                                                                        \
    void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_WIDTH_P0(double value,                  \
                                                                              bool throwOnError) {           \
        setPulseFormWidth(g, value, throwOnError);                                                           \
    }                                                                                                        \
    /* Delay and width read back as the design holds them, quantised to 16 ns. */                            \
    void FgZeWrapperImpl::get_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_DELAY_P0(double* out) {                 \
        if (out == nullptr) throw FG_INVALID_PARAMETER;                                                      \
        *out = designTimeUs(pulseForm(g).designDelay);                                                       \
    }                                                                                                        \
    void FgZeWrapperImpl::get_sdk_param_FG_TRIGGER_PULSEFORMGEN##g##_WIDTH_P0(double* out) {                 \
        if (out == nullptr) throw FG_INVALID_PARAMETER;                                                      \
        *out = designTimeUs(pulseForm(g).designWidth);                                                       \
    }

PULSE_FORM_METHODS(0)
PULSE_FORM_METHODS(1)
PULSE_FORM_METHODS(2)
PULSE_FORM_METHODS(3)
#undef PULSE_FORM_METHODS
