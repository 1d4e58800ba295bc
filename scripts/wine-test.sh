#!/usr/bin/env bash
# wine-test.sh ARCH SECONDS PROGRAM [ARGUMENT...]: runs one Windows program in a fresh prefix.
#
# ARCH is x64 or x86. Exit status: the program's (its low eight bits), or 124 when it took longer
# than SECONDS. Nothing that the program started outlives this script.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
# shellcheck source=scripts/wine.sh
source "$wy_root/scripts/wine.sh"

[ $# -ge 3 ] || die "usage: wine-test.sh x64|x86 SECONDS PROGRAM [ARGUMENT...]"
arch=$1 seconds=$2 program=$3
if [ "$arch" = x86 ] && [ ! -x /usr/lib/wine/wine ]; then
    exec "$wy_root/scripts/wine32.sh" run "$0" "$@"
fi
shift 3

mkdir -p "$wy_wine_home"
prefix=$(mktemp -d "$wy_wine_home/run.XXXXXX")
finish() {
    trap '' INT TERM
    wy_wine_stop "$prefix/p"
    rm -rf "$prefix"
}
trap finish EXIT
trap 'exit 130' INT TERM

wy_wine_new_prefix "$arch" "$prefix/p"
wy_wine_env "$prefix/p"
cd "$(dirname "$program")"
# Services end with the last ordinary program unless the server stays by itself.
wineserver -p
status=0
# In the background: a trap runs only between commands.
timeout -k 5 "$seconds" wine "$(basename "$program")" "$@" </dev/null &
wait $! || status=$?
exit "$status"
