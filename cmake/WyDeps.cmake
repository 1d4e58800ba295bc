# The libraries of others, under one name in native and Windows builds:
#   JsonCpp::JsonCpp  expat::expat  GTest::gmock  GTest::gmock_main
#   benchmark::benchmark               native builds alone
#   Wy::boost  Wy::cli11               headers only
#   Wy::fmt                            its headers; wyctl/FmtFunctions.cpp has the rest
# Windows builds take them from WYSDK_DEPS (see the toolchain files), native ones from the system.
find_package(Threads REQUIRED)
find_package(jsoncpp CONFIG REQUIRED)
find_package(expat CONFIG REQUIRED)
find_package(GTest CONFIG REQUIRED)

add_library(Wy::boost INTERFACE IMPORTED)
add_library(Wy::cli11 INTERFACE IMPORTED)
add_library(Wy::fmt INTERFACE IMPORTED)
target_compile_definitions(Wy::boost INTERFACE BOOST_ALL_NO_LIB)
if(WIN32)
  foreach(library IN ITEMS boost cli11 fmt)
    target_include_directories(Wy::${library} SYSTEM INTERFACE "${WYSDK_DEPS}/header-only")
  endforeach()
  # expat is loaded by the library at run time, from the folder of the program.
  configure_file("${WYSDK_DEPS}/bin/libexpat.dll" "${CMAKE_BINARY_DIR}/bin/libexpat.dll" COPYONLY)
else()
  find_package(benchmark CONFIG REQUIRED)
  # It has the same name there; the system's library stands behind it.
  find_library(WY_EXPAT_LIBRARY NAMES libexpat.so REQUIRED)
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
  file(CREATE_LINK "${WY_EXPAT_LIBRARY}" "${CMAKE_BINARY_DIR}/bin/libexpat.dll" SYMBOLIC)
endif()
