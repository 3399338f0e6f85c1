#!/usr/bin/env bash
# Checks what VerrinPlus hands to the desktop: the menu entry and the AppStream description pass their
# validators, the install rules put them and the application icon where desktops look, and every
# compiled-in image exists as a PNG of a size the widgets showing it expect.
# Usage: check-desktop-integration.sh <source dir> <build dir> <cmake>
set -u

src="$1"
build="$2"
cmake="${3:-cmake}"
res="$src/resources"
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

stage="$(mktemp -d)"
trap 'rm -rf "$stage"' EXIT

# --- The menu entry -------------------------------------------------------------------------------
desktop="$res/verrinplus.desktop"
if ! out="$(desktop-file-validate "$desktop" 2>&1)"; then
    fail "desktop-file-validate rejects verrinplus.desktop:"$'\n'"$out"
elif [ -n "$out" ]; then
    # Hints are fine; warnings and errors are not.
    if grep -E ': (error|warning):' <<<"$out" >&2; then
        fail "desktop-file-validate complains about verrinplus.desktop"
    fi
fi
for key in 'Name=VerrinPlus' 'Exec=verrinplus' 'Icon=verrinplus' 'StartupWMClass=verrinplus'; do
    grep -qx "$key" "$desktop" || fail "verrinplus.desktop lacks the line $key"
done

# --- The AppStream description --------------------------------------------------------------------
metainfo="$res/com.verrin.VerrinPlus.metainfo.xml"
out="$(appstreamcli validate --no-net "$metainfo" 2>&1)"
rc=$?
if [ $rc -ne 0 ] || grep -E '^ *[EW]: ' <<<"$out" >/dev/null; then
    fail "appstreamcli rejects the metainfo (exit $rc):"$'\n'"$out"
fi
grep -q '<launchable type="desktop-id">verrinplus.desktop</launchable>' "$metainfo" ||
    fail "the metainfo does not launch verrinplus.desktop"

# --- Install rules: installed tree as a desktop would see it --------------------------------------
if "$cmake" --install "$build" --component desktop --prefix "$stage/usr" >/dev/null; then
    for f in applications/verrinplus.desktop metainfo/com.verrin.VerrinPlus.metainfo.xml \
        icons/hicolor/scalable/apps/verrinplus.svg; do
        [ -s "$stage/usr/share/$f" ] || fail "install does not place share/$f"
    done
    for size in 48 128 256; do
        png="$stage/usr/share/icons/hicolor/${size}x${size}/apps/verrinplus.png"
        got="$(identify -format '%m %wx%h' "$png" 2>/dev/null)"
        [ "$got" = "PNG ${size}x${size}" ] || fail "installed ${size}x${size} icon is '$got'"
    done
    out="$(appstreamcli validate-tree --no-net "$stage" 2>&1)"
    rc=$?
    if [ $rc -ne 0 ] || grep -E '^ *[EW]: ' <<<"$out" >/dev/null; then
        fail "appstreamcli rejects the installed tree (exit $rc):"$'\n'"$out"
    fi
else
    fail "cmake --install of the desktop component failed"
fi

# --- Compiled-in images ---------------------------------------------------------------------------
# The names come from the resource list in resources/CMakeLists.txt, so a name added there without
# artwork is caught here rather than as a blank icon at run time.
names="$(sed -n '/^set(VERRIN_ICONS/,/^)/p' "$res/CMakeLists.txt" | sed '1d;$d' | tr -s ' \t' '\n\n' | grep .)"
count=$(wc -l <<<"$names")
[ "$count" -ge 30 ] || fail "found only $count names in the resource list of resources/CMakeLists.txt"

# Allowed square sizes, by the place the image is shown.
allowed_sizes() {
    case "$1" in
        frame[1-9].png) echo "22 24 32" ;;  # tray
        record.png | pause.png) echo "16 22 24 32" ;;  # record button
        logo.png) echo "64 72 80 96 128" ;;  # About box
        *) echo "16 32" ;;  # lists, trees, status bar, small buttons
    esac
}

frame_size=""
while read -r name; do
    png="$res/icons/$name"
    if [ ! -f "$png" ]; then
        fail "$name is listed but resources/icons/$name does not exist"
        continue
    fi
    read -r format width height < <(identify -format '%m %w %h\n' "$png" 2>/dev/null | head -n1)
    if [ "${format:-}" != "PNG" ]; then
        fail "$name is not a readable PNG"
        continue
    fi
    [ "$width" = "$height" ] || fail "$name is not square (${width}x${height})"
    grep -qw "$width" <<<"$(allowed_sizes "$name")" ||
        fail "$name is ${width}x${height}; expected one of: $(allowed_sizes "$name")"
    case "$name" in
        frame[1-9].png)
            # The tray swaps frames in place: they must all have one size.
            [ -z "$frame_size" ] && frame_size="$width"
            [ "$width" = "$frame_size" ] || fail "$name is ${width} px while frame1 is ${frame_size} px"
            ;;
    esac
    # Every image needs an SVG source so it can be re-rendered.
    [ -f "$res/icons/svg/${name%.png}.svg" ] || fail "$name has no source resources/icons/svg/${name%.png}.svg"
done <<<"$names"

# No two animation frames may be identical, or the tray would seem to stall.
if [ -z "$(sed -n '/frame/p' <<<"$names")" ]; then
    fail "no tray frames in the resource list"
else
    dupes="$(cd "$res/icons" && md5sum frame[1-9].png | awk '{print $1}' | sort | uniq -d)"
    [ -z "$dupes" ] || fail "some tray frames are identical"
fi

if [ $failures -ne 0 ]; then
    echo "$failures desktop integration check(s) failed" >&2
    exit 1
fi
echo "desktop integration: $count images, menu entry, metainfo and icon install all fine"
