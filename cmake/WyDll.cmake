# wy_finish_dll(TARGET DEFINITION file.def)
#
# What a shipped library needs beyond add_library(): exactly the exports of the definition file,
# undecorated on both architectures; no import that old systems lack; debug information in a file
# of its own (<name>.dll.debug, linked by checksum), so that the library itself carries none.
function(wy_finish_dll target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "DEFINITION" "")
  if(NOT arg_DEFINITION)
    message(FATAL_ERROR "wy_finish_dll(${target}): wrong arguments, see cmake/WyDll.cmake")
  endif()
  get_filename_component(definition "${arg_DEFINITION}" ABSOLUTE)
  set_target_properties(${target} PROPERTIES PREFIX "" WINDOWS_EXPORT_ALL_SYMBOLS OFF)
  target_sources(${target} PRIVATE "${definition}")
  target_link_libraries(${target} PRIVATE WyOldSystems)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # The definition file has plain names, the functions are decorated __stdcall ones.
    target_link_options(${target} PRIVATE -Wl,--enable-stdcall-fixup,--kill-at)
  endif()
  find_program(WY_OBJCOPY NAMES "${WYSDK_MINGW_ARCH}-w64-mingw32-objcopy" REQUIRED)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND "${WY_OBJCOPY}" --only-keep-debug "$<TARGET_FILE:${target}>" "$<TARGET_FILE:${target}>.debug"
    COMMAND "${WY_OBJCOPY}" --strip-debug "$<TARGET_FILE:${target}>"
    COMMAND "${WY_OBJCOPY}" "--add-gnu-debuglink=$<TARGET_FILE:${target}>.debug"
            "$<TARGET_FILE:${target}>"
    VERBATIM)
endfunction()
