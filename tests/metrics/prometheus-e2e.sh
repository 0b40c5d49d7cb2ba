#!/usr/bin/env bash
# End to end with a real Prometheus: `quillmere record` without "metrics.listen" opens no
# listening socket; with --metrics on a loopback port, a Prometheus server (temporary
# storage, loopback port) scrapes it while a busy app loops, and its query API returns
# the loops' app above half a core and a high-CPU event counted by quillmere_events_total.
#
#   prometheus-e2e.sh QUILLMERE_BINARY     (exit 77: Prometheus is not installed, so only
#                                           the first part, nothing listening, was run)
#
# Waits are generous and nothing is timed: a loaded two-core machine only makes it slower.
set -euo pipefail

quillmere="$1"
work=$(mktemp -d "${TMPDIR:-/tmp}/qm-prometheus-XXXXXX")
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
unset QUILLMERE_DB

fail() {
    echo "FAIL: $*"
    for log in "$work"/*.log; do
        echo "--- $log"
        tail -n 30 "$log"
    done
    exit 1
}

# Waits up to $1 seconds for the command after it to succeed.
eventually() {
    local seconds=$1
    shift
    local deadline=$((SECONDS + seconds))
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 1
    done
}

# The TCP sockets a process listens on (inodes of its fds found in LISTEN state).
listening_sockets() {
    local pid=$1 inode
    for fd in /proc/"$pid"/fd/*; do
        inode=$(readlink "$fd" 2>/dev/null) || continue
        [[ "$inode" == socket:* ]] || continue
        inode=${inode#socket:[}
        inode=${inode%]}
        awk -v inode="$inode" '$4 == "0A" && $10 == inode { found = 1 } END { exit !found }' \
            /proc/net/tcp /proc/net/tcp6 && echo "$inode"
    done
}

"$quillmere" config set alert.highCPU.threshold 10 >/dev/null
"$quillmere" config set alert.highCPU.minutes 0 >/dev/null

# 1. Off by default: a recorder without the setting listens on nothing.
"$quillmere" record --no-notify --db "$work/quiet.sqlite" >"$work/quiet.log" 2>&1 &
quiet=$!
pids+=("$quiet")
eventually 60 grep -q "^Recording to" "$work/quiet.log" || fail "the recorder did not start"
sleep 2
[[ -z "$(listening_sockets "$quiet")" ]] || fail "a recorder without metrics.listen listens: $(listening_sockets "$quiet")"
grep -q "Serving metrics" "$work/quiet.log" && fail "a recorder without metrics.listen serves metrics"
kill "$quiet"
wait "$quiet" || true

# The rest needs Prometheus; the check above runs everywhere.
for tool in prometheus promtool; do
    if ! command -v "$tool" >/dev/null; then
        echo "SKIP: $tool is not installed (Debian's prometheus package)"
        exit 77
    fi
done

# 2. A busy app (two looping processes under a name of their own, so it still gets half
# a core on a machine busy with other work), and a recorder serving metrics on a free port.
busy_name="qm-busy-$$"
cp /bin/sh "$work/$busy_name"
loops=()
for _ in 1 2 3; do
    "$work/$busy_name" -c 'while :; do :; done' &
    loops+=("$!")
    pids+=("$!")
done
loops_started=$SECONDS
# CPU the loops themselves had, in cores, since they started (utime + stime).
loops_share() {
    local ticks=0 pid
    for pid in "${loops[@]}"; do
        ticks=$((ticks + $(awk '{ sub(/^.*\) /, ""); print $12 + $13 }' "/proc/$pid/stat")))
    done
    awk -v t="$ticks" -v hz="$(getconf CLK_TCK)" -v s=$((SECONDS - loops_started)) 'BEGIN { printf "%.2f", t / hz / (s > 0 ? s : 1) }'
}
"$quillmere" record --no-notify --db "$work/history.sqlite" --metrics 127.0.0.1:0 >"$work/recorder.log" 2>&1 &
recorder=$!
pids+=("$recorder")
eventually 60 grep -q "^Serving metrics at http://127.0.0.1:[0-9]*/metrics" "$work/recorder.log" ||
    fail "the recorder does not serve metrics"
target=$(sed -n 's|^Serving metrics at http://\(127.0.0.1:[0-9]*\)/metrics$|\1|p' "$work/recorder.log")
[[ -n "$(listening_sockets "$recorder")" ]] || fail "the recorder with --metrics listens on nothing"

# 3. Prometheus on a free loopback port, scraping every 2 s into a temporary folder.
cat >"$work/prometheus.yml" <<YAML
global:
  scrape_interval: 2s
  scrape_timeout: 2s
scrape_configs:
  - job_name: quillmere
    static_configs:
      - targets: ['$target']
YAML
server=""
for attempt in 1 2 3 4 5; do
    port=$((20000 + RANDOM % 30000))
    prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/tsdb" \
        --web.listen-address="127.0.0.1:$port" --log.level=warn >"$work/prometheus.log" 2>&1 &
    candidate=$!
    if eventually 60 promtool query instant "http://127.0.0.1:$port" 'vector(1)' >/dev/null 2>&1; then
        server="http://127.0.0.1:$port"
        pids+=("$candidate")
        break
    fi
    kill "$candidate" 2>/dev/null || true
    wait "$candidate" 2>/dev/null || true
done
[[ -n "$server" ]] || fail "Prometheus did not start"

query() { promtool query instant "$server" "$1" 2>/dev/null; }
has_result() { [[ -n "$(query "$1")" ]]; }

eventually 120 has_result 'count_over_time(up{job="quillmere"}[10m]) >= 2 and up{job="quillmere"} == 1' ||
    fail "Prometheus did not scrape the recorder twice: $(query 'up')"
eventually 120 has_result 'sum(quillmere_events_total{kind="highCPU"}) >= 1' ||
    fail "no high-CPU event counted: $(query 'quillmere_events_total{kind="highCPU"}')"
has_result 'quillmere_build_info{job="quillmere"} == 1' || fail "no build info"
has_result 'quillmere_memory_total_bytes > 0' || fail "no memory figures"
if ! eventually 240 has_result "max_over_time(quillmere_app_cpu_usage_ratio{name=\"$busy_name\"}[10m]) > 0.5"; then
    # Only a fault if the loops really had that much: on a machine far busier than its
    # cores they may not get half a core between them, and then nothing was wrong.
    share=$(loops_share)
    if awk -v s="$share" 'BEGIN { exit !(s < 0.6) }'; then
        echo "SKIP: the machine is too busy: the loops had $share of a core between them"
        exit 77
    fi
    fail "no series for the loops (they had $share of a core) above half a core:" \
        "$(query 'topk(5, quillmere_app_cpu_usage_ratio)')"
fi
echo "PASS: Prometheus at $server scraped $target: $(query "quillmere_app_cpu_usage_ratio{name=\"$busy_name\"}")"
