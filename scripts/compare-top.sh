#!/usr/bin/env bash
# What a sampling tick costs next to procps top, measured in the same run, at about
# 100, 600 and 2,100 processes (idle `sleep` children fill the table), and what the
# background recorder costs: its wake-ups per second and its CPU share.
#
#   scripts/compare-top.sh [path/to/quillmere]
#   TICKS=6 RECORD_SECONDS=300 scripts/compare-top.sh build/quillmere
#
# Columns: the process read alone (bench/process_bench beside the program, when built:
# one full read of every process, its CPU per tick and per process), the whole
# `quillmere sample --json` tick, and top's refresh. Per-tick CPU of the two programs
# is the CPU time (user + system, from wait4) of a run of N ticks minus that of a run
# of 1 tick, over N − 1: start-up and the once-per-process reads of the first tick are
# left out. The targets: the process read under 10 µs per process and under 0.35× top.
# Every child this script starts is killed on exit.
set -euo pipefail

QM=${1:-build/quillmere}
TICKS=${TICKS:-6}
RECORD_SECONDS=${RECORD_SECONDS:-300}
SIZES=${SIZES:-"100 600 2100"}
PROCESS_BENCH=${PROCESS_BENCH:-$(dirname "$QM")/process_bench}
[ -x "$QM" ] || { echo "compare-top: no quillmere at $QM" >&2; exit 2; }
command -v top >/dev/null || { echo "compare-top: procps top is not installed" >&2; exit 2; }
command -v python3 >/dev/null || { echo "compare-top: python3 is needed to read CPU times" >&2; exit 2; }

children=()
workdir=$(mktemp -d)
cleanup() {
    if [ ${#children[@]} -gt 0 ]; then kill "${children[@]}" 2>/dev/null || true; fi
    wait 2>/dev/null || true
    rm -rf "$workdir"
}
trap cleanup EXIT

# CPU seconds (user + system) of one command, to the microsecond (the kernel's
# run-time accounting; /usr/bin/time rounds to 10 ms, a whole idle tick's worth).
cpu_of() {
    python3 -c '
import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
u = resource.getrusage(resource.RUSAGE_CHILDREN)
print("%.6f" % (u.ru_utime + u.ru_stime))' "$@"
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

# The process read alone: microseconds per tick, or "-" without the benchmark.
read_us() {
    [ -x "$PROCESS_BENCH" ] || { echo "-"; return; }
    "$PROCESS_BENCH" --benchmark_filter=ReadWithRestricted --benchmark_format=csv 2>/dev/null |
        awk -F, 'NR > 1 { print $(NF - 2) * 1000; exit }'
}

printf '%-9s | %10s %8s | %10s %8s | %10s %8s | %8s %8s\n' processes "read us" "/proc" \
    "sample us" "/proc" "top us" "/proc" "read/top" "json/top"
for size in $SIZES; do
    while [ "$(processes)" -lt "$size" ]; do
        sleep 100000 &
        children+=($!)
    done
    n=$(processes)
    rd=$(read_us)
    qm=$(per_tick_us "$QM" sample --json --live -i 1 -n)
    tp=$(per_tick_us top -b -d 1 -n)
    awk -v n="$n" -v r="$rd" -v q="$qm" -v t="$tp" 'BEGIN {
        if (r == "-") { rs = "-"; rp = "-"; rt = "-" }
        else { rs = sprintf("%.0f", r); rp = sprintf("%.1f", r / n); rt = (t > 0 ? sprintf("%.2f", r / t) : "-") }
        printf "%-9d | %10s %8s | %10d %8.1f | %10d %8.1f | %8s %8.2f\n",
               n, rs, rp, q, q / n, t, t / n, rt, (t > 0 ? q / t : 0) }'
done
if [ ${#children[@]} -gt 0 ]; then kill "${children[@]}" 2>/dev/null || true; fi
wait 2>/dev/null || true
children=()

# The recorder in the background (5 s ticks on mains): wake-ups are the voluntary
# context switches of all its threads (preemptions are the machine's business, not
# its own), CPU share its CPU time over the wall time. bench/recorder-wakeups.sh
# lists them per thread.
switches() {
    local total=0 t v
    for t in /proc/"$1"/task/*/status; do
        v=$(awk '/^voluntary_ctxt_switches/ { s += $2 } END { print s + 0 }' "$t" 2>/dev/null || echo 0)
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
