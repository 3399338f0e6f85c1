#!/usr/bin/env bash
# Mutation sample: how many seeded single changes to src/ does the test suite notice?
#
#   scripts/mutants.sh N [SEED] [FOLDER]
#
# Picks N mutants (flip a comparison, drop a statement, shift a bound by one) from src/ in an order
# fixed by SEED, so a run before and a run after a change to the tests meet the same mutants as long
# as the mutated lines still exist (a mutant is keyed by file name and line text, not line number).
# Each mutant is applied in a private copy of HEAD, rebuilt, and the suite runs until the first
# failure. A mutant that does not compile is skipped and the next one taken. Prints one line per
# mutant and the share killed; the developer's own tree and build are never touched. FOLDER (a
# folder under src/, e.g. rules, or several as rules|store) limits the sample to one part of the program.
#
# To make a sample affordable on a small machine, three optional variables narrow it:
#   MUTANTS_COMMIT   the commit to mutate and test (default HEAD), so a run before a change to the
#                    tests and a run after meet the same mutants with their own tests
#   MUTANTS_TESTS    a ctest -R regex: only these tests run, for the baseline and per mutant
#   MUTANTS_TARGETS  build targets (space-separated) rebuilt for the baseline and per mutant, so only
#                    those tests relink; default all
#   MUTANTS_ONLY     the log of an earlier run: only the mutants it reports killed are taken again
#                    (found by their line's text, so moved code keeps them), so checking that a
#                    leaner suite still kills them costs half the time
set -euo pipefail
count=${1:?usage: scripts/mutants.sh N [SEED] [FOLDER]}
seed=${2:-1}
folder=${3:-}
commit=${MUTANTS_COMMIT:-HEAD}
tests=()
[ -n "${MUTANTS_TESTS:-}" ] && tests=(-R "$MUTANTS_TESTS")
targets=()
# shellcheck disable=SC2206 # a space-separated list of target names
[ -n "${MUTANTS_TARGETS:-}" ] && targets=(--target $MUTANTS_TARGETS)
repo=$(git -C "$(dirname "$0")/.." rev-parse --show-toplevel)
# Beside the repository, so a ccache base_dir that covers the checkout covers the copy too.
work=$(mktemp -d "$(dirname "$repo")/.verrin-mutants.XXXXXX")
tree="$work/tree"
cleanup() {
    git -C "$repo" worktree remove --force "$tree" >/dev/null 2>&1 || true
    rm -rf "$work"
}
trap cleanup EXIT

git -C "$repo" worktree add --detach "$tree" "$commit" >/dev/null
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$tree" -B "$tree/build" "${launcher[@]}" >/dev/null
echo "building the unmutated tree..."
cmake --build "$tree/build" -j "$(nproc)" "${targets[@]}" >"$work/build.log" 2>&1 || { tail -20 "$work/build.log"; exit 1; }
(cd "$tree/build" && ctest -j "$(nproc)" --timeout 300 "${tests[@]}" >"$work/baseline.log" 2>&1) ||
    { echo "the unmutated suite fails; fix that first"; grep -E "Failed|\*\*\*" "$work/baseline.log"; exit 1; }

python3 "$repo/scripts/mutant_sites.py" "$tree/src" "$seed" | awk -v f="$folder" 'f == "" || $0 ~ ("^(" f ")/")' >"$work/sites"
if [ -n "${MUTANTS_ONLY:-}" ]; then
    python3 "$repo/scripts/mutant_only.py" "$MUTANTS_ONLY" "$repo" "$tree/src" "$work/sites"
fi
killed=0 survived=0 taken=0
while IFS=$'\t' read -r file line kind before after && [ "$taken" -lt "$count" ]; do
    target="$tree/src/$file"
    cp "$target" "$work/original"
    python3 - "$target" "$line" "$before" "$after" <<'EOF'
import sys
path, number, before, after = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
lines = open(path, encoding="utf-8").read().split("\n")
lines[number - 1] = lines[number - 1].replace(before, after, 1)
open(path, "w", encoding="utf-8").write("\n".join(lines))
EOF
    if cmake --build "$tree/build" -j "$(nproc)" "${targets[@]}" >"$work/build.log" 2>&1; then
        taken=$((taken + 1))
        if (cd "$tree/build" && ctest -j "$(nproc)" --timeout 300 --stop-on-failure "${tests[@]}" >"$work/test.log" 2>&1); then
            survived=$((survived + 1)) verdict=SURVIVED
        else
            killed=$((killed + 1))
            verdict="killed by $(grep -m1 -E '\*\*\*(Failed|Timeout|Exception)|Subprocess aborted' "$work/test.log" | awk '{print $4}')"
        fi
        printf '%3d %-8s %s:%s  %s -> %s  %s\n' "$taken" "$kind" "$file" "$line" "$before" "$after" "$verdict"
    fi
    cp "$work/original" "$target"
    touch "$target"
done <"$work/sites"
echo "killed $killed of $taken mutants (seed $seed)"
