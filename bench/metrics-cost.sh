#!/usr/bin/env bash
# What serving metrics costs the recorder (not run in CI): two recorders side by side
# in the same run, one plain and one with --metrics scraped every SCRAPE seconds the
# way Prometheus does (OpenMetrics asked for first), each on its own scratch database.
# After SETTLE seconds both are watched for WINDOW seconds; CPU is utime + stime.
# Target: the exporter's recorder within 10 % of the plain one.
#   bench/metrics-cost.sh [build-folder]     (SETTLE=20 WINDOW=180 SCRAPE=15)
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$build/quillmere"
settle="${SETTLE:-20}"
window="${WINDOW:-180}"
scrape="${SCRAPE:-15}"
[[ -x "$binary" ]] || { echo "metrics-cost: $binary not found (build the quillmere target)" >&2; exit 1; }
command -v curl >/dev/null || { echo "metrics-cost: needs curl" >&2; exit 1; }

work="$(mktemp -d)"
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null; done
    rm -rf "$work"
}
trap cleanup EXIT

XDG_CONFIG_HOME="$work/plain" "$binary" record --no-notify --db "$work/plain.sqlite" >"$work/plain.log" 2>&1 &
plain=$!
pids+=("$plain")
XDG_CONFIG_HOME="$work/exporting" "$binary" record --no-notify --db "$work/exporting.sqlite" \
    --metrics 127.0.0.1:0 >"$work/exporting.log" 2>&1 &
exporting=$!
pids+=("$exporting")
for _ in $(seq 50); do
    url=$(sed -n 's|^Serving metrics at \(http://.*\)$|\1|p' "$work/exporting.log")
    [[ -n "$url" ]] && break
    sleep 0.2
done
[[ -n "$url" ]] || { echo "metrics-cost: the recorder does not serve metrics" >&2; cat "$work/exporting.log"; exit 1; }

accept='application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5'
( while sleep "$scrape"; do curl -s -o /dev/null -H "Accept: $accept" "$url"; done ) &
pids+=("$!")

ticks() { awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$1/stat"; }
sleep "$settle"
p0=$(ticks "$plain") e0=$(ticks "$exporting")
sleep "$window"
p1=$(ticks "$plain") e1=$(ticks "$exporting")
page=$(curl -s -H "Accept: $accept" "$url" | wc -c)
hz=$(getconf CLK_TCK)
awk -v p=$((p1 - p0)) -v e=$((e1 - e0)) -v hz="$hz" -v t="$window" -v page="$page" -v s="$scrape" 'BEGIN {
    printf "over %d s (scraped every %d s, page %d bytes):\n", t, s, page
    printf "  plain recorder      %7.3f s CPU  (%.4f %%)\n", p / hz, p / hz / t * 100
    printf "  exporting recorder  %7.3f s CPU  (%.4f %%)\n", e / hz, e / hz / t * 100
    if (p > 0) printf "  exporting / plain   %7.3f  (target: at most 1.10)\n", e / p
}'
