#!/usr/bin/env bash
# What VerrinPlus hands to the desktop: menu entry and AppStream description pass their validators,
# and install puts them and the icon where desktops and software centres look.
# Usage: check-desktop-integration.sh <source dir> <build dir> <cmake>
set -u
src="$1" build="$2" cmake="${3:-cmake}"
res="$src/resources"
failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
stage="$(mktemp -d)"
trap 'rm -rf "$stage"' EXIT

# A validator's hints are fine; its warnings and errors are not.
validate() {
    local out rc
    out="$("$@" 2>&1)"
    rc=$?
    if [ $rc -ne 0 ] || grep -E '^ *[EW]: |: (error|warning):' <<<"$out" >/dev/null; then
        fail "$* rejects it (exit $rc):"$'\n'"$out"
    fi
}

validate desktop-file-validate "$res/verrinplus.desktop"
grep -q '<launchable type="desktop-id">verrinplus.desktop</launchable>' "$res/com.verrin.VerrinPlus.metainfo.xml" ||
    fail "the metainfo does not launch verrinplus.desktop"

if "$cmake" --install "$build" --component desktop --prefix "$stage/usr" >/dev/null; then
    for f in applications/verrinplus.desktop metainfo/com.verrin.VerrinPlus.metainfo.xml \
        icons/hicolor/scalable/apps/verrinplus.svg; do
        [ -s "$stage/usr/share/$f" ] || fail "install does not place share/$f"
    done
    validate appstreamcli validate-tree --no-net "$stage"
else
    fail "cmake --install of the desktop component failed"
fi

[ $failures -eq 0 ] || { echo "$failures desktop integration check(s) failed" >&2; exit 1; }
echo "desktop integration: menu entry, metainfo and icon install all fine"
