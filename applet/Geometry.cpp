// Region of interest, camera interface, image selector and the buffer and camera status.
#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

namespace {

// The design's buffer extents.
constexpr uint32_t kMaxWidthPlusX = 16384;
constexpr uint32_t kMaxHeightPlusY = 65535;
constexpr uint32_t kMinWidth = 16;
constexpr uint32_t kMinHeight = 4;
constexpr uint32_t kAlignment = 16;

// The SDK's camera types by the code of the design's camera format; -1 when there is none.
int cameraFormatCode(uint32_t type) {
    switch (type) {
        case 8:
        case 208:
        case 308:
        case 320:
        case 214:
        case 500:
            return 0;
        case 10:
        case 210:
        case 216:
        case 310:
        case 321:
            return 1;
        case 12:
        case 212:
        case 218:
            return 2;
        case 14:
        case 311:
        case 322:
            return 3;
        case 16:
            return 4;
        case 108:
            return 5;
        case 110:
            return 6;
        case 112:
        case 120:
            return 7;
        default:
            return -1;
    }
}

}  // namespace

void FgZeWrapperImpl::writeDesignUInt_P0(int designId, uint32_t value) {
    writeDesign(designId, &value, 0, FG_PARAM_TYPE_UINT32_T, true);
}

// A geometry set narrows what its partner may take; the description reports it from then on.
void FgZeWrapperImpl::setRoiPartnerMaximum_P0(int partnerId, uint32_t maximum) {
    if (RegisterInfo* r = descriptionOf(partnerId)) r->u.uiReg.to = maximum;
}

// Both buffer halves get every value, half 0 first. A failing half 1 leaves half 0 written: the
// next successful set brings them together again.
void FgZeWrapperImpl::set_sdk_param_FG_WIDTH_P0(uint32_t value, bool throwOnError) {
    if (value < kMinWidth || value > kMaxWidthPlusX - cache_FG_XOFFSET_P0) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    if (value % kAlignment != 0) return refuse(FG_NOT_ALIGNED, throwOnError);
    update(cache_FG_WIDTH_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_0_XLength, value);
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_1_XLength, value);
        setRoiPartnerMaximum_P0(FG_XOFFSET, kMaxWidthPlusX - value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_HEIGHT_P0(uint32_t value, bool throwOnError) {
    if (value < kMinHeight || value > kMaxHeightPlusY - cache_FG_YOFFSET_P0) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_HEIGHT_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_0_YLength, value);
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_1_YLength, value);
        setRoiPartnerMaximum_P0(FG_YOFFSET, kMaxHeightPlusY - value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_XOFFSET_P0(uint32_t value, bool throwOnError) {
    if (value > kMaxWidthPlusX - cache_FG_WIDTH_P0) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    if (value % kAlignment != 0) return refuse(FG_NOT_ALIGNED, throwOnError);
    update(cache_FG_XOFFSET_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_0_XOffset, value);
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_1_XOffset, value);
        writeBayerCode_P0(effectiveBayerCode_P0(previousBayer_P0));
        setRoiPartnerMaximum_P0(FG_WIDTH, kMaxWidthPlusX - value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_YOFFSET_P0(uint32_t value, bool throwOnError) {
    if (value > kMaxHeightPlusY - cache_FG_HEIGHT_P0) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_YOFFSET_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_0_YOffset, value);
        writeDesignUInt_P0(id_Device1_Process0_Buffer_0_DRAM_A_1_YOffset, value);
        writeBayerCode_P0(effectiveBayerCode_P0(previousBayer_P0));
        setRoiPartnerMaximum_P0(FG_HEIGHT, kMaxHeightPlusY - value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_CAMERA_LINK_CAMTYPE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::CameraFormatGrayAreaMedium, value)) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    const int code = cameraFormatCode(value);
    if (code < 0) return refuse(FG_VALUE_HAS_NO_CODE, throwOnError);
    update(cache_FG_CAMERA_LINK_CAMTYPE_P0, value, throwOnError,
           [&] { writeDesignUInt_P0(id_Device1_Process0_Camera_Format, static_cast<uint32_t>(code)); });
}

void FgZeWrapperImpl::set_sdk_param_FG_USEDVAL_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::YesNo, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_USEDVAL_P0, value, throwOnError,
           [&] { writeDesignUInt_P0(id_Device1_Process0_Camera_UseDval, value); });
}

// The selector passes image number `phase` of every `period` images: phase < period always.
void FgZeWrapperImpl::set_sdk_param_FG_IMG_SELECT_PERIOD_P0(uint32_t value, bool throwOnError) {
    if (value < 1 || value > 256 || value <= cache_FG_IMG_SELECT_P0) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    update(cache_FG_IMG_SELECT_PERIOD_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_ImageSelector_FG_IMG_SELECT_PERIOD_Divisor, value);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_IMG_SELECT_P0(uint32_t value, bool throwOnError) {
    if (value > 255 || value >= cache_FG_IMG_SELECT_PERIOD_P0)
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_IMG_SELECT_P0, value, throwOnError,
           [&] { writeDesignUInt_P0(id_Device1_Process0_ImageSelector_FG_IMG_SELECT_PHASE_Number, value); });
}

// ---- status read-outs, read live ----

uint32_t FgZeWrapperImpl::fillLevel_P0() {
    uint32_t overflow = 0;
    readDesign(id_Device1_Process0_Overflow_OverflowOccurred, &overflow, 0, FG_PARAM_TYPE_UINT32_T, true);
    if (overflow == 1) return 100;
    uint32_t half0 = 0, half1 = 0;
    readDesign(id_Device1_Process0_Buffer_0_DRAM_A_0_FillLevel, &half0, 0, FG_PARAM_TYPE_UINT32_T, true);
    readDesign(id_Device1_Process0_Buffer_0_DRAM_A_1_FillLevel, &half1, 0, FG_PARAM_TYPE_UINT32_T, true);
    return half0 > half1 ? half0 : half1;
}

void FgZeWrapperImpl::get_sdk_param_FG_FILLLEVEL_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    *out = fillLevel_P0();
}

void FgZeWrapperImpl::get_sdk_param_FG_OVERFLOW_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    readDesign(id_Device1_Process0_Overflow_OverflowOccurred, out, 0, FG_PARAM_TYPE_UINT32_T, true);
}

// Bits 0-4 and 8 up come from the board; 5 is the overflow, 6-7 the buffer fill in quarters.
void FgZeWrapperImpl::get_sdk_param_FG_CAMSTATUS_EXTENDED_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    const uint32_t level = fillLevel_P0();
    uint32_t overflow = 0;
    readDesign(id_Device1_Process0_Overflow_OverflowOccurred, &overflow, 0, FG_PARAM_TYPE_UINT32_T, true);
    uint32_t board = 0;
    check(getUnwrappedParameter(FG_CAMSTATUS_EXTENDED, &board, 0));
    const uint32_t quarter = level < 25 ? 0 : level < 50 ? 1 : level < 75 ? 2 : 3;
    *out = (board & ~0xE0u) | (quarter << 6) | ((overflow & 1u) << 5);
}

void FgZeWrapperImpl::get_sdk_param_FG_CAMSTATUS_P0(uint32_t* out) {
    if (out == nullptr) throw FG_INVALID_PARAMETER;
    uint32_t extended = 0;
    get_sdk_param_FG_CAMSTATUS_EXTENDED_P0(&extended);
    *out = extended & 1u;
}
