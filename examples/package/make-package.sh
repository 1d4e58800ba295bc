#!/usr/bin/env bash
# make-package.sh BUILD OUT [RELEASE [failing]]: makes an unpacked package of the example product.
#
# BUILD is a folder of the preset mingw-x64 that has been built, OUT a folder that does not exist
# yet. RELEASE is a word that tells one package from another ("first"). A failing package has an
# item that cannot be carried out.
#
# What is text lies in tree/ beside this script. The programs come from the build; those of the
# product that are not part of this library are played by the stand-ins of its tests.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# shellcheck source=scripts/lib.sh
source "$here/../../scripts/lib.sh"

if [ $# -lt 2 ] || [ $# -gt 4 ]; then
    die "usage: make-package.sh BUILD OUT [RELEASE [failing]]"
fi
bin=$(realpath "$1")/bin
out=$2
release=${3:-first}
[[ $release =~ ^[a-z0-9.]+$ ]] || die "RELEASE is a word of letters, digits and points"
[ "${4:-failing}" = failing ] || die "the fourth argument can only be 'failing'"
[ ! -e "$out" ] || die "$out exists already"

mkdir -p "$(dirname "$out")"
cp -r "$here/tree" "$out"

# The release, and the item that fails: a value below a root that there is not.
failing='<RegistryValue Id="failing" Action="write" Root="HKXX" Key="Nowhere" Name="x" Value="x" Type="string"\/>'
[ $# = 4 ] || failing=''
sed -i -e "s/@RELEASE@/$release/" -e "s/<!-- @FAILING@ -->/$failing/" "$out/InstCfg.xml"
printf 'This is release %s.\r\n' "$release" |
    tee "$out/common/product/release.txt" >>"$out/common/product/External/report.txt"

# put PROGRAM NAME: a program of the build, without what only a debugger reads.
put() {
    [ -e "$bin/$1" ] || die "$bin/$1 is missing: build the preset mingw-x64 first"
    x86_64-w64-mingw32-strip -o "$out/$2" "$bin/$1"
}
# What the library itself needs to read the manifest, on systems of both kinds.
mkdir -p "$out/x64/foundation" "$out/win32/foundation" "$out/x64/product/Plugins"
put libexpat.dll x64/foundation/libexpat.dll
cp "$(wy_deps_dir)/i686/bin/libexpat.dll" "$out/win32/foundation/libexpat.dll"
put WySdk.dll x64/product/WySdk.dll
put KrDbgLog.dll x64/product/KrDbgLog.dll
# Stands for a plug-in: any library with a version.
put KrDbgLog.dll x64/product/Plugins/Plugin.dll
# The service program is played by the development host. "_P" is the suffix of the identity
# "Tavrenox", the only one that knows upgrades.
put WySvcHost.exe x64/product/WySvcHost_P.exe
put SessionAgentStandin.exe x64/product/WySessionAgent_P.exe
put ShortcutStandin.exe x64/product/Shortcut_P.exe
put Watchdog.exe x64/product/WyWatchDog_P.exe
