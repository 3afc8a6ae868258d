// Trigger frequency, pulses per event, the trigger queue and the software trigger.
#include <time.h>

#include <cmath>

#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

constexpr uint32_t kGenerator = 1;
constexpr uint32_t kSoftware = 4;
constexpr uint32_t kActive = 0;
constexpr uint32_t kAsyncStop = 1;

constexpr double kMinFrequency = 0.01455191522836685;  // a period of 2^32 ticks
constexpr double kMaxFrequency = 6.25e6;               // a period of 10 ticks
constexpr uint32_t kFastestPeriod = 10;                // register value: the generator only limits
constexpr uint32_t kQueueCapacity = 2040;
constexpr int64_t kSoftwarePulseSpacingNs = 160;

int64_t monotonicNs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

}  // namespace

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_FRAMESPERSECOND_P0(double value, bool throwOnError) {
    if (!(value >= kMinFrequency && value <= kMaxFrequency))
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGER_FRAMESPERSECOND_P0, value, throwOnError, [&] {
        guardLegacy();
        // The shortest period the pulse form generators can follow; delay and width each on
        // their own, never summed.
        double minimumUs = 0.0;
        for (int g = 0; g < 4; ++g) {
            const PulseForm p = pulseForm(g);
            // A downscale not set yet (0 before the defaults) counts as 1.
            const double downscale = p.downscale == 0 ? 1.0 : p.downscale;
            const double delay = designTimeUs(p.designDelay) / downscale;
            const double width = designTimeUs(p.designWidth) / downscale;
            if (delay > minimumUs) minimumUs = delay;
            if (width > minimumUs) minimumUs = width;
        }
        if (!(1e6 / value > minimumUs)) throw FG_TRIGGER_PERIOD_CONFLICT;

        uint32_t period = kFastestPeriod;
        if (!legacyModeOn() || cache_FG_TRIGGERMODE_P0 == 1) {
            // This operation order loses a tick at 1 Hz (62499990, not 62499991); the register
            // values the applet has always written depend on it, so keep it.
            const double ticks = 1.0 / (16.0 * value * 1e-9);
            period = static_cast<uint32_t>(static_cast<uint64_t>(ticks) - 9);
        }
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MinimumPeriod_Number, period);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_MULTIPLY_PULSES_P0(uint32_t value, bool throwOnError) {
    if (value < 1 || value > 65535) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    const uint32_t old = cache_FG_TRIGGER_MULTIPLY_PULSES_P0;
    update(cache_FG_TRIGGER_MULTIPLY_PULSES_P0, value, throwOnError, [&] {
        guardLegacy();
        // The design must never hold a selected pulse above the downscale.
        const int downscale = id_Device1_Process1_Trigger_TriggerCam0_Generators_Sequence_Downscale;
        const int selected = id_Device1_Process1_Trigger_TriggerCam0_Generators_Sequence_SelectedPulse;
        if (value > old) {
            triggerPut(downscale, value);
            triggerPut(selected, value);
        } else {
            triggerPut(selected, value);
            triggerPut(downscale, value);
        }
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearDownscale_Mode, 2);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERQUEUE_MODE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERQUEUE_MODE_P0, value, throwOnError, [&] {
        guardLegacy();
        // In Generator mode the queue is not in the path; the routing follows with the next mode.
        if (cache_FG_AREATRIGGERMODE_P0 != kGenerator) {
            if (value == 0) {
                triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MinimumPeriod_Number,
                           kFastestPeriod);
                triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Queue_QueueFullValue_Number, 1);
                triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Queue_QueueEnabled_Select, 0);
            } else {
                reapplyTriggerFrequency_P0();
                triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Queue_QueueFullValue_Number,
                           kQueueCapacity);
                triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_Queue_QueueEnabled_Select, 1);
            }
        }
        if (RegisterInfo* r = descriptionOf(FG_SENDSOFTWARETRIGGER))
            r->u.uiReg.to = value == 1 ? kQueueCapacity : 1;
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD_P0(uint32_t value,
                                                                                     bool throwOnError) {
    if (value < 2 || value > 2047) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Hysteresis_OnLevel_Number, value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD_P0(uint32_t value,
                                                                                      bool throwOnError) {
    if (value < 2 || value > 2047) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD_P0, value, throwOnError, [&] {
        guardLegacy();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Hysteresis_OffLevel_Number, value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_SENDSOFTWARETRIGGER_P0(uint32_t count, bool throwOnError) {
    const uint32_t limit = cache_FG_TRIGGERQUEUE_MODE_P0 == 1 ? kQueueCapacity : 1;
    if (count == 0 || count > limit) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_SENDSOFTWARETRIGGER_P0, count, throwOnError, [&] {
        if (cache_FG_AREATRIGGERMODE_P0 != kSoftware) throw FG_SOFTWARE_TRIGGER_WRONG_MODE;
        if (cache_FG_TRIGGERSTATE_P0 != kActive) throw FG_SOFTWARE_TRIGGER_NOT_ACTIVE;
        if (cache_FG_TRIGGERQUEUE_MODE_P0 == 0) {
            const uint64_t ready = triggerFetch(
                id_Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MaximumReached_Status);
            const uint64_t queued =
                triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_Generators_QueueValue_Status);
            if (ready == 0 || queued != 0) throw FG_SOFTWARE_TRIGGER_PENDING;
        }
        // The design needs 160 ns between two pulses. A sleep that short overshoots by a timer
        // slack of 100 us or more while holding the parameter lock, so the wait spins instead; it
        // runs from the end of one write to the start of the next, also across calls.
        const int pulse = id_Device1_Process1_Trigger_TriggerCam0_TriggerMode_SoftwareTrigger_Mode;
        for (uint32_t i = 0; i < count; ++i) {
            const int64_t earliest = lastSoftwarePulseNs + kSoftwarePulseSpacingNs;
            while (monotonicNs() < earliest) {
            }
            triggerPut(pulse, 2);
            lastSoftwarePulseNs = monotonicNs();
        }
    });
}

void FgZeWrapperImpl::get_sdk_param_FG_SOFTWARETRIGGER_IS_BUSY_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    uint32_t busy = 0;
    if (cache_FG_AREATRIGGERMODE_P0 == kSoftware) {
        const uint64_t ready =
            triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MaximumReached_Status);
        const uint64_t queued =
            triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_Generators_QueueValue_Status);
        busy = ready == 0 || queued != 0 ? 1 : 0;
    }
    *out = busy;
}

uint32_t FgZeWrapperImpl::triggerQueueFillLevel_P0() {
    const uint32_t mode = cache_FG_AREATRIGGERMODE_P0;
    if (mode == kGenerator || mode == 3 || cache_FG_TRIGGERSTATE_P0 == kAsyncStop) return 0;
    if (triggerFetch(id_Device1_Process1_Trigger_Monitoring_ReadQueueStatus_Status) & 2)
        return kQueueCapacity;
    const uint64_t queued =
        triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_Generators_QueueValue_Status);
    if (queued != 0) return static_cast<uint32_t>(queued);
    // An empty queue may still leave one event in the generator.
    return triggerFetch(id_Device1_Process1_Trigger_TriggerCam0_Generators_Generator_MaximumReached_Status) !=
                   0
               ? 0
               : 1;
}

void FgZeWrapperImpl::get_sdk_param_FG_TRIGGERQUEUE_FILLLEVEL_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = triggerQueueFillLevel_P0();
}

void FgZeWrapperImpl::get_sdk_param_FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = cache_FG_AREATRIGGERMODE_P0 == kSoftware ? triggerQueueFillLevel_P0() : 0;
}
