#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer) in
# build-fuzz and runs each for a bounded time on its seed corpus, printing runs and crashes.
#   scripts/fuzz.sh [SECONDS-PER-TARGET]   (default 20)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
build=build-fuzz
if ! command -v clang++ >/dev/null || ! ls /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a >/dev/null 2>&1; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q clang libclang-rt-14-dev >/dev/null
fi
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
flags="-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined"
cmake -S . -B "$build" "${launcher[@]}" -DCMAKE_CXX_COMPILER=clang++ -DVERRIN_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
cmake --build "$build" --target fuzz_all -j "$(nproc)" -- --no-print-directory >"$build/fuzz-build.log" 2>&1 ||
    { tail -30 "$build/fuzz-build.log"; exit 1; }
export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
status=0
for target in service_reply update_feed desktop_file instance_message drag_payload; do
    corpus="$build/corpus/$target"
    mkdir -p "$corpus" "$build/crashes"
    cp -n fuzz/corpus/"$target"/* "$corpus"/ 2>/dev/null || true
    log="$build/fuzz_$target.log"
    if "$build/fuzz/fuzz_$target" "$corpus" -max_total_time="$seconds" -max_len=65536 -timeout=10 \
        -artifact_prefix="$build/crashes/$target-" >"$log" 2>&1; then
        verdict="0 crashes"
    else
        verdict="CRASH (see $log and $build/crashes)"
        status=1
    fi
    runs=$(grep -oE 'Done [0-9]+ runs' "$log" | grep -oE '[0-9]+' || echo "?")
    printf '%-18s %10s runs in %s s, %s\n' "$target" "$runs" "$seconds" "$verdict"
done
exit $status
