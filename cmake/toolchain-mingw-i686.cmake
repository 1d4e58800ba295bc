# GCC for Windows (i686, posix threads) with the dependencies that scripts/setup.sh has built.
set(WYSDK_MINGW_ARCH i686)
set(WYSDK_MINGW_PROCESSOR X86)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw-common.cmake")
