#!/usr/bin/env bash
# How soon `quillmere top` fills the screen, as a person in a terminal sees it (not
# run in CI): the view is started in a tmux pane of 120x40 that already exists, and
# the pane is read every few milliseconds from the moment it is started. Two times
# per run: the full screen (header, memory, the list's heading and rows) and the
# first rates (the CPU line with its shares, which need a second read). RUNS runs
# with PROCS processes in all (sleepers are started to reach it); each run starts
# with an empty settings folder, as on a first start.
#   bench/top-first-screen.sh [build-folder]     (RUNS=5 PROCS=0)
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$(realpath "$build/quillmere")"
runs="${RUNS:-5}"
procs="${PROCS:-0}"
[[ -x "$binary" ]] || { echo "top-first-screen: $binary not found (build the quillmere target)" >&2; exit 1; }
command -v tmux >/dev/null || { echo "top-first-screen: needs tmux" >&2; exit 1; }

work="$(mktemp -d)"
socket="$work/tmux"
sleepers=()
cleanup() {
    tmux -S "$socket" kill-server 2>/dev/null
    for pid in "${sleepers[@]}"; do kill "$pid" 2>/dev/null; done
    rm -rf "$work"
}
trap cleanup EXIT

have=$(ls -d /proc/[0-9]* | wc -l)
for ((i = have; i < procs; i++)); do
    sleep 3600 &
    sleepers+=($!)
done

# A pane that waits, so the tmux server's own start is not counted; it stays when
# the view leaves, to be started again.
tmux -S "$socket" new-session -d -x 120 -y 40 -s first "cat"
tmux -S "$socket" set-option -t first remain-on-exit on >/dev/null
milliseconds() { echo $((${EPOCHREALTIME/./} / 1000)); }

echo "quillmere top, 120x40, $(ls -d /proc/[0-9]* | wc -l) processes, load $(cut -d' ' -f1-3 /proc/loadavg):"
printf '  %-4s %18s %18s\n' run full-screen-ms first-rates-ms
fulls=() rates=()
for ((run = 1; run <= runs; run++)); do
    rm -rf "$work/config" && mkdir -p "$work/config"
    start=$(milliseconds)
    tmux -S "$socket" respawn-pane -k -t first \
        "env TERM=xterm-256color XDG_CONFIG_HOME=$work/config $binary top --interval 2"
    full="" rate=""
    while [[ -z "$rate" ]] && (($(milliseconds) - start < 10000)); do
        screen=$(tmux -S "$socket" capture-pane -p -t first) || break
        now=$(milliseconds)
        # The list's heading and a row under it: the screen is full.
        if [[ -z "$full" && "$screen" =~ $'\n'(APP|PROCESS)\ [^$'\n']*MEMORY[^$'\n']*$'\n'[^$'\n']*[^[:space:]] ]]; then
            full=$((now - start))
        fi
        [[ -n "$full" && "$screen" =~ $'\n'CPU\ +[0-9] ]] && rate=$((now - start))
    done
    printf '  %-4s %18s %18s\n' "$run" "${full:-none}" "${rate:-none}"
    fulls+=("${full:-99999}")
    rates+=("${rate:-99999}")
    tmux -S "$socket" send-keys -t first q
    sleep 1
done
median() { printf '%s\n' "$@" | sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
printf '  %-4s %18s %18s\n' median "$(median "${fulls[@]}")" "$(median "${rates[@]}")"
