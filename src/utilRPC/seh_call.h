#pragma once

// Runs function(argument) and catches whatever structured exception leaves it.
//
// Returns 0 when the function returned, 1 when an exception left it, with the exception's code in
// *code. Frames in between are unwound by the platform, so their termination handlers run; C++
// destructors inside `function` do not, and a C++ exception must not leave it.
//
// One assembler file serves both targets, because the compiler itself has no structured
// exception handling.

#ifdef __cplusplus
extern "C" {
#endif

int seh_call(void (*function)(void*), void* argument, unsigned long* code);

#ifdef __cplusplus
}
#endif
