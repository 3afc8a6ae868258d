#!/usr/bin/env bash
# End-to-end grab benchmark: frames of 1024 x 1024 from the camera simulator into PNG (or FILE_FORMAT)
# files, with wall-clock and CPU time. FRAMES is a count, or a duration such as 10s: a continuous grab stopped
# with SIGINT after that long. RATE sets the simulator's trigger (frames/s, default 50).
# Usage: tools/grab_bench.sh [BUILD_DIR] [FRAMES|SECONDSs] [FG_FORMAT] [RATE] [png|tiff|npy]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
frames=${2:-100}
format=${3:-FG_COL24}
rate=${4:-50}
file_format=${5:-png}
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
args=(--out "$out/frames" --config examples/simulator.mcf --set FG_WIDTH=1024 --set FG_HEIGHT=1024
      --set "FG_FORMAT=$format" --set "FG_TRIGGER_FRAMESPERSECOND=$rate" --timeout 10 --format "$file_format")
if [[ $frames == *s ]]; then
    /usr/bin/time -f '%U %S' -o "$out/times" "$build/bin/pellucid" grab --continuous "${args[@]}" \
        >"$out/summary" 2>/dev/null &
    sleep "${frames%s}"
    kill -INT "$(pgrep -P $! pellucid)"
    wait $! || true
else
    /usr/bin/time -f '%U %S' -o "$out/times" "$build/bin/pellucid" grab --frames "$frames" "${args[@]}" \
        >"$out/summary" 2>/dev/null
fi
cat "$out/summary"
read -r user sys < <(tail -n 1 "$out/times")
written=$(awk '{print $1}' "$out/summary")
awk -v u="$user" -v k="$sys" -v n="$written" 'BEGIN {
    printf "CPU %.2f s (user %.2f, system %.2f), %.1f ms CPU a frame written\n", u + k, u, k, 1000 * (u + k) / n }'
