// The legacy trigger interface. While legacy mode is off its parameters are only remembered; while
// it is on they drive the trigger parameters through their own setters.
#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

// Legacy line signals; the values are those of the camera-control choices they become.
constexpr uint32_t kExsync = 0;  // pulse form generator 0
constexpr uint32_t kNotExsync = 6;
constexpr uint32_t kFlash = 2;  // pulse form generator 2
constexpr uint32_t kNotFlash = 8;
constexpr uint32_t kGnd = 4;
constexpr uint32_t kVcc = 5;

uint32_t swapped(uint32_t v, uint32_t a, uint32_t b) {
    return v == a ? b : v == b ? a : v;
}

}  // namespace

void FgZeWrapperImpl::applyLegacyCcLine_P0(int k) {
    const uint32_t* selections[] = {&cache_FG_CCSEL0_P0, &cache_FG_CCSEL1_P0, &cache_FG_CCSEL2_P0,
                                    &cache_FG_CCSEL3_P0};
    uint32_t v = *selections[k];
    if (cache_FG_EXSYNCPOLARITY_P0 == 1) v = swapped(v, kExsync, kNotExsync);
    if (cache_FG_FLASH_POLARITY_P0 == 1) v = swapped(v, kFlash, kNotFlash);
    // A disabled signal holds its idle level: low for a high-active, high for a low-active one.
    if (cache_FG_EXSYNCON_P0 == 0 && (v == kExsync || v == kNotExsync)) v = v == kExsync ? kGnd : kVcc;
    if (cache_FG_FLASHON_P0 == 0 && (v == kFlash || v == kNotFlash)) v = v == kFlash ? kGnd : kVcc;
    LegacyUpdateScope scope(legacyUpdateActive);
    switch (k) {
        case 0:
            return set_sdk_param_FG_TRIGGERCC_SELECT0_P0(v, true);
        case 1:
            return set_sdk_param_FG_TRIGGERCC_SELECT1_P0(v, true);
        case 2:
            return set_sdk_param_FG_TRIGGERCC_SELECT2_P0(v, true);
        default:
            return set_sdk_param_FG_TRIGGERCC_SELECT3_P0(v, true);
    }
}

void FgZeWrapperImpl::applyLegacyCcLines_P0() {
    for (int k = 0; k < 4; ++k) applyLegacyCcLine_P0(k);
}

void FgZeWrapperImpl::applyCachedLegacyParameters_P0() {
    LegacyUpdateScope scope(legacyUpdateActive);
    set_sdk_param_FG_PRESCALER_P0(cache_FG_PRESCALER_P0, true);
    set_sdk_param_FG_EXPOSURE_P0(cache_FG_EXPOSURE_P0, true);
    set_sdk_param_FG_EXSYNCDELAY_P0(cache_FG_EXSYNCDELAY_P0, true);
    set_sdk_param_FG_STROBEPULSEDELAY_P0(cache_FG_STROBEPULSEDELAY_P0, true);
    set_sdk_param_FG_EXSYNCPOLARITY_P0(cache_FG_EXSYNCPOLARITY_P0, true);
    set_sdk_param_FG_FLASH_POLARITY_P0(cache_FG_FLASH_POLARITY_P0, true);
    set_sdk_param_FG_EXSYNCON_P0(cache_FG_EXSYNCON_P0, true);
    set_sdk_param_FG_FLASHON_P0(cache_FG_FLASHON_P0, true);
    set_sdk_param_FG_CCSEL0_P0(cache_FG_CCSEL0_P0, true);
    set_sdk_param_FG_CCSEL1_P0(cache_FG_CCSEL1_P0, true);
    set_sdk_param_FG_CCSEL2_P0(cache_FG_CCSEL2_P0, true);
    set_sdk_param_FG_CCSEL3_P0(cache_FG_CCSEL3_P0, true);
    set_sdk_param_FG_DIGIO_OUTPUT_P0(cache_FG_DIGIO_OUTPUT_P0, true);
    set_sdk_param_FG_TRIGGERMODE_P0(cache_FG_TRIGGERMODE_P0, true);
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_LEGACY_MODE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    const uint32_t old = cache_FG_TRIGGER_LEGACY_MODE_P0;
    update(cache_FG_TRIGGER_LEGACY_MODE_P0, value, throwOnError, [&] {
        try {
            applyLegacyAccessModes_P0();
            // Switching off leaves the trigger system as the legacy parameters set it; the trigger
            // parameters' caches already tell that state.
            if (value == 1) applyCachedLegacyParameters_P0();
        } catch (int) {
            cache_FG_TRIGGER_LEGACY_MODE_P0 = old;
            applyLegacyAccessModes_P0();
            throw;
        }
    });
}

