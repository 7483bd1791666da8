#!/usr/bin/env bash
# Installs the phonebook's packages (make package) into fresh Wine prefixes with
# Wine's msiexec, uses the classes from the installed location, uninstalls, and
# checks that nothing of ours is left; then upgrades an older version in place.
#
#   tests/package/test_package.sh BUILD BUILD_X86
#
# Scenarios, each in a prefix of its own (copies of one freshly made prefix):
#   x64      the x64 package: both modules in their program files folders, every
#            class created by each ProgID and both controls hosted in the ATL host
#            by the 64-bit and by the 32-bit client, each from its own module;
#            then uninstalled: no ProgID or class resolves in either view, and no
#            key, value, folder or cached package of ours is left
#   x86      the same for the x86 package, whose class and interface keys exist in
#            the 32-bit view only; the x64 package installed beside it and removed
#            again leaves the 32-bit module working
#   upgrade  an older version of the x64 package, then the current one over it:
#            one product for the upgrade code, the older one gone, one copy of the
#            files; uninstalling the current one leaves nothing; then regsvr32
#            registers the same modules, and writes the very keys and values the
#            x64 package wrote (the module paths aside)
#
# Prints a line per step and "PASS: ..." or "FAIL: ..." last; exits 1 on failure.
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
source_dir=$(cd "$here/../.." && pwd)

# ---------------------------------------------------------------- in a prefix
# (the script runs itself through scripts/wine-run.sh for each scenario)

step_failed() {
    echo "  FAIL: $*"
    exit 1
}

windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# msiexec ACTION PACKAGE LOG: runs Wine's msiexec quietly with a verbose log.
msi() {
    local action=$1 package=$2 log=$3
    wine msiexec "$action" "$(windows_path "$package")" /qn /l*v "$(windows_path "$log")" >/dev/null 2>&1
    local status=$?
    [ $status -eq 0 ] || { tail -n 30 "$log" | tr -d '\r' | sed 's/^/    /'; step_failed "msiexec $action $(basename "$package") returned $status"; }
    echo "  ok: msiexec $action $(basename "$package")"
}

# client ARCH MODE [MODULE]: runs the activation client of that architecture;
# with a module path, every class it created or hosted must come from there.
client() {
    local arch=$1 mode=$2 module=${3:-}
    if [ "$arch" = x86 ] && [ ! -x /usr/lib/wine/wine ]; then
        echo "  SKIPPED: the 32-bit client ($mode): Wine's 32-bit loader (wine32:i386) is not installed"
        return 0
    fi
    local output
    output=$(cd "$PACKAGE_TEST/clients/$arch" && wine activation_client.exe "$mode" 2>/dev/null | tr -d '\r')
    local used
    used=$(printf '%s\n' "$output" | grep -E '^(created|hosted) ' || true)
    local problem=""
    [ "$(printf '%s\n' "$output" | tail -n 1)" = PASS ] || problem="no PASS"
    if [ -n "$module" ] && [ -z "$problem" ]; then
        [ -n "$used" ] || problem="nothing created"
        printf '%s\n' "$used" | grep -vqF "from $module" && problem="a class came from elsewhere"
    fi
    if [ -n "$problem" ]; then
        printf '%s\n' "$output" | sed 's/^/    /'
        step_failed "$arch client $mode: $problem"
    fi
    case $mode in
        absent) echo "  ok: $arch client: no ProgID or class resolves" ;;
        *) echo "  ok: $arch client $mode: $(printf '%s\n' "$used" | wc -l) from $module" ;;
    esac
}

# Ends the wineserver so that the registry files hold everything.
flush() { wineserver -w; }

check() {
    python3 "$here/check_prefix.py" "$WINEPREFIX" "$@" | sed 's/^/    /'
    [ "${PIPESTATUS[0]}" -eq 0 ] || step_failed "check_prefix.py $1"
    echo "  ok: prefix check ($1)"
}

# same_files INSTALLED STAGED: the installed folder holds exactly the staged files.
same_files() {
    diff -r "$1" "$2" >/dev/null 2>&1 || { diff -rq "$1" "$2" 2>&1 | sed 's/^/    /'; step_failed "$1 differs from $2"; }
    echo "  ok: $(ls "$1" | wc -l) files in ${1#"$WINEPREFIX/drive_c/"}"
}

