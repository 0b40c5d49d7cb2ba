#!/usr/bin/env bash
# End-to-end check of quillmere-app on a real X server with a real tray host:
# Xvfb, trayer and xdotool, a private D-Bus session and private settings and history.
#   - the tray icon appears and shows the label in each of the five styles,
#   - a click on it opens the quick look, `--toggle` closes it,
#   - `--show KEY` opens the window on that group (a second launch hands over, exits 0),
#   - Ctrl+Q hides the window to the tray (three times, the icon stays), a restarted tray
#     panel gets the icon back, Ctrl+Alt+Q quits after writing the partial minute,
#   - SIGTERM quits and saves too,
# and saves screenshots of the tray in each style, the quick look, the overview and
# each settings page to docs/screenshots/ (or the folder given with --shots).
#
#   scripts/app-e2e.sh [--build build] [--shots docs/screenshots]
set -euo pipefail

build=build
shots=docs/screenshots
while [[ $# -gt 0 ]]; do
    case "$1" in
        --build) build=$2; shift 2 ;;
        --shots) shots=$2; shift 2 ;;
        *) echo "usage: $0 [--build DIR] [--shots DIR]" >&2; exit 2 ;;
    esac
done

app=$(realpath "$build/quillmere-app")
cli=$(realpath "$build/quillmere")
mkdir -p "$shots"
shots=$(realpath "$shots")

source "$(dirname "$0")/private-desktop.sh"
desktop_home
export QT_QPA_PLATFORMTHEME= QT_AUTO_SCREEN_SCALE_FACTOR=0
desktop_display 1280x800
desktop_bus
desktop_tray --SetDockType true --transparent false --tint 0x30343a --expand true

failures=0
pass() { echo "ok   $*"; }
fail() { echo "FAIL $*"; failures=$((failures + 1)); }

tray=$(xdotool search --onlyvisible --class trayer | head -1)

# An onboarded user who starts in the tray only, on the CPU style.
version=$("$cli" --version 2>/dev/null | awk '{print $NF}')
cat >"$XDG_CONFIG_HOME/quillmere/settings.json" <<JSON
{"onboarded": true, "migration.menuBar.v2": true, "menuBar.enabled": true, "menuBar.style": "cpu",
 "window.atLaunch": false, "whatsNew.lastSeenVersion": "${version:-0}"}
JSON

"$app" >"$work/app.log" 2>&1 &
app_pid=$!
pids+=($app_pid)

# The tray icon: Qt's window, embedded somewhere below trayer's panel.
icon_window() { xwininfo -tree -id "$tray" | awk '/"Quillmere": \("quillmere-app"/ {print $1; exit}'; }
has_icon() { [[ -n "$(icon_window)" ]]; }
if wait_for 15 has_icon; then
    pass "the tray icon appears in trayer"
else
    fail "no tray icon in trayer"; cat "$work/app.log"; exit 1
fi
icon=$(icon_window)
sleep 3  # the first figures

# A window's picture, cut from the screen (trayer's own window cannot be read directly).
shoot() {
    local id=$1 file=$2; shift 2
    local x y w h
    eval "$(xwininfo -id "$id" | awk '/Absolute upper-left X/ {print "x="$NF} /Absolute upper-left Y/ {print "y="$NF}
                                       /Width:/ {print "w="$NF} /Height:/ {print "h="$NF}')"
    import -window root -crop "${w}x${h}+${x}+${y}" +repage "$@" "$file"
}
shoot_tray() { shoot "$tray" "$shots/tray-$1.png" -filter point -resize 300%; }
for style in icon cpu cpuMemory temperature power; do
    "$cli" config set menuBar.style "$style" >/dev/null
    sleep 1.5  # the settings file is watched; the label redraws at once
    shoot_tray "$style"
done
pass "tray label in each style saved"
"$cli" config set menuBar.style cpuMemory >/dev/null

visible() { xdotool search --onlyvisible --name "$1"; }
# A click on the icon opens the quick look beside it.
eval "$(xwininfo -id "$icon" | awk '/Absolute upper-left X/ {print "ix="$NF} /Absolute upper-left Y/ {print "iy="$NF} /Width/ {print "iw="$NF} /Height/ {print "ih="$NF}')"
xdotool mousemove $((ix + iw / 2)) $((iy + ih / 2)) click 1
if wait_for 5 visible "Quillmere quick look"; then
    pass "a click on the tray icon opens the quick look"
    sleep 2.5
    shoot "$(visible 'Quillmere quick look' | head -1)" "$shots/quick-look.png"
else
    fail "the quick look did not open"
fi
"$app" --toggle
if wait_for 5 bash -c "! xdotool search --onlyvisible --name 'Quillmere quick look'"; then
    pass "--toggle closes the quick look (and the second launch exited $?)"
else
    fail "--toggle did not close the quick look"
fi

# A plain second launch opens the main window on the overview.
"$app"
if wait_for 5 visible "^Quillmere$"; then
    pass "a second launch hands over and opens the window"
else
    fail "the window did not open"
fi
main=$(visible "^Quillmere$" | head -1)
xdotool windowsize "$main" 1100 760
sleep 3
shoot "$main" "$shots/overview.png"

