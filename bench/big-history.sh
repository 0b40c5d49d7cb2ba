#!/usr/bin/env bash
# The history commands on a big history (not run in CI): builds 30 days of a busy
# machine ending now (APPS app rows a minute out of a population of 400 apps, an event
# every 10 minutes), then times what a person waits for, each command RUNS times (the
# best and the worst are printed), and what the recorder's checks cost it.
# Targets: `timeline --range 30d` under 1 s, `advisor` and `energy` under 0.5 s.
#   bench/big-history.sh [build-folder]      (APPS=60 RUNS=3 KEEP=0)
# APPS=250 makes a file of about 2 GB; the default 60 about half a GB.
set -uo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
binary="$build/quillmere"
apps="${APPS:-60}"
runs="${RUNS:-3}"
[[ -x "$binary" ]] || { echo "big-history: $binary not found (build the quillmere target)" >&2; exit 1; }
command -v sqlite3 >/dev/null || { echo "big-history: the sqlite3 program is needed" >&2; exit 1; }

work="$(mktemp -d)"
db="$work/history.sqlite"
cleanup() { [[ "${KEEP:-0}" == 1 ]] && echo "kept $db" || rm -rf "$work"; }
trap cleanup EXIT

now=$(date +%s)
end=$(( now / 60 * 60 ))
start=$(( end - 30 * 86400 ))
started=$(date +%s.%N)
sqlite3 "$db" <<SQL
PRAGMA journal_mode=WAL;
PRAGMA synchronous=OFF;
CREATE TABLE sys(
  ts INTEGER PRIMARY KEY, cpu REAL, mem_used REAL, mem_total REAL, pressure REAL, plevel INTEGER,
  swap REAL, gpu REAL, power REAL, soc_temp REAL, net_rx REAL, net_tx REAL, disk_r REAL, disk_w REAL,
  battery REAL, on_battery INTEGER, thermal INTEGER);
CREATE TABLE app(
  ts INTEGER, key TEXT, name TEXT, cpu REAL, mem REAL, energy REAL, disk_w REAL,
  PRIMARY KEY(ts, key)) WITHOUT ROWID;
CREATE TABLE event(
  id INTEGER PRIMARY KEY AUTOINCREMENT, ts INTEGER, kind TEXT, severity INTEGER,
  title TEXT, detail TEXT, app_key TEXT, app_name TEXT);
BEGIN;
WITH RECURSIVE m(ts) AS (SELECT $start UNION ALL SELECT ts + 60 FROM m WHERE ts + 60 < $end)
INSERT INTO sys SELECT ts, 5 + (ts / 60 * 7919 % 900) / 10.0, 6e9 + (ts / 60 % 97) * 1e7, 16e9,
  30 + ts / 60 % 40, CASE WHEN ts / 60 % 50 = 0 THEN 4 ELSE 1 END, (ts / 60 % 300) * 1e6,
  CASE WHEN ts / 60 % 3 = 0 THEN 12.5 END, 8.5 + ts / 60 % 10, 45 + ts / 60 % 20, 12000 + ts / 60 % 5000,
  3000 + ts / 60 % 700, 40000 + ts / 60 % 9000, 80000 + ts / 60 % 11000, 50 + ts / 60 % 50,
  (ts / 14400) % 3 = 0, CASE WHEN ts / 60 % 500 = 0 THEN 2 ELSE 0 END FROM m;
WITH RECURSIVE k(n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM k WHERE n + 1 < $apps)
INSERT INTO app SELECT ts,
  'app:/usr/share/applications/org.example.Application' || ((ts / 60 * 31 + n * 17) % 400) || '.desktop',
  'Application ' || ((ts / 60 * 31 + n * 17) % 400), (n * 13 + ts / 60) % 150 / 1.5, 2e8 + n * 3e7,
  0.5 * n, 1000.0 * n FROM sys, k;
INSERT INTO event(ts, kind, severity, title, detail, app_key, app_name)
  SELECT ts, 'highCPU', 1, 'Application is using a lot of CPU', '95% of a core for 3 min.',
  'app:/usr/share/applications/org.example.Application1.desktop', 'Application 1' FROM sys WHERE ts % 600 = 0;
COMMIT;
CREATE INDEX app_key ON app(key, ts);
CREATE INDEX event_ts ON event(ts);
SQL
sqlite3 "$db" "PRAGMA wal_checkpoint(TRUNCATE);" >/dev/null
built=$(date +%s.%N)
printf 'built %s: %.0f MB, %s app rows, in %.0f s\n' "$db" "$(echo "$(stat -c %s "$db") / 1048576" | bc -l)" \
    "$(sqlite3 "$db" 'SELECT COUNT(*) FROM app')" "$(echo "$built - $started" | bc -l)"

# Each command RUNS times; prints the best and the worst wall time.
timed() {
    local best="" worst="" t0 t1 took status
    for ((i = 0; i < runs; i++)); do
        t0=$(date +%s.%N)
        "$binary" "$@" --db "$db" >/dev/null 2>"$work/err"
        status=$?
        t1=$(date +%s.%N)
        took=$(echo "$t1 - $t0" | bc -l)
        [[ $status -eq 0 ]] || { echo "  $*: exit $status: $(head -c 200 "$work/err")"; return; }
        [[ -z "$best" || $(echo "$took < $best" | bc -l) -eq 1 ]] && best=$took
        [[ -z "$worst" || $(echo "$took > $worst" | bc -l) -eq 1 ]] && worst=$took
    done
    printf '  %-22s best %6.3f s  worst %6.3f s\n' "$*" "$best" "$worst"
}
echo "commands ($runs runs each):"
timed timeline --range 30d
timed timeline --range 7d
timed advisor
timed energy
timed events --since 30d
timed history size

# The recorder: its start-up page check (bounded to 5 s) and a minute of recording
# with its once-a-minute check, in CPU seconds.
"$binary" record --db "$db" --no-notify --quiet >"$work/record.out" 2>&1 &
recorder=$!
sleep 75
ticks=$(awk '{print $14 + $15}' "/proc/$recorder/stat")
kill -INT "$recorder"
wait "$recorder"
printf 'recorder: 75 s of recording took %.2f s of CPU (start-up check and one minute check included)\n' \
    "$(echo "$ticks / $(getconf CLK_TCK)" | bc -l)"
grep -v '^Recording\|^Stopped' "$work/record.out" | head -5
