#!/usr/bin/env bash
# Installs the built package into a clean Debian 12 root with apt, as a user would, and checks that
# the program runs there and has its menu entry and icon. Needs root and the Debian mirror; the
# clean root is made once with debootstrap and kept (as a tar) in the build folder.
#   scripts/check-package.sh [BUILD]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
deb=$(ls "$build"/verrinplus_*.deb 2>/dev/null | head -1)
[ -n "$deb" ] || { echo "no package in $build: run make package first" >&2; exit 1; }
[ "$(id -u)" = 0 ] || { echo "check-package needs root (debootstrap and chroot)" >&2; exit 1; }
command -v debootstrap >/dev/null ||
    DEBIAN_FRONTEND=noninteractive apt-get install -y -q debootstrap >/dev/null
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
clean="$build/debian12-minbase.tar"
if [ ! -f "$clean" ]; then
    echo "making a clean Debian 12 root (once)..."
    fresh=$(mktemp -d "$build/debootstrap.XXXXXX")
    debootstrap --variant=minbase bookworm "$fresh" "$mirror" >"$build/debootstrap.log" 2>&1 ||
        { tail -5 "$build/debootstrap.log"; rm -rf "$fresh"; exit 1; }
    tar -C "$fresh" -cf "$clean.part" . && mv "$clean.part" "$clean"
    rm -rf "$fresh"
fi

root=$(mktemp -d "$build/package-root.XXXXXX")
cleanup() {
    umount "$root/proc" 2>/dev/null || true
    rm -rf "$root"
}
trap cleanup EXIT
tar -C "$root" -xf "$clean"
mount -t proc proc "$root/proc"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp "$deb" "$root/tmp/"
in_root() { chroot "$root" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 "$@"; }

echo "installing $(basename "$deb") with apt..."
in_root apt-get update -q >/dev/null
in_root apt-get install -y -q "/tmp/$(basename "$deb")" >"$build/check-package.log" 2>&1 ||
    { tail -20 "$build/check-package.log"; exit 1; }

status=0
version=$(in_root verrinplus --version) || status=1
echo "verrinplus --version: $version"
[[ "$version" == *"$(basename "$deb" | cut -d_ -f2)"* ]] || { echo "the version does not match the package"; status=1; }
entry="$root/usr/share/applications/verrinplus.desktop"
if [ -f "$entry" ] && grep -qx 'Exec=verrinplus' "$entry" && grep -qx 'Icon=verrinplus' "$entry"; then
    echo "menu entry: $(grep -m1 '^Name=' "$entry")"
else
    echo "the menu entry is missing or does not start verrinplus with its icon"; status=1
fi
[ -f "$root/usr/share/icons/hicolor/scalable/apps/verrinplus.svg" ] || { echo "the icon is missing"; status=1; }
[ -f "$root/usr/share/metainfo/com.verrin.VerrinPlus.metainfo.xml" ] || { echo "the metainfo is missing"; status=1; }
[ $status = 0 ] && echo "package check passed"
exit $status
