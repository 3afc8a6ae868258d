#!/usr/bin/env bash
# install_test.sh BUILD SOURCE: install, move the tree, and build and run the examples against it.
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset LD_LIBRARY_PATH QORV_APPLET_DIR PELLUCID_BENCH

cmake --install "$build" --prefix "$work/first" > /dev/null
mv "$work/first" "$work/moved"
p=$work/moved

# Nothing installed may point into the build folder or the first prefix.
for f in "$p"/lib/*.so "$p"/lib/gstreamer-1.0/*.so "$p"/bin/* $(find "$p/lib" -name '*.so' -path '*python*'); do
  if readelf -d "$f" | grep -E 'R(UN)?PATH' | grep -qE "$build|$work/first"; then
    echo "$f: run path into the build or the first prefix"; exit 1
  fi
done
! grep -rlE "$build|$work/first" "$p/lib/pkgconfig" "$p/lib/cmake" || exit 1

export PKG_CONFIG_PATH=$p/lib/pkgconfig
cc -std=c11 -Wall -Wextra -Werror "$p/share/doc/pellucid/examples/grab.c" $(pkg-config --cflags --libs pellucid) \
   -o "$work/grab_c"
[ "$(realpath "$(ldd "$work/grab_c" | awk '/libfglib5/ {print $3}')")" = "$p/lib/libfglib5.so" ]
"$work/grab_c" 3 | grep -q "^frame 3: mean R [1-9]"

# The GenICam port library, where it was built (it needs Aravis).
if [ -f "$p/lib/libpellucid-genicam.so" ]; then
  cc -std=c11 -Wall -Wextra -Werror "$p/share/doc/pellucid/examples/genicam.c" \
     $(pkg-config --cflags --libs pellucid-genicam) -o "$work/genicam_c"
  "$work/genicam_c" 512 | grep -q "^Width 512, OffsetX 0\.\.15872"
fi

cmake -S "$p/share/doc/pellucid/examples" -B "$work/examples" -G Ninja -DCMAKE_PREFIX_PATH="$p" \
      -DCMAKE_COMPILE_WARNING_AS_ERROR=ON > /dev/null
cmake --build "$work/examples" > /dev/null
"$work/examples/software_trigger" 2 > /dev/null
[ ! -f "$p/lib/libpellucid-genicam.so" ] || "$work/examples/genicam" > /dev/null

XDG_STATE_HOME="$work/state" "$p/bin/pellucid" get FG_WIDTH | grep -q '^FG_WIDTH='
PYTHONPATH=$(echo "$p"/lib/python3*/dist-packages) /usr/bin/python3 "$p/share/doc/pellucid/examples/grab.py" \
  --frames 2 > /dev/null
# The GStreamer element from the installed plugin, with nothing of the build tree in reach.
export GST_PLUGIN_PATH=$p/lib/gstreamer-1.0 GST_REGISTRY=$work/registry.bin
inspect=$(gst-inspect-1.0 pellucidsrc)
grep -q "Filename  *$p/lib/gstreamer-1.0/libgstpellucid.so" <<< "$inspect"
XDG_STATE_HOME="$work/state" gst-launch-1.0 pellucidsrc config="$p/share/doc/pellucid/examples/simulator.mcf" \
  num-buffers=3 ! videoconvert ! pngenc ! multifilesink location="$work/f%d.png" > /dev/null
[ -s "$work/f2.png" ]
echo "install: moved prefix works"
