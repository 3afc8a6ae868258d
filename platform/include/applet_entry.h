/* The entry points every applet library exports besides its Fg_* and Shad_* functions. */
#ifndef PLATFORM_APPLET_ENTRY_H
#define PLATFORM_APPLET_ENTRY_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Builds the applet object for a board; the SDK keeps the result in Master of its handle.
 * Null on failure with the reason in *error (which may be null). flag must be 0. */
void* Std_entry(ZEdevice* board, int* error, int flag);

/* Information query; needs no board. */
#define INFO_APPLET_ICON 1041          /* the icon: a PNG image, FG_PARAM_TYPE_COMPLEX_DATATYPE */
#define INFO_APPLET_DESIGN 1042        /* the embedded design file, FG_PARAM_TYPE_COMPLEX_DATATYPE */
#define INFO_APPLET_HAP_UID 1043       /* design identifier, FG_PARAM_TYPE_CHAR_PTR */
#define INFO_APPLET_BITSTREAM_UID 1044 /* bitstream identifier, FG_PARAM_TYPE_CHAR_PTR */
#define INFO_APPLET_NAME 1045          /* FG_PARAM_TYPE_CHAR_PTR */
#define INFO_APPLET_VERSION 1046       /* FG_PARAM_TYPE_CHAR_PTR */
#define INFO_APPLET_TYPE_CODE 2176     /* design type code, FG_PARAM_TYPE_UINT32_T */

/* On success returns 0 and sets *data to constant data owned by the library, *size to its
 * length in bytes (strings: including the terminating zero) and *dataType to the value type code
 * listed above. An unknown query gives FG_INVALID_PARAMETER, a null output pointer too; nothing
 * is written then. */
int Info(int query, const void** data, uint64_t* size, int* dataType);

#ifdef __cplusplus
}
#endif

#endif
