#!/usr/bin/env bash
# Runs one test program on a private Xvfb display with its own D-Bus session and an openbox window
# manager, and ends every helper it started. Usage: run-x11.sh <test-binary> [args...]
set -u
if [ -z "${VERRIN_X11_INNER:-}" ]; then
    export VERRIN_X11_INNER=1
    exec xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" dbus-run-session -- "$0" "$@"
fi

unset WAYLAND_DISPLAY
export QT_QPA_PLATFORM=xcb
export XDG_SESSION_TYPE=x11
openbox --sm-disable >/dev/null 2>&1 &
wm=$!
trap 'kill "$wm" 2>/dev/null; wait "$wm" 2>/dev/null' EXIT

# Wait (bounded) until the window manager announces itself on the root window.
for _ in $(seq 1 200); do
    xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
    sleep 0.05
done

"$@"
