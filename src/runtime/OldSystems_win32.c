// Takes functions that Windows XP does not have out of the import table of the library.
//
// The compiler's thread library imports GetTickCount64, which would keep the library from being
// loaded on a system without it. The symbol defined here is the slot through which that import is
// called; the linker takes it instead of the one in the import library of kernel32.
#include <windows.h>

#include "runtime/ExtendTicks.h"

#ifdef __i386__
#define IMPORT_SLOT "__imp__GetTickCount64@0"
#else
#define IMPORT_SLOT "__imp_GetTickCount64"
#endif

typedef ULONGLONG(WINAPI* TickCount)(void);

static ULONGLONG WINAPI find_tick_count(void);

extern TickCount tick_count_slot __asm__(IMPORT_SLOT);
TickCount tick_count_slot = find_tick_count;

static ULONGLONG WINAPI extended_tick_count(void) {
    static uint64_t last;
    return wy_extend_ticks(&last, GetTickCount());
}

// The first call puts the system's function into the slot where there is one.
static ULONGLONG WINAPI find_tick_count(void) {
    const FARPROC found = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetTickCount64");
    const TickCount chosen = found ? (TickCount)(uintptr_t)found : extended_tick_count;
    __atomic_store_n(&tick_count_slot, chosen, __ATOMIC_RELEASE);
    return chosen();
}
