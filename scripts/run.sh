#!/usr/bin/env bash
# Sets up a fresh machine, builds the applet, the virtual board and the pellucid tool, and runs
# the main job on the virtual board: grabs frames from the camera simulator into build/frames.
# With arguments, runs the tool with them instead (scripts/run.sh list, scripts/run.sh get FG_WIDTH).
# Set-up and build output go to standard error, so standard output is the tool's alone
# (scripts/run.sh xml > pellucid.xml).
set -euo pipefail
cd "$(dirname "$0")/.."
{
  scripts/setup.sh
  cmake --preset default >/dev/null
  cmake --build --preset default --target pellucid
} >&2
if (($#)); then
  exec build/default/bin/pellucid "$@"
fi
rm -rf build/frames
build/default/bin/pellucid grab --frames 5 --out build/frames --config examples/simulator.mcf --timeout 10
echo "The frames are PNG files in $(pwd)/build/frames (frame_000001.png ... frame_000005.png, listed in frames.csv)."
