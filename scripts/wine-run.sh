#!/usr/bin/env bash
# Runs a command with the build tree's private Wine prefix: creates the prefix
# on first use (with Wine's virtual desktop as default, so that closing
# windows does not wait for a window manager), starts a private Xvfb when no
# DISPLAY is set, and stops what it started when the command ends.
#   scripts/wine-run.sh BUILD_DIR command [args...]
set -uo pipefail

build=$(cd "$1" && pwd)
shift
# A 64-bit prefix, which runs the 32-bit programs too (when Debian's wine32
# is installed, Wine would otherwise make new prefixes 32-bit only).
export WINEPREFIX="$build/wineprefix" WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

xvfb_pid=""
cleanup() {
    wineserver -k >/dev/null 2>&1 || true
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" >/dev/null 2>&1
    wait >/dev/null 2>&1
    return 0
}
trap cleanup EXIT

if [ -z "${DISPLAY:-}" ]; then
    for n in $(seq 90 120); do
        [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] && continue
        Xvfb ":$n" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
        xvfb_pid=$!
        for _ in $(seq 50); do
            [ -e "/tmp/.X11-unix/X$n" ] && break
            kill -0 "$xvfb_pid" 2>/dev/null || break
            sleep 0.1
        done
        # Another run may have taken the same number at the same moment; two
        # programs on one screen steal each other's clicks, so use the display
        # only when this Xvfb owns it.
        if kill -0 "$xvfb_pid" 2>/dev/null && [ "$(tr -d ' \n' < "/tmp/.X$n-lock" 2>/dev/null)" = "$xvfb_pid" ]; then
            export DISPLAY=":$n"
            break
        fi
        kill "$xvfb_pid" >/dev/null 2>&1
        xvfb_pid=""
    done
fi

if [ ! -f "$WINEPREFIX/.velphonebook-ready" ]; then
    echo "Creating the Wine prefix in $WINEPREFIX"
    wine wineboot -i >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f >/dev/null 2>&1
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d 1280x1024 /f >/dev/null 2>&1
    wineserver -w
    touch "$WINEPREFIX/.velphonebook-ready"
fi
if [ ! -f "$WINEPREFIX/.velphonebook-fonts-3" ]; then
    # Debian's Wine comes without Windows' interface fonts, and its pick for a
    # missing face depends on whatever fonts the machine has. Name them: the
    # Latin, Greek, Cyrillic, Hebrew and Arabic faces as DejaVu Sans, the
    # Korean ones as Nanum Gothic, the Chinese ones as WenQuanYi Zen Hei (all
    # from the install script), so that every language shows real glyphs and
    # every machine measures the same texts alike.
    replace() {
        wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v "$1" /d "$2" /f >/dev/null 2>&1
    }
    for face in Tahoma "Segoe UI" "Microsoft Sans Serif"; do replace "$face" "DejaVu Sans"; done
    for face in "Malgun Gothic" Gulim GulimChe Dotum; do replace "$face" NanumGothic; done
    for face in SimSun NSimSun PMingLiU MingLiU "Microsoft YaHei" "Microsoft JhengHei"; do
        replace "$face" "WenQuanYi Zen Hei"
    done
    # Characters a face lacks come from the faces linked to it, as on
    # Windows: Korean and Chinese behind the Latin interface faces.
    for face in Tahoma "Segoe UI" "Microsoft Sans Serif" "MS Shell Dlg" "DejaVu Sans"; do
        wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontLink\SystemLink' /v "$face" \
            /t REG_MULTI_SZ /d 'NanumGothic.ttf,NanumGothic\0wqy-zenhei.ttc,WenQuanYi Zen Hei' /f >/dev/null 2>&1
    done
    wineserver -w
    touch "$WINEPREFIX/.velphonebook-fonts-3"
fi

"$@"
status=$?
# Let the registry reach the disk before anything is stopped.
wineserver -w >/dev/null 2>&1 &
waiter=$!
for _ in $(seq 100); do kill -0 "$waiter" 2>/dev/null || break; sleep 0.1; done
exit $status
