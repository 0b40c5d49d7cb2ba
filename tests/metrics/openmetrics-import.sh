#!/usr/bin/env bash
# The history into Prometheus: 30 days of recorded minutes exported with
# `quillmere history export --openmetrics`, imported with
# `promtool tsdb create-blocks-from openmetrics`, and queried through a Prometheus
# server on that storage: every minute comes back, with its value, and an unmeasured
# figure (GPU) has no samples.
#
#   openmetrics-import.sh QUILLMERE_BINARY     (exit 77: skipped, Prometheus is not installed)
set -euo pipefail

quillmere="$1"
for tool in prometheus promtool sqlite3; do
    if ! command -v "$tool" >/dev/null; then
        echo "SKIP: $tool is not installed"
        exit 77
    fi
done

work=$(mktemp -d "${TMPDIR:-/tmp}/qm-import-XXXXXX")
server_pid=""
cleanup() {
    [[ -n "$server_pid" ]] && kill "$server_pid" 2>/dev/null && wait "$server_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
fail() {
    echo "FAIL: $*"
    [[ -f "$work/prometheus.log" ]] && tail -n 20 "$work/prometheus.log"
    exit 1
}

# 30 days of minutes ending an hour ago, CPU going round 0..99 %, one app in every
# minute and a second one in every tenth. The history lets the store create its tables.
minutes=$((30 * 24 * 60))
end=$(( ($(date +%s) / 60 - 60) * 60 ))
start=$((end - (minutes - 1) * 60))
db="$work/history.sqlite"
sqlite3 "$db" <<SQL
CREATE TABLE sys(ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel INTEGER,
  swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w REAL,
  battery REAL, on_battery INTEGER, thermal INTEGER);
CREATE TABLE app(ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL,
  PRIMARY KEY(ts, key)) WITHOUT ROWID;
CREATE TABLE event(id INTEGER PRIMARY KEY AUTOINCREMENT, ts INTEGER, kind TEXT, severity INTEGER,
  title TEXT, detail TEXT, app_key TEXT, app_name TEXT);
WITH RECURSIVE m(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM m WHERE i < $minutes - 1)
INSERT INTO sys SELECT $start + i * 60, i % 100, 4e9, 16e9, 20, CASE WHEN i % 1000 = 0 THEN 4 ELSE 1 END, 0,
  NULL, NULL, 50, 1000, 500, 0, 0, NULL, 0, 0 FROM m;
WITH RECURSIVE m(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM m WHERE i < $minutes - 1)
INSERT INTO app SELECT $start + i * 60, 'app:/usr/share/applications/firefox.desktop', 'Firefox', 150, 2e9, 0, 0 FROM m;
WITH RECURSIVE m(i) AS (SELECT 0 UNION ALL SELECT i + 10 FROM m WHERE i < $minutes - 10)
INSERT INTO app SELECT $start + i * 60, 'proc:make', 'make', 300, 1e8, 120, 4096 FROM m;
SQL

"$quillmere" history export --openmetrics --db "$db" >"$work/history.om"
tail -n 1 "$work/history.om" | grep -qx "# EOF" || fail "the export does not end with # EOF"
promtool tsdb create-blocks-from openmetrics --max-block-duration=720h "$work/history.om" "$work/tsdb" \
    >"$work/import.log" 2>&1 || { tail -n 20 "$work/import.log"; fail "promtool refused the export"; }

server=""
for attempt in 1 2 3 4 5; do
    port=$((20000 + RANDOM % 30000))
    printf 'global:\n  scrape_interval: 1h\n' >"$work/prometheus.yml"
    prometheus --config.file="$work/prometheus.yml" --storage.tsdb.path="$work/tsdb" \
        --storage.tsdb.retention.time=400d --web.listen-address="127.0.0.1:$port" --log.level=warn \
        >"$work/prometheus.log" 2>&1 &
    server_pid=$!
    for _ in $(seq 60); do
        if promtool query instant "http://127.0.0.1:$port" 'vector(1)' >/dev/null 2>&1; then
            server="http://127.0.0.1:$port"
            break 2
        fi
        kill -0 "$server_pid" 2>/dev/null || break
        sleep 1
    done
    kill "$server_pid" 2>/dev/null || true
    wait "$server_pid" 2>/dev/null || true
    server_pid=""
done
[[ -n "$server" ]] || fail "Prometheus did not start"

# One instant query at the last minute over the whole range, value only.
value() { promtool query instant --time="$end" "$server" "$1" 2>/dev/null | sed -n 's/.*=> \([^ ]*\) @.*/\1/p'; }
expect() {
    local got
    got=$(value "$1")
    [[ "$got" == "$2" ]] || fail "$1 is '$got', expected $2"
}
expect "count_over_time(quillmere_cpu_usage_ratio[31d])" "$minutes"
expect "max_over_time(quillmere_cpu_usage_ratio[31d])" "0.99"
expect "count_over_time(quillmere_app_cpu_usage_ratio{name=\"Firefox\"}[31d])" "$minutes"
expect "count_over_time(quillmere_app_power_watts{name=\"make\"}[31d])" "$((minutes / 10))"
expect "max_over_time(quillmere_app_power_watts[31d])" "2"
expect "sum_over_time(quillmere_memory_pressure_level{level=\"critical\"}[31d])" "$(( (minutes + 999) / 1000 ))"
[[ -z "$(value 'count_over_time(quillmere_gpu_usage_ratio[31d])')" ]] || fail "GPU minutes were never measured"
echo "PASS: $minutes minutes imported and queried through $server"
