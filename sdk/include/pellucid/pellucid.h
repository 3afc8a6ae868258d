/* Everything a program needs to drive a Pellucid board: the SDK calls and types, the error
 * numbers, the parameter ids and enumeration constants, and the virtual board's additions.
 *
 *     #include <pellucid/pellucid.h>      cc prog.c $(pkg-config --cflags --libs pellucid)
 *
 * The SDK reference is docs/sdk.md (installed under share/doc/pellucid). */
#ifndef PELLUCID_PELLUCID_H
#define PELLUCID_PELLUCID_H

#include "fg_types.h"
#include "fg_constants.h"
#include "fglib5.h"
#include "fglib_ext.h"
#include "parameters.h"

#endif
