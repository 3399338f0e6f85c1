#!/usr/bin/env bash
# Runs one test program on a private Xvfb display with its own D-Bus session and an openbox window
# manager, and ends every helper it started. Usage: run-x11.sh <test-binary> [args...]
set -u
if [ -z "${VERRIN_X11_INNER:-}" ]; then
    export VERRIN_X11_INNER=1
    exec xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" dbus-run-session -- "$0" "$@"
fi
unset WAYLAND_DISPLAY
export QT_QPA_PLATFORM=xcb XDG_SESSION_TYPE=x11
openbox --sm-disable >/dev/null 2>&1 &
wm=$!
trap 'kill "$wm" 2>/dev/null; wait "$wm" 2>/dev/null' EXIT
# Wait (bounded) until the window manager can activate windows; openbox now and then fails to open a
# display that has just come up, and is then started again.
for _ in $(seq 1 400); do
    xprop -root _NET_SUPPORTED 2>/dev/null | grep -q '_NET_ACTIVE_WINDOW' && break
    kill -0 "$wm" 2>/dev/null || { openbox --sm-disable >/dev/null 2>&1 & wm=$!; }
    sleep 0.05
done
"$@"
