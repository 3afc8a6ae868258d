// The platform's C declarations with default visibility: the board libraries build with
// -fvisibility=hidden, so exactly the functions declared here (and VBOARD_EXPORT items) leave them.
#pragma once

#pragma GCC visibility push(default)
#include "fg_constants.h"
#include "fg_types.h"
#include "fglib5.h"
#include "haprt.h"
#include "qorv_hw.h"
#include "qorviolibrt.h"
#include "vboard/fglib_ext.h"
#include "vboard/haprt_ext.h"
#pragma GCC visibility pop

#define VBOARD_EXPORT __attribute__((visibility("default")))
