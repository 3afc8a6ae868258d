/* Values of the virtual board's SDK (libfglib5.so) that the platform interface leaves to the
 * implementation. */
#ifndef VBOARD_FGLIB_EXT_H
#define VBOARD_FGLIB_EXT_H

/* A plain handle answers a design parameter's id as this base plus the parameter's position
 * (0-based) in the design file; clear of every SDK id and of the applet's own id ranges. */
#define VBOARD_DESIGN_PARAMETER_ID_BASE 0x10000000

/* Queries of Fg_getStatusEx (the data argument is used only where said). An unknown query gives
 * FG_INVALID_PARAMETER. */
#define VBOARD_STATUS_ACQUIRING 1       /* 1 while the DMA channel acquires, else 0 */
#define VBOARD_STATUS_LAST_PICTURE 2    /* number of the last complete picture, 0 before the first */
#define VBOARD_STATUS_PICTURES_WANTED 3 /* picture count of the current or last acquisition (-1 endless) */
#define VBOARD_STATUS_BUFFER_COUNT 4    /* buffers of the memory of the acquisition, 0 without */
/* Counted from the start of the current or last acquisition: */
#define VBOARD_STATUS_FRAMES_DELIVERED 5      /* pictures completed in the buffers */
#define VBOARD_STATUS_FRAMES_LOST 6           /* selected frames that found no free or large enough buffer */
#define VBOARD_STATUS_START_OF_FRAME_EVENTS 7 /* frames the camera began */
#define VBOARD_STATUS_END_OF_FRAME_EVENTS 8   /* frames the camera finished */
#define VBOARD_STATUS_FILL_LEVEL 9            /* percent of the buffers holding pictures not yet asked for */
#define VBOARD_STATUS_MISSED_TRIGGERS 12      /* pulses on its trigger line the busy camera could not take */
/* Of picture `data` while it is in the buffers (else FG_INVALID_PARAMETER): */
#define VBOARD_STATUS_CAMERA_FRAME 10      /* the camera's frame number, from 0 at the start */
#define VBOARD_STATUS_EXPOSURE_START_NS 11 /* start of its exposure, simulated ns since power-on */

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Why the last call failed, in words. With a handle: the description of its last error number.
 * With NULL: why the last Fg_Init / Fg_InitHandle* failed; for a bench description that cannot be
 * used (PELLUCID_BENCH), the reader's text, e.g.
 * "bench.json: camera.bit_depth: must be 8, 10 or 12". Never null; valid until this thread's next
 * call. Not part of the platform interface: look it up with dlsym to run on other SDKs too. */
const char* Fg_getLastErrorDetail(Fg_Struct* fg);

#ifdef __cplusplus
}
#endif

#endif
