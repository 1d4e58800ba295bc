#!/usr/bin/env bash
# deploy-demo.sh BUILD PREFIX: shows the life of a product on a machine, from the packages of
# examples/package.
#
# BUILD is a folder of the preset mingw-x64 that has been built, PREFIX a fresh Wine prefix. Every
# program of the prefix has ended when this script ends, however it ends. A step that does not end
# as it should ends the script with 1.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
# shellcheck source=scripts/wine.sh
source "$wy_root/scripts/wine.sh"

[ $# = 2 ] || die "usage: deploy-demo.sh BUILD PREFIX"
build=$(realpath "$1")
prefix=$(realpath "$2")
drive=$prefix/drive_c
log=$prefix/deploy.log

finish() {
    trap '' INT TERM
    wy_wine_stop "$prefix"
}
trap finish EXIT
trap 'exit 130' INT TERM

bold='' plain=''
if [ -t 1 ]; then
    bold=$'\033[1m' plain=$'\033[0m'
fi
title() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }

product='C:\Program Files\Example'
key='HKLM\Software\KorvexData\Tavrenox'

# wyctl EXPECTED ARGUMENT...: shows a command with its output, which must end with that exit code.
# The program's name ends in the suffix of the identity that it is to have.
wyctl() {
    local expected=$1 status=0
    shift
    printf '\n> wyctl'
    printf ' %s' "$@"
    printf '\n'
    # Through a file: Wine would take over the keyboard and screen of a terminal, and what the
    # product starts would keep a pipe open.
    timeout 200 wine "C:\\tools\\wyctl_P.exe" "$@" </dev/null >"$prefix/out" 2>&1 || status=$?
    tr -d '\r' <"$prefix/out"
    [ "$status" = "$expected" ] || die "this ended with $status and not with $expected; see $log"
}
# Before the library ends the programs of the product, which it does only where a watchdog can be
# asked to end first. In the product that runs by itself; here it is started when it is needed. The
# session agent is ended from outside: under Wine the library cannot open it (Wine asks for a right
# that its access list does not give).
prepare_to_end() {
    local pid
    for pid in $(pgrep -f 'WySessionAgent_P\.exe' || true); do
        if tr '\0' '\n' 2>/dev/null <"/proc/$pid/environ" | grep -qx "WINEPREFIX=$prefix"; then
            kill "$pid"
        fi
    done
    run_logged "$log" timeout 60 wine start /b "$product\\WyWatchDog_P.exe" --product Tavrenox
    local i
    for ((i = 0; i < 50; i++)); do
        timeout 60 wine 'C:\tools\wyctl_P.exe' service status </dev/null 2>/dev/null |
            grep -q 'stop event  *there' && return
    done
    die "the watchdog does not come up"
}
files_of() {
    (cd "$drive" && find "$@" 2>/dev/null | sort | sed 's/^/    C:\//; s/\//\\/g') || true
}
registry() {
    say "registry, $1:"
    timeout 60 wine reg query "$1" ${2:+/s} 2>/dev/null </dev/null | tr -d '\r' | sed '/^$/d; s/^ */    /'
}

title "A machine, and three packages"
mkdir -p "$drive/tools" "$drive/records"
cp "$build/bin/WySdk.dll" "$build/bin/libexpat.dll" "$drive/tools"
cp "$build/bin/wyctl.exe" "$drive/tools/wyctl_P.exe"
make_package=$wy_root/examples/package/make-package.sh
"$make_package" "$build" "$drive/packages/first" first
"$make_package" "$build" "$drive/packages/second" second
"$make_package" "$build" "$drive/packages/failing" third failing
for name in first second failing; do
    say "C:\\packages\\$name: $(find "$drive/packages/$name" -type f | wc -l) files," \
        "$(du -sh "$drive/packages/$name" | cut -f1)"
done
wy_wine_env "$prefix"
export WY_STANDIN_RECORDS='C:\records'
wineserver -p

# Services end with the last ordinary program of a Wine machine: this one stays.
cp "$build/bin/Watchdog.exe" "$drive/tools/idle.exe"
wine 'C:\tools\idle.exe' --product Idle >"$log" 2>&1 </dev/null &

title "What is wrong with a package, and what it would do"
wyctl 0 package lint 'C:\packages\first'
wyctl 0 package plan 'C:\packages\first' --to "$product"

title "The first installation, in two phases"
wyctl 0 install 'C:\packages\first' --to "$product" --product-id 11 --vendor-id 22
wyctl 0 postinstall
say ""
say "files:"
files_of "Program Files/Example" "ProgramData/Korvex Data" -type f ! -name '*.log'
registry "$key" all
registry 'HKLM\Software\Microsoft\Windows\CurrentVersion\Run'
wyctl 0 verify 'C:\packages\first'

title "Somebody lays hands on it"
printf 'not as it was\n' >"$drive/Program Files/Example/release.txt"
rm "$drive/Program Files/Example/Shortcut_P.exe"
say "release.txt is changed, Shortcut_P.exe deleted"
wyctl 1 verify 'C:\packages\first'

title "The upgrade"
# This build has one version; an upgrade is one from an older version.
run_logged "$log" timeout 60 wine reg add "$key" /v ProductVersion /d 3.1.1100 /f
say "the registry says that version 3.1.1100 is installed; the watchdog runs"
prepare_to_end
wyctl 0 install 'C:\packages\second' --to 'C:\this is not looked at'
wyctl 0 postinstall
say ""
say "the old version lies beside the new one, until the next re-install:"
files_of "Program Files/WyvarionBackup" -maxdepth 0
wyctl 0 verify 'C:\packages\second'
wyctl 0 update pending
say ""
say "the machine starts anew"
run_logged "$log" timeout 120 wine wineboot
wyctl 0 verify 'C:\packages\second'

title "An upgrade that fails, and its rollback"
wyctl 1 package lint 'C:\packages\failing'
prepare_to_end
wyctl 1 install 'C:\packages\failing'
wyctl 0 log tail 'C:\ProgramData\Korvex Data\Log\qrn_WySdk.log' --only errors --lines 3 --no-follow
say ""
say "the folder is that of the second release again, and the product runs; what the failed package"
say "wrote into the registry stays:"
wyctl 0 service status
wyctl 1 verify 'C:\packages\second'

title "The removal"
prepare_to_end
wyctl 0 uninstall
wyctl 0 leftovers "$product"

title "Done"
say "What to do next:
  examples/package    the package: Setup.ini and InstCfg.xml with comments, and the script that makes it
  docs/deployment.md  for the author of a set-up program: phases, format, states, every code
  docs/wyctl.md       the commands: install, postinstall, uninstall, verify, leftovers"
