#!/usr/bin/env bash
# gst_test.sh CASE PLUGIN_DIR TOOL SOURCE: one pipeline of the pellucidsrc element through the
# system's gst-launch-1.0, checked by its output. Every case runs in its own state folder and
# registry, so neither the user's board settings nor the plugin cache are touched.
set -euo pipefail
case_name=$1 plugins=$2 tool=$3 source=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH=$plugins XDG_STATE_HOME=$work/state GST_REGISTRY=$work/registry.bin
config=$source/examples/simulator.mcf
cd "$work"

fail() { echo "FAIL ($case_name): $*"; [ -f out ] && cat out; exit 1; }
# launch PIPELINE...: gst-launch-1.0 bounded in time, its output in `out`; the exit status kept.
launch() { status=0; timeout 60 gst-launch-1.0 "$@" > out 2>&1 || status=$?; [ "$status" -ne 124 ] || fail "hangs"; }
expect_error() {  # expect_error TEXT: the pipeline failed with an element error that says TEXT
  [ "$status" -ne 0 ] || fail "no failure"
  grep -q "ERROR: from element .*pellucidsrc0: .*$1" out || fail "no bus error saying \"$1\""
}
# Sizes and timestamps of the buffers a -v fakesink reports.
buffers() { grep -o 'chain .*' out | sed -E 's/.*\(([0-9]+) bytes, dts: [^,]*, pts: ([0-9:.]+).*/\1 \2/'; }

case $case_name in
  inspect)
    gst-inspect-1.0 pellucidsrc > out || fail "gst-inspect-1.0 does not find the element"
    for p in board config set working-config timeout buffers RGBA64_LE; do grep -q "$p" out || fail "no $p"; done ;;
  fakesink)  # ten full pictures with increasing timestamps
    launch -v pellucidsrc config="$config" num-buffers=10 ! fakesink silent=false
    [ "$status" -eq 0 ] || fail "exit status $status"
    [ "$(buffers | awk '$1 == 1024 * 1024 * 3' | wc -l)" -eq 10 ] || fail "not ten 1024 x 1024 RGB buffers"
    buffers | awk '{ split($2, t, ":"); s = t[1] * 3600 + t[2] * 60 + t[3]; if (NR > 1 && s <= last) exit 1; last = s }' ||
      fail "timestamps do not increase" ;;
  files)  # the pipeline: ten PNG files that decode
    launch pellucidsrc config="$config" num-buffers=10 ! videoconvert ! pngenc ! multifilesink location=f%02d.png
    [ "$status" -eq 0 ] && [ "$(ls f*.png | wc -l)" -eq 10 ] || fail "not ten files"
    for f in f*.png; do
      gst-launch-1.0 filesrc location="$f" ! pngdec ! fakesink > /dev/null 2>&1 || fail "$f does not decode"
    done ;;
  caps)  # a size chosen downstream is set on the board, and the pictures have it
    GST_DEBUG=pellucidsrc:4 launch -v pellucidsrc config="$config" num-buffers=3 ! video/x-raw,width=512 ! \
      fakesink silent=false
    grep -q "board set to FG_WIDTH=512 FG_HEIGHT=1024" out || fail "FG_WIDTH not set to 512"
    [ "$(buffers | awk '$1 == 512 * 1024 * 3' | wc -l)" -eq 3 ] || fail "not three 512-wide buffers"
    launch -v pellucidsrc config="$config" num-buffers=3 ! video/x-raw,width=320,height=200 ! fakesink silent=false
    [ "$(buffers | awk '$1 == 320 * 200 * 3' | wc -l)" -eq 3 ] || fail "not three 320 x 200 buffers"
    launch pellucidsrc config="$config" num-buffers=3 ! video/x-raw,width=500 ! fakesink  # not on FG_WIDTH's steps
    [ "$status" -ne 0 ] && grep -q "reason not-negotiated" out || fail "a width off the steps is taken" ;;
  deep)  # FG_COL48 as 16-bit RGBA
    GST_DEBUG=pellucidsrc:4 launch -v pellucidsrc config="$config" num-buffers=2 ! video/x-raw,format=RGBA64_LE ! \
      fakesink silent=false
    grep -q "FG_FORMAT=6 (FG_COL48" out || fail "FG_FORMAT not FG_COL48"
    [ "$(buffers | awk '$1 == 1024 * 1024 * 8' | wc -l)" -eq 2 ] || fail "not two RGBA64 buffers" ;;
  working_config)  # the tool's settings are the start, unless the element is told otherwise
    "$tool" set FG_WIDTH=256 > /dev/null
    launch -v pellucidsrc num-buffers=1 ! fakesink
    grep -q "src: caps = .*width=(int)256" out || fail "the working configuration is not used"
    launch -v pellucidsrc working-config=false num-buffers=1 ! fakesink
    grep -q "src: caps = .*width=(int)1024" out || fail "working-config=false still uses it" ;;
  bad_value)
    launch pellucidsrc config="$config" set="FG_HEIGHT=512, FG_WIDTH=99999" ! fakesink
    expect_error "cannot set FG_WIDTH to 99999: value out of range (-6000); allowed: 16..16384 step 16" ;;
  unknown_name)
    launch pellucidsrc set=FG_WIDHT=512 ! fakesink
    expect_error 'unknown parameter "FG_WIDHT".*did you mean FG_WIDTH' ;;
  bad_config)
    launch pellucidsrc config=missing.mcf ! fakesink
    expect_error 'cannot load configuration "missing.mcf": file not found' ;;
  in_use)  # a second source on the board is refused, the first one runs
    launch pellucidsrc config="$config" num-buffers=50 ! fakesink pellucidsrc config="$config" ! fakesink
    expect_error "board 0 is in use by process [0-9]" ;;
  no_picture)  # software trigger mode without pulses: a timeout, not a hang
    launch pellucidsrc config="$config" set=FG_AREATRIGGERMODE=ATM_SOFTWARE timeout=1 ! fakesink
    expect_error "no picture 1 within 1 s" ;;
  interrupt)  # an end of stream while the source waits for a picture ends the pipeline at once
    gst-launch-1.0 -e pellucidsrc config="$config" set=FG_AREATRIGGERMODE=ATM_SOFTWARE timeout=60 ! fakesink \
      > out 2>&1 &
    pid=$!
    # The interrupt only once the source waits: before that, a fresh registry's scan may still run.
    for _ in $(seq 300); do grep -q "PLAYING" out && break; sleep 0.1; done
    grep -q "PLAYING" out || { kill -9 $pid; fail "the pipeline did not start"; }
    kill -INT $pid
    for _ in $(seq 50); do kill -0 $pid 2> /dev/null || break; sleep 0.1; done
    if kill -0 $pid 2> /dev/null; then kill -9 $pid; fail "the pipeline did not end within 5 s"; fi
    grep -q "Freeing pipeline" out || fail "the pipeline did not end" ;;
  *) fail "unknown case" ;;
esac
echo "gst $case_name: ok"
