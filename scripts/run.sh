#!/usr/bin/env bash
# Sets up a fresh machine, builds the applet, the virtual board and the tools, and runs the
# main job on the virtual board.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target pellucid
build/default/bin/pellucid "$@"
