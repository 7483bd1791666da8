#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when missing.
# Idempotent: does nothing (and needs no network) once everything is there.
set -euo pipefail

packages=(cmake make python3 g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix mingw-w64-tools
          binutils-mingw-w64-x86-64 g++-mingw-w64-i686-posix gcc-mingw-w64-i686-posix binutils-mingw-w64-i686
          wine wine64 libwine-dev googletest xvfb x11-apps imagemagick msitools wixl
          fonts-dejavu-core fonts-wqy-zenhei fonts-noto-core fonts-nanum)

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive

missing=()
for p in "${packages[@]}"; do installed "$p" || missing+=("$p"); done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    # A mirror in the middle of a sync fails some index; what the others list still installs.
    $sudo apt-get update -qq || echo "install-deps: some package lists could not be updated" >&2
    $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The 32-bit module's tests run in Wine's 32-bit loader, Debian's wine32 from
# the i386 architecture. Its libraries must be of the very versions of their
# 64-bit twins, which a mirror may not offer for a while after a security
# update; the 64-bit Wine is never removed for it (--no-remove), and without
# it the 32-bit tests say they were skipped.
# A mirror that could not offer it a moment ago will not now: one try an hour,
# so that the several make steps of one test run do not each ask the mirror.
tried="${TMPDIR:-/tmp}/velphonebook-wine32-tried"
if ! installed wine32:i386 && [ -n "$(find "$tried" -mmin -60 2>/dev/null)" ]; then
    echo "install-deps: wine32:i386 was not installable a moment ago; the 32-bit tests will be skipped" >&2
elif ! installed wine32:i386; then
    echo "Installing: wine32:i386"
    touch "$tried"
    dpkg --print-foreign-architectures | grep -qx i386 || $sudo dpkg --add-architecture i386
    $sudo apt-get update -qq || echo "install-deps: some package lists could not be updated" >&2
    $sudo apt-get install -y -qq --no-install-recommends --no-remove \
        wine32:i386 libgstreamer-plugins-base1.0-0:i386 >/dev/null ||
        echo "install-deps: wine32:i386 could not be installed; the 32-bit tests will be skipped" >&2
fi
