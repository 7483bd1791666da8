#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Idempotent: does nothing (and needs no network) once everything is there.
set -euo pipefail

packages=(cmake make python3 g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix mingw-w64-tools
          binutils-mingw-w64-x86-64 wine wine64 libwine-dev googletest xvfb x11-apps imagemagick
          fonts-dejavu-core fonts-wqy-zenhei fonts-noto-core fonts-nanum)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
