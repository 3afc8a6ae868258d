/* Additions of the virtual board's hardware-applet runtime (libhaprt.so) to the platform
 * interface. */
#ifndef VBOARD_HAPRT_EXT_H
#define VBOARD_HAPRT_EXT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Why the last HapLoad* call of this thread returned null, for example
 * "line 12: width must be 1..64"; "" after a successful load. The text stays valid until the
 * thread's next load call. Never null. */
const char* HapGetLastErrorText(void);

#ifdef __cplusplus
}
#endif

#endif
