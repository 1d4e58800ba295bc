#!/usr/bin/env bash
# build-deps.sh SOURCES PREFIX x86_64|i686: cross-builds the dependencies into PREFIX.
# SOURCES is the folder that fetch-deps.sh filled.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

sources=$(realpath "${1:?usage: build-deps.sh SOURCES PREFIX ARCH}")
prefix=$(realpath -m "${2:?usage: build-deps.sh SOURCES PREFIX ARCH}")
arch=${3:?usage: build-deps.sh SOURCES PREFIX ARCH}
work=$(mktemp -d "${TMPDIR:-/tmp}/wysdk-deps.XXXXXX")
trap 'rm -rf "$work"' EXIT

# The sources' and the work folder's names stand in assertions: keep them out of the objects.
flags="-ffile-prefix-map=$sources=deps -ffile-prefix-map=$work=build -fstack-protector-strong"

build_one() {
    local name=$1 source=$2
    shift 2
    say "  $arch: $name"
    run_logged "$work/$name.log" cmake -G Ninja -S "$source" -B "$work/$name" \
        -DCMAKE_TOOLCHAIN_FILE="$wy_root/cmake/toolchain-mingw-$arch.cmake" \
        -DWYSDK_DEPS="$prefix" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib "$@"
    run_logged "$work/$name.log" cmake --build "$work/$name" --target install -j "${WYSDK_JOBS:-2}"
}

build_one jsoncpp "$sources/libjsoncpp" -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON \
    -DBUILD_OBJECT_LIBS=OFF -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
    -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DJSONCPP_WITH_CMAKE_PACKAGE=ON
build_one expat "$sources/expat/expat" -DEXPAT_SHARED_LIBS=ON -DEXPAT_BUILD_TOOLS=OFF \
    -DEXPAT_BUILD_EXAMPLES=OFF -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_DOCS=OFF \
    -DEXPAT_BUILD_PKGCONFIG=OFF
build_one googletest /usr/src/googletest -DBUILD_GMOCK=ON -DCMAKE_CXX_STANDARD=17

# Of the machine's own header-only libraries only these become visible to the cross compilers.
mkdir -p "$prefix/header-only"
for library in boost CLI fmt; do
    [ -d "/usr/include/$library" ] || die "/usr/include/$library is missing"
    ln -sfn "/usr/include/$library" "$prefix/header-only/$library"
done
