# wy_precompile(target...)
#
# Gives library targets the headers that most of their sources include, compiled once for all of
# them: <windows.h> through its door and the locks of Boost take up to half the time of a source else.
# A source still includes what it uses: each header is compiled alone by ./test, and the native
# builds do without <windows.h>.
function(wy_precompile)
  if(NOT TARGET wy_headers)
    # An object of its own owns them; its options are those of every target of the project.
    file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/wy_headers.cpp" CONTENT "\n")
    add_library(wy_headers OBJECT "${CMAKE_BINARY_DIR}/wy_headers.cpp")
    if(WIN32)
      set(door "<Common/KrCommon/KrComn_Windows.h>")
    endif()
    target_precompile_headers(wy_headers PRIVATE ${door}
      <boost/shared_ptr.hpp> <boost/thread/lock_guard.hpp> <boost/thread/mutex.hpp>
      <algorithm> <cstdint> <cstring> <functional> <map> <memory> <string> <utility> <vector>)
  endif()
  foreach(target IN LISTS ARGN)
    target_precompile_headers(${target} REUSE_FROM wy_headers)
    # GCC 12 sees overruns and overlaps in copies of strings where there are none, unless their headers
    # are marked as the system's, which they are not in precompiled form.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overread
                             -Wno-stringop-overflow -Wno-restrict)
    endif()
  endforeach()
endfunction()
