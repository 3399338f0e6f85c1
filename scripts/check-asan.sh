#!/usr/bin/env bash
# The whole test suite under AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer, in a
# build folder of its own. Leaks that are not ours are listed, with the reason, in
# scripts/lsan-suppressions.txt.
#   scripts/check-asan.sh [BUILD]   (default build-asan)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-asan}
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B "$build" "${launcher[@]}" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_FLAGS="-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" -j "$(nproc)" -- --no-print-directory
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_odr_violation=0
export LSAN_OPTIONS=suppressions=$PWD/scripts/lsan-suppressions.txt:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
cd "$build" && ctest --output-on-failure -j "$(nproc)" --timeout 900
