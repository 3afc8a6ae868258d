// The three colour lookup tables: computed from the processing values or loaded from a LUT file,
// single entries, and saving them to a file.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "AppletWrapper.h"
#include "EnumTables.h"
#include "Fg_LutFileParser.h"

namespace enums = pellucid::enums;

namespace {

constexpr uint32_t kLutTypeFile = 0;
constexpr uint32_t kLutTypeProcessor = 3;
constexpr uint32_t kMaxEntryValue = 4095;

enum Colour { kRed, kGreen, kBlue };

// Truncation toward zero; whatever does not fit (infinities, NaN) becomes the integer minimum,
// which the clamp turns into 0.
int32_t toInt32(double v) {
    if (v >= -2147483648.0 && v < 2147483648.0) return static_cast<int32_t>(v);
    return INT32_MIN;
}

// The read arrays of a LUT file belong to us once read.
struct ReadTables {
    LookupTable_s t[3] = {{nullptr, 0, FgZeWrapperImpl::kLutEntries, 0, 0},
                          {nullptr, 1, FgZeWrapperImpl::kLutEntries, 0, 0},
                          {nullptr, 2, FgZeWrapperImpl::kLutEntries, 0, 0}};
    ~ReadTables() {
        for (LookupTable_s& table : t) std::free(table.lut);
    }
};

}  // namespace

void FgZeWrapperImpl::computeLut_P0(double offset, double gain, double gamma, uint32_t invert,
                                    LutArray& out) {
    const double exponent = 1.0 / gamma;
    for (uint32_t i = 0; i < out.size(); ++i) {
        const double x = (i / 4095.0 + offset) * gain;
        // A NaN is not below 0 and takes the pow path.
        int32_t entry = x < 0.0 ? 0 : toInt32(std::pow(x, exponent) * 4095.0 + 0.5);
        if (invert == 1) entry = static_cast<int32_t>(4096u - static_cast<uint32_t>(entry) - 1u);
        if (entry < 0) entry = 0;
        if (entry > static_cast<int32_t>(kMaxEntryValue)) entry = kMaxEntryValue;
        out[i] = static_cast<uint32_t>(entry);
    }
}

void FgZeWrapperImpl::writeLutTable_P0(int colour, const LutArray& table) {
    FieldParameterAccess block{FG_PARAM_TYPE_UINT32_T, 0, static_cast<uint32_t>(table.size()), 0,
                               const_cast<uint32_t*>(table.data())};
    const int ids[] = {id_Device1_Process0_LookupTable_R_LUTcontent,
                       id_Device1_Process0_LookupTable_G_LUTcontent,
                       id_Device1_Process0_LookupTable_B_LUTcontent};
    writeDesign(ids[colour], &block, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, true);
}

// The processing values are common to the colours, so one table serves all three; each colour's
// array is set just before its write, and a failed write leaves the later colours untouched.
void FgZeWrapperImpl::updateLutProcessing_P0() {
    if (cache_FG_LUT_TYPE_P0 != kLutTypeProcessor) return;
    LutArray table;
    computeLut_P0(cache_FG_PROCESSING_OFFSET_P0, cache_FG_PROCESSING_GAIN_P0, cache_FG_PROCESSING_GAMMA_P0,
                  cache_FG_PROCESSING_INVERT_P0, table);
    LutArray* arrays[] = {&cache_FG_LUT_VALUE_RED_P0, &cache_FG_LUT_VALUE_GREEN_P0,
                          &cache_FG_LUT_VALUE_BLUE_P0};
    for (int colour : {kRed, kGreen, kBlue}) {
        *arrays[colour] = table;
        writeLutTable_P0(colour, *arrays[colour]);
    }
}

void FgZeWrapperImpl::loadLutFile_P0(const char* path) {
    if (cache_FG_LUT_TYPE_P0 != kLutTypeFile || path == nullptr || *path == '\0') return;
    Fg_LutFileParser parser;
    if (!parser.checkFileExist(path)) throw FG_FILE_NOT_FOUND;
    ReadTables read;
    if (parser.getLutFromFile(path, &read.t[kRed], &read.t[kGreen], &read.t[kBlue]) != 0) {
        throw FG_FILE_ACCESS_FAILED;
    }
    auto entries = [&](int colour) {
        const LookupTable_s& t = read.t[colour];
        const uint32_t count = t.lut == nullptr ? 0 : std::min<uint32_t>(t.nrOfElements, kLutEntries);
        return std::span<const uint32_t>(t.lut, count);
    };
    // The format carries 12-bit entries: a file with others is malformed and changes nothing.
    for (int colour : {kRed, kGreen, kBlue}) {
        for (uint32_t v : entries(colour))
            if (v > kMaxEntryValue) throw FG_VALUE_OUT_OF_RANGE;
    }
    LutArray* arrays[] = {&cache_FG_LUT_VALUE_RED_P0, &cache_FG_LUT_VALUE_GREEN_P0,
                          &cache_FG_LUT_VALUE_BLUE_P0};
    for (int colour : {kRed, kGreen, kBlue}) std::ranges::copy(entries(colour), arrays[colour]->begin());
    for (int colour : {kRed, kGreen, kBlue}) writeLutTable_P0(colour, *arrays[colour]);
}