// ---- the legacy parameters: stored while legacy mode is off, applied while it is on ----

void FgZeWrapperImpl::set_sdk_param_FG_EXSYNCON_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_EXSYNCON_P0, value, throwOnError, [&] {
        if (legacyModeOn()) applyLegacyCcLines_P0();
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_FLASHON_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_FLASHON_P0, value, throwOnError, [&] {
        if (legacyModeOn()) applyLegacyCcLines_P0();
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_EXSYNCPOLARITY_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::LowOnZero, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_EXSYNCPOLARITY_P0, value, throwOnError, [&] {
        if (legacyModeOn()) applyLegacyCcLines_P0();
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_FLASH_POLARITY_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::LowOnZero, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_FLASH_POLARITY_P0, value, throwOnError, [&] {
        if (legacyModeOn()) applyLegacyCcLines_P0();
    });
}

// The exposure is the width of the exsync pulse, formed by pulse form generator 0.
void FgZeWrapperImpl::set_sdk_param_FG_EXPOSURE_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_EXPOSURE, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_EXPOSURE_P0, value, throwOnError, [&] {
        if (!legacyModeOn()) return;
        LegacyUpdateScope scope(legacyUpdateActive);
        set_sdk_param_FG_TRIGGER_PULSEFORMGEN0_WIDTH_P0(static_cast<double>(value), true);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_EXSYNCDELAY_P0(double value, bool throwOnError) {
    if (!(value >= 0.0 && inPublishedRange(FG_EXSYNCDELAY, value)))
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_EXSYNCDELAY_P0, value, throwOnError, [&] {
        if (!legacyModeOn()) return;
        LegacyUpdateScope scope(legacyUpdateActive);
        set_sdk_param_FG_TRIGGER_PULSEFORMGEN0_DELAY_P0(value, true);
    });
}

// The flash (strobe) pulse is formed by pulse form generator 2.
void FgZeWrapperImpl::set_sdk_param_FG_STROBEPULSEDELAY_P0(double value, bool throwOnError) {
    if (!(value >= 0.0 && inPublishedRange(FG_STROBEPULSEDELAY, value))) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_STROBEPULSEDELAY_P0, value, throwOnError, [&] {
        if (!legacyModeOn()) return;
        LegacyUpdateScope scope(legacyUpdateActive);
        set_sdk_param_FG_TRIGGER_PULSEFORMGEN2_DELAY_P0(value, true);
    });
}

// This design's time base is fixed at 16 ns: the prescaler is remembered and saved, nothing more.
void FgZeWrapperImpl::set_sdk_param_FG_PRESCALER_P0(double value, bool throwOnError) {
    if (!(value >= 0.0 && inPublishedRange(FG_PRESCALER, value)))
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    cache_FG_PRESCALER_P0 = value;
}

#define LEGACY_CC_LINE(k)                                                                     \
    void FgZeWrapperImpl::set_sdk_param_FG_CCSEL##k##_P0(uint32_t value, bool throwOnError) { \
        if (!enums::contains(enums::CcSignalMappingLegacy, value)) {                          \
            return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);                               \
        }                                                                                     \
        update(cache_FG_CCSEL##k##_P0, value, throwOnError, [&] {                             \
            if (legacyModeOn()) applyLegacyCcLine_P0(k);                                      \
        });                                                                                   \
    }
LEGACY_CC_LINE(0)
LEGACY_CC_LINE(1)
LEGACY_CC_LINE(2)
LEGACY_CC_LINE(3)
#undef LEGACY_CC_LINE

// One bit per trigger output 0 and 1: a set bit drives the output high, a clear one low.
void FgZeWrapperImpl::set_sdk_param_FG_DIGIO_OUTPUT_P0(uint32_t value, bool throwOnError) {
    if (value > 3) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_DIGIO_OUTPUT_P0, value, throwOnError, [&] {
        if (!legacyModeOn()) return;
        LegacyUpdateScope scope(legacyUpdateActive);
        set_sdk_param_FG_TRIGGEROUT_SELECT0_P0((value & 1) != 0 ? kVcc : kGnd, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT1_P0((value & 2) != 0 ? kVcc : kGnd, true);
    });
}
