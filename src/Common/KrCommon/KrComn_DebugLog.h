#pragma once

// The log of the product: filters, formats, and hands finished lines to the trace module.
//
// The trace module KrDbgLog.dll is loaded at run time; without it a log stays closed and writes
// nothing. The configuration is an INI file or a registry key with two sections, "ServiceSession"
// and "InteractiveSession", of which a process reads the one that fits it:
//
//     Enable         1: lines that fit Level are written   0
//     Level          mask of levels                        256
//     LogProcess     for the trace module                  0
//     LogUnitType    for the trace module                  0
//     LogFolder      for the trace module                  empty
//     LogPrefix      for the trace module                  "qrn"
//     LogFile        for the trace module                  empty
//     LogExtension   for the trace module                  "log"
//     Robust         for the trace module                  0
//     Debugger       for the trace module                  0
//
// What is missing has the default of the right column. The log reads its configuration when it is
// initialised, and once more each time that is done again.

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_KrDbg.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_LogStorage.h"
#include "Common/KrCommon/KrComn_Synchronize.h"

namespace KrCommon {

// One log: closed when it is made, open after Initialize() has succeeded.
//
// All operations may run on any thread at any time; a log is destroyed when no thread uses it any
// more. Nothing here raises. Two locks: the trace lock keeps one thread at a time in the trace
// module, the state lock guards the filter for a moment; the trace lock is always taken first.
class DebugLog : public LogSink {
public:
    // `storage` makes the store of the configuration.
    explicit DebugLog(LogStorageFactory* storage = &MakeLogStorage) noexcept
        : m_fnStorage(storage) {}
    // Frees the trace module; a session that is open is not closed.
    ~DebugLog() override;

    // Reads the configuration and, unless the log is open, opens the session.
    //
    // `moduleName`: stands in angle brackets in each line; may be empty.
    // `key`: where the configuration lies; only the types 0, 1 and 4 are known.
    // `folder`: holds the trace module.
    //
    // False for a key of another type, and when module, one of its functions or session is not to
    // be had. The module name is taken all the same; filter and session stay as they were.
    bool Initialize(const std::wstring& moduleName, const Storage::Key& key,
                    const std::wstring& folder) noexcept;

    // Closes the session and frees the module; false when the log is not open.
    bool Uninitialize() noexcept;

    // True for the forced level, and for a level that fits the mask while the log is enabled. Says
    // nothing about whether the log is open.
    bool IsLevelEnabled(std::uint32_t level) override;

    // True when the line was filtered away or written; false when the log is closed or the trace
    // module refused the line. A message that cannot be formatted is left empty.
    bool Trace(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
               ...) override;
    bool TraceV(const char* file, std::uint32_t line, std::uint32_t level, const wchar_t* format,
                std::va_list arguments) noexcept;

private:
    using Name = std::shared_ptr<const std::wstring>;

    bool ReadConfiguration(const std::wstring& moduleName, const Storage::Key& key,
                           KrDbgConfig& config);
    bool OpenSession(const std::wstring& folder, const KrDbgConfig& config);
    bool IsInitialized();
    void SetName(Name name);
    bool Passes(std::uint32_t level) const;
    bool Hand(const KrDbgTime& time, const std::wstring& line);

    bool m_bInitialized = false;
    bool m_bEnabled = false;
    std::uint32_t m_uiLevelMask = 0;
    Synchronize::CriticalSection m_StateLock;
    Name m_pModuleName;  // null: empty; under the state lock, too, for lines that run beside
    Library::KrDbg m_Library;
    void* m_pSession = nullptr;
    Synchronize::CriticalSection m_TraceLock;
    LogStorageFactory* m_fnStorage;
};

// Makes the main log: g_pDebugLog points to a log with the module and the configuration of a
// folder (KrDbgLog.dll, krdbg.ini). It stays, and writes nothing, when it cannot be opened. A main
// log that is there already is destroyed first. Called while no other thread logs.
void CreateMainLog(const std::wstring& moduleName, const std::wstring& folder) noexcept;

// Closes and deletes the main log, if there is one; g_pDebugLog is null then. Called while no
// other thread logs.
void DestroyMainLog() noexcept;

}  // namespace KrCommon
