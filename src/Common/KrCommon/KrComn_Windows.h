#pragma once

// The one door through which <windows.h> comes in, with the same defines everywhere.
// Included by Windows-only files alone; the portable core never sees it.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef UNICODE
#define UNICODE
#endif
#ifndef _UNICODE
#define _UNICODE
#endif

#include <windows.h>

// Function-name macros that collide with names of this system. System calls are written with
// their W or A suffix.
#undef GetMessage
#undef CopyFile
#undef MoveFile
#undef DeleteFile
#undef LoadLibrary
#undef CreateService
#undef CreateEvent
#undef OpenEvent
#undef CreateProcess
#undef GetObject
#undef CreateDirectory
#undef RemoveDirectory
#undef GetTempPath
#undef StartService
