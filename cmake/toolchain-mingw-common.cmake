# What both Windows toolchain files have in common; they set WYSDK_MINGW_ARCH and _PROCESSOR.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${WYSDK_MINGW_PROCESSOR})

set(_triple ${WYSDK_MINGW_ARCH}-w64-mingw32)
set(CMAKE_C_COMPILER ${_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_triple}-g++-posix)
set(CMAKE_ASM_COMPILER ${_triple}-gcc-posix)
set(CMAKE_RC_COMPILER ${_triple}-windres)

# The dependencies' folder; try_compile() runs this file again and must see the same one.
if(NOT WYSDK_DEPS)
  execute_process(
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/../scripts/deps-dir.sh"
    OUTPUT_VARIABLE _deps
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS "${_deps}/complete")
    message(FATAL_ERROR "The dependencies for Windows are not built yet: run scripts/setup.sh")
  endif()
  set(WYSDK_DEPS "${_deps}/${WYSDK_MINGW_ARCH}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES WYSDK_DEPS)

set(CMAKE_FIND_ROOT_PATH /usr/${_triple} ${WYSDK_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's run-time libraries go into each binary: nothing has to be shipped beside it.
# -fstack-protector-strong stands here too because it makes the linker add the guard's library.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -fstack-protector-strong")
endforeach()
