# wy_add_gtest(NAME GROUP group [SLOW] [SEQUENTIAL] [TIMEOUT seconds]
#              SOURCES file... [SEQUENTIAL_SOURCES file...] [LIBS target...]
#              [DATA file-or-folder...])
#
# Builds the GoogleTest program NAME and enters it into <build>/wytests.list, from which ./test
# runs it: natively in a native build, under Wine in a Windows build. Groups: unit, abi, e2e.
#   SLOW     left out by ./test --quick
#   SEQUENTIAL  neither the tests nor what they test uses threads: not built for ThreadSanitizer
#   SEQUENTIAL_SOURCES  the same for some of its sources
#   TIMEOUT  of the whole program, 120 seconds unless given
#   DATA     copied to <build>/bin/data/; a test runs with <build>/bin as its current folder
# gmock's main() is linked unless a source brings its own. WYSDK_TEST_FULL=1 stands in the
# environment of a run by ./test --full: tests then do their whole sweep, with 20 times the TIMEOUT.
#
# wy_add_fuzzer(NAME SOURCES file... [LIBS target...] CORPUS folder)
#
# Declares a libFuzzer target. It is built by Clang for AddressSanitizer (preset native-asan, from
# which ./test runs it) and by the preset native-fuzz; elsewhere the call does nothing. ./test replays the corpus and runs a short sample with a fixed seed.

define_property(GLOBAL PROPERTY WY_TEST_LINES)

# The tools' own code has nothing in it that depends on the width of a pointer: as 32-bit programs
# they are built by name alone, and their tests are those of the 64-bit ones.
set(WY_TEST_TOOLS ON)
if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(WY_TEST_TOOLS OFF)
endif()

# Test sources run once and are compiled often: unlike the code under test they are not optimised.
# A crash under Wine is reported without lines, so that debug information serves native builds alone.
if(WIN32)
  set(WY_TEST_OPTIONS -O0 -g0)
else()
  set(WY_TEST_OPTIONS -O0 -g1)
endif()

function(wy_enter_test)
  string(JOIN "\t" line ${ARGN})
  set_property(GLOBAL APPEND PROPERTY WY_TEST_LINES "${line}")
endfunction()

function(wy_add_gtest name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "SLOW;SEQUENTIAL" "GROUP;TIMEOUT" "SOURCES;SEQUENTIAL_SOURCES;LIBS;DATA")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES OR NOT arg_GROUP MATCHES "^(unit|abi|e2e)$")
    message(FATAL_ERROR "wy_add_gtest(${name}): wrong arguments, see cmake/WyTest.cmake")
  endif()
  # The fuzz build is for fuzz targets; its unit tests would be those of the sanitizer builds again.
  if(WYSDK_SANITIZE STREQUAL "fuzzer" OR CMAKE_BUILD_TYPE STREQUAL "Release")
    return()
  endif()
  if(arg_SEQUENTIAL AND WYSDK_SANITIZE STREQUAL "thread")
    return()
  endif()
  if(NOT WYSDK_SANITIZE STREQUAL "thread")
    list(APPEND arg_SOURCES ${arg_SEQUENTIAL_SOURCES})
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set(speed quick)
  if(arg_SLOW)
    set(speed slow)
  endif()
  # GoogleTest's headers are compiled once, not once per test source.
  if(NOT TARGET wy_test_headers)
    # A program, because its compiler options must be those of the test programs.
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/wy_test_headers.cpp" CONTENT "int main() {}\n")
    add_executable(wy_test_headers "${CMAKE_BINARY_DIR}/wy_test_headers.cpp")
    target_link_libraries(wy_test_headers PRIVATE GTest::gmock)
    target_compile_options(wy_test_headers PRIVATE ${WY_TEST_OPTIONS})
    if(WIN32)
      # A third of the Windows sources include <windows.h>, which takes 0.8 s of each.
      set(door "<Common/KrCommon/KrComn_Windows.h>")
    endif()
    target_precompile_headers(wy_test_headers PRIVATE ${door}
      <gmock/gmock.h> <gtest/gtest.h> <algorithm> <cstring> <functional> <map> <string> <vector>)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} GTest::gmock_main GTest::gmock GTest::gtest
                                        Threads::Threads)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_compile_options(${name} PRIVATE ${WY_TEST_OPTIONS})
  target_precompile_headers(${name} REUSE_FROM wy_test_headers)
  foreach(item IN LISTS arg_DATA)
    file(COPY "${CMAKE_CURRENT_SOURCE_DIR}/${item}" DESTINATION "${CMAKE_BINARY_DIR}/bin/data")
  endforeach()
  wy_enter_test(gtest ${arg_GROUP} ${name} ${speed} ${arg_TIMEOUT} "$<TARGET_FILE:${name}>")
endfunction()

function(wy_add_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "CORPUS" "SOURCES;LIBS")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES OR NOT arg_CORPUS)
    message(FATAL_ERROR "wy_add_fuzzer(${name}): wrong arguments, see cmake/WyTest.cmake")
  endif()
  if(NOT WYSDK_SANITIZE STREQUAL "fuzzer" AND NOT (WYSDK_SANITIZE STREQUAL "address" AND
                                                   CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LIBS} Threads::Threads)
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  wy_enter_test(fuzz fuzz ${name} quick 300 "$<TARGET_FILE:${name}>"
                "${CMAKE_CURRENT_SOURCE_DIR}/${arg_CORPUS}")
endfunction()

# Called once, at the end of the top CMakeLists.txt. One line per test, fields separated by tabs:
# kind, group, name, quick|slow, timeout, program, corpus.
function(wy_write_test_list)
  get_property(lines GLOBAL PROPERTY WY_TEST_LINES)
  list(JOIN lines "\n" text)
  file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/wytests.list" CONTENT "${text}\n")
endfunction()
