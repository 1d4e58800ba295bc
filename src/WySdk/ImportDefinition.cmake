# cmake -DDEFINITION=WySdk.def -DARCHIVE=libWySdkCore.a -DNM=nm -DOUT=file.def -P this
#
# Writes the definition file that import libraries are made from. On 32 bits a program refers to a
# function under its decorated __stdcall name, "_WyScan@12", which only the compiled code knows; the
# names of the definition file are looked up there. On 64 bits the names stay as they are.
execute_process(COMMAND "${NM}" --defined-only --extern-only "${ARCHIVE}"
                OUTPUT_VARIABLE symbols ERROR_VARIABLE errors COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS "${DEFINITION}" names REGEX "^ +Wy[A-Za-z0-9]+$")
set(text "LIBRARY WySdk.dll\nEXPORTS\n")
foreach(name IN LISTS names)
  string(STRIP "${name}" name)
  if(symbols MATCHES " T _${name}(@[0-9]+)\n")
    string(APPEND text "    ${name}${CMAKE_MATCH_1}\n")
  elseif(symbols MATCHES " T ${name}\n")
    string(APPEND text "    ${name}\n")
  else()
    message(FATAL_ERROR "${DEFINITION} exports ${name}, which ${ARCHIVE} does not define")
  endif()
endforeach()
file(WRITE "${OUT}" "${text}")
