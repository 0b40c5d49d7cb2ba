#!/usr/bin/env bash
# What serving metrics costs the recorder (not run in CI): two recorders side by side
# in the same run, one plain and one with --metrics scraped every SCRAPE seconds the
# way Prometheus does (OpenMetrics asked for first), each on its own scratch database.
# After SETTLE seconds both are watched for WINDOW seconds; CPU is the time all
# their threads spent running.
# Target: the exporter's recorder within 10 % of the plain one.
# The exporter's thread is shown apart: the frame it serves is made on the recorder's
# main loop in microseconds, so that thread is nearly all the difference, and it is
# steadier than the difference of two recorders' sampling.
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

# CPU time in nanoseconds of all live threads (the scheduler's own account: the
# clock ticks of /proc/PID/stat are 10 ms, as coarse as a whole minute of a recorder's
# work), and the threads' ids, to notice one that ended in between and took its time
# with it.
cputime() { cat /proc/"$1"/task/*/schedstat 2>/dev/null | awk '{ ns += $1 } END { print ns + 0 }'; }
threads() { ls /proc/"$1"/task | sort | tr '\n' ' '; }
# The exporter's own thread alone: the two recorders' sampling differs by a few
# percent from one window to the next, this does not.
servertime() {
    for task in /proc/"$1"/task/*; do
        [[ "$(cat "$task/comm" 2>/dev/null)" == qm.metrics ]] && cut -d' ' -f1 "$task/schedstat"
    done | awk '{ ns += $1 } END { print ns + 0 }'
}
sleep "$settle"
p0=$(cputime "$plain") e0=$(cputime "$exporting") s0=$(servertime "$exporting")
pt=$(threads "$plain") et=$(threads "$exporting")
sleep "$window"
p1=$(cputime "$plain") e1=$(cputime "$exporting") s1=$(servertime "$exporting")
[[ "$pt" == "$(threads "$plain")" && "$et" == "$(threads "$exporting")" ]] ||
    echo "metrics-cost: a thread started or ended during the window; its time may be missing" >&2
page=$(curl -s -H "Accept: $accept" "$url" | wc -c)
awk -v p=$((p1 - p0)) -v e=$((e1 - e0)) -v x=$((s1 - s0)) -v t="$window" -v page="$page" -v s="$scrape" \
    -v procs="$(ls -d /proc/[0-9]* | wc -l)" 'BEGIN {
    printf "over %d s with %d processes (scraped every %d s, page %d bytes):\n", t, procs, s, page
    printf "  plain recorder      %7.3f s CPU  (%.4f %%)\n", p / 1e9, p / 1e9 / t * 100
    printf "  exporting recorder  %7.3f s CPU  (%.4f %%)\n", e / 1e9, e / 1e9 / t * 100
    printf "    its qm.metrics    %7.3f s CPU  (%.4f %%)\n", x / 1e9, x / 1e9 / t * 100
    if (p > 0) printf "  exporting / plain   %7.3f  (target: at most 1.10)\n", e / p
}'
