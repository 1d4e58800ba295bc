#!/usr/bin/env bash
# 32-bit Wine without changing the machine's packages.
#
#   wine32.sh prepare        exit status 0: 32-bit programs can be run; 77: they cannot, and why
#   wine32.sh run COMMAND    runs a shell command line in which `wine` runs 32-bit programs too
#
# Where the machine has a 32-bit Wine, that one is used. Otherwise the i386 packages are unpacked
# into a folder of the cache, and COMMAND runs in a mount namespace of its own in which that
# folder lies over /usr. Nothing outside that namespace sees it, and it ends with its processes.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

loader=/usr/lib/wine/wine
version=$(wy_package_version libwine)
layer=$(wy_cache_dir)/wine32/$version-$(sha256sum <"${BASH_SOURCE[0]}" | cut -c1-12)

cannot() {
    say "$*"
    exit 77
}

enter() {
    local unshare=(unshare --mount --propagation private)
    [ "$(id -u)" = 0 ] || unshare+=(--user --map-root-user)
    # shellcheck disable=SC2016 # expanded by the inner shell
    exec "${unshare[@]}" sh -c \
        'mount -t overlay overlay -o "lowerdir=$0:/usr" /usr && exec "$@"' "$layer/usr" "$@"
}

unpack() {
    local state=$layer.state parts options
    [ -n "$version" ] || cannot "Wine is not installed"
    rm -rf "$state" "$layer"
    parts=$state/parts
    mkdir -p "$parts" "$state/lists/partial" "$state/cache/archives/partial" "$layer"
    : >"$state/status"
    # Only the main archive: its i386 packages are those of the installed 64-bit Wine's release.
    # shellcheck disable=SC2016 # the variables are apt's own
    apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sort -u | awk '$1 !~ /security/ && $3 == "main" &&
            $2 ~ /^(bookworm|oldstable|stable)(-updates)?$/ {
                print "deb [arch=i386 signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]",
                      $1, $2, $3 }' >"$parts/source.list"
    options=(-q -o APT::Architecture=i386 -o APT::Architectures=i386
        -o Dir::State::status="$state/status" -o Dir::Etc::sourcelist=/dev/null
        -o Dir::Etc::sourceparts="$parts" -o Dir::Etc::preferencesparts=/dev/null
        -o Dir::State::Lists="$state/lists" -o Dir::Cache="$state/cache"
        -o APT::Sandbox::User=root -o Acquire::Retries=3)
    apt-get "${options[@]}" update
    apt-get "${options[@]}" install --no-install-recommends --download-only -y \
        "wine32=$version" "libwine=$version"
    local package
    for package in "$state"/cache/archives/*.deb; do
        dpkg-deb -x "$package" "$state/tree"
    done
    # Only libraries and the loader are needed; /lib is a link to /usr/lib on the machine itself.
    mkdir -p "$layer/usr/lib"
    cp -al "$state/tree/lib/." "$layer/usr/lib/"
    cp -al "$state/tree/usr/lib/i386-linux-gnu" "$state/tree/usr/lib/wine" "$layer/usr/lib/"
    rm -rf "$layer/usr/lib/udev"
    # What libwine's installation script does: zlib1.dll becomes one of Wine's own libraries by a
    # mark behind its DOS header. Without it user32.dll does not load.
    local zlib=$state/tree/usr/i686-w64-mingw32/lib/zlib1.dll
    {
        head -c 64 "$zlib"
        printf 'Wine builtin DLL'
        head -c 16 /dev/zero
        tail -c +97 "$zlib"
    } >"$layer/usr/lib/i386-linux-gnu/wine/i386-windows/zlib1.dll"
    rm -rf "$state"
    touch "$layer/complete"
}

prepare() {
    [ -x "$loader" ] && return 0
    mkdir -p "$layer/usr"
    (enter true) 2>/dev/null ||
        cannot "32-bit Wine: this machine does not allow a private mount namespace with an overlay"
    exec 9>"$layer.lock"
    flock 9
    if [ ! -e "$layer/complete" ]; then
        say "unpacking a 32-bit Wine into $layer (about a minute, once)"
        (unpack) >"$layer.log" 2>&1 ||
            cannot "32-bit Wine: its packages could not be fetched, see $layer.log"
    fi
    exec 9>&-
}

case ${1:-} in
    prepare) prepare ;;
    run)
        shift
        [ -x "$loader" ] && exec "$@"
        [ -e "$layer/complete" ] || die "no 32-bit Wine yet: run scripts/wine32.sh prepare"
        enter "$@"
        ;;
    *) die "usage: wine32.sh prepare | run COMMAND [ARGUMENT...]" ;;
esac
