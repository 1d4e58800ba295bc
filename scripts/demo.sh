#!/usr/bin/env bash
# demo.sh BUILD PREFIX: shows a session between wyctl and the development host.
#
# BUILD is a folder of the preset mingw-x64 that has been built, PREFIX a fresh Wine prefix. Host
# and Wine server have ended when this script ends, however it ends.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
# shellcheck source=scripts/wine.sh
source "$wy_root/scripts/wine.sh"

[ $# = 2 ] || die "usage: demo.sh BUILD PREFIX"
bin=$(realpath "$1")/bin
prefix=$(realpath "$2")
for program in WySdk.dll WySvcHost.exe wyctl.exe; do
    [ -e "$bin/$program" ] || die "$bin/$program is missing: build the preset mingw-x64 first"
done

host_log=$prefix/host.log
finish() {
    trap '' INT TERM
    wy_wine_stop "$prefix"
}
trap finish EXIT
trap 'exit 130' INT TERM

bold='' plain='' progress=lines
if [ -t 1 ]; then
    bold=$'\033[1m' plain=$'\033[0m' progress=bar
fi
title() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }

wy_wine_env "$prefix"
cd "$bin"
wineserver -p

title "A machine with something to find"
"$wy_root/scripts/make-sample-tree.sh" "$prefix/drive_c/sample"
say "C:\\sample: $(find "$prefix/drive_c/sample" -type f | wc -l) files in" \
    "$(find "$prefix/drive_c/sample" -type d | wc -l) folders"
uninstall='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Gone Application'
autorun='HKLM\Software\Microsoft\Windows\CurrentVersion\Run'
run_logged "$prefix/reg.log" timeout 60 wine reg add "$uninstall" /v DisplayName /d 'Gone Application' /f
run_logged "$prefix/reg.log" timeout 60 wine reg add "$uninstall" /v InstallLocation \
    /d 'C:\Program Files\Gone Application' /f
run_logged "$prefix/reg.log" timeout 60 wine reg add "$autorun" /v 'Gone Updater' \
    /d 'C:\Program Files\Gone Application\updater.exe' /f
say "registry: an installed program whose folder is gone, and its entry among what starts at log-on"

title "The service: WySvcHost.exe, the development host"
wine WySvcHost.exe --root 'C:\sample' >"$host_log" 2>&1 </dev/null &
host=$!
for ((i = 0; i < 300; i++)); do
    grep -q '^ready' "$host_log" && break
    kill -0 "$host" 2>/dev/null || die "the host ended: $(tail -n 5 "$host_log")"
    sleep 0.1
done
grep -q '^ready' "$host_log" || die "the host is not ready after 30 s: $(tail -n 5 "$host_log")"
say "started, serving files below C:\\sample, removing nothing"

title "The application: wyctl.exe, through WySdk.dll, in one session"
# Through a pipe even on a terminal: Wine would otherwise take over its keyboard and screen.
timeout 120 wine wyctl.exe --progress "$progress" batch 2>&1 <<'COMMANDS' | cat
call WyGetSvchostPid
scan
bigfiles --min-size 100M --limit 10
duplicates
usage
monitor --count 3 --interval 700
COMMANDS

title "Events: one wyctl.exe watches, another publishes"
watch_log=$prefix/watch.log
timeout 60 wine wyctl.exe events 7 --count 1 >"$watch_log" 2>&1 </dev/null &
watcher=$!
# The head of the lines tells that it has subscribed.
for ((i = 0; i < 300; i++)); do
    grep -qs content "$watch_log" && break
    kill -0 "$watcher" 2>/dev/null || die "the watcher ended: $(tail -n 5 "$watch_log")"
    sleep 0.1
done
say "> wyctl publish 7 '{\"percent\":5}'"
timeout 60 wine wyctl.exe publish 7 '{"percent":5}' </dev/null 2>&1 | cat
wait "$watcher" || die "the event did not arrive: $(tail -n 5 "$watch_log")"
say "> wyctl events 7 --count 1"
cat "$watch_log"

title "Done"
say "host stopped. What to do next:
  ./test --quick      run the tests
  docs/wyctl.md       all commands: scan, bigfiles, monitor, events, call any function, decode
  docs/devhost.md     the host: its options, its answers, and scripts of faults to test against
  README.md           use WySdk.dll from your own application
The three programs in $(realpath --relative-to="$wy_root" "$bin") run on a Windows machine as well:
start WySvcHost.exe there, then wyctl.exe in another window."
