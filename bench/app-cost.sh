#!/usr/bin/env bash
# What the desktop app costs, next to the `quillmere record` service in the same run:
# CPU share (percent of one core, from /proc/<pid>/stat utime+stime) and resident
# memory (VmRSS; VmHWM for the peak) of each process over a measured stretch,
#   1. with the app in the tray only (background sampling, 5 s on mains),
#   2. with the main window open on the overview (live sampling, 2 s),
#   3. with the window on the apps section while the machine runs about --processes
#      processes in all (idle `sleep` children make up the number).
# Runs on a private Xvfb with trayer as the tray host, a private D-Bus session and
# private settings and history. The recorder holds the history lock, so the app
# samples for display only, as it does beside the service.
#
#   bench/app-cost.sh [--build build] [--seconds 120] [--processes 2000]
set -euo pipefail

build=build
seconds=120
processes=2000
while [[ $# -gt 0 ]]; do
    case "$1" in
        --build) build=$2; shift 2 ;;
        --seconds) seconds=$2; shift 2 ;;
        --processes) processes=$2; shift 2 ;;
        *) echo "usage: $0 [--build DIR] [--seconds N] [--processes N]" >&2; exit 2 ;;
    esac
done

app=$(realpath "$build/quillmere-app")
cli=$(realpath "$build/quillmere")
source "$(dirname "$0")/../scripts/private-desktop.sh"
desktop_home
desktop_display 1280x800
desktop_bus
desktop_tray

cat >"$XDG_CONFIG_HOME/quillmere/settings.json" <<JSON
{"onboarded": true, "migration.menuBar.v2": true, "menuBar.enabled": true, "menuBar.style": "cpuMemory",
 "window.atLaunch": false, "refresh.interval": 2.0}
JSON

"$cli" record --quiet >/dev/null 2>&1 &
record=$!
pids+=($record)
sleep 1
"$app" >/dev/null 2>&1 &
desktop=$!
pids+=($desktop)

ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
rss() { awk '/^VmRSS/ {print $2}' "/proc/$1/status"; }
hwm() { awk '/^VmHWM/ {print $2}' "/proc/$1/status"; }
hz=$(getconf CLK_TCK)
# Wake-ups: context switches of every thread (voluntary ones are a thread going to
# sleep and being woken again).
wakes() { cat /proc/"$1"/task/*/status 2>/dev/null | awk '/^voluntary_ctxt_switches/ {n += $2} END {print n + 0}'; }
threads() { ls /proc/"$1"/task | wc -l; }

# Measures both processes for $seconds; prints one line each.
measure() {
    local label=$1
    local a0 r0 a1 r1 t0 t1
    local w0 w1 v0 v1
    a0=$(ticks "$desktop"); r0=$(ticks "$record"); w0=$(wakes "$desktop"); v0=$(wakes "$record"); t0=$(date +%s.%N)
    sleep "$seconds"
    a1=$(ticks "$desktop"); r1=$(ticks "$record"); w1=$(wakes "$desktop"); v1=$(wakes "$record"); t1=$(date +%s.%N)
    for who in app record; do
        local pid=$desktop d=$((a1 - a0)) w=$((w1 - w0))
        [[ $who == record ]] && pid=$record d=$((r1 - r0)) w=$((v1 - v0))
        awk -v d="$d" -v w="$w" -v hz="$hz" -v t0="$t0" -v t1="$t1" -v rss="$(rss "$pid")" -v hwm="$(hwm "$pid")" \
            -v threads="$(threads "$pid")" -v label="$label" -v who="$who" 'BEGIN {
                printf "%-22s %-8s CPU %6.3f %% of a core   RSS %6.1f MB (peak %.1f MB)   %5.1f wake-ups/s, %d threads\n",
                       label, who, d / hz / (t1 - t0) * 100, rss / 1024, hwm / 1024, w / (t1 - t0), threads }'
    done
}

sleep 10  # past start-up: the first figures, the process library, the fonts
echo "measuring ${seconds}s per phase on $(nproc) CPUs"
measure "tray only"
"$app"  # a second launch: opens the main window on the overview
sleep 5
measure "overview open (2 s)"

# Idle processes up to the wanted number, then the apps section with them listed.
running=$(find /proc -maxdepth 1 -name '[0-9]*' | wc -l)
for ((i = running; i < processes; i++)); do
    sleep 100000 &
    pids+=($!)
done
"$app" --show "proc:sleep"
sleep 10  # the new processes are listed and explained once
echo "$(find /proc -maxdepth 1 -name '[0-9]*' | wc -l) processes running"
measure "apps open, many procs"
