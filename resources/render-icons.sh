#!/usr/bin/env bash
# Regenerates every PNG under resources/icons from the SVG sources in resources/icons/svg.
# Needs rsvg-convert (Debian package librsvg2-bin). Run it after editing an SVG and commit both.
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
src="$here/icons/svg"
out="$here/icons"

if ! command -v rsvg-convert >/dev/null; then
    echo "render-icons.sh: rsvg-convert is missing (apt-get install librsvg2-bin)" >&2
    exit 1
fi

render() { # <svg> <png> <size>
    rsvg-convert --width "$3" --height "$3" --keep-aspect-ratio --format png --output "$2" "$1"
}

# Pixel size of each compiled-in image: list and tree icons are 16 px, the record button 24 px,
# the tray frames 32 px (the tray scales them to its own size), the About box logo 96 px.
size_of() {
    case "$1" in
        record | pause) echo 24 ;;
        frame[1-9]) echo 32 ;;
        logo) echo 96 ;;
        *) echo 16 ;;
    esac
}

count=0
for svg in "$src"/*.svg; do
    name="$(basename "$svg" .svg)"
    render "$svg" "$out/$name.png" "$(size_of "$name")"
    count=$((count + 1))
done

# The desktop icon is the product logo, as a scalable icon plus the usual fixed sizes.
hicolor="$out/hicolor"
mkdir -p "$hicolor/scalable/apps"
cp "$src/logo.svg" "$hicolor/scalable/apps/verrinplus.svg"
for size in 48 128 256; do
    mkdir -p "$hicolor/${size}x${size}/apps"
    render "$src/logo.svg" "$hicolor/${size}x${size}/apps/verrinplus.png" "$size"
done

echo "Rendered $count icons and the desktop icon into $out"
