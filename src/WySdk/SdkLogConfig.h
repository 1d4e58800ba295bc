#pragma once

// What krdbg.ini says.

#include <cstdint>
#include <string>

#include "WySdk/SdkLogContract.h"

struct SdkLogConfig {
    bool bEnabled;              // key Enable
    std::uint32_t uiLevelMask;  // key Level
    KrDbgConfig record;         // the rest, for the trace module
};

// Reads the section that fits the session of this process. A missing file or key gives the
// default; a text that is too long is cut.
SdkLogConfig ReadSdkLogConfig(const std::wstring& module, const std::wstring& folder);

// True when the process runs in the session of the services: session 0 from Windows Vista on,
// under the account of the local system before. False where the system does not tell.
bool IsServiceSession();
