#pragma once

// What KrDbgLog.dll, the trace module, and its user agree on: three functions, taken by name, and
// one record. The module writes finished lines; it neither filters nor formats.
//
// Both sides are built on their own. The record has the same bytes with every compiler and on
// every system; the text of a line is wide text of the system.

#include <cstddef>
#include <cstdint>

// A local time, as SYSTEMTIME has it.
struct KrDbgTime {
    std::uint16_t uiYear;
    std::uint16_t uiMonth;
    std::uint16_t uiDayOfWeek;  // 0: Sunday
    std::uint16_t uiDay;
    std::uint16_t uiHour;
    std::uint16_t uiMinute;
    std::uint16_t uiSecond;
    std::uint16_t uiMilliseconds;
};

// How a session of the trace module is to write. Texts are UTF-16 and end in a NUL.
struct KrDbgConfig {
    bool bServiceSession;  // the process runs in the session of the services
    bool bRobust;
    bool bDebugger;
    std::uint8_t uiReserved;  // 0
    KrDbgTime stInitialized;
    std::uint32_t uiLogProcess;
    std::uint32_t uiLogUnitType;
    char16_t szModuleName[32];
    char16_t szLogFolder[260];
    char16_t szLogPrefix[256];
    char16_t szLogFile[256];
    char16_t szLogExtension[256];
};

static_assert(sizeof(bool) == 1);
static_assert(sizeof(KrDbgTime) == 16);
static_assert(offsetof(KrDbgConfig, bServiceSession) == 0);
static_assert(offsetof(KrDbgConfig, bRobust) == 1);
static_assert(offsetof(KrDbgConfig, bDebugger) == 2);
static_assert(offsetof(KrDbgConfig, stInitialized) == 4);
static_assert(offsetof(KrDbgConfig, uiLogProcess) == 20);
static_assert(offsetof(KrDbgConfig, uiLogUnitType) == 24);
static_assert(offsetof(KrDbgConfig, szModuleName) == 28);
static_assert(offsetof(KrDbgConfig, szLogFolder) == 92);
static_assert(offsetof(KrDbgConfig, szLogPrefix) == 612);
static_assert(offsetof(KrDbgConfig, szLogFile) == 1124);
static_assert(offsetof(KrDbgConfig, szLogExtension) == 1636);
static_assert(sizeof(KrDbgConfig) == 2148);

// Opens a session. 0 and a session that is not null: success.
using KrDbgInitializeFunction = int(void** session, const KrDbgConfig* config);
// Writes one line, which brings its own line end. `time` is that of the line. 0: written.
using KrDbgTraceFunction = int(void* session, const KrDbgTime* time, const wchar_t* line);
// Closes a session; the result says nothing.
using KrDbgUninitializeFunction = int(void* session);
