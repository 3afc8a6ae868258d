/* Opens a board and works with it through GenICam feature names: sets the standard Width,
 * reads the live range of OffsetX that follows it, and sends a software trigger.
 *
 *     genicam [WIDTH [BOARD]]            (defaults: width 512, board 0)
 *
 * Build against an installed tree: cc genicam.c $(pkg-config --cflags --libs pellucid-genicam) */
#include <pellucid/genicam.h>

#include <stdio.h>
#include <stdlib.h>

static int fail(const char* what, GError* error) {
    fprintf(stderr, "genicam: %s: %s\n", what, error != NULL ? error->message : "unknown error");
    g_clear_error(&error);
    return 1;
}

int main(int argc, char** argv) {
    const long width = argc > 1 ? atol(argv[1]) : 512;
    const unsigned int boardIndex = argc > 2 ? (unsigned int)atoi(argv[2]) : 0;

    Fg_Struct* fg = Fg_Init("Pellucid", boardIndex);
    if (fg == NULL) {
        const int rc = Fg_getLastErrorNumber(NULL);
        fprintf(stderr, "genicam: cannot open board %u: %s (%d)\n", boardIndex, Fg_getErrorDescription(rc),
                rc);
        return 1;
    }
    GError* error = NULL;
    ArvDevice* device = pellucid_genicam_device_new(fg, &error);
    if (device == NULL) {
        Fg_FreeGrabber(fg);
        return fail("cannot describe the board", error);
    }

    int rc = 0;
    gint64 offsetMin = 0, offsetMax = 0;
    arv_device_set_integer_feature_value(device, "Width", width, &error);
    if (error == NULL)
        arv_device_get_integer_feature_bounds(device, "OffsetX", &offsetMin, &offsetMax, &error);
    if (error != NULL) {
        rc = fail("cannot set the width", error);
    } else {
        printf("Width %lld, OffsetX %lld..%lld\n",
               (long long)arv_device_get_integer_feature_value(device, "Width", NULL), (long long)offsetMin,
               (long long)offsetMax);
        /* A software trigger needs the trigger system in software mode and started. */
        arv_device_set_string_feature_value(device, "FG_AREATRIGGERMODE", "ATM_SOFTWARE", &error);
        if (error == NULL)
            arv_device_set_string_feature_value(device, "FG_TRIGGERSTATE", "TS_ACTIVE", &error);
        if (error == NULL) arv_device_execute_command(device, "TriggerSoftware", &error);
        if (error != NULL) {
            rc = fail("cannot send a software trigger", error);
        } else {
            printf("TriggerMode %s, software trigger sent\n",
                   arv_device_get_string_feature_value(device, "TriggerMode", NULL));
        }
    }
    g_object_unref(device);
    Fg_FreeGrabber(fg);
    return rc;
}
