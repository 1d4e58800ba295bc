// Entry point of the library.

#include "Common/KrCommon/KrComn_Windows.h"

// Static objects stand already when this runs, and go after it has run for the last time.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) {
    return TRUE;
}
