// Output pixel format and bit alignment.
#include "AppletWrapper.h"
#include "EnumTables.h"

namespace enums = pellucid::enums;

void FgZeWrapperImpl::set_sdk_param_FG_FORMAT_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::FormatColor, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    uint32_t selectSource = 0, enableTrash = 0;
    switch (value) {
        case 2:
            selectSource = enableTrash = 1;
            break;
        case 6:
            selectSource = enableTrash = 0;
            break;
        default:
            return refuse(FG_VALUE_HAS_NO_CODE, throwOnError);
    }
    update(cache_FG_FORMAT_P0, value, throwOnError, [&] {
        writeDesignUInt_P0(id_Device1_Process0_OutputFormat_FG_FORMAT_SelectSource, selectSource);
        writeDesignUInt_P0(id_Device1_Process0_OutputFormat_VirtualTrash_EnableTrash_Value, enableTrash);
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_BITALIGNMENT_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::AlignmentModesBoth, value))
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_BITALIGNMENT_P0, value, throwOnError,
           [&] { writeDesignUInt_P0(id_Device1_Process0_OutputFormat_FG_BITALIGNMENT_Value, value); });
}
