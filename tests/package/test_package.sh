#!/usr/bin/env bash
# Installs the phonebook's packages (make package) with Wine's msiexec, each
# scenario in a copy of one fresh prefix, uses the classes from the installed
# modules, uninstalls and checks that nothing of ours is left:
#   x64      both modules; the 64-bit and the 32-bit client each use its own
#   x86      the 32-bit module alone; the x64 package installed beside it and
#            removed leaves it working
#   upgrade  an older x64 package, then the current one over it
#   shared   the x64 package where the registry views share the classes (as on
#            Windows, shown to the installer's probe by its key in the 32-bit
#            view): the ProgIDs are written once, by the component both
#            packages hold, and not again in the 64-bit view
# The 64-bit client and the 64-bit script host create every class by its
# ProgID whether or not Wine's 32-bit loader (Debian's wine32:i386) is
# installed: a prefix made without it keeps the two registry views' classes
# apart, and the x64 package then writes the ProgIDs in both (see
# packaging/make_package.py). Without that loader the 32-bit client cannot run:
# its steps say SKIPPED.
#   tests/package/test_package.sh BUILD BUILD_X86
# Prints a line per step and "PASS: ..." or "FAIL: ..." last; exits 1 on failure.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
source_dir=$(cd "$here/../.." && pwd)
loader32=$([ -x /usr/lib/wine/wine ] && echo yes || echo no)
no_loader="Wine's 32-bit loader (wine32:i386) is not installed"

step_failed() { echo "  FAIL: $*"; exit 1; }
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
flush() { wineserver -w; }  # the registry files then hold everything

msi() {  # msi ACTION PACKAGE LOG
    wine msiexec "$1" "$(windows_path "$2")" /qn /l*v "$(windows_path "$3")" >/dev/null 2>&1 ||
        { tail -n 30 "$3" | tr -d '\r' | sed 's/^/    /'; step_failed "msiexec $1 $(basename "$2")"; }
    echo "  ok: msiexec $1 $(basename "$2")"
}

# client ARCH MODE [MODULE]: every class created must come from MODULE.
client() {
    local arch=$1 mode=$2 module=${3:-} output used
    if [ "$loader32" = no ] && [ "$arch" = x86 ]; then echo "  SKIPPED: the 32-bit client ($mode): $no_loader"; return; fi
    output=$(cd "$PACKAGE_TEST/clients/$arch" && wine activation_client.exe "$mode" 2>/dev/null | tr -d '\r')
    used=$(printf '%s\n' "$output" | grep '^created ')
    if [ "$(printf '%s\n' "$output" | tail -n 1)" != PASS ] ||
        { [ -n "$module" ] && { [ -z "$used" ] || printf '%s\n' "$used" | grep -vqF "from $module"; }; }; then
        printf '%s\n' "$output" | sed 's/^/    /'
        step_failed "$arch client $mode"
    fi
    echo "  ok: $arch client $mode${module:+: $(printf '%s\n' "$used" | wc -l) from $module}"
}

