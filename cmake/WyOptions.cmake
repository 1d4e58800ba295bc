# Language, warnings, hardening and sanitizers: the same for every target of the project.
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Programs, libraries loaded at run time and tests lie side by side, as they do when shipped.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

include_directories("${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}/include")

add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Werror
  # Relative paths in assertions and debug information: binaries do not tell where they were made.
  "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build"
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.")

# GCC 12 takes the concatenation of strings for an overlapping copy when it optimises fully (its bug
# 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  add_compile_options($<$<CONFIG:Release>:-Wno-restrict>)
endif()

if(WIN32)
  # Line tables name the place in a crash report; types and variables would take some 15 %
  # of a source's compile time.
  set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG")
  add_compile_definitions(UNICODE _UNICODE _GLIBCXX_ASSERTIONS)
  add_compile_options("-ffile-prefix-map=${WYSDK_DEPS}=deps" -fstack-protector-strong)
endif()

set(WYSDK_SANITIZE "" CACHE STRING "address, thread or fuzzer: what a native build is instrumented for")
# Line tables are what a report of a sanitizer needs.
set(CMAKE_C_FLAGS_SANITIZE "-O1 -g1 -fno-omit-frame-pointer")
set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g1 -fno-omit-frame-pointer")
if(WYSDK_SANITIZE STREQUAL "address")
  set(_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # One build serves the unit tests and the fuzz targets of ./test.
    list(APPEND _sanitizers -fsanitize=fuzzer-no-link)
  endif()
elseif(WYSDK_SANITIZE STREQUAL "thread")
  set(_sanitizers -fsanitize=thread)
elseif(WYSDK_SANITIZE STREQUAL "fuzzer")
  set(_sanitizers -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all)
elseif(NOT WYSDK_SANITIZE STREQUAL "")
  message(FATAL_ERROR "WYSDK_SANITIZE is '${WYSDK_SANITIZE}'; it must be address, thread, fuzzer or empty")
endif()
if(_sanitizers)
  add_compile_options(${_sanitizers})
  add_link_options(${_sanitizers})
endif()
