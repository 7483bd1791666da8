#!/usr/bin/env bash
# Screenshots of the dialogs at 96 and 144 dots per inch, for people to look
# at (no test reads them), written to BUILD/screens/ (or the folder given second). Build the program
# first, then run through the build tree's Wine prefix:
#     cmake --build build --target ui_screens
#     scripts/wine-run.sh build scripts/screens/screenshots.sh build
# For each resolution the user's LogPixels is set (and restored at the end),
# each scene of ui_screens.exe is shown, and the X display is captured with
# xwd once the scene reports READY.
set -euo pipefail

build=$(cd "$1" && pwd)
out="${2:-$build/screens}"
mkdir -p "$out"
key='HKCU\Control Panel\Desktop'

previous=$(wine reg query "$key" /v LogPixels 2>/dev/null | tr -d '\r' | awk '/LogPixels/ {print $3}' || true)
restore() {
    if [ -n "$previous" ]; then
        wine reg add "$key" /v LogPixels /t REG_DWORD /d "$((previous))" /f >/dev/null 2>&1
    else
        wine reg delete "$key" /v LogPixels /f >/dev/null 2>&1 || true
    fi
}
trap restore EXIT

cd "$build/bin"
winout=$(winepath -w "$out")
for dpi in 96 144; do
    wine reg add "$key" /v LogPixels /t REG_DWORD /d "$dpi" /f >/dev/null 2>&1
    for scene in entry message; do
        rm -f "$out/done"
        log=$(mktemp)
        wine ui_screens.exe "$scene" "$winout" >"$log" 2>&1 &
        pid=$!
        for _ in $(seq 300); do grep -q READY "$log" && break; sleep 0.1; done
        # Let Wine hand the windows' last drawing to the X server.
        sleep 1
        xwd -root -display "$DISPLAY" -silent | convert xwd:- "$out/${scene}_${dpi}dpi.png"
        touch "$out/done"
        wait "$pid" || echo "ui_screens $scene at $dpi dpi failed"
        rm -f "$log" "$out/done"
    done
    wine ui_screens.exe shadow "$winout" || echo "ui_screens shadow at $dpi dpi failed"
done
ls -l "$out"
