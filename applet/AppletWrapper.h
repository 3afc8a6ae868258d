// The applet object of the Pellucid design. Its per-parameter methods and value caches are
// declared from ParameterList.h; their behaviour lives in one source file per subsystem.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "FgZeWrapper.h"
#include "fg_constants.h"
#include "qorv/templates/patterns/GenericLock.h"

class FgZeWrapperImpl : public FgZeWrapper {
  public:
    static constexpr const char* kAppletName = "Pellucid";
    static constexpr const char* kAppletVersion = "1.2";
    static constexpr const char* kDesignFileName = "Pellucid.hap";
    static constexpr int kDesignTypeCode = 2628;
    static constexpr int kLutEntries = 4096;

    using LutArray = std::array<uint32_t, kLutEntries>;

    FgZeWrapperImpl();
    ~FgZeWrapperImpl() noexcept override;

    bool loadConfig(Fg_ConfigFileParser& parser) override;
    void saveConfig(Fg_ConfigFileParser& parser) override;
    int processChannelToDma(int process, int channel) override;
    int mapDmaToFormat(int dmaIndex) override;
    int setDmaAlignment(int dmaIndex, int alignment) override;
    int getDmaAlignment(int dmaIndex) override;
    void createUserParameters() override;
    int Fg_setParameter(int id, const void* value, int dmaIndex) override;
    int Fg_getParameter(int id, void* value, int dmaIndex) override;
    int Fg_getParameterIdByName(const char* name) override;
    const char* Fg_getParameterName(int index) override;
    int Fg_getParameterId(int index) override;
    int Fg_getParameterCount() override;
    int Fg_getParameterInfoXML(Fg_Struct_s* fg, int port, char* buffer, size_t* size) override;
    unsigned long Fg_getEventMask(const char* name) override;
    const char* Fg_getEventName(unsigned long mask) override;
    const char* getManufacturer() override { return "Varnholt GmbH"; }
    const char* getCameraType() override { return kAppletName; }
    const char* getCameraVersion() override { return kAppletVersion; }
    int getAppletID() override { return 0; }
    const char* getDesignUid() override;
    const char* getParameterHelp(int id) override;
    std::span<const GenApiStandardFeature> getStandardFeatures() override;

    // Start sequence, run by the entry point once the SDK holds the design.
    void initInternalMaps();
    void retrieveIds();
    void executeInitRoutines();
    void setDefaultValues();

    void setParameter(int id, const void* value, int dmaIndex);
    // Sets a numeric parameter through its setter, as the default values and configuration
    // files do; with throwOnError false a refusal is skipped silently.
    void setFromNumber(int id, double value, bool throwOnError);

    // ---- configuration files ----
    enum class ConfigForm { Integer, Double, String };
    static ConfigForm configForm(int id);
    static const char* parameterName(int id);
    // A parameter's cache by id; false for parameters without one.
    bool cachedNumber(int id, double& value);
    bool storeCachedNumber(int id, double value);
    bool cachedText(int id, std::string& text);
    bool storeCachedText(int id, const std::string& text);
    bool readConfigKey(Fg_ConfigFileParser& parser, int id, double& number, std::string& text);
    void getParameter(int id, void* value, int dmaIndex);
    int mapDmaToProcess(int dmaIndex) const;

    // The description record of a parameter, entered into register_info_map on first use;
    // null when the registry has none.
    RegisterInfo* descriptionOf(int id, int dmaIndex = 0);

    // ---- per-parameter setters, getters and caches ----
#define PARAM_DECLARE(setFn, getFn, cache, set, get, ArgT, OutT, CacheT) \
    PARAM_DECL_SET_##set(setFn, cache, ArgT, CacheT) PARAM_DECL_GET_##get(getFn, cache, OutT)
#define PARAM_DECL_SET_OWN(setFn, cache, ArgT, CacheT) \
    void setFn(ArgT value, bool throwOnError);         \
    CacheT cache{};
#define PARAM_DECL_SET_RO(setFn, cache, ArgT, CacheT)
#define PARAM_DECL_SET_NONE(setFn, cache, ArgT, CacheT)
#define PARAM_DECL_GET_OWN(getFn, cache, OutT) void getFn(OutT out);
#define PARAM_DECL_GET_CACHE(getFn, cache, OutT) \
    void getFn(OutT out) {                       \
        copyOut(cache, out);                     \
    }
#define PARAM_DECL_GET_NONE(getFn, cache, OutT)
#define PARAM_UINT(N, group, from, to, step, access, rangeFlag, unit, set, get, help)                 \
    PARAM_DECLARE(set_sdk_param_##N##_P0, get_sdk_param_##N##_P0, cache_##N##_P0, set, get, uint32_t, \
                  uint32_t*, uint32_t)
#define PARAM_ENUM(N, group, table, access, rangeFlag, unit, set, get, help)                          \
    PARAM_DECLARE(set_sdk_param_##N##_P0, get_sdk_param_##N##_P0, cache_##N##_P0, set, get, uint32_t, \
                  uint32_t*, uint32_t)
#define PARAM_DOUBLE(N, group, from, to, step, access, rangeFlag, unit, set, get, help)                      \
    PARAM_DECLARE(set_sdk_param_##N##_P0, get_sdk_param_##N##_P0, cache_##N##_P0, set, get, double, double*, \
                  double)
#define PARAM_STRING(N, group, pattern, access, rangeFlag, unit, set, get, help)                         \
    PARAM_DECLARE(set_sdk_param_##N##_P0, get_sdk_param_##N##_P0, cache_##N##_P0, set, get, const char*, \
                  char*, std::string)
#define PARAM_FIELD(N, group, entries, from, to, access, rangeFlag, unit, set, get, help)   \
    PARAM_DECLARE(set_sdk_param_##N##_P0, get_sdk_param_##N##_P0, cache_##N##_P0, set, get, \
                  const FieldParameterInt_s*, FieldParameterInt_s*, LutArray)
#include "ParameterList.h"
#undef PARAM_DECLARE
#undef PARAM_DECL_SET_OWN
#undef PARAM_DECL_SET_RO
#undef PARAM_DECL_SET_NONE
#undef PARAM_DECL_GET_OWN
#undef PARAM_DECL_GET_CACHE
#undef PARAM_DECL_GET_NONE