void FgZeWrapperImpl::set_sdk_param_FG_LUT_TYPE_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::AcqLutTypes, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_LUT_TYPE_P0, value, throwOnError, [&] {
        if (value == kLutTypeFile) {
            loadLutFile_P0(cache_FG_LUT_CUSTOM_FILE_P0.c_str());
        } else {
            updateLutProcessing_P0();
        }
        // Only the values of the active source can be changed.
        if (RegisterInfo* r = descriptionOf(FG_LUT_CUSTOM_FILE)) {
            r->accessFlags = value != kLutTypeFile ? FG_ACCESS_READ : FG_ACCESS_READ_WRITE_CHANGE;
        }
        for (int id : {FG_PROCESSING_GAIN, FG_PROCESSING_GAMMA, FG_PROCESSING_OFFSET, FG_PROCESSING_INVERT}) {
            if (RegisterInfo* r = descriptionOf(id)) {
                r->accessFlags = value == kLutTypeProcessor ? FG_ACCESS_READ_WRITE_CHANGE : FG_ACCESS_READ;
            }
        }
    });
}

void FgZeWrapperImpl::set_sdk_param_FG_LUT_CUSTOM_FILE_P0(const char* value, bool throwOnError) {
    if (value == nullptr) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_LUT_CUSTOM_FILE_P0, std::string(value), throwOnError, [&] { loadLutFile_P0(value); });
}

// The name stays set even when the file cannot be written.
void FgZeWrapperImpl::set_sdk_param_FG_LUT_SAVE_FILE_P0(const char* value, bool throwOnError) {
    if (value == nullptr) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    cache_FG_LUT_SAVE_FILE_P0 = value;
    if (*value == '\0') return;
    const LookupTable_s red{cache_FG_LUT_VALUE_RED_P0.data(), 0, kLutEntries, 0, 0};
    const LookupTable_s green{cache_FG_LUT_VALUE_GREEN_P0.data(), 1, kLutEntries, 0, 0};
    const LookupTable_s blue{cache_FG_LUT_VALUE_BLUE_P0.data(), 2, kLutEntries, 0, 0};
    Fg_LutFileParser parser;
    if (parser.saveLutToFile(value, &red, &green, &blue) != 0) refuse(FG_FILE_ACCESS_FAILED, throwOnError);
}

void FgZeWrapperImpl::setLutValue_P0(int colour, LutArray& cache, const FieldParameterInt_s* value,
                                     bool throwOnError) {
    if (value == nullptr || value->index >= cache.size() || value->value > kMaxEntryValue) {
        return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    }
    const int ids[] = {id_Device1_Process0_LookupTable_R_LUTcontent,
                       id_Device1_Process0_LookupTable_G_LUTcontent,
                       id_Device1_Process0_LookupTable_B_LUTcontent};
    const uint32_t old = cache[value->index];
    cache[value->index] = value->value;
    try {
        FieldParameterInt_s entry{value->value, value->index};
        writeDesign(ids[colour], &entry, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, true);
    } catch (int) {
        cache[value->index] = old;
        if (throwOnError) throw;
    }
}

void FgZeWrapperImpl::set_sdk_param_FG_LUT_VALUE_RED_P0(const FieldParameterInt_s* value, bool throwOnError) {
    setLutValue_P0(kRed, cache_FG_LUT_VALUE_RED_P0, value, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_LUT_VALUE_GREEN_P0(const FieldParameterInt_s* value,
                                                          bool throwOnError) {
    setLutValue_P0(kGreen, cache_FG_LUT_VALUE_GREEN_P0, value, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_LUT_VALUE_BLUE_P0(const FieldParameterInt_s* value,
                                                         bool throwOnError) {
    setLutValue_P0(kBlue, cache_FG_LUT_VALUE_BLUE_P0, value, throwOnError);
}

// Processing values set while a file is loaded are kept for the next switch to the processor.
void FgZeWrapperImpl::setProcessingValue_P0(double& cache, double value, int id, bool throwOnError) {
    if (!inPublishedRange(id, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache, value, throwOnError, [&] { updateLutProcessing_P0(); });
}

void FgZeWrapperImpl::set_sdk_param_FG_PROCESSING_OFFSET_P0(double value, bool throwOnError) {
    setProcessingValue_P0(cache_FG_PROCESSING_OFFSET_P0, value, FG_PROCESSING_OFFSET, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_PROCESSING_GAIN_P0(double value, bool throwOnError) {
    setProcessingValue_P0(cache_FG_PROCESSING_GAIN_P0, value, FG_PROCESSING_GAIN, throwOnError);
}
void FgZeWrapperImpl::set_sdk_param_FG_PROCESSING_GAMMA_P0(double value, bool throwOnError) {
    setProcessingValue_P0(cache_FG_PROCESSING_GAMMA_P0, value, FG_PROCESSING_GAMMA, throwOnError);
}

void FgZeWrapperImpl::set_sdk_param_FG_PROCESSING_INVERT_P0(uint32_t value, bool throwOnError) {
    if (!enums::contains(enums::OnOff, value)) return refuse(FG_VALUE_OUT_OF_RANGE, throwOnError);
    update(cache_FG_PROCESSING_INVERT_P0, value, throwOnError, [&] { updateLutProcessing_P0(); });
}

// The table is built as a full 12-bit LUT.
void FgZeWrapperImpl::get_sdk_param_FG_LUT_IMPLEMENTATION_TYPE_P0(uint32_t* out) {
    copyOut(0u, out);
}
void FgZeWrapperImpl::get_sdk_param_FG_LUT_IN_BITS_P0(uint32_t* out) {
    copyOut(12u, out);
}
void FgZeWrapperImpl::get_sdk_param_FG_LUT_OUT_BITS_P0(uint32_t* out) {
    copyOut(12u, out);
}
