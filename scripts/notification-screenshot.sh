#!/usr/bin/env bash
# Shows a real desktop notification from Quillmere and saves a picture of it: a virtual
# X display (Xvfb), a private session bus, the dunst notification daemon on both, then
# `quillmere alerts test`. Nothing touches the machine's own display or bus.
#   scripts/notification-screenshot.sh [quillmere binary] [output png]
# Needs Xvfb, dbus-daemon, dunst and ImageMagick (import, convert).
set -euo pipefail
cd "$(dirname "$0")/.."

binary="${1:-build/quillmere}"
output="${2:-docs/notification-linux.png}"
for tool in Xvfb dbus-daemon dunst import convert; do
    command -v "$tool" >/dev/null || { echo "notification-screenshot: $tool is not installed" >&2; exit 1; }
done

source scripts/private-desktop.sh
desktop_display 1280x720
desktop_bus

# A plain, readable look in the top right corner, as on a typical desktop.
cat >"$work/dunstrc" <<'EOF'
[global]
    origin = top-right
    offset = 24x24
    width = 420
    padding = 14
    horizontal_padding = 16
    frame_width = 1
    frame_color = "#5e6a7d"
    corner_radius = 8
    font = DejaVu Sans 11
    markup = full
    format = "<span size='small' foreground='#9aa5b8'>%a</span>\n<b>%s</b>\n%b"
    word_wrap = yes
    show_indicators = no
[urgency_normal]
    background = "#2b303b"
    foreground = "#eceff4"
    timeout = 0
EOF
dunst -config "$work/dunstrc" >"$work/dunst.log" 2>&1 &
pids+=($!)

# Wait until dunst owns the notification service on the private bus.
for _ in $(seq 100); do
    if dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
           org.freedesktop.DBus.NameHasOwner string:org.freedesktop.Notifications 2>/dev/null |
           grep -q "boolean true"; then
        break
    fi
    sleep 0.05
done

"$binary" alerts test
sleep 1  # dunst draws on its next frame

import -window root "$work/screen.png"
# The notification alone, on a quiet margin.
convert "$work/screen.png" -crop 480x200+800+0 +repage -trim +repage \
        -bordercolor "#1d2128" -border 16 "$output"
echo "Saved $output"
