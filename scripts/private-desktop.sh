# Sourced (not run) by the scripts that drive Quillmere on a desktop of their own: a
# virtual X display, a private session bus, private settings and history folders, and
# trayer as the tray host. Nothing touches the machine's own display, bus or files.
#
#   source scripts/private-desktop.sh
#   desktop_display [WIDTHxHEIGHT]   Xvfb on a free display number; exports DISPLAY
#   desktop_bus                      a private session bus; exports DBUS_SESSION_BUS_ADDRESS
#   desktop_home                     private XDG config, data and runtime folders
#   desktop_tray [trayer options]    trayer along the top right, once it is mapped ($tray_pid)
#   wait_for SECONDS COMMAND...      polls COMMAND every 0.1 s until it succeeds
#
# $work is a scratch folder; every pid added to `pids` is ended, and $work removed, on exit.

work=$(mktemp -d)
pids=()
desktop_cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap desktop_cleanup EXIT

wait_for() {
    local limit=$1 i
    shift
    for ((i = 0; i < limit * 10; i++)); do
        if "$@" >/dev/null 2>&1; then return 0; fi
        sleep 0.1
    done
    return 1
}

desktop_display() {
    local size=${1:-1280x800} display=90
    command -v Xvfb >/dev/null || { echo "Xvfb is not installed" >&2; exit 1; }
    while [[ -e /tmp/.X11-unix/X$display || -e /tmp/.X$display-lock ]]; do display=$((display + 1)); done
    export DISPLAY=:$display
    Xvfb "$DISPLAY" -screen 0 "${size}x24" -nolisten tcp >"$work/xvfb.log" 2>&1 &
    pids+=($!)
    wait_for 10 test -e "/tmp/.X11-unix/X$display" || { echo "Xvfb did not start" >&2; exit 1; }
}

desktop_bus() {
    dbus-daemon --session --nofork --print-address=1 >"$work/bus" 2>"$work/bus.log" &
    pids+=($!)
    wait_for 5 test -s "$work/bus" || { echo "the private session bus did not start" >&2; exit 1; }
    DBUS_SESSION_BUS_ADDRESS=$(head -n1 "$work/bus")
    export DBUS_SESSION_BUS_ADDRESS
}

desktop_home() {
    export XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data XDG_RUNTIME_DIR=$work/run
    mkdir -p "$XDG_CONFIG_HOME/quillmere" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
    chmod 700 "$XDG_RUNTIME_DIR"
    unset WAYLAND_DISPLAY QT_QPA_PLATFORM
}

desktop_tray() {
    trayer --edge top --align right --widthtype pixel --width 160 --heighttype pixel --height 32 "$@" \
        >/dev/null 2>&1 &
    tray_pid=$!
    pids+=($tray_pid)
    wait_for 10 xdotool search --onlyvisible --class trayer || { echo "trayer did not start" >&2; exit 1; }
}
