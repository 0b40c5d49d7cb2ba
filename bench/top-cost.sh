#!/usr/bin/env bash
# What the terminal view costs beside htop and btop (not run in CI): the three run at
# the same time, each in its own tmux window of 120x40 at a 2 s period, on the same
# machine with PROCS processes in all (sleepers are started to reach it). After
# SETTLE seconds each is watched for WINDOW seconds: CPU is utime + stime of all its
# threads; wake-ups are voluntary context switches of all its threads (one per sleep
# it wakes from).
#   bench/top-cost.sh [build-folder]     (PROCS=100 SETTLE=10 WINDOW=120; the README's figures used 90 s and 60 s)
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$(realpath "$build/quillmere")"
procs="${PROCS:-100}"
settle="${SETTLE:-10}"
window="${WINDOW:-120}"
[[ -x "$binary" ]] || { echo "top-cost: $binary not found (build the quillmere target)" >&2; exit 1; }
command -v tmux >/dev/null || { echo "top-cost: needs tmux" >&2; exit 1; }

work="$(mktemp -d)"
socket="$work/tmux"
sleepers=()
cleanup() {
    tmux -S "$socket" kill-server 2>/dev/null
    for pid in "${sleepers[@]}"; do kill "$pid" 2>/dev/null; done
    rm -rf "$work"
}
trap cleanup EXIT

# Sleepers up to the wanted number of processes.
have=$(ls -d /proc/[0-9]* | wc -l)
for ((i = have; i < procs; i++)); do
    sleep 3600 &
    sleepers+=($!)
done

mkdir -p "$work/config/btop"
echo 'update_ms = 2000' >"$work/config/btop/btop.conf"
declare -A commands=(
    [quillmere]="XDG_CONFIG_HOME=$work/config $binary top --interval 2"
    [htop]="htop -d 20"
    [btop]="XDG_CONFIG_HOME=$work/config btop"
)
declare -A pids=()
for name in quillmere htop btop; do
    first=${first:-}
    command -v "${name/quillmere/$binary}" >/dev/null || { echo "top-cost: $name not installed, skipped" >&2; continue; }
    if [[ -z "$first" ]]; then
        tmux -S "$socket" new-session -d -x 120 -y 40 -s cost -n "$name" "env TERM=xterm-256color ${commands[$name]}"
        first=1
    else
        tmux -S "$socket" new-window -t cost -n "$name" "env TERM=xterm-256color ${commands[$name]}"
    fi
done
sleep 2
for name in quillmere htop btop; do
    shell=$(tmux -S "$socket" list-panes -t "cost:$name" -F '#{pane_pid}' 2>/dev/null) || continue
    # The pane runs env, which execs the program: the pane's pid is the program's.
    pids[$name]=$shell
done
sleep "$settle"

# CPU ticks and voluntary switches of all threads of one process.
measure() {
    local pid=$1 ticks=0 switches=0 t s
    for task in /proc/"$pid"/task/*; do
        t=$(awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "$task/stat" 2>/dev/null) || continue
        s=$(awk '/^voluntary_ctxt_switches:/ { print $2 }' "$task/status" 2>/dev/null) || continue
        ticks=$((ticks + ${t:-0}))
        switches=$((switches + ${s:-0}))
    done
    echo "$ticks $switches"
}
declare -A before=()
for name in "${!pids[@]}"; do before[$name]=$(measure "${pids[$name]}"); done
start=$(date +%s.%N)
sleep "$window"
elapsed=$(echo "$(date +%s.%N) - $start" | bc -l)
hz=$(getconf CLK_TCK)
echo "terminal monitors at a 2 s period, 120x40, $(ls -d /proc/[0-9]* | wc -l) processes, ${window} s:"
printf '  %-10s %12s %12s %12s\n' program cpu-seconds cpu-% wake-ups/s
for name in quillmere htop btop; do
    [[ -n "${pids[$name]:-}" ]] || continue
    read -r t0 s0 <<<"${before[$name]}"
    read -r t1 s1 <<<"$(measure "${pids[$name]}")"
    awk -v n="$name" -v dt="$((t1 - t0))" -v ds="$((s1 - s0))" -v e="$elapsed" -v hz="$hz" \
        'BEGIN { printf "  %-10s %12.2f %12.3f %12.2f\n", n, dt / hz, dt / hz / e * 100, ds / e }'
done
