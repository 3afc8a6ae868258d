/* A GenICam device for an open Pellucid board: Aravis's GenICam parser over the board's GenApi
 * document, with a port whose reads and writes go to the applet's parameters.
 *
 *     ArvDevice* device = pellucid_genicam_device_new(fg, &error);
 *     arv_device_set_integer_feature_value(device, "Width", 512, &error);
 *     ArvGc* genicam = arv_device_get_genicam(device);   (owned by the device)
 *     g_object_unref(device);
 *
 * The board handle must stay open as long as the device lives. A device is used from one thread
 * at a time. Build: cc prog.c $(pkg-config --cflags --libs pellucid-genicam) */
#ifndef PELLUCID_GENICAM_H
#define PELLUCID_GENICAM_H

#include <arv.h>
#include <pellucid/pellucid.h>

G_BEGIN_DECLS

/* A new device for the board `fg` (port 0 of its parameter description), or NULL with `error`
 * set when the handle is NULL or its document cannot be read or parsed. */
ArvDevice* pellucid_genicam_device_new(Fg_Struct* fg, GError** error);

G_END_DECLS

#endif