# script_host: the 64-bit script host creates the four classes by ProgID.
script_host() {
    local output
    output=$(cd "$PACKAGE_TEST/clients" && wine cscript //nologo progids.js 2>/dev/null | tr -d '\r')
    [ "$(printf '%s\n' "$output" | tail -n 1)" = PASS ] || { printf '%s\n' "$output" | sed 's/^/    /'; step_failed "script host by ProgID"; }
    echo "  ok: 64-bit script host created $(printf '%s\n' "$output" | grep -c '^created ') classes by ProgID"
}

# probe_found LOG: whether the install the log tells of found the classes the
# system writes from the 64-bit side in the 32-bit view (the views share them).
probe_found() { grep -q '^Property(S): CLASSESSHAREDBYVIEWS = ' "$1"; }

# After the x64 package: the ProgIDs in the 64-bit view as well exactly where
# the views keep them apart (where they share them, the 64-bit view shows the
# 32-bit component's keys, and the registry cannot tell the two apart).
views_checked() {
    if wine reg query 'HKLM\Software\Classes\exefile' /reg:32 >/dev/null 2>&1; then
        probe_found "$1" || step_failed "the installer did not see that the views share the classes"
        echo "  ok: the registry views share the classes: the ProgIDs written once"
    else
        ! probe_found "$1" || step_failed "the installer took the views for shared"
        wine reg query 'HKLM\Software\Classes\Zantix.MRUList.1\CLSID' /reg:64 >/dev/null 2>&1 ||
            step_failed "no ProgID in the 64-bit view, where the views are apart"
        echo "  ok: the registry views keep the classes apart: the ProgIDs written in both"
    fi
}

absent() {  # nothing of these packages is left
    flush
    python3 "$here/check_prefix.py" "$WINEPREFIX" "$@" | sed 's/^/    /'
    [ "${PIPESTATUS[0]}" -eq 0 ] || step_failed "something is left"
    echo "  ok: nothing left"
}

same_files() {  # the installed folder holds exactly the staged files
    diff -rq "$1" "$2" | sed 's/^/    /'
    [ "${PIPESTATUS[0]}" -eq 0 ] || step_failed "$1 differs from $2"
    echo "  ok: $(ls "$1" | wc -l) files in ${1#"$WINEPREFIX/drive_c/"}"
}

scenario() {
    local logs=$PACKAGE_TEST/logs/$1
    local files64="$WINEPREFIX/drive_c/Program Files/Quorvel/VelPhonebook"
    local files32="$WINEPREFIX/drive_c/Program Files (x86)/Quorvel/VelPhonebook"
    local where64='C:\Program Files\Quorvel\VelPhonebook\VelPhonebook64.dll'
    local where32='C:\Program Files (x86)\Quorvel\VelPhonebook\VelPhonebook.dll'
    mkdir -p "$logs"
    case $1 in
    x64)
        msi /i "$MSI_X64" "$logs/install.log"
        views_checked "$logs/install.log"
        same_files "$files64" "$PACKAGES/x64"
        same_files "$files32" "$PACKAGES/x86"
        client x64 create "$where64"
        script_host
        client x86 create "$where32"
        msi /x "$MSI_X64" "$logs/uninstall.log"
        client x64 absent
        client x86 absent
        absent "$WXS_X64" ;;
    x86)
        msi /i "$MSI_X86" "$logs/install.log"
        same_files "$files32" "$PACKAGES/x86"
        [ ! -e "$files64" ] || step_failed "the x86 package wrote into the 64-bit program files folder"
        client x86 create "$where32"
        # The two packages share the 32-bit module's components.
        msi /i "$MSI_X64" "$logs/install-x64.log"
        msi /x "$MSI_X64" "$logs/uninstall-x64.log"
        same_files "$files32" "$PACKAGES/x86"
        [ ! -e "$files64" ] || step_failed "the x64 package left its folder"
        wine reg query 'HKLM\Software\Classes\Zantix.MRUList.1\CLSID' /reg:32 >/dev/null 2>&1 ||
            step_failed "removing the x64 package took the ProgIDs the x86 one wrote"
        client x86 create "$where32"
        msi /x "$MSI_X86" "$logs/uninstall.log"
        client x86 absent
        absent "$WXS_X86" "$WXS_X64" ;;
    shared)
        # Shown to the installer as on Windows: the probe's key in the 32-bit view.
        if wine reg query 'HKLM\Software\Classes\exefile' /reg:32 >/dev/null 2>&1; then
            echo "  SKIPPED: this prefix's views share the classes already (the x64 scenario covered it)"
            return
        fi
        wine reg add 'HKLM\Software\Classes\exefile' /ve /d Application /reg:32 /f >/dev/null 2>&1
        msi /i "$MSI_X64" "$logs/install.log"
        probe_found "$logs/install.log" || step_failed "the installer did not see the classes in the 32-bit view"
        wine reg query 'HKLM\Software\Classes\Zantix.MRUList.1\CLSID' /reg:32 >/dev/null 2>&1 ||
            step_failed "no ProgID in the 32-bit view"
        ! wine reg query 'HKLM\Software\Classes\Zantix.MRUList.1' /reg:64 >/dev/null 2>&1 ||
            step_failed "the ProgIDs were written for the 64-bit view too, where the views share them"
        echo "  ok: the ProgIDs written once, by the component both packages hold"
        msi /x "$MSI_X64" "$logs/uninstall.log"
        absent "$WXS_X64" ;;
    upgrade)
        msi /i "$OLDER_MSI" "$logs/install-older.log"
        msi /i "$MSI_X64" "$logs/install.log"
        same_files "$files64" "$PACKAGES/x64"
        same_files "$files32" "$PACKAGES/x86"
        client x64 create "$where64"
        client x86 create "$where32"
        msi /x "$MSI_X64" "$logs/uninstall.log"
        absent "$WXS_X64" "$OLDER_WXS" ;;
    esac
}

