#!/usr/bin/env bash
# What the running program costs while it records: the built verrinplus under Xvfb and openbox with two
# real windows that take turns in front every 5 s, measured for SECONDS seconds (default 120) with the
# window shown and again minimised, then once more minimised with one window in front all along (the
# quiet case: a tick that sees no change should cost one wake-up and no file-system call), and last an
# empty Qt program with a 1 s timer, the floor of what a tick costs on this machine. Prints CPU
# seconds per hour of recording, wake-ups per second (voluntary context switches of all the process's
# threads: each is a thread going to sleep and being woken; being preempted by other busy programs on a
# shared machine is not counted) and resident memory.
#   scripts/bench-program.sh BUILD_DIR [SECONDS]
set -u
build=${1:-build}
seconds=${2:-120}
if [ -z "${VERRIN_BENCH_INNER:-}" ]; then
    export VERRIN_BENCH_INNER=1
    exec xvfb-run -a -s "-screen 0 1280x1024x24 -nolisten tcp" dbus-run-session -- "$0" "$build" "$seconds"
fi
build=$(cd "$build" && pwd)
work=$(mktemp -d)
pids=()
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null; done
    # Also the `sleep` that holds each test window's input open: waiting on it would never end.
    pkill -P $$ 2>/dev/null
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
export QT_QPA_PLATFORM=xcb XDG_SESSION_TYPE=x11 XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/runtime"
export VERRINPLUS_UPDATE_FEED=
unset WAYLAND_DISPLAY
mkdir -p "$work/data/VerrinPlus" "$work/runtime"
chmod 700 "$work/runtime"
# Signed in to a local service, as a user would be: no offline retries in the figures.
"$build/tools/verrin-service/verrin-service" --port 0 --seed tools/verrin-service/seeds/demo-seed.json >"$work/service.out" 2>&1 &
pids+=($!)
for _ in $(seq 1 100); do
    grep -q Listening "$work/service.out" && break
    sleep 0.1
done
url=$(head -1 "$work/service.out")
url=${url#Listening on }
printf '[API]\nUrl=%s\nUsername=demo@verrin.test\nPassword=%s\nSslEnabled=false\n[Application]\nStarted=true\n' \
    "$url" "$(printf demo | base64)" >"$work/data/VerrinPlus/verrinplus.ini"

openbox --sm-disable >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 1 200); do
    xprop -root _NET_SUPPORTED 2>/dev/null | grep -q _NET_ACTIVE_WINDOW && break
    sleep 0.05
done
windows=()
n=0
for title in "report.odt - Writer" "Inbox - Mail"; do
    # The window lives as long as its input stays open.
    sleep infinity | "$build/tests/platform/x11_test_window" --title "$title" >"$work/window$n" &
    pids+=($!)
    for _ in $(seq 1 100); do
        grep -q '^window ' "$work/window$n" && break
        sleep 0.05
    done
    line=$(head -1 "$work/window$n")
    windows+=("${line#window }")
    n=$((n + 1))
done

# The keyring stays out of the figures (and out of this user's keyring): the settings file keeps the password.
VERRINPLUS_KEYRING=off "$build/src/verrinplus" >"$work/program.log" 2>&1 &
program=$!
pids+=($program)
for _ in $(seq 1 200); do
    xdotool search --onlyvisible --name '^Verrin Plus$' >/dev/null 2>&1 && break
    sleep 0.1
done
sleep 5

threads_of() { # "tid name wake-ups cpu-ns" per thread, and one line "process ticks rss" for the process
    # The scheduler's nanoseconds rather than utime+stime, which count in ticks of 10 ms: a minute of a
    # quiet program is a handful of ticks, too coarse to tell 0.5 s per hour from 1 s, and a program
    # that wakes briefly right after the timer interrupt is seldom caught by the tick at all. The ticks
    # are printed too, as other programs' figures are usually taken from them. Wake-ups are voluntary
    # context switches: a thread going to sleep and being woken; being preempted by other busy
    # programs on a shared machine is not counted.
    local t
    for t in /proc/"$program"/task/*; do
        printf '%s %s %s %s\n' "${t##*/}" "$(tr ' ' '_' <"$t/comm")" \
            "$(awk '/^voluntary_ctxt_switches/ {print $2}' "$t/status" 2>/dev/null)" "$(cut -d' ' -f1 "$t/schedstat" 2>/dev/null)"
    done
    printf 'process %s %s\n' "$(awk '{print $14 + $15}' "/proc/$program/stat")" "$(awk '/VmRSS/ {print $2}' "/proc/$program/status")"
}

measure() { # label [switch: 1 = take turns every 5 s (default), 0 = leave the front window alone]
    local turn=0 switching=${2:-1}
    threads_of >"$work/threads.before"
    local end=$((SECONDS + seconds))
    while [ $SECONDS -lt $end ]; do
        if [ "$switching" = 1 ]; then
            xdotool windowactivate "${windows[$((turn % 2))]}" 2>/dev/null
        fi
        # The user is at the keyboard: a little input now and then (over the bare desktop, where no
        # window of ours hears it), or after the idle limit the program would be recording away time.
        xdotool mousemove $((1250 + turn % 2 * 10)) 10 2>/dev/null
        turn=$((turn + 1))
        sleep 5
    done
    # Per thread, so a thread that ends in between (a pool's worker) takes nothing off the sums; what
    # such a thread did after the first reading is lost, which only makes the figures smaller.
    threads_of | awk -v t="$seconds" -v hz="$(getconf CLK_TCK)" -v l="$1" '
        NR == FNR { if ($1 == "process") { k0 = $2 } else { w0[$1] = $3; c0[$1] = $4 }; next }
        $1 == "process" { k = $2 - k0; rss = $3; next }
        { w = $3 - w0[$1]; c += $4 - c0[$1]; s += w; byName[$2] += w }
        END {
            printf "%s: %.2f s CPU per hour (%.2f s by utime+stime), %.2f wake-ups per second, %.1f MB resident\n",
                   l, c / 1e9 * 3600 / t, k / hz * 3600 / t, s / t, rss / 1024
            # Which threads wake: the names Qt and the libraries give them.
            for (n in byName) if (byName[n] > 0) printf "    %s %.2f/s", n, byName[n] / t
            print ""
        }' "$work/threads.before" -
}

# The user works in the other windows: the one repaint of the whole window when it loses the focus
# happens once, not every hour, so it is left out of the figures.
xdotool windowactivate "${windows[1]}" 2>/dev/null
sleep 5
measure "window shown"
xdotool search --onlyvisible --name '^Verrin Plus$' windowminimize 2>/dev/null
sleep 2
measure "window minimised"
measure "window minimised, front window unchanged" 0

# The floor on this machine, now: a Qt program whose only work is a 1 s timer.
if [ -x "$build/bench/timer_floor" ]; then
    "$build/bench/timer_floor" >/dev/null 2>&1 &
    program=$!
    pids+=($program)
    sleep 3
    measure "floor: an empty Qt program with a 1 s timer" 0
fi
