#!/usr/bin/env bash
# Starts VerrinPlus on the desktop this shell belongs to. Without any display (a bare server or a
# container) it starts on a virtual X display instead, so the program still comes up.
set -eu
binary=$1
shift
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$binary" "$@"
fi
echo "No display found; starting VerrinPlus on a virtual X display (xvfb-run)." >&2
# Its private D-Bus session would start a keyring daemon whose unlock prompt nobody can see: the
# settings file keeps the password there.
export VERRINPLUS_KEYRING=off
exec xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" dbus-run-session -- \
    bash -c 'openbox --sm-disable >/dev/null 2>&1 & exec "$0" "$@"' "$binary" "$@"
