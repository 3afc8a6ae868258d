// Status queries of Fg_getStatusEx that only some SDKs offer. Every such id lives here, so the
// tool still builds against a platform that has none of them; a missing one is -1.
#pragma once

#if __has_include("vboard/fglib_ext.h")
#include "vboard/fglib_ext.h"
#endif

namespace pellucid::sdk {

#ifdef VBOARD_STATUS_FRAMES_LOST
inline constexpr int kStatusLostPictures = VBOARD_STATUS_FRAMES_LOST;
#else
inline constexpr int kStatusLostPictures = -1;
#endif

// Trigger pulses the busy camera could not take, since the start.
#ifdef VBOARD_STATUS_MISSED_TRIGGERS
inline constexpr int kStatusMissedTriggers = VBOARD_STATUS_MISSED_TRIGGERS;
#else
inline constexpr int kStatusMissedTriggers = -1;
#endif

// Of one picture while it is in the buffers: the camera's frame number, the start of its exposure (ns).
#ifdef VBOARD_STATUS_CAMERA_FRAME
inline constexpr int kStatusCameraFrame = VBOARD_STATUS_CAMERA_FRAME;
inline constexpr int kStatusExposureStartNs = VBOARD_STATUS_EXPOSURE_START_NS;
#else
inline constexpr int kStatusCameraFrame = -1;
inline constexpr int kStatusExposureStartNs = -1;
#endif

}  // namespace pellucid::sdk
