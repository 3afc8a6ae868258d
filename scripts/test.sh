#!/usr/bin/env bash
# Sets up a fresh machine, builds everything and runs every test: scripts/test.sh [preset]
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
scripts/setup.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
