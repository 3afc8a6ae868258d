#!/usr/bin/env bash
# End-to-end grab benchmark: 100 frames of 1024 x 1024 from the camera simulator into PNG files,
# with wall-clock and CPU time. Usage: tools/grab_bench.sh [BUILD_DIR] [FRAMES] [FG_FORMAT]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
frames=${2:-100}
format=${3:-FG_COL24}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
start=$(date +%s.%N)
times=$( { TIMEFORMAT='%U %S'; time "$build/bin/pellucid" grab --frames "$frames" --out "$out" \
    --config examples/simulator.mcf --set FG_WIDTH=1024 --set FG_HEIGHT=1024 --set "FG_FORMAT=$format" \
    --timeout 10 >"$out/summary" 2>/dev/null; } 2>&1 )
end=$(date +%s.%N)
read -r user sys <<<"$times"
cat "$out/summary"
awk -v s="$start" -v e="$end" -v u="$user" -v k="$sys" -v n="$frames" 'BEGIN {
    printf "wall %.2f s, CPU %.2f s (user %.2f, system %.2f), %.1f ms CPU a frame\n", e - s, u + k, u, k, 1000 * (u + k) / n }'
