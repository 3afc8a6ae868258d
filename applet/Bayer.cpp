// Bayer demosaicing and white balance.
#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

constexpr double kMaxScalingFactor = 3.9990234375;  // 4095/1024: a 12-bit code in units of 1/1024

}  // namespace

// One column to the right swaps the colours of a line; one line down swaps the line kinds.
uint32_t FgZeWrapperImpl::effectiveBayerCode_P0(uint32_t userPattern) const {
    return userPattern ^ ((cache_FG_XOFFSET_P0 & 1u) != 0 ? 1u : 0u) ^
           ((cache_FG_YOFFSET_P0 & 1u) != 0 ? 2u : 0u);
}

void FgZeWrapperImpl::writeBayerCode_P0(uint32_t code) {
    writeDesignUInt_P0(id_Device1_Process0_Bayer_White_BayerInit, code);
    writeDesignUInt_P0(id_Device1_Process0_Bayer_Bayer_BayerInit, code);
}

void FgZeWrapperImpl::set_sdk_param_FG_BAYERINIT_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::BayerInitValues, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    // The offset setters derive their code from the user's pattern, whether or not this write
    // goes through.
    previousBayer_P0 = value;
    update(cache_FG_BAYERINIT_P0, value, throwOnError,
           [&] { writeBayerCode_P0(effectiveBayerCode_P0(value)); });
}

// A NaN passes both comparisons and goes to the design as it is.
void FgZeWrapperImpl::setScalingFactor_P0(double& cache, double value, int designId, bool throwOnError) {
    if (value < 0.0 || value > kMaxScalingFactor) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache, value, throwOnError, [&] { writeDesign(designId, &value, 0, FG_PARAM_TYPE_DOUBLE, true); });
}

void FgZeWrapperImpl::set_sdk_param_FG_SCALINGFACTOR_RED_P0(double value, bool throwOnError) {
    setScalingFactor_P0(cache_FG_SCALINGFACTOR_RED_P0, value, id_Device1_Process0_Bayer_White_RedCoefficient,
                        throwOnError);
}

void FgZeWrapperImpl::set_sdk_param_FG_SCALINGFACTOR_GREEN_P0(double value, bool throwOnError) {
    setScalingFactor_P0(cache_FG_SCALINGFACTOR_GREEN_P0, value,
                        id_Device1_Process0_Bayer_White_GreenCoefficient, throwOnError);
}

void FgZeWrapperImpl::set_sdk_param_FG_SCALINGFACTOR_BLUE_P0(double value, bool throwOnError) {
    setScalingFactor_P0(cache_FG_SCALINGFACTOR_BLUE_P0, value,
                        id_Device1_Process0_Bayer_White_BlueCoefficient, throwOnError);
}
