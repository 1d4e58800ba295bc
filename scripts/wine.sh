# Wine prefixes for tests and demonstrations; sourced after lib.sh, never run.
# shellcheck shell=bash
# shellcheck disable=SC2154 # wy_root comes from lib.sh
#
# A prefix is one Windows machine: registry, Global\ names, services and RPC endpoints. Whoever
# needs one gets a fresh copy of a template that is made once per build folder.

wy_wine_home=$wy_root/build/wine

# wy_wine_env PREFIX: the environment of every Windows program.
#   winedbg.exe=          without it a crashed program sometimes ends with exit status 0
#   winemenubuilder.exe=  it would write menu entries into the person's own home folder
wy_wine_env() {
    export WINEPREFIX=$1 HOME=$1
    export WINEDEBUG=${WINEDEBUG:--all}
    export WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe,winemenubuilder.exe="
    unset DISPLAY WAYLAND_DISPLAY WINEARCH WINESERVER WINELOADER
}

# wy_wine_stop PREFIX: ends every program of the prefix and waits until the last one is gone.
wy_wine_stop() {
    WINEPREFIX=$1 timeout 20 wineserver -k >/dev/null 2>&1 || true
    WINEPREFIX=$1 timeout 20 wineserver -w >/dev/null 2>&1 || true
}

# Everything that a template depends on, in one line.
wy_wine_key() {
    printf '%s %s %s %s\n' "$1" "$(wy_package_version libwine)" "$(id -u)" \
        "$(sha256sum <"$wy_root/scripts/wine.sh" | cut -c1-12)"
}

# wy_wine_make_template ARCH FOLDER
wy_wine_make_template() (
    rm -rf "$2"
    mkdir -p "$2"
    wy_wine_env "$2"
    cd "$2" || die "cannot enter $2"
    trap 'wy_wine_stop "$WINEPREFIX"' EXIT
    timeout 120 wineboot -i >"$2.log" 2>&1 </dev/null || die "wineboot failed, see $2.log"
    # A crash ends the program at once instead of asking for a debugger.
    timeout 60 wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
        /v Debugger /d '' /f >>"$2.log" 2>&1 </dev/null || die "reg add failed, see $2.log"
    if [ "$1" = x86 ] && [ ! -e "$2/drive_c/windows/syswow64/kernel32.dll" ]; then
        die "this Wine has no 32-bit part"
    fi
    wy_wine_stop "$WINEPREFIX"
    # Desktop, Documents and so on are links into the home folder: make them folders.
    local link
    for link in "$2"/drive_c/users/*/*; do
        if [ -L "$link" ]; then
            rm "$link"
            mkdir "$link"
        fi
    done
)

# wy_wine_new_prefix ARCH FOLDER: a fresh prefix in FOLDER, which must not exist yet.
# Wine's own programs and libraries (0.7 to 1.3 GB) are hard links to those of the template.
wy_wine_new_prefix() {
    local template=$wy_wine_home/template-$1 key
    key=$(wy_wine_key "$1")
    mkdir -p "$wy_wine_home"
    (
        flock 9
        if [ "$(cat "$template.key" 2>/dev/null)" != "$key" ]; then
            rm -f "$template.key"
            wy_wine_make_template "$1" "$template" 9>&-
            printf '%s\n' "$key" >"$template.key"
        fi
    ) 9>"$template.lock"
    mkdir -p "$(dirname "$2")"
    cp -al "$template" "$2"
    find "$2" -type f ! -iname '*.dll' ! -iname '*.exe' ! -iname '*.sys' ! -iname '*.drv' \
        ! -iname '*.ocx' ! -iname '*.cpl' ! -iname '*.acm' ! -iname '*.tlb' ! -iname '*.nls' \
        -exec sh -c 'for f; do cp -p "$f" "$f.own" && mv -f "$f.own" "$f"; done' sh {} +
}