scenario() {
    local name=$1 logs=$PACKAGE_TEST/logs/$1
    mkdir -p "$logs"
    local files64="$WINEPREFIX/drive_c/Program Files/Quorvel/VelPhonebook"
    local files32="$WINEPREFIX/drive_c/Program Files (x86)/Quorvel/VelPhonebook"
    local where64='C:\Program Files\Quorvel\VelPhonebook\VelPhonebook64.dll'
    local where32='C:\Program Files (x86)\Quorvel\VelPhonebook\VelPhonebook.dll'
    case $name in
    x64)
        msi /i "$MSI_X64" "$logs/install.log"
        same_files "$files64" "$PACKAGES/x64"
        same_files "$files32" "$PACKAGES/x86"
        client x64 create "$where64"
        client x64 host "$where64"
        client x86 create "$where32"
        client x86 host "$where32"
        flush
        check views "$WXS_X64"
        check snapshot "$PACKAGE_TEST/installed-registry.json" "$WXS_X64"
        msi /x "$MSI_X64" "$logs/uninstall.log"
        client x64 absent
        client x86 absent
        flush
        check absent "$WXS_X64"
        ;;
    x86)
        msi /i "$MSI_X86" "$logs/install.log"
        same_files "$files32" "$PACKAGES/x86"
        [ ! -e "$files64" ] || step_failed "the x86 package wrote into the 64-bit program files folder"
        client x86 create "$where32"
        client x86 host "$where32"
        # The classes are in the 32-bit view alone (the ProgIDs, one key for
        # both views, do resolve in a 64-bit process: to nothing it can create).
        flush
        check views "$WXS_X86"
        # Both packages on one machine share the 32-bit module's components:
        # removing the x64 one keeps what the x86 one still needs.
        msi /i "$MSI_X64" "$logs/install-x64.log"
        msi /x "$MSI_X64" "$logs/uninstall-x64.log"
        same_files "$files32" "$PACKAGES/x86"
        [ ! -e "$files64" ] || step_failed "the x64 package left its folder"
        client x86 create "$where32"
        msi /x "$MSI_X86" "$logs/uninstall.log"
        client x86 absent
        flush
        check absent "$WXS_X86" "$WXS_X64"
        ;;
    upgrade)
        msi /i "$OLDER_MSI" "$logs/install-older.log"
        msi /i "$MSI_X64" "$logs/install.log"
        flush
        check installed "$WXS_X64" "$OLDER_WXS"
        same_files "$files64" "$PACKAGES/x64"
        same_files "$files32" "$PACKAGES/x86"
        client x64 create "$where64"
        client x86 create "$where32"
        msi /x "$MSI_X64" "$logs/uninstall.log"
        flush
        check absent "$WXS_X64" "$OLDER_WXS"
        # The package writes what the modules' own registration writes.
        if [ ! -x /usr/lib/wine/wine ]; then
            echo "  SKIPPED: the comparison with regsvr32 (it needs the 32-bit module registered too)"
        elif [ -f "$PACKAGE_TEST/installed-registry.json" ]; then
            wine regsvr32 /s "$(windows_path "$PACKAGES/x64/VelPhonebook64.dll")" &&
                wine regsvr32 /s "$(windows_path "$PACKAGES/x86/VelPhonebook.dll")" ||
                step_failed "regsvr32 of the packaged modules"
            flush
            check snapshot "$PACKAGE_TEST/regsvr32-registry.json" "$WXS_X64"
            check compare "$PACKAGE_TEST/regsvr32-registry.json" "$PACKAGE_TEST/installed-registry.json"
        fi
        ;;
    esac
}

if [ "${1:-}" = --scenario ]; then
    scenario "$2"
    exit 0
fi

# ---------------------------------------------------------------- the run

[ $# -eq 2 ] || { echo "usage: $0 BUILD BUILD_X86" >&2; exit 2; }
start=$(date +%s)
build=$(cd "$1" && pwd)
build_x86=$(cd "$2" && pwd)
version=$(cd "$source_dir/packaging" && python3 -B -c 'import make_package; print(make_package.project_version())') || exit 1
export PACKAGES=$build/package PACKAGE_TEST=$build/package-test
export MSI_X64=$PACKAGES/VelPhonebook-$version-x64.msi MSI_X86=$PACKAGES/VelPhonebook-$version-x86.msi
export WXS_X64=${MSI_X64%.msi}.wxs WXS_X86=${MSI_X86%.msi}.wxs
for f in "$MSI_X64" "$MSI_X86" "$WXS_X64" "$WXS_X86"; do
    [ -f "$f" ] || { echo "FAIL: $f is missing (make package)"; exit 1; }
done

# An older version of the same modules: the major upgrade looks at the first
# three fields of the version only.
IFS=. read -r major minor build_number _ <<<"$version"
if [ "$build_number" -gt 0 ]; then older="$major.$minor.$((build_number - 1)).0"
elif [ "$minor" -gt 0 ]; then older="$major.$((minor - 1)).0.0"
else older="$((major - 1)).0.0.0"; fi

rm -rf "$PACKAGE_TEST"
mkdir -p "$PACKAGE_TEST/clients/x64" "$PACKAGE_TEST/clients/x86"
# The clients run from a folder of their own, with no module beside them.
cp "$build/bin/activation_client.exe" "$PACKAGE_TEST/clients/x64/"
cp "$build_x86/bin/activation_client.exe" "$PACKAGE_TEST/clients/x86/"

echo "Packaging version $older for the upgrade"
python3 "$source_dir/packaging/make_package.py" --build "$build" --build-x86 "$build_x86" \
    --output "$PACKAGE_TEST/older" --version "$older" --only x64 | sed 's/^/  /'
export OLDER_MSI=$PACKAGE_TEST/older/VelPhonebook-$older-x64.msi OLDER_WXS=$PACKAGE_TEST/older/VelPhonebook-$older-x64.wxs
[ -f "$OLDER_MSI" ] || { echo "FAIL: the older package was not made"; exit 1; }

# One fresh prefix, copied for each scenario (making one takes half a minute).
mkdir -p "$PACKAGE_TEST/fresh"
"$source_dir/scripts/wine-run.sh" "$PACKAGE_TEST/fresh" true >/dev/null || { echo "FAIL: no Wine prefix"; exit 1; }

failed=()
for name in x64 x86 upgrade; do
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
if [ ${#failed[@]} -gt 0 ]; then
    echo "FAIL: package test: ${failed[*]} failed (${elapsed} s; prefixes and logs in $PACKAGE_TEST)"
    exit 1
fi
echo "PASS: package test: x64, x86 and upgrade from $older to $version (${elapsed} s)"
