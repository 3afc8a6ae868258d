#!/usr/bin/env bash
# check_library.sh LIBRARY: the applet exports exactly its C interface and needs nothing beyond the
# platform libraries and the C/C++ runtime.
set -euo pipefail
lib="$1"
fail=0
interface='Std_entry Info Fg_getAppletId Fg_setParameterWithType Fg_getParameterWithType Fg_getNrOfParameter
Fg_getParameterName Fg_getParameterId Fg_getParameterIdByName Fg_getStatusEx Fg_saveConfig Fg_loadConfig
Fg_AcquireEx Fg_stopAcquireEx Fg_getLastPicNumberEx Fg_getLastPicNumberBlockingEx Fg_FreeGrabber
Fg_getLastErrorNumber Fg_getParameterInfo Fg_getParameterInfoXML Fg_AllocShading Fg_FreeShading
Shad_SetSubValueLine Shad_SetMultValueLine Shad_SetFixedPatternNoiseLine Shad_GetMaxLine Shad_GetAccess
Shad_FreeAccess Shad_WriteActLine Fg_getEventMask Fg_getEventName'
exported=$(nm -D --defined-only "$lib" | awk '{print $3}' | sed 's/@.*//' | sort -u)
differ=$(diff <(tr -s ' \n' '\n\n' <<<"$interface" | sort -u) <(echo "$exported") || true)
if [ -n "$differ" ]; then echo "exports differ (< missing, > unexpected):"; echo "$differ"; fail=1; fi
needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
bad=$(grep -Ev '^(libhaprt\.so|libqorv_hw\.so|libqorviolibrt\.so|libc\.so\.6|libm\.so\.6|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libdl\.so\.2|libpthread\.so\.0|libz\.so\.1)$' <<<"$needed" || true)
if [ -n "$bad" ]; then echo "unexpected NEEDED entries:"; echo "$bad"; fail=1; fi
for dep in libhaprt.so libqorv_hw.so; do grep -qx "$dep" <<<"$needed" || { echo "$dep is not NEEDED"; fail=1; }; done
if readelf -d "$lib" | grep -Eq '\((RPATH|RUNPATH)\)'; then echo "the applet carries a run path"; fail=1; fi
[ "$fail" -eq 0 ] && echo "exports and dependencies as expected"
exit "$fail"
