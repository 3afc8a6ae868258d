// Life of the applet object: construction, the design ids, the initialisation routines and the
// default values.
#include "AppletWrapper.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "LegacyTriggerParameters.h"
#include "fg_constants.h"
#include "haprt.h"
#include "qorv_hw.h"

namespace {

// An environment switch is on when its value, lower-cased, is one of `accepted`.
bool environmentSwitch(const char* variable, std::initializer_list<const char*> accepted) {
    const char* raw = std::getenv(variable);
    if (raw == nullptr) return false;
    std::string value(raw);
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::any_of(accepted.begin(), accepted.end(), [&](const char* a) { return value == a; });
}

struct Default {
    int id;
    double value;
};

// Written in this order at start; a value a setter refuses is skipped.
constexpr Default kDefaults[] = {
    {FG_TIMEOUT, 1000000},
    {FG_TURBO_DMA_MODE, 0},
    {FG_CAMERA_LINK_CAMTYPE, 208},
    {FG_USEDVAL, 1},
    {FG_WIDTH, 1024},
    {FG_HEIGHT, 1024},
    {FG_XOFFSET, 0},
    {FG_YOFFSET, 0},
    {FG_FORMAT, 2},
    {FG_BITALIGNMENT, 1},
    {FG_GEN_ENABLE, 0},
    {FG_GEN_START, 1},
    {FG_GEN_WIDTH, 1024},
    {FG_GEN_HEIGHT, 1024},
    {FG_GEN_LINE_GAP, 4},
    {FG_GEN_FREQ, 40.0},
    {FG_GEN_ACCURACY, 25},
    {FG_GEN_TAP1, 1},
    {FG_GEN_TAP2, 1},
    {FG_GEN_TAP3, 1},
    {FG_GEN_TAP4, 1},
    {FG_GEN_ROLL, 0},
    {FG_IMG_SELECT_PERIOD, 1},
    {FG_IMG_SELECT, 0},
    {FG_LUT_TYPE, 3},
    {FG_BAYERINIT, 2},
    {FG_SCALINGFACTOR_GREEN, 1.0},
    {FG_SCALINGFACTOR_RED, 1.0},
    {FG_SCALINGFACTOR_BLUE, 1.0},
    {FG_AREATRIGGERMODE, 1},
    {FG_TRIGGERSTATE, 2},
    {FG_TRIGGER_FRAMESPERSECOND, 8.0},
    {FG_TRIGGERIN_DEBOUNCE, 1.0},
    {FG_TRIGGERIN_SRC, 0},
    {FG_TRIGGERIN_POLARITY, 0},
    {FG_TRIGGERIN_DOWNSCALE, 1},
    {FG_TRIGGERIN_DOWNSCALE_PHASE, 0},
    {FG_TRIGGERIN_BYPASS_SRC, 0},
    {FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR, 1},
    {FG_TRIGGER_MULTIPLY_PULSES, 1},
    {FG_TRIGGERQUEUE_MODE, 0},
    {FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD, 2047},
    {FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD, 2},
    {FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE, 1},
    {FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE_PHASE, 0},
    {FG_TRIGGER_PULSEFORMGEN0_DELAY, 0.0},
    {FG_TRIGGER_PULSEFORMGEN0_WIDTH, 4000.0},  // generator 0 forms the exposure pulse
    {FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE, 1},
    {FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE_PHASE, 0},
    {FG_TRIGGER_PULSEFORMGEN1_DELAY, 0.0},
    {FG_TRIGGER_PULSEFORMGEN1_WIDTH, 4.0},
    {FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE, 1},
    {FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE, 0},
    {FG_TRIGGER_PULSEFORMGEN2_DELAY, 0.0},
    {FG_TRIGGER_PULSEFORMGEN2_WIDTH, 4.0},
    {FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE, 1},
    {FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE_PHASE, 0},
    {FG_TRIGGER_PULSEFORMGEN3_DELAY, 0.0},
    {FG_TRIGGER_PULSEFORMGEN3_WIDTH, 4.0},
    {FG_TRIGGERCC_SELECT0, 6},
    {FG_TRIGGERCC_SELECT1, 5},
    {FG_TRIGGERCC_SELECT2, 5},
    {FG_TRIGGERCC_SELECT3, 5},
    {FG_TRIGGEROUT_SELECT0, 6},
    {FG_TRIGGEROUT_SELECT1, 7},
    {FG_TRIGGEROUT_SELECT2, 5},
    {FG_TRIGGEROUT_SELECT3, 5},
    {FG_TRIGGEROUT_SELECT4, 5},
    {FG_TRIGGEROUT_SELECT5, 5},
    {FG_TRIGGEROUT_SELECT6, 5},
    {FG_TRIGGEROUT_SELECT7, 5},
    {FG_TRIGGEROUT_STATS_SOURCE, 0},
    {FG_TRIGGER_OUTPUT_EVENT_SELECT, 0},
    {FG_TRIGGERMODE, 0},
    {FG_EXSYNCON, 0},
    {FG_FLASHON, 0},
    {FG_EXPOSURE, 4000},
    {FG_EXSYNCDELAY, 0.0},
    {FG_EXSYNCPOLARITY, 0},
    {FG_STROBEPULSEDELAY, 0.0},
    {FG_FLASH_POLARITY, 0},
    {FG_PRESCALER, 10.0},
    {FG_CCSEL0, 0},
    {FG_CCSEL1, 5},
    {FG_CCSEL2, 5},
    {FG_CCSEL3, 5},
    {FG_DIGIO_OUTPUT, 3},
};
static_assert(std::size(kDefaults) == 87);

}  // namespace

