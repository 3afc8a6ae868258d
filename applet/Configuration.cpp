// The applet's section of a configuration file: which keys, in which order, and how a load
// applies them through the setters.
#include <algorithm>
#include <iterator>
#include <string>

#include "AppletWrapper.h"
#include "Fg_ConfigFileParser.h"
#include "LegacyTriggerParameters.h"

namespace {

constexpr int kPort = 0;

// Written in this order; a load reads them in the same order.
constexpr int kConfigKeys[] = {
    // camera and geometry
    FG_TIMEOUT, FG_TURBO_DMA_MODE, FG_CAMERA_LINK_CAMTYPE, FG_USEDVAL, FG_WIDTH, FG_HEIGHT, FG_XOFFSET,
    FG_YOFFSET, FG_FORMAT, FG_BITALIGNMENT,
    // camera simulator
    FG_GEN_ENABLE, FG_GEN_START, FG_GEN_WIDTH, FG_GEN_HEIGHT, FG_GEN_LINE_GAP, FG_GEN_FREQ, FG_GEN_ACCURACY,
    FG_GEN_TAP1, FG_GEN_TAP2, FG_GEN_TAP3, FG_GEN_TAP4, FG_GEN_ROLL,
    // image selector
    FG_IMG_SELECT_PERIOD, FG_IMG_SELECT,
    // lookup table
    FG_LUT_TYPE, FG_LUT_CUSTOM_FILE, FG_PROCESSING_OFFSET, FG_PROCESSING_GAIN, FG_PROCESSING_GAMMA,
    FG_PROCESSING_INVERT,
    // Bayer and white balance
    FG_BAYERINIT, FG_SCALINGFACTOR_GREEN, FG_SCALINGFACTOR_RED, FG_SCALINGFACTOR_BLUE,
    // trigger
    FG_AREATRIGGERMODE, FG_TRIGGERSTATE, FG_TRIGGER_FRAMESPERSECOND, FG_TRIGGERIN_DEBOUNCE, FG_TRIGGERIN_SRC,
    FG_TRIGGERIN_POLARITY, FG_TRIGGERIN_DOWNSCALE, FG_TRIGGERIN_DOWNSCALE_PHASE, FG_TRIGGERIN_BYPASS_SRC,
    FG_TRIGGER_MULTIPLY_PULSES, FG_TRIGGERQUEUE_MODE, FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD,
    FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD, FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE_PHASE, FG_TRIGGER_PULSEFORMGEN0_DELAY, FG_TRIGGER_PULSEFORMGEN0_WIDTH,
    FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE, FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN1_DELAY, FG_TRIGGER_PULSEFORMGEN1_WIDTH, FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE,
    FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE, FG_TRIGGER_PULSEFORMGEN2_DELAY, FG_TRIGGER_PULSEFORMGEN2_WIDTH,
    FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE, FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE_PHASE,
    FG_TRIGGER_PULSEFORMGEN3_DELAY, FG_TRIGGER_PULSEFORMGEN3_WIDTH, FG_TRIGGERCC_SELECT0,
    FG_TRIGGERCC_SELECT1, FG_TRIGGERCC_SELECT2, FG_TRIGGERCC_SELECT3, FG_TRIGGEROUT_SELECT0,
    FG_TRIGGEROUT_SELECT1, FG_TRIGGEROUT_SELECT2, FG_TRIGGEROUT_SELECT3, FG_TRIGGEROUT_SELECT4,
    FG_TRIGGEROUT_SELECT5, FG_TRIGGEROUT_SELECT6, FG_TRIGGEROUT_SELECT7, FG_TRIGGEROUT_STATS_SOURCE,
    FG_TRIGGER_OUTPUT_EVENT_SELECT,
    // legacy trigger
    FG_TRIGGER_LEGACY_MODE, FG_TRIGGERMODE, FG_EXSYNCON, FG_FLASHON, FG_EXPOSURE, FG_EXSYNCDELAY,
    FG_EXSYNCPOLARITY, FG_STROBEPULSEDELAY, FG_FLASH_POLARITY, FG_PRESCALER, FG_CCSEL0, FG_CCSEL1, FG_CCSEL2,
    FG_CCSEL3, FG_DIGIO_OUTPUT};

// The trigger keys (from the area trigger mode to the output event select) that the legacy
// mode locks while it drives them: all but the input source and polarity.
bool isGuardedTriggerKey(int id) {
    const int* first = std::find(std::begin(kConfigKeys), std::end(kConfigKeys), FG_AREATRIGGERMODE);
    const int* last = std::find(first, std::end(kConfigKeys), FG_TRIGGER_OUTPUT_EVENT_SELECT) + 1;
    return std::find(first, last, id) != last && id != FG_TRIGGERIN_SRC && id != FG_TRIGGERIN_POLARITY;
}

// Applied through FG_LUT_TYPE, which loads the file or computes the table from their caches.
constexpr int kAppliedByLutType[] = {FG_LUT_CUSTOM_FILE, FG_PROCESSING_OFFSET, FG_PROCESSING_GAIN,
                                     FG_PROCESSING_GAMMA, FG_PROCESSING_INVERT};

template <size_t N>
bool among(const int (&ids)[N], int id) {
    return std::find(std::begin(ids), std::end(ids), id) != std::end(ids);
}

}  // namespace

