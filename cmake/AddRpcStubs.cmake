# add_rpc_stubs(TARGET IDL file SERVER_PREFIX prefix)
#
# Generates the server stub of an interface with one procedure and makes the object library TARGET
# of it. The stub goes through FixWidlStub.cmake, which takes the binding handle off the wire. The
# calling side is written by hand (src/utilRPC/IdlClientHelper_win32.cpp).
find_program(WIDL_EXECUTABLE NAMES x86_64-w64-mingw32-widl widl REQUIRED)
set(_wy_fix_widl_stub "${CMAKE_CURRENT_LIST_DIR}/FixWidlStub.cmake")

function(add_rpc_stubs target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "IDL;SERVER_PREFIX" "")
  if(NOT arg_IDL OR NOT arg_SERVER_PREFIX)
    message(FATAL_ERROR "add_rpc_stubs(${target}): wrong arguments, see cmake/AddRpcStubs.cmake")
  endif()
  get_filename_component(idl "${arg_IDL}" ABSOLUTE)
  get_filename_component(name "${arg_IDL}" NAME_WE)
  set(width -m32)
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(width -m64)
  endif()
  set(out "${CMAKE_CURRENT_BINARY_DIR}/rpc")
  file(MAKE_DIRECTORY "${out}/raw")
  set(widl ${WIDL_EXECUTABLE} ${width} -Oif --prefix-server=${arg_SERVER_PREFIX})
  add_custom_command(
    OUTPUT "${out}/${name}.h" "${out}/${name}_s.c"
    BYPRODUCTS "${out}/raw/${name}_s.c"
    COMMAND ${widl} -h -o "${out}/${name}.h" "${idl}"
    COMMAND ${widl} -s -o "${out}/raw/${name}_s.c" "${idl}"
    COMMAND ${CMAKE_COMMAND} -DIN=${out}/raw/${name}_s.c -DOUT=${out}/${name}_s.c
            -P "${_wy_fix_widl_stub}"
    DEPENDS "${idl}" "${_wy_fix_widl_stub}"
    COMMENT "Generating the server stub of ${name}.idl"
    VERBATIM)
  add_library(${target} OBJECT "${out}/${name}_s.c" "${out}/${name}.h")
  target_include_directories(${target} SYSTEM PUBLIC "${out}")
  target_compile_options(${target} PRIVATE -w) # generated code
  target_link_libraries(${target} PUBLIC rpcrt4)
endfunction()
