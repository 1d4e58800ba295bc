# cmake -DIN=stub.c -DOUT=fixed.c -P FixWidlStub.cmake
#
# widl lists an explicit binding handle among the marshalled parameters, as a 32-bit number. The
# server would read its first four bytes as the handle and overwrite half of its own handle with
# them. The handle is described once already, in the procedure's header; this takes the second
# description out and lowers the parameter count. Offsets of later procedures are not adjusted,
# hence: one procedure per interface, checked here.
file(READ "${IN}" text)

string(CONCAT handle
  "/\\* [0-9]+ \\(parameter [A-Za-z_0-9]+\\) \\*/\n"
  "[^\n]*NdrFcShort\\(0x48\\),[^\n]*flags: in, base type \\*/\n"
  "[^\n]*NdrFcShort\\(0x0\\),[^\n]*stack offset = 0 \\*/\n"
  "[^\n]*FC_LONG \\*/\n"
  "[^\n]*0x0,\n")
string(REGEX MATCHALL "${handle}" handles "${text}")
string(REGEX MATCHALL "\\(procedure " procedures "${text}")
string(REGEX MATCHALL "0x[0-9a-f]+,[ \t]*/\\* [0-9]+ params \\*/" counts "${text}")
list(LENGTH handles handle_count)
list(LENGTH procedures procedure_count)
list(LENGTH counts count_count)
if(NOT handle_count EQUAL 1 OR NOT procedure_count EQUAL 1 OR NOT count_count EQUAL 1
   OR NOT text MATCHES "FC_BIND_PRIMITIVE")
  message(FATAL_ERROR "${IN}: not a stub that can be corrected (${procedure_count} procedures, "
                      "${handle_count} marshalled handles, ${count_count} parameter counts)")
endif()

string(REGEX REPLACE "${handle}" "" text "${text}")
string(REGEX MATCH "/\\* ([0-9]+) params" ignored "${counts}")
math(EXPR params "${CMAKE_MATCH_1} - 1")
math(EXPR params_hex "${params}" OUTPUT_FORMAT HEXADECIMAL)
string(REPLACE "${counts}" "${params_hex},\t/* ${params} params */" text "${text}")

# The dispatch table names the platform's unmarshaller, which takes the size and the array's own
# count on trust. A check of ours goes before it (IdlServerHelper_win32.cpp).
string(REGEX MATCHALL "\n    NdrServerCall2," dispatched "${text}")
list(LENGTH dispatched dispatch_count)
if(NOT dispatch_count EQUAL 1)
  message(FATAL_ERROR "${IN}: ${dispatch_count} entries in the dispatch table, expected one")
endif()
string(REPLACE "\n    NdrServerCall2," "\n    IdlCheckedServerCall," text "${text}")
string(REPLACE "static RPC_DISPATCH_FUNCTION "
               "void __RPC_STUB IdlCheckedServerCall(PRPC_MESSAGE);\nstatic RPC_DISPATCH_FUNCTION "
               text "${text}")
file(WRITE "${OUT}" "${text}")
