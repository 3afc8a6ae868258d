#include "GrabWarnings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "BoardValues.h"
#include "fglib5.h"

namespace pellucid {
namespace {

constexpr int kLutEntries = 4096;
constexpr uint32_t kLutTypeCustom = 0;
constexpr uint32_t kGenerator = 1;     // FG_GEN_ENABLE: the camera simulator; FG_GEN_START: running
constexpr uint32_t kAtmGenerator = 1;  // FG_AREATRIGGERMODE
constexpr uint32_t kTsActive = 0;
constexpr uint32_t kCcGnd = 4, kCcVcc = 5, kCcNotPulseGen0 = 6, kCcInputBypass = 10;
constexpr double kDesignTickNs = 16;

std::string rateText(double rate) {
    return formatDouble(std::round(rate * 1000) / 1000);
}

std::string joinNames(const std::vector<std::string>& names) {
    std::string s;
    for (size_t i = 0; i < names.size(); ++i)
        s += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
    return s;
}

struct Processing {
    double offset, gain, gamma;
    bool invert;
};

// The table the applet computes from the processing values: ((i / 4095 + offset) * gain) to the
// power 1 / gamma, scaled to 12 bits, then inverted and clamped, in the applet's integer steps.
bool mapsAllToZero(const Processing& p) {
    for (int i = 0; i < kLutEntries; ++i) {
        const double x = (i / 4095.0 + p.offset) * p.gain;
        int32_t e = 0;
        if (!(x < 0.0)) {
            const double y = std::pow(x, 1.0 / p.gamma) * 4095.0 + 0.5;
            e = y >= -2147483648.0 && y < 2147483648.0 ? static_cast<int32_t>(y)
                                                       : std::numeric_limits<int32_t>::min();
        }
        if (p.invert) e = static_cast<int32_t>(4095u - static_cast<uint32_t>(e));
        if (std::clamp(e, 0, 4095) != 0) return false;
    }
    return true;
}

// The processing values that, put back to neutral one at a time, give a table that is not black.
std::string processingCause(const Processing& p) {
    struct Candidate {
        const char* name;
        bool set;
        Processing neutral;
        std::string value;
    };
    const Candidate candidates[] = {
        {"FG_PROCESSING_GAIN", p.gain != 1, {p.offset, 1, p.gamma, p.invert}, formatDouble(p.gain)},
        {"FG_PROCESSING_OFFSET", p.offset != 0, {0, p.gain, p.gamma, p.invert}, formatDouble(p.offset)},
        {"FG_PROCESSING_GAMMA", p.gamma != 1, {p.offset, p.gain, 1, p.invert}, formatDouble(p.gamma)},
        {"FG_PROCESSING_INVERT", p.invert, {p.offset, p.gain, p.gamma, false}, "FG_ON"},
    };
    std::vector<std::string> causes, all;
    for (const Candidate& c : candidates) {
        if (!c.set) continue;
        all.push_back(std::string(c.name) + "=" + c.value);
        if (!mapsAllToZero(c.neutral)) causes.push_back(all.back());
    }
    return joinNames(causes.empty() ? all : causes);
}

bool tableIsZero(Board& board, int id) {
    for (uint32_t i = 0; i < kLutEntries; ++i) {
        FieldParameterInt entry{0, i};
        if (Fg_getParameterWithType(board.handle(), id, &entry, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) != 0 ||
            entry.value != 0)
            return false;
    }
    return true;
}

// The simulator starts a frame at each rising edge of camera-control line 1, fed by a pulse form
// generator; at a constant level it runs free, from the input bypass at a rate unknown here. The
// number of the pulse form generator on the line, or -1 when none is.
int cameraPulseGenerator(Board& board) {
    const uint32_t cc = readUint(board, FG_TRIGGERCC_SELECT0, "FG_TRIGGERCC_SELECT0");
    if (cc == kCcGnd || cc == kCcVcc || cc >= kCcInputBypass) return -1;
    return static_cast<int>(cc < kCcGnd ? cc : cc - kCcNotPulseGen0);
}

double pulseDownscale(Board& board, int generator) {
    return std::max(
        readUint(board, FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE + 4 * generator, "pulse form downscale"), 1u);
}

}  // namespace

std::string zeroLookupTable(Board& board) {
    std::vector<std::string> colours;
    for (const auto& [id, colour] :
         {std::pair{FG_LUT_VALUE_RED, "red"}, std::pair{FG_LUT_VALUE_GREEN, "green"},
          std::pair{FG_LUT_VALUE_BLUE, "blue"}})
        if (tableIsZero(board, id)) colours.emplace_back(colour);
    if (colours.empty()) return {};
    std::string text = colours.size() == 3
                           ? "the lookup table maps every value to 0, so the pictures are black"
                           : "the " + joinNames(colours) + " lookup table" +
                                 (colours.size() > 1 ? "s map" : " maps") + " every value to 0";
    if (readUint(board, FG_LUT_TYPE, "FG_LUT_TYPE") == kLutTypeCustom) {
        const std::string file = board.valueText(board.describe("FG_LUT_CUSTOM_FILE"));
        return text + ": " +
               (file.empty() ? "FG_LUT_TYPE is LUT_TYPE_CUSTOM without an FG_LUT_CUSTOM_FILE"
                             : "the file FG_LUT_CUSTOM_FILE=\"" + file + "\" holds zeros");
    }
    const Processing p{readDouble(board, FG_PROCESSING_OFFSET, "FG_PROCESSING_OFFSET"),
                       readDouble(board, FG_PROCESSING_GAIN, "FG_PROCESSING_GAIN"),
                       readDouble(board, FG_PROCESSING_GAMMA, "FG_PROCESSING_GAMMA"),
                       readUint(board, FG_PROCESSING_INVERT, "FG_PROCESSING_INVERT") != 0};
    if (mapsAllToZero(p)) return text + ": " + processingCause(p);
    return text + ": entries were written through FG_LUT_VALUE_RED, _GREEN or _BLUE";
}

double generatorPulseRate(Board& board) {
    const int generator = cameraPulseGenerator(board);
    if (generator < 0 || readUint(board, FG_AREATRIGGERMODE, "FG_AREATRIGGERMODE") != kAtmGenerator ||
        readUint(board, FG_TRIGGERSTATE, "FG_TRIGGERSTATE") != kTsActive)
        return 0;
    return readDouble(board, FG_TRIGGER_FRAMESPERSECOND, "FG_TRIGGER_FRAMESPERSECOND") /
           pulseDownscale(board, generator);
}

std::string unreachableTriggerRate(Board& board, double softwareRate) {
    if (readUint(board, FG_GEN_ENABLE, "FG_GEN_ENABLE") != kGenerator ||
        readUint(board, FG_GEN_START, "FG_GEN_START") != kGenerator)
        return {};
    const int generator = cameraPulseGenerator(board);
    if (generator < 0) return {};
    double rate = softwareRate / pulseDownscale(board, generator);
    std::string source = "--software-trigger";
    if (softwareRate <= 0) {
        rate = generatorPulseRate(board);
        if (rate <= 0) return {};
        source = "FG_TRIGGER_FRAMESPERSECOND";
    }

    uint32_t taps = 0;
    for (int id : {FG_GEN_TAP1, FG_GEN_TAP2, FG_GEN_TAP3, FG_GEN_TAP4})
        taps += readUint(board, id, "FG_GEN_TAP");
    const uint32_t active = readUint(board, FG_GEN_ACTIVE, "FG_GEN_ACTIVE");
    const uint32_t passive = readUint(board, FG_GEN_PASSIVE, "FG_GEN_PASSIVE");
    const uint32_t width = readUint(board, FG_GEN_WIDTH, "FG_GEN_WIDTH");
    const uint32_t height = readUint(board, FG_GEN_HEIGHT, "FG_GEN_HEIGHT");
    const uint32_t gap = readUint(board, FG_GEN_LINE_GAP, "FG_GEN_LINE_GAP");
    if (taps == 0 || active == 0 || width == 0 || height == 0) return {};
    // Lines of the line width in clocks of the enabled taps; a tap clock moves a pixel in `active`
    // of every active + passive design clocks.
    const double lineClocks = std::ceil(double(width + gap) / taps);
    const double frameNs = height * lineClocks * kDesignTickNs * (active + passive) / active;
    const double fastest = 1e9 / frameNs;
    if (rate <= fastest) return {};
    return "the trigger rate of " + rateText(rate) + " pulses/s (" + source +
           ") is more than the camera simulator can take: a frame of " + std::to_string(width) + " x " +
           std::to_string(height) + " takes " + rateText(frameNs / 1e6) + " ms at FG_GEN_FREQ " +
           rateText(readDouble(board, FG_GEN_FREQ, "FG_GEN_FREQ")) + " MHz on " + std::to_string(taps) +
           " taps, so at most " + rateText(fastest) + " frames/s; it misses the other pulses";
}

std::string missedTriggers(Board& board, long missed, double softwareRate) {
    if (readUint(board, FG_MISSING_CAMERA_FRAME_RESPONSE, "FG_MISSING_CAMERA_FRAME_RESPONSE") == 0 &&
        missed <= 0)
        return {};
    std::string text = "the camera missed ";
    text += missed > 0 ? std::to_string(missed) + " trigger pulses" : "trigger pulses";
    text += " (FG_MISSING_CAMERA_FRAME_RESPONSE): the trigger rate";
    if (softwareRate > 0) text += " of " + rateText(softwareRate) + " pulses/s (--software-trigger)";
    return text + " is more than its exposure and read-out allow";
}

}  // namespace pellucid
