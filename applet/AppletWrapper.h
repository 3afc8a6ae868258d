// The applet object of the Pellucid design.
#pragma once

#include <cstdint>
#include <string>

#include "FgZeWrapper.h"
#include "qorv/templates/patterns/GenericLock.h"

class FgZeWrapperImpl : public FgZeWrapper {
public:
    static constexpr const char* kAppletName = "Pellucid";
    static constexpr const char* kAppletVersion = "1.2";
    static constexpr const char* kDesignFileName = "Pellucid.hap";
    static constexpr int kDesignTypeCode = 2628;

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
    const char* getManufacturer() override { return "Varnholt GmbH"; }
    const char* getCameraType() override { return kAppletName; }
    const char* getCameraVersion() override { return kAppletVersion; }
    int getAppletID() override { return 0; }

    // Start sequence, run by the entry point once the SDK holds the design.
    void initInternalMaps();
    void retrieveIds();
    void executeInitRoutines();
    void setDefaultValues();

private:
    void setParameter(int id, const void* value, int dmaIndex);
    void getParameter(int id, void* value, int dmaIndex);
    int mapDmaToProcess(int dmaIndex) const;
    int setDirectRegister(int reg, const void* value);
    int getDirectRegister(int reg, void* value);

    qorv::templates::patterns::GenericLock mParameterLock;
    qorv::templates::patterns::GenericLock mSecondLock;
    std::string dllBaseName;
    const uint32_t constZero = 0;
    const uint32_t constOne = 1;

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
};
