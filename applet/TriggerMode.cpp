// Trigger mode and state: the transitions between (area trigger mode, trigger state) pairs, the
// routines they are built from, and the access modes of the trigger parameters.
#include "AppletWrapper.h"
#include "EnumTables.h"
#include "LegacyTriggerParameters.h"

namespace enums = pellucid::enums;

namespace {

constexpr uint32_t kGenerator = 1;
constexpr uint32_t kExternal = 2;
constexpr uint32_t kSoftware = 4;
constexpr uint32_t kActive = 0;
constexpr uint32_t kAsyncStop = 1;
constexpr uint32_t kSyncStop = 2;

constexpr uint32_t kClear = 2;     // the design's clear command
constexpr uint32_t kConstant = 5;  // output multiplexer: the constant source

// Opened together whenever the new trigger interface is usable, closed while legacy mode owns it.
constexpr int kTriggerParameters[] = {
    FG_AREATRIGGERMODE,
    FG_TRIGGERSTATE,
    FG_TRIGGER_FRAMESPERSECOND,
    FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR,
    FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD,
    FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD,
    FG_TRIGGER_OUTPUT_EVENT_SELECT,
    FG_TRIGGERIN_DEBOUNCE,
    FG_TRIGGERIN_SRC,
    FG_TRIGGERIN_POLARITY,
    FG_SENDSOFTWARETRIGGER,
    FG_TRIGGERIN_DOWNSCALE,
    FG_TRIGGERIN_DOWNSCALE_PHASE,
    FG_TRIGGER_MULTIPLY_PULSES,
    FG_TRIGGERQUEUE_MODE,
    FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN0_DELAY,
    FG_TRIGGER_PULSEFORMGEN0_WIDTH,
    FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN1_DELAY,
    FG_TRIGGER_PULSEFORMGEN1_WIDTH,
    FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN2_DELAY,
    FG_TRIGGER_PULSEFORMGEN2_WIDTH,
    FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN3_DELAY,
    FG_TRIGGER_PULSEFORMGEN3_WIDTH,
    FG_TRIGGERCC_SELECT0,
    FG_TRIGGERCC_SELECT1,
    FG_TRIGGERCC_SELECT2,
    FG_TRIGGERCC_SELECT3,
    FG_TRIGGEROUT_SELECT0,
    FG_TRIGGEROUT_SELECT1,
    FG_TRIGGEROUT_SELECT2,
    FG_TRIGGEROUT_SELECT3,
    FG_TRIGGEROUT_SELECT4,
    FG_TRIGGEROUT_SELECT5,
    FG_TRIGGEROUT_SELECT6,
    FG_TRIGGEROUT_SELECT7,
    FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR,
};
static_assert(std::size(kTriggerParameters) == 44);

}  // namespace

// ---- design access and guards ----

void FgZeWrapperImpl::triggerPut(int designId, uint32_t value) {
    writeDesign(designId, &value, 0, FG_PARAM_TYPE_UINT32_T, true);
}

uint32_t FgZeWrapperImpl::triggerFetch(int designId) {
    uint32_t value = 0;
    readDesign(designId, &value, 0, FG_PARAM_TYPE_UINT32_T, true);
    return value;
}

void FgZeWrapperImpl::guardLegacy() const {
    if (legacyModeOn() && !legacyUpdateActive) throw FG_INVALID_PARAMETER;
}

void FgZeWrapperImpl::setAccess(int id, int access) {
    if (RegisterInfo* r = descriptionOf(id)) r->accessFlags = access;
}

void FgZeWrapperImpl::setAllTriggerAccessModesToRWC_P0() {
    for (int id : kTriggerParameters) setAccess(id, FG_ACCESS_READ_WRITE_CHANGE);
}

void FgZeWrapperImpl::refreshTriggerAccessModes_P0(uint32_t newMode) {
    if (newMode != kGenerator && newMode != kExternal && newMode != kSoftware) return;
    if (legacyModeOn()) {
        // A transition driven by a legacy setter must not reopen the interface legacy mode owns.
        for (int id : kTriggerParameters) setAccess(id, FG_ACCESS_READ);
        return;
    }
    setAllTriggerAccessModesToRWC_P0();
    // External events only: a software trigger would have nowhere to go.
    if (newMode == kExternal) setAccess(FG_SENDSOFTWARETRIGGER, FG_ACCESS_READ);
}

void FgZeWrapperImpl::applyLegacyAccessModes_P0() {
    if (legacyModeOn()) {
        for (int id : kLegacyTriggerParameters) setAccess(id, FG_ACCESS_READ_WRITE_CHANGE);
        for (int id : kTriggerParameters) setAccess(id, FG_ACCESS_READ);
        return;
    }
    for (int id : kLegacyTriggerParameters) setAccess(id, FG_ACCESS_READ);
    refreshTriggerAccessModes_P0(cache_FG_AREATRIGGERMODE_P0);
}