// ---- the caches, by id, as the parameter list declares them ----

#define CONFIG_CASE_OWN(N, body) \
    case N: {                    \
        body;                    \
        return true;             \
    }
#define CONFIG_CASE_RO(N, body)
#define CONFIG_CASE_NONE(N, body)

FgZeWrapperImpl::ConfigForm FgZeWrapperImpl::configForm(int id) {
    switch (id) {
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    case N:                                                                             \
        return ConfigForm::Double;
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    case N:                                                                      \
        return ConfigForm::String;
#include "ParameterList.h"
        default:
            return ConfigForm::Integer;
    }
}

const char* FgZeWrapperImpl::parameterName(int id) {
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    case N:                                                                           \
        return #N;
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    case N:                                                                             \
        return #N;
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    case N:                                                                  \
        return #N;
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    case N:                                                                      \
        return #N;
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help) \
    case N:                                                                               \
        return #N;
#include "ParameterList.h"
        default:
            return nullptr;
    }
}

bool FgZeWrapperImpl::cachedNumber(int id, double& value) {
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, value = cache_##N##_P0)
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, value = cache_##N##_P0)
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, value = cache_##N##_P0)
#include "ParameterList.h"
        default:
            return false;
    }
}

bool FgZeWrapperImpl::storeCachedNumber(int id, double value) {
    switch (id) {
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, cache_##N##_P0 = static_cast<uint32_t>(value))
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, cache_##N##_P0 = static_cast<uint32_t>(value))
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, cache_##N##_P0 = value)
#include "ParameterList.h"
        default:
            return false;
    }
}

bool FgZeWrapperImpl::cachedText(int id, std::string& text) {
    switch (id) {
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, text = cache_##N##_P0)
#include "ParameterList.h"
        default:
            return false;
    }
}

bool FgZeWrapperImpl::storeCachedText(int id, const std::string& text) {
    switch (id) {
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help) \
    CONFIG_CASE_##set(N, cache_##N##_P0 = text)
#include "ParameterList.h"
        default:
            return false;
    }
}

// ---- save and load ----

void FgZeWrapperImpl::saveConfig(Fg_ConfigFileParser& parser) {
    qorv::templates::patterns::GenericLockGuard guard(mParameterLock);
    parser.writeConfigFileByPort(kPort);
    for (int id : kConfigKeys) {
        const char* name = parameterName(id);
        double number = 0;
        std::string text;
        switch (configForm(id)) {
            case ConfigForm::Integer:
                // Integers are written signed: 4294967295 reads back as -1 and converts back.
                if (cachedNumber(id, number)) {
                    parser.writeConfigFileIntKey(name, static_cast<int>(static_cast<uint32_t>(number)));
                }
                break;
            case ConfigForm::Double:
                if (cachedNumber(id, number)) parser.writeConfigFileDoubleKey(name, number);
                break;
            case ConfigForm::String:
                if (cachedText(id, text)) parser.writeConfigFile(name, text.c_str());
                break;
        }
    }
}

bool FgZeWrapperImpl::readConfigKey(Fg_ConfigFileParser& parser, int id, double& number, std::string& text) {
    const char* name = parameterName(id);
    switch (configForm(id)) {
        case ConfigForm::Integer: {
            int value = 0;
            if (parser.parseIntKeySection(kPort, name, value) != 0) return false;
            number = static_cast<uint32_t>(value);
            return true;
        }
        case ConfigForm::Double:
            return parser.parseDoubleKeySection(kPort, name, number) == 0;
        case ConfigForm::String:
            return parser.parseKeySection(kPort, name, text) == 0;
    }
    return false;
}

bool FgZeWrapperImpl::loadConfig(Fg_ConfigFileParser& parser) {
    qorv::templates::patterns::GenericLockGuard guard(mParameterLock);
    double number = 0;
    std::string text;

    // First pass: every value straight into its cache, so that the setters of the second pass
    // check against the file's partners (width against x offset, ...). A missing key ends here.
    for (int id : kConfigKeys) {
        if (id == FG_AREATRIGGERMODE || id == FG_TRIGGERSTATE) continue;
        if (!readConfigKey(parser, id, number, text)) return false;
        if (configForm(id) == ConfigForm::String) {
            storeCachedText(id, text);
        } else {
            storeCachedNumber(id, number);
        }
    }

    // Second pass: the legacy mode first, since it decides which trigger keys apply.
    try {
        if (!readConfigKey(parser, FG_TRIGGER_LEGACY_MODE, number, text)) return false;
        setFromNumber(FG_TRIGGER_LEGACY_MODE, number, true);
        const bool legacy = number != 0;
        for (int id : kConfigKeys) {
            if (id == FG_TRIGGER_LEGACY_MODE || among(kAppliedByLutType, id)) continue;
            if (legacy ? isGuardedTriggerKey(id) : among(kLegacyTriggerParameters, id)) continue;
            if (!readConfigKey(parser, id, number, text)) return false;
            setFromNumber(id, number, true);
        }
    } catch (int error) {
        fgError().setErr(error);
        return false;
    }
    return true;
}
