#pragma once

// What KrDbgLog.dll, the trace module, and its user agree on: three functions, taken by name, and
// one record. The module writes finished lines; it neither filters nor formats.

#include "Common/KrCommon/KrComn_Windows.h"

#include <cstddef>
#include <cstdint>

// How a session of the trace module is to write. Crosses a module boundary: the layout is fixed.
// Texts end in a NUL.
struct KrDbgConfig {
    bool bServiceSession;  // the process runs in the service session
    bool bRobust;
    bool bDebugger;
    std::uint8_t uiReserved;   // 0
    SYSTEMTIME stInitialized;  // local time
    std::uint32_t uiLogProcess;
    std::uint32_t uiLogUnitType;
    wchar_t szModuleName[32];
    wchar_t szLogFolder[260];
    wchar_t szLogPrefix[256];
    wchar_t szLogFile[256];
    wchar_t szLogExtension[256];
};

static_assert(sizeof(wchar_t) == 2);
static_assert(offsetof(KrDbgConfig, stInitialized) == 4);
static_assert(offsetof(KrDbgConfig, uiLogProcess) == 20);
static_assert(offsetof(KrDbgConfig, uiLogUnitType) == 24);
static_assert(offsetof(KrDbgConfig, szModuleName) == 28);
static_assert(offsetof(KrDbgConfig, szLogFolder) == 92);
static_assert(offsetof(KrDbgConfig, szLogPrefix) == 612);
static_assert(offsetof(KrDbgConfig, szLogFile) == 1124);
static_assert(offsetof(KrDbgConfig, szLogExtension) == 1636);
static_assert(sizeof(KrDbgConfig) == 2148);

// 0 and a session that is not null: success.
using KrDbgInitializeFunction = int(void** session, const KrDbgConfig* config);
// 0: the line was written.
using KrDbgTraceFunction = int(void* session, const SYSTEMTIME* time, const wchar_t* line);
using KrDbgUninitializeFunction = int(void* session);
