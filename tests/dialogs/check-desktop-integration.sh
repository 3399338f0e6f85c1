#!/usr/bin/env bash
# What VerrinPlus hands to the desktop: menu entry and AppStream description pass their validators,
# install puts them and the icon where desktops look, every compiled-in image is a PNG of a size its
# widgets expect. Usage: check-desktop-integration.sh <source dir> <build dir> <cmake>
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

desktop="$res/verrinplus.desktop"
validate desktop-file-validate "$desktop"
for key in 'Name=VerrinPlus' 'Exec=verrinplus' 'Icon=verrinplus' 'StartupWMClass=verrinplus'; do
    grep -qx "$key" "$desktop" || fail "verrinplus.desktop lacks the line $key"
done
metainfo="$res/com.verrin.VerrinPlus.metainfo.xml"
grep -q '<launchable type="desktop-id">verrinplus.desktop</launchable>' "$metainfo" ||
    fail "the metainfo does not launch verrinplus.desktop"

if "$cmake" --install "$build" --component desktop --prefix "$stage/usr" >/dev/null; then
    for f in applications/verrinplus.desktop metainfo/com.verrin.VerrinPlus.metainfo.xml \
        icons/hicolor/scalable/apps/verrinplus.svg; do
        [ -s "$stage/usr/share/$f" ] || fail "install does not place share/$f"
    done
    for size in 48 128 256; do
        got="$(identify -format '%m %wx%h' "$stage/usr/share/icons/hicolor/${size}x${size}/apps/verrinplus.png" 2>/dev/null)"
        [ "$got" = "PNG ${size}x${size}" ] || fail "installed ${size}x${size} icon is '$got'"
    done
    validate appstreamcli validate-tree --no-net "$stage"
else
    fail "cmake --install of the desktop component failed"
fi

# Names from the resource list, so a name added there without artwork fails here, not as a blank icon.
names="$(sed -n '/^set(VERRIN_ICONS/,/^)/p' "$res/CMakeLists.txt" | sed '1d;$d' | tr -s ' \t' '\n\n' | grep .)"
count=$(wc -l <<<"$names")
[ "$count" -ge 30 ] || fail "found only $count names in the resource list of resources/CMakeLists.txt"
allowed_sizes() {
    case "$1" in
        frame[1-9].png) echo "22 24 32" ;;             # tray
        record.png | pause.png) echo "16 22 24 32" ;;  # record button
        logo.png) echo "64 72 80 96 128" ;;            # About box
        *) echo "16 32" ;;                             # lists, trees, status bar, small buttons
    esac
}
frame_size=""
while read -r name; do
    png="$res/icons/$name"
    read -r format width height < <(identify -format '%m %w %h\n' "$png" 2>/dev/null | head -n1)
    if [ "${format:-}" != "PNG" ]; then
        fail "$name is listed but resources/icons/$name is not a readable PNG"
        continue
    fi
    [ "$width" = "$height" ] || fail "$name is not square (${width}x${height})"
    grep -qw "$width" <<<"$(allowed_sizes "$name")" ||
        fail "$name is ${width}x${height}; expected one of: $(allowed_sizes "$name")"
    # The tray swaps frames in place: they must all have one size.
    if [[ "$name" == frame[1-9].png ]]; then
        frame_size="${frame_size:-$width}"
        [ "$width" = "$frame_size" ] || fail "$name is ${width} px while frame1 is ${frame_size} px"
    fi
    [ -f "$res/icons/svg/${name%.png}.svg" ] || fail "$name has no source resources/icons/svg/${name%.png}.svg"
done <<<"$names"

# Two identical animation frames would make the tray seem to stall.
grep -q frame <<<"$names" || fail "no tray frames in the resource list"
[ -z "$(cd "$res/icons" && md5sum frame[1-9].png | awk '{print $1}' | sort | uniq -d)" ] ||
    fail "some tray frames are identical"

[ $failures -eq 0 ] || { echo "$failures desktop integration check(s) failed" >&2; exit 1; }
echo "desktop integration: $count images, menu entry, metainfo and icon install all fine"