    // ---- design parameters: ids and accessors ----
    // A write or read through the SDK on the design parameter; with throwOnError a null value
    // or a failing call throws the error number, without it nothing is reported.
    void writeDesign(int designId, const void* value, int dmaIndex, int type, bool throwOnError);
    void readDesign(int designId, void* value, int dmaIndex, int type, bool throwOnError);
    // Raw camera-simulator registers.
    int writeRegister(int registerId, uint64_t value);

#define DESIGN_PARAM(name)                                                                   \
    int id_##name = -1;                                                                      \
    void set_ze_param_##name(const void* value, int dmaIndex, int type, bool throwOnError) { \
        writeDesign(id_##name, value, dmaIndex, type, throwOnError);                         \
    }                                                                                        \
    void get_ze_param_##name(void* value, int dmaIndex, int type, bool throwOnError) {       \
        readDesign(id_##name, value, dmaIndex, type, throwOnError);                          \
    }
#define DESIGN_REGISTER(name) int reg_##name = -1;
#include "DesignParameters.h"

    // ---- helpers of the per-parameter setters ----
    // Refusal of a setter: thrown when the caller wants errors, else the setter just returns.
    static void refuse(int error, bool throwOnError) {
        if (throwOnError) throw error;
    }
    // Stores `value` in `cache`, then applies it; a failure puts the old value back.
    template <typename T, typename Apply>
    void update(T& cache, const T& value, bool throwOnError, Apply&& apply) {
        const T old = cache;
        cache = value;
        try {
            apply();
        } catch (int error) {
            cache = old;
            if (throwOnError) throw;
        }
    }
    // The limits the description of `id` publishes right now. A NaN passes both comparisons.
    bool inPublishedRange(int id, uint32_t value);
    bool inPublishedRange(int id, double value);
    // Throws the error number of a failed design or SDK call.
    static void check(int rc) {
        if (rc != 0) throw rc;
    }

    // ---- image path: geometry, output format, lookup table, Bayer, camera simulator ----
    // The Bayer code the design needs for the cut-out: the user's pattern with colours swapped for
    // an odd x offset (XOR 1) and lines swapped for an odd y offset (XOR 2).
    uint32_t effectiveBayerCode_P0(uint32_t userPattern) const;
    // Writes `code` to the white-balance block, then to the demosaicing block; throws on failure.
    void writeBayerCode_P0(uint32_t code);
    // Recomputes the three tables from the processing values (processor mode only).
    void updateLutProcessing_P0();
    // Reads the three tables from a LUT file and writes them (user-file mode only).
    void loadLutFile_P0(const char* path);
    // One table as the processing values give it (the same for every colour).
    static void computeLut_P0(double offset, double gain, double gamma, uint32_t invert, LutArray& out);

    // ---- trigger system ----
    // The one place where the design's trigger blocks are started, stopped and re-routed.
    void switchTriggerModeAndState_P0(uint32_t oldMode, uint32_t oldState, uint32_t newMode,
                                      uint32_t newState);
    void triggerGeneratorEnable_P0(bool enable);
    void triggerOutputsEnable_P0(bool enable);
    void triggerResetQueue_P0();
    void triggerClearDownscale_P0();
    void triggerClearPulseFormDownscales_P0();
    void setAllTriggerAccessModesToRWC_P0();

  private:
    template <typename Arg>
    void dispatchSet(int id, const Arg& arg, bool throwOnError);

    template <typename T>
    static void copyOut(T cache, T* out) {
        if (out == nullptr) throw FG_INVALID_PARAMETER;
        *out = cache;
    }
    static void copyOut(const std::string& cache, char* out);
    static void copyOut(const LutArray& cache, FieldParameterInt_s* out);

    int setDirectRegister(int reg, const void* value);
    int getDirectRegister(int reg, void* value);
    void addDirectRegisterParameters(RegisterInfo* group);
    void addDirectZeParameters(RegisterInfo* group);

