// Settings that spoil a grab without failing it. Each function answers the warning's text
// (without the "pellucid: warning: " prefix), or an empty text when all is well.
#pragma once

#include <string>

#include "Board.h"

namespace pellucid {

// Lookup tables that map every value to 0, and the parameter that makes them so.
std::string zeroLookupTable(Board& board);

// Pulses a second the trigger generator sends to the camera: FG_TRIGGER_FRAMESPERSECOND over the
// downscale of the pulse form generator on camera-control line 1. 0 when the generator does not
// pace the camera (another trigger mode, not active, or the line not fed by a pulse form generator).
double generatorPulseRate(Board& board);

// A trigger rate above what the design's camera simulator can take, known from its settings:
// `softwareRate` (pulses/s, 0 for none) or, in generator mode, FG_TRIGGER_FRAMESPERSECOND.
// The camera on the port tells its limits only by missing pulses: see missedTriggers.
std::string unreachableTriggerRate(Board& board, double softwareRate);

// Pulses the camera missed since FG_MISSING_CAMERA_FRAME_RESPONSE was last cleared; `missed` is
// their number where the SDK counts them, else negative.
std::string missedTriggers(Board& board, long missed, double softwareRate);

}  // namespace pellucid