FgZeWrapperImpl::FgZeWrapperImpl() {
    draEnabled = environmentSwitch("QORV_ENABLE_DRA", {"yes", "true", "1"});
}

FgZeWrapperImpl::~FgZeWrapperImpl() noexcept = default;

void FgZeWrapperImpl::retrieveIds() {
#define DESIGN_PARAM(name) id_##name = getParameterIdByName(#name);
#define DESIGN_REGISTER(name) reg_##name = HapGetRegisterByName(designHandle(), #name);
#include "DesignParameters.h"
}

void FgZeWrapperImpl::executeInitRoutines() {
    previousBayer_P0 = 2;
    try {
        // Outputs off while the generator is held cleared, then back on with their cached choices.
        triggerOutputsEnable_P0(false);
        triggerGeneratorEnable_P0(false);
        triggerOutputsEnable_P0(true);
        for (int id : kLegacyTriggerParameters) {
            if (RegisterInfo* r = descriptionOf(id)) r->accessFlags = FG_ACCESS_READ;
        }
    } catch (int) {
        // Start-up goes on whatever a routine reports.
    }
}

void FgZeWrapperImpl::setDefaultValues() {
    const struct {
        int reg;
        uint64_t* cache;
    } simulator[] = {
        {reg_AAGenEnable, &hap_cache_AAGenEnable},   {reg_AAGenStart, &hap_cache_AAGenStart},
        {reg_AAGenWidth, &hap_cache_AAGenWidth},     {reg_AAGenLineWidth, &hap_cache_AAGenLineWidth},
        {reg_AAGenHeight, &hap_cache_AAGenHeight},   {reg_AAGenActive, &hap_cache_AAGenActive},
        {reg_AAGenPassive, &hap_cache_AAGenPassive}, {reg_AAGenMask, &hap_cache_AAGenMask},
        {reg_AAGenRoll, &hap_cache_AAGenRoll},
    };
    for (const auto& r : simulator) {
        if (writeRegister(r.reg, 0) == 0) *r.cache = 0;
    }
    for (const Default& d : kDefaults) setFromNumber(d.id, d.value, false);
}

void FgZeWrapperImpl::writeDesign(int designId, const void* value, int dmaIndex, int type,
                                  bool throwOnError) {
    if (value == nullptr) return refuse(FG_INVALID_PARAMETER, throwOnError);
    const auto set = wrapperFg()->DLL_Fg_setParameterWithType;
    // An SDK without typed access leaves the design out of reach, which is no reason to crash.
    if (set == nullptr) return refuse(FG_NOT_AVAILABLE, throwOnError);
    const int rc = set(fglibFg(), designId, value, static_cast<unsigned>(dmaIndex), type);
    if (rc != 0) refuse(rc, throwOnError);
}

void FgZeWrapperImpl::readDesign(int designId, void* value, int dmaIndex, int type, bool throwOnError) {
    if (value == nullptr) return refuse(FG_INVALID_PARAMETER, throwOnError);
    const auto get = wrapperFg()->DLL_Fg_getParameterWithType;
    if (get == nullptr) return refuse(FG_NOT_AVAILABLE, throwOnError);
    const int rc = get(fglibFg(), designId, value, static_cast<unsigned>(dmaIndex), type);
    if (rc != 0) refuse(rc, throwOnError);
}

int FgZeWrapperImpl::writeRegister(int registerId, uint64_t value) {
    return QorvRegisterWrite(boardHandle(), registerId, value);
}

bool FgZeWrapperImpl::inPublishedRange(int id, uint32_t value) {
    const RegisterInfo* r = descriptionOf(id);
    return r != nullptr && value >= r->u.uiReg.from && value <= r->u.uiReg.to;
}

bool FgZeWrapperImpl::inPublishedRange(int id, double value) {
    const RegisterInfo* r = descriptionOf(id);
    return r != nullptr && !(value < r->u.dReg.from) && !(value > r->u.dReg.to);
}