if [ "${1:-}" = --scenario ]; then
    scenario "$2"
    exit 0
fi

[ $# -eq 2 ] || { echo "usage: $0 BUILD BUILD_X86" >&2; exit 2; }
start=$(date +%s)
build=$(cd "$1" && pwd)
build_x86=$(cd "$2" && pwd)
version=$(cd "$source_dir/packaging" && python3 -B -c 'import make_package; print(make_package.project_version())') || exit 1
export loader32 PACKAGES=$build/package PACKAGE_TEST=$build/package-test
export MSI_X64=$PACKAGES/VelPhonebook-$version-x64.msi MSI_X86=$PACKAGES/VelPhonebook-$version-x86.msi
export WXS_X64=${MSI_X64%.msi}.wxs WXS_X86=${MSI_X86%.msi}.wxs
for f in "$MSI_X64" "$MSI_X86" "$WXS_X64" "$WXS_X86"; do
    [ -f "$f" ] || { echo "FAIL: $f is missing (make package)"; exit 1; }
done

# An older version: the major upgrade looks at the first three fields only.
IFS=. read -r major minor build_number _ <<<"$version"
if [ "$build_number" -gt 0 ]; then older="$major.$minor.$((build_number - 1)).0"
elif [ "$minor" -gt 0 ]; then older="$major.$((minor - 1)).0.0"
else older="$((major - 1)).0.0.0"; fi

rm -rf "$PACKAGE_TEST"
mkdir -p "$PACKAGE_TEST/clients/x64" "$PACKAGE_TEST/clients/x86" "$PACKAGE_TEST/fresh"
# The clients run from a folder of their own, with no module beside them.
cp "$build/bin/activation_client.exe" "$PACKAGE_TEST/clients/x64/"
cp "$build_x86/bin/activation_client.exe" "$PACKAGE_TEST/clients/x86/"
cp "$here/progids.js" "$PACKAGE_TEST/clients/"
echo "Packaging version $older for the upgrade"
python3 "$source_dir/packaging/make_package.py" --build "$build" --build-x86 "$build_x86" \
    --output "$PACKAGE_TEST/older" --version "$older" --only x64 | sed 's/^/  /'
export OLDER_MSI=$PACKAGE_TEST/older/VelPhonebook-$older-x64.msi OLDER_WXS=$PACKAGE_TEST/older/VelPhonebook-$older-x64.wxs
[ -f "$OLDER_MSI" ] || { echo "FAIL: the older package was not made"; exit 1; }
"$source_dir/scripts/wine-run.sh" "$PACKAGE_TEST/fresh" true >/dev/null || { echo "FAIL: no Wine prefix"; exit 1; }

failed=()
for name in x64 x86 upgrade shared; do
    echo "Scenario $name"
    cp -a "$PACKAGE_TEST/fresh" "$PACKAGE_TEST/$name"
    if "$source_dir/scripts/wine-run.sh" "$PACKAGE_TEST/$name" "$here/test_package.sh" --scenario "$name"; then
        rm -rf "$PACKAGE_TEST/$name"  # a prefix is over a gigabyte; a failed one is kept to look at
    else
        failed+=("$name")
    fi
done
rm -rf "$PACKAGE_TEST/fresh"
elapsed=$(( $(date +%s) - start ))
[ ${#failed[@]} -eq 0 ] || { echo "FAIL: package test: ${failed[*]} failed (${elapsed} s; prefixes and logs in $PACKAGE_TEST)"; exit 1; }
echo "PASS: package test: x64, x86, upgrade from $older to $version and shared views (${elapsed} s)"
