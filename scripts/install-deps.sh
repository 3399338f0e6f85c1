#!/usr/bin/env bash
# Installs the Debian packages VerrinPlus needs to build, run and test.
# Idempotent: only packages that are missing are installed, so a second run is quick.
set -euo pipefail

packages=(
    # build
    build-essential cmake pkg-config clang-format libsqlite3-dev
    qt6-base-dev qt6-base-dev-tools qt6-httpserver-dev qt6-websockets-dev libqt6sql6-sqlite qt6-qpa-plugins
    libgl-dev libxkbcommon-dev
    libxcb1-dev libxcb-ewmh-dev libxcb-icccm4-dev libxcb-screensaver0-dev libxcb-res0-dev
    libwayland-dev libwayland-bin wayland-protocols plasma-wayland-protocols
    # run and test under a virtual display with a real window manager
    xvfb xauth openbox xdotool x11-utils dbus dbus-x11 imagemagick
    # a real XEmbed system tray and a window manager's close, for the tray tests
    trayer wmctrl
    # the same for Wayland: a headless sway, Qt's Wayland client plugin, keyboard input for idle tests
    sway qt6-wayland wtype
    # KWin for the Plasma backend's tests (kwin_wayland --virtual, about a minute to install)
    kwin-wayland
    # desktop integration checks and TLS test certificates
    appstream desktop-file-utils openssl
    # parses the GNOME Shell extension's JavaScript in the tests
    nodejs
    # renders the icon sources (resources/render-icons.sh)
    librsvg2-bin
    # the password and token in the desktop keyring (Secret Service; QtKeychain loads libsecret at run
    # time); the keyring tests run a real daemon
    qtkeychain-qt6-dev libsecret-1-0 gnome-keyring
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    SUDO=sudo
else
    SUDO=
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
