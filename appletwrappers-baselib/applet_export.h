// Marks a function as part of the applet library's C interface; everything else stays hidden.
#pragma once

#define APPLET_EXPORT extern "C" __attribute__((visibility("default")))
