/* Opens a board with the Pellucid applet, sets it up for 8-bit RGB pictures of the camera,
 * acquires N frames and prints the mean of each colour channel per frame.
 *
 *     grab [FRAMES [BOARD]]            (defaults: 100 frames, board 0)
 *
 * Build against an installed tree: cc grab.c $(pkg-config --cflags --libs pellucid) */
#include <pellucid/pellucid.h>

#include <stdio.h>
#include <stdlib.h>

static int fail(Fg_Struct* fg, const char* what) {
    const int rc = Fg_getLastErrorNumber(fg);
    fprintf(stderr, "grab: %s: %s (%d)\n", what, Fg_getErrorDescription(rc), rc);
    return 1;
}

static int setUint(Fg_Struct* fg, int id, unsigned int value) {
    return Fg_setParameterWithType(fg, id, &value, 0, FG_PARAM_TYPE_UINT32_T);
}

static int setDouble(Fg_Struct* fg, int id, double value) {
    return Fg_setParameterWithType(fg, id, &value, 0, FG_PARAM_TYPE_DOUBLE);
}

int main(int argc, char** argv) {
    const long frames = argc > 1 ? atol(argv[1]) : 100;
    const unsigned int boardIndex = argc > 2 ? (unsigned int)atoi(argv[2]) : 0;
    if (frames < 1) {
        fprintf(stderr, "usage: grab [FRAMES [BOARD]] with FRAMES at least 1\n");
        return 2;
    }

    Fg_Struct* fg = Fg_Init("Pellucid", boardIndex);
    if (fg == NULL) {
        const int rc = Fg_getLastErrorNumber(NULL);
        fprintf(stderr, "grab: cannot open board %u: %s (%d)\n", boardIndex, Fg_getErrorDescription(rc), rc);
        return 1;
    }

    /* 8 bits per channel, and a lookup table that passes the camera's values through: the
     * applet's default table maps everything to 0. */
    const unsigned int width = 1024, height = 1024;
    if (setUint(fg, FG_WIDTH, width) != FG_OK || setUint(fg, FG_HEIGHT, height) != FG_OK ||
        setUint(fg, FG_FORMAT, FG_COL24) != FG_OK || setUint(fg, FG_LUT_TYPE, LUT_TYPE_PROCESSING) != FG_OK ||
        setDouble(fg, FG_PROCESSING_GAIN, 1.0) != FG_OK || setDouble(fg, FG_PROCESSING_GAMMA, 1.0) != FG_OK) {
        const int rc = fail(fg, "cannot configure the board");
        Fg_FreeGrabber(fg);
        return rc;
    }

    /* One picture per buffer, R G B bytes in line order without padding; a ring of 4. */
    const size_t pictureBytes = (size_t)width * height * 3;
    dma_mem* memory = Fg_AllocMemEx(fg, pictureBytes, 4);
    if (memory == NULL) {
        const int rc = fail(fg, "cannot allocate the buffers");
        Fg_FreeGrabber(fg);
        return rc;
    }

    int result = 0;
    if (Fg_AcquireEx(fg, 0, frames, ACQ_STANDARD, memory) != FG_OK) {
        result = fail(fg, "cannot start the acquisition");
    } else {
        for (long picture = 1; picture <= frames; ++picture) {
            /* Waits up to 5 s (the timeout is in seconds) for the picture; answers the newest. */
            const long last = Fg_getLastPicNumberBlockingEx(fg, picture, 0, 5, memory);
            if (last < 0) {
                fprintf(stderr, "grab: no picture %ld: %s (%ld)\n", picture,
                        Fg_getErrorDescription((int)last), last);
                result = 1;
                break;
            }
            const unsigned char* pixels = Fg_getImagePtrEx(fg, picture, 0, memory);
            if (pixels == NULL) {
                result = fail(fg, "picture overwritten before it was read");
                break;
            }
            double sum[3] = {0, 0, 0};
            for (size_t i = 0; i < pictureBytes; i += 3)
                for (int c = 0; c < 3; ++c) sum[c] += pixels[i + c];
            const double n = (double)width * height;
            printf("frame %ld: mean R %.1f G %.1f B %.1f\n", picture, sum[0] / n, sum[1] / n, sum[2] / n);
        }
        Fg_stopAcquireEx(fg, 0, memory, STOP_ASYNC);
    }
    Fg_FreeMemEx(fg, memory);
    Fg_FreeGrabber(fg);
    return result;
}