# Settings: Ctrl+, opens them; Ctrl+PgDown walks the pages.
xdotool windowfocus --sync "$main" key ctrl+comma
if wait_for 5 visible "Quillmere Settings"; then
    settings=$(visible "Quillmere Settings" | head -1)
    sleep 0.5
    # The tabs' places along the top of the window.
    for tab in general:45 system-tray:131 alerts:210 data:266 system-access:348; do
        xdotool mousemove --window "$settings" "${tab#*:}" 24 click 1
        sleep 0.7
        shoot "$settings" "$shots/settings-${tab%%:*}.png"
    done
    pass "settings pages saved"
    xdotool windowfocus --sync "$settings" key ctrl+w 2>/dev/null || true
    xdotool windowunmap "$settings" 2>/dev/null || true
else
    fail "Ctrl+, did not open the settings"
fi

# --show KEY opens the window on that group: Xvfb itself is a running group here.
"$app" --show "proc:Xvfb"
sleep 1
if wait_for 5 visible "^Quillmere$"; then pass "--show opens the window"; else fail "--show did not open the window"; fi
"$app" --show "proc:no-such-group-anywhere"
wait_for 5 visible "^Quillmere$" && pass "--show with a vanished key still opens the window"

# Ctrl+Q hides to the tray (the one-time hint appears), the process keeps running.
main=$(visible "^Quillmere$" | head -1)
xdotool windowfocus --sync "$main" key ctrl+q
if wait_for 5 bash -c "! xdotool search --onlyvisible --name '^Quillmere\$'" && kill -0 "$app_pid"; then
    pass "Ctrl+Q hides the window and keeps running"
else
    fail "Ctrl+Q did not hide to the tray"
fi
if wait_for 5 visible "Quillmere is still running"; then
    hint=$(visible "Quillmere is still running" | head -1)
    sleep 0.5
    shoot "$hint" "$shots/background-hint.png"
    pass "the background hint appears"
    xdotool windowfocus --sync "$hint" key Return
else
    fail "no background hint"
fi

# Hiding to the tray never takes the tray icon with it: three times over.
for round in 1 2 3; do
    "$app"
    wait_for 5 visible "^Quillmere$" || { fail "round $round: the window did not open"; continue; }
    xdotool windowfocus --sync "$(visible "^Quillmere$" | head -1)" key ctrl+q
    if wait_for 5 bash -c "! xdotool search --onlyvisible --name '^Quillmere\$'" && sleep 1 && has_icon; then
        pass "round $round: Ctrl+Q hid the window and the tray icon is still there"
    else
        fail "round $round: after Ctrl+Q the tray icon is gone"
    fi
done

# The panel restarts: the icon comes back in the new one.
kill "$tray_pid" 2>/dev/null; wait "$tray_pid" 2>/dev/null || true
desktop_tray --SetDockType true --transparent false --tint 0x30343a --expand true
tray=$(xdotool search --onlyvisible --class trayer | head -1)
if wait_for 15 has_icon; then pass "a restarted tray panel gets the icon back"; else fail "no icon after the panel restarted"; fi

# Ctrl+Alt+Q quits completely and writes the minute in progress.
db=$XDG_DATA_HOME/quillmere/history.sqlite
"$app"
wait_for 5 visible "^Quillmere$"
main=$(visible "^Quillmere$" | head -1)
before=$(sqlite3 "$db" "select count(*) from sys" 2>/dev/null || echo 0)
xdotool windowfocus --sync "$main" key ctrl+alt+q
if wait_for 10 bash -c "! kill -0 $app_pid"; then
    wait "$app_pid" && status=0 || status=$?
    after=$(sqlite3 "$db" "select count(*) from sys")
    if [[ $status -eq 0 && $after -gt $before ]]; then
        pass "Ctrl+Alt+Q quits (exit 0) after writing the partial minute ($before -> $after rows)"
    else
        fail "Ctrl+Alt+Q: exit $status, rows $before -> $after"
    fi
else
    fail "Ctrl+Alt+Q did not quit"
fi

# SIGTERM (log-out, shutdown) quits without asking and saves too. The rows so far go,
# so the minute written at the end is the only one.
sqlite3 "$db" "delete from sys"
"$app" >>"$work/app.log" 2>&1 &
app_pid=$!
pids+=($app_pid)
wait_for 10 test -S "$XDG_RUNTIME_DIR/quillmere-app.socket"
sleep 7  # in the tray only it samples every 5 s: wait for the first sample
before=$(sqlite3 "$db" "select count(*) from sys")
kill -TERM "$app_pid"
if wait_for 10 bash -c "! kill -0 $app_pid"; then
    after=$(sqlite3 "$db" "select count(*) from sys")
    [[ $after -gt $before ]] && pass "SIGTERM quits after saving ($before -> $after rows)" ||
        fail "SIGTERM: rows $before -> $after"
else
    fail "SIGTERM did not end the app"
fi

# Without a display: one line, exit 1.
message=$(env -u DISPLAY "$app" 2>&1) && fail "no display: exit 0" || true
[[ $(wc -l <<<"$message") -eq 1 && $message == Quillmere:* ]] && pass "no display: $message" ||
    fail "no display said: $message"

echo
[[ $failures -eq 0 ]] && echo "all end-to-end checks passed" || echo "$failures end-to-end check(s) failed"
exit $((failures > 0))
