#!/usr/bin/env bash
# setup.sh: installs the packages that are missing and cross-builds the dependencies once.
# Does nothing, in a fraction of a second, when all is in place.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

packages=(
    # building for Windows
    g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-tools
    # building for this machine, checks
    g++ cmake ninja-build clang-14 clang-tidy-14 clang-format-14 llvm-14 libclang-rt-14-dev
    git python3
    # libraries
    libboost1.74-dev libjsoncpp-dev libexpat1-dev googletest libgtest-dev libgmock-dev
    libbenchmark-dev libcli11-dev libfmt-dev libssl-dev
    # running Windows programs, signing, unpacking source packages
    wine wine64 openssl osslsigncode procps dpkg-dev debian-archive-keyring
)

install_packages() {
    local missing=() p
    for p in "${packages[@]}"; do
        # shellcheck disable=SC2016 # the variable is dpkg-query's own
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$p" 2>/dev/null || true)" = installed ] ||
            missing+=("$p")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" = 0 ] ||
        die "these packages are missing; install them as root: apt-get install ${missing[*]}"
    say "installing packages: ${missing[*]}"
    local log
    log=$(mktemp "${TMPDIR:-/tmp}/wysdk-apt.XXXXXX")
    export DEBIAN_FRONTEND=noninteractive
    run_logged "$log" apt-get -o DPkg::Lock::Timeout=300 -q update
    run_logged "$log" apt-get -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 -q -y \
        --no-install-recommends install "${missing[@]}"
    rm -f "$log"
}

build_dependencies() {
    local deps sources
    deps=$(wy_deps_dir)
    [ -e "$deps/complete" ] && return 0
    mkdir -p "$deps"
    exec 9>"$deps/lock"
    flock 9 # another clone may be building the same set
    if [ ! -e "$deps/complete" ]; then
        say "building the dependencies for Windows into $deps (about three minutes, once)"
        sources=$deps/sources
        run_logged "$deps/fetch.log" "$wy_root/scripts/fetch-deps.sh" "$sources"
        # Both at once: half of the time is CMake's, which uses one core.
        local jobs=() arch job
        for arch in x86_64 i686; do
            WYSDK_JOBS=${WYSDK_JOBS:-$((($(nproc) + 1) / 2))} \
                "$wy_root/scripts/build-deps.sh" "$sources" "$deps/$arch" "$arch" &
            jobs+=($!)
        done
        for job in "${jobs[@]}"; do wait "$job"; done
        touch "$deps/complete"
    fi
    exec 9>&-
}

[ -r /etc/debian_version ] && command -v apt-get >/dev/null ||
    die "this set-up knows Debian 12 only; on another system provide: ${packages[*]}"
install_packages
build_dependencies
