// The features of the GenICam standard naming convention that this board has, and the parameter
// each of them stands for. This table is the only place the standard names are written; the
// description builder gives each the kind, limits and access of its parameter.
#include "AppletWrapper.h"
#include "fg_constants.h"

namespace {

constexpr GenApiEntryName kPixelFormats[] = {{"FG_COL24", "RGB8"}, {"FG_COL48", "RGB16"}};
constexpr GenApiEntryName kTriggerSources[] = {
    {"TRGINSRC_0", "Line0"}, {"TRGINSRC_1", "Line1"}, {"TRGINSRC_2", "Line2"}, {"TRGINSRC_3", "Line3"},
    {"TRGINSRC_4", "Line4"}, {"TRGINSRC_5", "Line5"}, {"TRGINSRC_6", "Line6"}, {"TRGINSRC_7", "Line7"}};
constexpr GenApiEntryName kTriggerActivations[] = {{"HIGH_ACTIVE", "RisingEdge"},
                                                   {"LOW_ACTIVE", "FallingEdge"}};

using F = GenApiStandardFeature;
const F kStandardFeatures[] = {
    {"Width", "ImageFormatControl", FG_WIDTH},
    {"Height", "ImageFormatControl", FG_HEIGHT},
    {"OffsetX", "ImageFormatControl", FG_XOFFSET},
    {"OffsetY", "ImageFormatControl", FG_YOFFSET},
    {"PixelFormat", "ImageFormatControl", FG_FORMAT, F::Alias, 0, kPixelFormats},
    {"AcquisitionFrameRate", "AcquisitionControl", FG_TRIGGER_FRAMESPERSECOND},
    // Off is the free-running generator; On triggers from the input line or from software.
    {"TriggerMode",
     "AcquisitionControl",
     FG_AREATRIGGERMODE,
     F::OnOff,
     0,
     {},
     "ATM_GENERATOR",
     "ATM_EXTERNAL"},
    {"TriggerSource", "AcquisitionControl", FG_TRIGGERIN_SRC, F::Alias, 0, kTriggerSources},
    {"TriggerActivation", "AcquisitionControl", FG_TRIGGERIN_POLARITY, F::Alias, 0, kTriggerActivations},
    {"TriggerSoftware", "AcquisitionControl", FG_SENDSOFTWARETRIGGER, F::Command, 1},
};

}  // namespace

std::span<const GenApiStandardFeature> FgZeWrapperImpl::getStandardFeatures() {
    return kStandardFeatures;
}
