#!/usr/bin/env bash
# Runs every benchmark program built under <build>/bench and prints their figures.
# Benchmarks that need a display run under Xvfb with openbox like the X11 tests.
set -eu
build=${1:-build}
status=0
for b in "$build"/bench/bench_*; do
    [ -f "$b" ] && [ -x "$b" ] || continue
    echo "== $(basename "$b")"
    case "$(basename "$b")" in
        *_x11*) tests/support/run-x11.sh "$b" || status=1 ;;
        *) QT_QPA_PLATFORM=offscreen "$b" || status=1 ;;
    esac
done
echo "== program while recording (${VERRIN_BENCH_SECONDS:-120} s shown, as long minimised, as long minimised with the front window unchanged)"
bash scripts/bench-program.sh "$build" "${VERRIN_BENCH_SECONDS:-120}" || status=1
echo "== fuzzing every parser of outside input (${VERRIN_FUZZ_SECONDS:-20} s each)"
bash scripts/fuzz.sh "${VERRIN_FUZZ_SECONDS:-20}" || status=1
exit $status