// ---- the routines the transitions are built from ----

// The cached value itself: sent through ticks and back it drifts by an ulp, and at the lowest
// frequency it would then fall below the published minimum and be refused.
void FgZeWrapperImpl::reapplyTriggerFrequency_P0() {
    set_sdk_param_FG_TRIGGER_FRAMESPERSECOND_P0(cache_FG_TRIGGER_FRAMESPERSECOND_P0, true);
}

void FgZeWrapperImpl::triggerGeneratorEnable_P0(bool enable) {
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearQueuePulse_Mode, 1);
    if (!enable) return;  // the generator and the queue stay held cleared
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_EnableQueue_Select, 0);
    reapplyTriggerFrequency_P0();
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_Enable_Select, 1);
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearQueuePulse_Mode, 0);
}

void FgZeWrapperImpl::triggerResetQueue_P0() {
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearQueuePulse_Mode, 1);
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_EnableQueue_Select, 1);
    reapplyTriggerFrequency_P0();
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_Enable_Select, 1);
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearQueuePulse_Mode, 0);
}

void FgZeWrapperImpl::triggerOutputsEnable_P0(bool enable) {
    if (enable) {
        set_sdk_param_FG_TRIGGERCC_SELECT0_P0(cache_FG_TRIGGERCC_SELECT0_P0, true);
        set_sdk_param_FG_TRIGGERCC_SELECT1_P0(cache_FG_TRIGGERCC_SELECT1_P0, true);
        set_sdk_param_FG_TRIGGERCC_SELECT2_P0(cache_FG_TRIGGERCC_SELECT2_P0, true);
        set_sdk_param_FG_TRIGGERCC_SELECT3_P0(cache_FG_TRIGGERCC_SELECT3_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT0_P0(cache_FG_TRIGGEROUT_SELECT0_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT1_P0(cache_FG_TRIGGEROUT_SELECT1_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT2_P0(cache_FG_TRIGGEROUT_SELECT2_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT3_P0(cache_FG_TRIGGEROUT_SELECT3_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT4_P0(cache_FG_TRIGGEROUT_SELECT4_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT5_P0(cache_FG_TRIGGEROUT_SELECT5_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT6_P0(cache_FG_TRIGGEROUT_SELECT6_P0, true);
        set_sdk_param_FG_TRIGGEROUT_SELECT7_P0(cache_FG_TRIGGEROUT_SELECT7_P0, true);
        return;
    }
    // Only the selects: a line whose invert bit is set idles high while the outputs are off.
    for (int id : {id_Device1_Process1_Trigger_TriggerCam0_CameraControl_Select0_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_CameraControl_Select1_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_CameraControl_Select2_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_CameraControl_Select3_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select0_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select1_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select2_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select3_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select4_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select5_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select6_Select_Select,
                   id_Device1_Process1_Trigger_TriggerCam0_TriggerOutput_Select7_Select_Select}) {
        triggerPut(id, kConstant);
    }
}

void FgZeWrapperImpl::triggerClearDownscale_P0() {
    triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Downscale_Clear_Mode, kClear);
}

void FgZeWrapperImpl::triggerClearPulseFormDownscales_P0() {
    triggerPut(id_Device1_Process1_Trigger_Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode, kClear);
    triggerPut(
        id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator0_ClearDownscale_Mode,
        kClear);
    triggerPut(
        id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator1_ClearDownscale_Mode,
        kClear);
    triggerPut(
        id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator2_ClearDownscale_Mode,
        kClear);
    triggerPut(
        id_Device1_Process1_Trigger_TriggerCam0_PulseFormGenerators_PulseFormGenerator3_ClearDownscale_Mode,
        kClear);
}

// ---- the transition ----

void FgZeWrapperImpl::switchTriggerModeAndState_P0(uint32_t oldMode, uint32_t oldState, uint32_t newMode,
                                                   uint32_t newState) {
    auto selectExternal = [this](uint32_t on) {
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_TriggerMode_SelectExternal_Select, on);
    };
    auto restartFromAsyncStop = [this] {
        triggerClearDownscale_P0();
        triggerResetQueue_P0();
        triggerPut(id_Device1_Process1_Trigger_TriggerCam0_Generators_ClearDownscale_Mode, kClear);
        triggerClearPulseFormDownscales_P0();
        triggerOutputsEnable_P0(true);
    };
    auto fullRestart = [&] {
        triggerOutputsEnable_P0(false);
        restartFromAsyncStop();
    };
    auto generatorResume = [this] {
        triggerOutputsEnable_P0(false);
        triggerClearPulseFormDownscales_P0();
        triggerOutputsEnable_P0(true);
        triggerGeneratorEnable_P0(true);
    };

    // The old pair picks the row; the mode part runs before the state part.
    if (oldMode == kGenerator && oldState == kSyncStop) {
        if (newState == kActive) {
            triggerClearPulseFormDownscales_P0();
            triggerGeneratorEnable_P0(true);
        } else if (newState == kAsyncStop) {
            triggerOutputsEnable_P0(false);
        }
    } else if (oldMode == kGenerator && oldState == kAsyncStop) {
        if (newState == kActive) {
            triggerClearPulseFormDownscales_P0();
            triggerOutputsEnable_P0(true);
            triggerGeneratorEnable_P0(true);
        }
    } else if (oldMode == kGenerator && oldState == kActive) {
        if (newMode == kExternal) {
            fullRestart();
            selectExternal(1);
        } else if (newMode == kSoftware) {
            fullRestart();
        }
        if (newState == kAsyncStop) {
            triggerOutputsEnable_P0(false);
            triggerGeneratorEnable_P0(false);
        } else if (newState == kSyncStop) {
            triggerGeneratorEnable_P0(false);
        }
    } else if (oldMode == kExternal && oldState == kSyncStop) {
        if (newMode == kGenerator) triggerGeneratorEnable_P0(false);
        if (newState == kActive) {
            fullRestart();
            selectExternal(1);
        } else if (newState == kAsyncStop) {
            triggerOutputsEnable_P0(false);
        }
    } else if (oldMode == kExternal && oldState == kAsyncStop) {
        if (newMode == kGenerator) triggerGeneratorEnable_P0(false);
        if (newState == kActive) {
            restartFromAsyncStop();
            selectExternal(1);
        }
    } else if (oldMode == kExternal && oldState == kActive) {
        if (newMode == kGenerator) {
            selectExternal(0);
            generatorResume();
        } else if (newMode == kSoftware) {
            selectExternal(0);
            fullRestart();
        }
        if (newState == kAsyncStop) {
            triggerOutputsEnable_P0(false);
            selectExternal(0);
        } else if (newState == kSyncStop) {
            selectExternal(0);
        }
    } else if (oldMode == kSoftware && oldState == kSyncStop) {
        if (newMode == kGenerator) triggerGeneratorEnable_P0(false);
        if (newState == kActive) {
            fullRestart();
        } else if (newState == kAsyncStop) {
            triggerOutputsEnable_P0(false);
        }
    } else if (oldMode == kSoftware && oldState == kAsyncStop) {
        if (newMode == kGenerator) triggerGeneratorEnable_P0(false);
        if (newState == kActive) restartFromAsyncStop();
    } else if (oldMode == kSoftware && oldState == kActive) {
        if (newMode == kGenerator) {
            generatorResume();
        } else if (newMode == kExternal) {
            fullRestart();
            selectExternal(1);
        }
        if (newState == kAsyncStop) triggerOutputsEnable_P0(false);
    }

    refreshTriggerAccessModes_P0(newMode);
}

// ---- the setters ----

void FgZeWrapperImpl::set_sdk_param_FG_AREATRIGGERMODE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::AreaTriggerModes, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    const uint32_t oldMode = cache_FG_AREATRIGGERMODE_P0;
    // Always runs the transition, also for the mode already set.
    update(cache_FG_AREATRIGGERMODE_P0, value, throwOnError, [&] {
        guardLegacy();
        switchTriggerModeAndState_P0(oldMode, cache_FG_TRIGGERSTATE_P0, value, cache_FG_TRIGGERSTATE_P0);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERSTATE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerStates, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    const uint32_t oldState = cache_FG_TRIGGERSTATE_P0;
    update(cache_FG_TRIGGERSTATE_P0, value, throwOnError, [&] {
        guardLegacy();
        switchTriggerModeAndState_P0(cache_FG_AREATRIGGERMODE_P0, oldState, cache_FG_AREATRIGGERMODE_P0,
                                     value);
    });
}

// The single-parameter interface of the legacy trigger: one value sets mode, queue and state.
void FgZeWrapperImpl::set_sdk_param_FG_TRIGGERMODE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::TriggerModes, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_TRIGGERMODE_P0, value, throwOnError, [&] {
        if (!legacyModeOn()) throw FG_INVALID_PARAMETER;
        LegacyUpdateScope scope(legacyUpdateActive);
        if (value == 0) {
            set_sdk_param_FG_TRIGGERSTATE_P0(kAsyncStop, true);
        } else {
            // 1 Grabber controlled, 2 Async External Trigger and 4 Async Software Trigger are the
            // area trigger modes of the same numbers.
            set_sdk_param_FG_AREATRIGGERMODE_P0(value, true);
            set_sdk_param_FG_TRIGGERQUEUE_MODE_P0(0, true);
            set_sdk_param_FG_TRIGGERSTATE_P0(kActive, true);
        }
        set_sdk_param_FG_EXSYNCON_P0(cache_FG_EXSYNCON_P0, true);
        set_sdk_param_FG_FLASHON_P0(cache_FG_FLASHON_P0, true);
    });
}
