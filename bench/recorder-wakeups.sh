#!/usr/bin/env bash
# How often `quillmere record` wakes up in the background and what CPU it takes (not
# run in CI): the recorder runs on a scratch database, settles for SETTLE seconds,
# and is then watched for WINDOW seconds. Each thread's wake-ups are its voluntary
# context switches (one per sleep it wakes from), read from /proc/PID/task/TID/status
# at both ends of the window; preemptions (involuntary switches, which depend on how
# busy the machine is) are listed apart; CPU is utime + stime.
#   bench/recorder-wakeups.sh [build-folder]     (SETTLE=15 WINDOW=60 NOTIFY=0)
# NOTIFY=1 keeps desktop notifications on (a session bus is then needed).
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$build/quillmere"
settle="${SETTLE:-15}"
window="${WINDOW:-60}"
[[ -x "$binary" ]] || { echo "wakeups: $binary not found (build the quillmere target)" >&2; exit 1; }

work="$(mktemp -d)"
recorder=0
cleanup() {
    [[ $recorder -gt 0 ]] && kill "$recorder" 2>/dev/null && wait "$recorder" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

flags=(record --quiet --db "$work/history.sqlite")
[[ "${NOTIFY:-0}" == 1 ]] || flags+=(--no-notify)
"$binary" "${flags[@]}" >"$work/recorder.log" 2>&1 &
recorder=$!
sleep "$settle"

# One line per thread: tid name wake-ups preemptions cpu-ticks.
threads() {
    for task in /proc/"$recorder"/task/*; do
        local tid=${task##*/} name switches ticks
        name=$(cat "$task/comm" 2>/dev/null) || continue
        switches=$(awk '/^voluntary_ctxt_switches:/ { v = $2 } /^nonvoluntary_ctxt_switches:/ { n = $2 }
                        END { print v + 0, n + 0 }' "$task/status" 2>/dev/null)
        ticks=$(awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "$task/stat" 2>/dev/null)
        echo "$tid ${name// /_} ${switches:-0 0} ${ticks:-0}"
    done
}
before="$(threads)"
start=$(date +%s.%N)
sleep "$window"
after="$(threads)"
elapsed=$(echo "$(date +%s.%N) - $start" | bc -l)
hz=$(getconf CLK_TCK)

echo "recorder wake-ups over ${window} s after ${settle} s settling (pid $recorder):"
printf '  %-8s %-16s %12s %14s %10s\n' tid thread wake-ups/s preemptions/s cpu-%
# Joined: tid, then name, wake-ups, preemptions, ticks before and after.
join <(sort <<<"$before") <(sort <<<"$after") | awk -v t="$elapsed" -v hz="$hz" '
    { w = ($7 - $3) / t; p = ($8 - $4) / t; c = ($9 - $5) / hz / t * 100; tw += w; tp += p; tc += c
      printf "  %-8s %-16s %12.3f %14.3f %10.4f\n", $1, $2, w, p, c }
    END { printf "  %-8s %-16s %12.3f %14.3f %10.4f\n", "", "all threads", tw, tp, tc }'
