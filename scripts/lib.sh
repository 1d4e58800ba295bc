# Shared by the shell scripts of this folder; sourced, never run.
# shellcheck shell=bash

wy_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '%s\n' "$*"; }
die() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# The folder of everything that is expensive to make and independent of a clone.
wy_cache_dir() {
    printf '%s\n' "${WYSDK_CACHE:-${XDG_CACHE_HOME:-${HOME:-/var/tmp}/.cache}/wysdk}"
}

wy_package_version() {
    # shellcheck disable=SC2016 # the variable is dpkg-query's own
    dpkg-query -W -f '${Version}' "$1" 2>/dev/null || true
}

# The folder of the cross-built dependencies. Its name changes when the compiler, a source
# package or a recipe changes, so that a stale set is never picked up.
wy_deps_dir() {
    local key
    key=$({
        for p in g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix mingw-w64-common \
            googletest libboost1.74-dev libcli11-dev libfmt-dev; do
            printf '%s=%s\n' "$p" "$(wy_package_version "$p")"
        done
        cat "$wy_root/scripts/fetch-deps.sh" "$wy_root/scripts/build-deps.sh"
    } | sha256sum | cut -c1-12)
    printf '%s/deps/%s\n' "$(wy_cache_dir)" "$key"
}

# run_logged LOG COMMAND...: quiet unless it fails, then the end of the log is shown.
run_logged() {
    local log=$1
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        die "'$1' failed; the whole output is in $log"
    fi
}