    qorv::templates::patterns::GenericLock mParameterLock;
    qorv::templates::patterns::GenericLock mSecondLock;
    std::string dllBaseName;
    const uint32_t constZero = 0;
    const uint32_t constOne = 1;

    bool dzeaEnabled = false;
    std::map<std::string, int> mNameToId;
    std::vector<std::string> mIndexToName;  // dense: index i names the i-th parameter
    std::map<std::string, uint64_t> mEventNameToMask;
    std::map<uint64_t, std::string> mEventMaskToName;
    std::map<int, int> mDmaToProcess;

    uint64_t hap_cache_AAGenEnable = 0;
    uint64_t hap_cache_AAGenStart = 0;
    uint64_t hap_cache_AAGenWidth = 0;
    uint64_t hap_cache_AAGenLineWidth = 0;
    uint64_t hap_cache_AAGenHeight = 0;
    uint64_t hap_cache_AAGenActive = 0;
    uint64_t hap_cache_AAGenPassive = 0;
    uint64_t hap_cache_AAGenMask = 0;
    uint64_t hap_cache_AAGenRoll = 0;

    uint32_t previousBayer_P0 = 0;

    // ---- image path state ----
    void writeDesignUInt_P0(int designId, uint32_t value);
    void writeLutTable_P0(int colour, const LutArray& table);
    uint32_t fillLevel_P0();
    void setRoiPartnerMaximum_P0(int partnerId, uint32_t maximum);
    void setLutValue_P0(int colour, LutArray& cache, const FieldParameterInt_s* value, bool throwOnError);
    void setProcessingValue_P0(double& cache, double value, int id, bool throwOnError);
    void setScalingFactor_P0(double& cache, double value, int designId, bool throwOnError);
    // Camera simulator: raw register writes that keep their hap cache, and the values that
    // depend on the enabled taps and on the clock pattern.
    void writeGenRegister_P0(int reg, uint64_t value, uint64_t& hapCache);
    uint32_t enabledTaps_P0() const;
    void writeGenLine_P0(bool width);
    void writeGenClock_P0();
    void setGenTap_P0(uint32_t& cache, uint32_t value, bool throwOnError);

    // ---- trigger system state ----
    // True while a legacy setter drives the trigger parameters itself.
    bool legacyUpdateActive = false;
    // CLOCK_MONOTONIC after the last software trigger pulse: the spacing holds across calls.
    int64_t lastSoftwarePulseNs = 0;
    // Sets legacyUpdateActive for one scope and puts the previous value back.
    class LegacyUpdateScope {
      public:
        explicit LegacyUpdateScope(bool& flag) : flag_(flag), previous_(flag) { flag_ = true; }
        ~LegacyUpdateScope() { flag_ = previous_; }
        LegacyUpdateScope(const LegacyUpdateScope&) = delete;
        LegacyUpdateScope& operator=(const LegacyUpdateScope&) = delete;

      private:
        bool& flag_;
        bool previous_;
    };

    // Design access of the trigger block: 32-bit writes and up-to-64-bit reads, failures thrown.
    void triggerPut(int designId, uint32_t value);
    uint32_t triggerFetch(int designId);
    // -2070 while legacy mode owns the trigger system and no legacy setter drives it.
    void guardLegacy() const;
    bool legacyModeOn() const {
        return cache_FG_TRIGGER_LEGACY_MODE_P0 == 1;
    }
    void setAccess(int id, int access);
    // Access refresh after a transition; legacy mode keeps the trigger parameters read-only.
    void refreshTriggerAccessModes_P0(uint32_t newMode);
    void applyLegacyAccessModes_P0();
    void reapplyTriggerFrequency_P0();
    void applyStatusClear(uint32_t& cache, uint32_t value, bool throwOnError, int designId);
    uint32_t triggerQueueFillLevel_P0();

    // The four pulse form generators are one family: these work on generator g.
    struct PulseForm {
        uint32_t& downscale;
        uint32_t& phase;
        double& delay;
        double& width;
        int designDownscale, designSelectedPulse, designDelay, designWidth;
        int sdkDownscale, sdkPhase;
    };
    PulseForm pulseForm(int g);
    bool fitsTriggerPeriod(double delayUs, double widthUs, uint32_t downscale) const;
    double designTimeUs(int designId);
    void setPulseFormDownscale(int g, uint32_t value, bool throwOnError);
    void setPulseFormPhase(int g, uint32_t value, bool throwOnError);
    void setPulseFormDelay(int g, double value, bool throwOnError);
    void setPulseFormWidth(int g, double value, bool throwOnError);

    // The twelve output lines: camera-control lines 0..3, then trigger outputs 0..7.
    void setOutputLine(uint32_t& cache, uint32_t value, bool throwOnError, int designSelect,
                       int designInvert);

    // Legacy camera-control line k as its cached signal, polarities and enables make it.
    void applyLegacyCcLine_P0(int k);
    void applyLegacyCcLines_P0();
    void applyCachedLegacyParameters_P0();
};
