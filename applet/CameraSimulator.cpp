// The camera simulator: raw registers, each mirrored in its hap cache once written. Widths are
// counted in clocks of the enabled taps; the pixel clock is a pattern of `accuracy` design clocks
// of which `active` carry a pixel.
#include <algorithm>
#include <cmath>

#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

constexpr double kDesignClockMHz = 62.5;

uint32_t clocksFor(uint32_t pixels, uint32_t taps) {
    return (pixels + taps - 1) / taps;
}

}  // namespace

void FgZeWrapperImpl::writeGenRegister_P0(int reg, uint64_t value, uint64_t& hapCache) {
    check(writeRegister(reg, value));
    hapCache = value;
}

uint32_t FgZeWrapperImpl::enabledTaps_P0() const {
    return cache_FG_GEN_TAP1_P0 + cache_FG_GEN_TAP2_P0 + cache_FG_GEN_TAP3_P0 + cache_FG_GEN_TAP4_P0;
}

// Before the first tap is switched on at start the widths are counted as one tap.
void FgZeWrapperImpl::writeGenLine_P0(bool width) {
    const uint32_t taps = std::max(enabledTaps_P0(), 1u);
    if (width)
        writeGenRegister_P0(reg_AAGenWidth, clocksFor(cache_FG_GEN_WIDTH_P0, taps), hap_cache_AAGenWidth);
    writeGenRegister_P0(reg_AAGenLineWidth, clocksFor(cache_FG_GEN_WIDTH_P0 + cache_FG_GEN_LINE_GAP_P0, taps),
                        hap_cache_AAGenLineWidth);
}

void FgZeWrapperImpl::writeGenClock_P0() {
    const auto active =
        static_cast<uint32_t>(std::lround(cache_FG_GEN_FREQ_P0 / kDesignClockMHz * cache_FG_GEN_ACCURACY_P0));
    writeGenRegister_P0(reg_AAGenActive, active, hap_cache_AAGenActive);
    writeGenRegister_P0(reg_AAGenPassive, cache_FG_GEN_ACCURACY_P0 - active, hap_cache_AAGenPassive);
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_ENABLE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::GeneratorSource, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_ENABLE_P0, value, throwOnError,
           [&] { writeGenRegister_P0(reg_AAGenEnable, value, hap_cache_AAGenEnable); });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_START_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::GeneratorStart, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_START_P0, value, throwOnError,
           [&] { writeGenRegister_P0(reg_AAGenStart, value, hap_cache_AAGenStart); });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_WIDTH_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_GEN_WIDTH, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_WIDTH_P0, value, throwOnError, [&] { writeGenLine_P0(true); });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_HEIGHT_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_GEN_HEIGHT, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_HEIGHT_P0, value, throwOnError,
           [&] { writeGenRegister_P0(reg_AAGenHeight, value, hap_cache_AAGenHeight); });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_LINE_GAP_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_GEN_LINE_GAP, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_LINE_GAP_P0, value, throwOnError, [&] { writeGenLine_P0(false); });
}

// A NaN frequency has no clock pattern: refused, unlike the published range's own check.
void FgZeWrapperImpl::set_sdk_param_FG_GEN_FREQ_P0(double value, bool throwOnError) {
    if (std::isnan(value) || !inPublishedRange(FG_GEN_FREQ, value)) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_GEN_FREQ_P0, value, throwOnError, [&] { writeGenClock_P0(); });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_ACCURACY_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_GEN_ACCURACY, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_ACCURACY_P0, value, throwOnError, [&] { writeGenClock_P0(); });
}

// At least one tap stays on: the widths are divided by their number.
void FgZeWrapperImpl::setGenTap_P0(uint32_t& cache, uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    if (enabledTaps_P0() - cache + value == 0) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache, value, throwOnError, [&] {
        const uint32_t mask = cache_FG_GEN_TAP1_P0 | cache_FG_GEN_TAP2_P0 << 1 | cache_FG_GEN_TAP3_P0 << 2 |
                              cache_FG_GEN_TAP4_P0 << 3;
        writeGenRegister_P0(reg_AAGenMask, mask, hap_cache_AAGenMask);
        writeGenLine_P0(true);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_TAP1_P0(uint32_t value, bool throwOnError) {
    setGenTap_P0(cache_FG_GEN_TAP1_P0, value, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_GEN_TAP2_P0(uint32_t value, bool throwOnError) {
    setGenTap_P0(cache_FG_GEN_TAP2_P0, value, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_GEN_TAP3_P0(uint32_t value, bool throwOnError) {
    setGenTap_P0(cache_FG_GEN_TAP3_P0, value, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_GEN_TAP4_P0(uint32_t value, bool throwOnError) {
    setGenTap_P0(cache_FG_GEN_TAP4_P0, value, throwOnError);
}

void FgZeWrapperImpl::set_sdk_param_FG_GEN_ROLL_P0(uint32_t value, bool throwOnError) {
    if (!inPublishedRange(FG_GEN_ROLL, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_GEN_ROLL_P0, value, throwOnError,
           [&] { writeGenRegister_P0(reg_AAGenRoll, value, hap_cache_AAGenRoll); });
}

void FgZeWrapperImpl::get_sdk_param_FG_GEN_ACTIVE_P0(uint32_t* out) {
    copyOut(static_cast<uint32_t>(hap_cache_AAGenActive), out);
}
void FgZeWrapperImpl::get_sdk_param_FG_GEN_PASSIVE_P0(uint32_t* out) {
    copyOut(static_cast<uint32_t>(hap_cache_AAGenPassive), out);
}
void FgZeWrapperImpl::get_sdk_param_FG_GEN_LINE_WIDTH_P0(uint32_t* out) {
    copyOut(cache_FG_GEN_WIDTH_P0 + cache_FG_GEN_LINE_GAP_P0, out);
}
