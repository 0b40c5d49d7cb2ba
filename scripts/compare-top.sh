#!/usr/bin/env bash
# What a sampling tick costs next to procps top, measured in the same run, at about
# 100, 600 and 2,100 processes (idle `sleep` children fill the table), and what the
# background recorder costs: its wake-ups per second and its CPU share.
#
#   scripts/compare-top.sh [path/to/quillmere]
#   TICKS=6 RECORD_SECONDS=300 scripts/compare-top.sh build/quillmere
#
# Per-tick CPU is the CPU time (user + system, from wait4) of a run of N ticks minus
# that of a run of 1 tick, over N − 1: start-up and the once-per-process reads of the
# first tick are left out. Every child this script starts is killed on exit.
set -euo pipefail

QM=${1:-build/quillmere}
TICKS=${TICKS:-6}
RECORD_SECONDS=${RECORD_SECONDS:-300}
SIZES=${SIZES:-"100 600 2100"}
[ -x "$QM" ] || { echo "compare-top: no quillmere at $QM" >&2; exit 2; }
command -v top >/dev/null || { echo "compare-top: procps top is not installed" >&2; exit 2; }

children=()
workdir=$(mktemp -d)
cleanup() {
    if [ ${#children[@]} -gt 0 ]; then kill "${children[@]}" 2>/dev/null || true; fi
    wait 2>/dev/null || true
    rm -rf "$workdir"
}
trap cleanup EXIT

# CPU seconds (user + system) of one command.
cpu_of() {
    /usr/bin/time -f '%U %S' -o "$workdir/time" "$@" >/dev/null 2>&1 || true
    awk 'END { printf "%.3f", $1 + $2 }' "$workdir/time"
}

# CPU per tick in microseconds, without start-up: (cost of N ticks − cost of 1) / (N − 1).
# The command's last argument is the tick count.
per_tick_us() {
    local one many
    one=$(cpu_of "$@" 1)
    many=$(cpu_of "$@" "$TICKS")
    awk -v a="$one" -v b="$many" -v n="$TICKS" 'BEGIN { v = (b - a) / (n - 1) * 1e6; if (v < 0) v = 0; printf "%.0f", v }'
}

# Processes come and go while they are counted: a glob never fails on that.
processes() {
    local n=0 d
    for d in /proc/[0-9]*; do n=$((n + 1)); done
    echo "$n"
}

printf '%-10s %14s %14s %14s %14s %8s\n' processes "sample us/tick" "us/process" "top us/tick" "us/process" "ratio"
for size in $SIZES; do
    while [ "$(processes)" -lt "$size" ]; do
        sleep 100000 &
        children+=($!)
    done
    n=$(processes)
    qm=$(per_tick_us "$QM" sample --json --live -i 1 -n)
    tp=$(per_tick_us top -b -d 1 -n)
    awk -v n="$n" -v q="$qm" -v t="$tp" 'BEGIN {
        printf "%-10d %14d %14.1f %14d %14.1f %8.2f\n", n, q, q / n, t, t / n, (t > 0 ? q / t : 0) }'
done
if [ ${#children[@]} -gt 0 ]; then kill "${children[@]}" 2>/dev/null || true; fi
wait 2>/dev/null || true
children=()

# The recorder in the background (5 s ticks on mains): wake-ups are the context
# switches of all its threads, CPU share its CPU time over the wall time.
switches() {
    local total=0 t v
    for t in /proc/"$1"/task/*/status; do
        v=$(awk '/ctxt_switches/ { s += $2 } END { print s + 0 }' "$t" 2>/dev/null || echo 0)
        total=$((total + v))
    done
    echo "$total"
}
cpu_ticks() { awk '{ print $14 + $15 }' /proc/"$1"/stat; }

[ "$RECORD_SECONDS" -gt 0 ] || exit 0
QUILLMERE_DB="$workdir/history.sqlite" "$QM" record --quiet --no-notify >/dev/null 2>&1 &
recorder=$!
children+=("$recorder")
sleep 15  # start-up and the first minute's reads are not the steady state
s0=$(switches "$recorder")
c0=$(cpu_ticks "$recorder")
sleep "$RECORD_SECONDS"
s1=$(switches "$recorder")
c1=$(cpu_ticks "$recorder")
hz=$(getconf CLK_TCK)
awk -v s="$((s1 - s0))" -v c="$((c1 - c0))" -v t="$RECORD_SECONDS" -v hz="$hz" 'BEGIN {
    printf "recorder over %d s: %.3f wake-ups per second, CPU share %.3f %% of one core\n", t, s / t, c / hz / t * 100 }'
