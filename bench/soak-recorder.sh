#!/usr/bin/env bash
# Soak test of `quillmere record` (not run in CI): the recorder runs for DURATION seconds
# while RATE short processes start every second; two bursts of BURST processes come in
# the first half, and in the second half the recorder is killed with SIGKILL KILLS times
# at random moments and started again at once. Afterwards:
#   - no minute is missing beyond one per kill,
#   - the database passes PRAGMA integrity_check,
#   - the recorder's RSS after the bursts is within 3 MB of its RSS before them.
#   bench/soak-recorder.sh [build-folder]        (DURATION=1800 RATE=200 BURST=5000 KILLS=5)
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$build/quillmere"
duration="${DURATION:-1800}"
rate="${RATE:-200}"
burst="${BURST:-5000}"
kills="${KILLS:-5}"
[[ -x "$binary" ]] || { echo "soak: $binary not found (build the quillmere target)" >&2; exit 1; }
command -v sqlite3 >/dev/null || { echo "soak: the sqlite3 program is needed" >&2; exit 1; }

work="$(mktemp -d)"
db="$work/history.sqlite"
recorder=0
spawner=0
cleanup() {
    [[ $spawner -gt 0 ]] && kill "$spawner" 2>/dev/null
    [[ $recorder -gt 0 ]] && kill "$recorder" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

rss_kb() { awk '/^VmRSS:/ { print $2 }' "/proc/$1/status" 2>/dev/null || echo 0; }
start_recorder() {
    "$binary" record --quiet --no-notify --db "$db" >>"$work/recorder.log" 2>&1 &
    recorder=$!
}
# RATE process starts a second, in batches of a tenth of that every 0.1 s.
spawn_steadily() {
    local batch=$(( rate / 10 > 0 ? rate / 10 : 1 ))
    while :; do
        for ((i = 0; i < batch; i++)); do /bin/true & done
        wait
        sleep 0.1
    done
}
burst_of() {
    local pids=()
    for ((i = 0; i < burst; i++)); do sleep 20 & pids+=($!); done
    echo "  burst: $burst processes running" >&2
    wait "${pids[@]}" 2>/dev/null
}

began=$(date +%s)
start_recorder
spawn_steadily &
spawner=$!

half=$(( duration / 2 ))
# First half: settle for two minutes (or a fifth of the half), note the RSS, two bursts.
settle=$(( half / 5 < 120 ? half / 5 : 120 ))
sleep "$settle"
before=$(rss_kb "$recorder")
echo "soak: recorder RSS before the bursts: $before KB"
burst_of
sleep 10
burst_of
# Let a minute boundary pass after the last process went away (the recorder hands
# freed memory back once a minute).
sleep 70
after=$(rss_kb "$recorder")
echo "soak: recorder RSS after the bursts: $after KB"
elapsed=$(( $(date +%s) - began ))
[[ $elapsed -lt $half ]] && sleep $(( half - elapsed ))

# Second half: KILLS SIGKILLs at random moments, each followed by a restart.
rest=$(( duration - $(date +%s) + began ))
gaps=()
for ((k = 0; k < kills; k++)); do gaps+=($(( RANDOM % (rest / kills > 1 ? rest / kills : 1) + 1 ))); done
used=0
for gap in "${gaps[@]}"; do
    sleep "$gap"
    used=$(( used + gap ))
    kill -KILL "$recorder" 2>/dev/null
    wait "$recorder" 2>/dev/null
    echo "soak: killed the recorder at $(( $(date +%s) - began )) s"
    start_recorder
done
left=$(( duration - $(date +%s) + began ))
[[ $left -gt 0 ]] && sleep "$left"
kill "$spawner" 2>/dev/null
wait "$spawner" 2>/dev/null
spawner=0
kill -TERM "$recorder"
wait "$recorder"
status=$?
recorder=0
ended=$(date +%s)

first=$(( (began / 60 + 1) * 60 ))
last=$(( (ended / 60 - 1) * 60 ))
expected=$(( (last - first) / 60 + 1 ))
found=$(sqlite3 "$db" "SELECT COUNT(*) FROM sys WHERE ts BETWEEN $first AND $last;")
integrity=$(sqlite3 "$db" "PRAGMA integrity_check;")
missing=$(( expected - found ))
growth=$(( after - before ))

echo "soak: ${duration} s, ${rate} starts/s, 2 bursts of ${burst}, ${kills} kills; recorder exit ${status}"
echo "soak: minutes expected ${expected}, stored ${found}, missing ${missing} (allowed ${kills})"
echo "soak: integrity_check: ${integrity}"
echo "soak: RSS before ${before} KB, after ${after} KB, growth ${growth} KB (allowed 3072)"
echo "soak: recorder log:"; sed 's/^/  /' "$work/recorder.log"

ok=1
[[ $missing -le $kills ]] || ok=0
[[ "$integrity" == "ok" ]] || ok=0
[[ $growth -le 3072 ]] || ok=0
[[ $status -eq 0 ]] || ok=0
if [[ $ok -eq 1 ]]; then echo "soak: PASS"; else echo "soak: FAIL"; exit 1; fi
