# GCC for Windows (x86_64, posix threads) with the dependencies that scripts/setup.sh has built.
set(WYSDK_MINGW_ARCH x86_64)
set(WYSDK_MINGW_PROCESSOR AMD64)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake")
