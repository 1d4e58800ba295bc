#pragma once

// One session of the trace module: a log file that several processes write.

#include <cstdint>
#include <memory>
#include <string>

#include "Common/KrCommon/KrComn_LogContract.h"
#include "Common/KrCommon/KrComn_Synchronize.h"
#include "trace/TracePlatform.h"

namespace Trace {

// Values of LogUnitType; every other one means the first.
constexpr std::uint32_t kUnitSize = 0;  // a file ends when it is full
constexpr std::uint32_t kUnitDay = 1;   // also with the day

// When files are exchanged.
struct Limits {
    std::uint64_t fileSize = 4 * 1024 * 1024;
    unsigned oldFiles = 4;
};

// Writes lines into "<folder>\<prefix>_<name>.<extension>"; older lines are in "....1.<extension>"
// (the youngest) to "....4.<extension>".
//
// Lines of all threads and processes stand whole and in the order in which they came. The file
// keeps its identity when it is full: what it holds is copied to the youngest old file, and it
// begins anew, so that nobody writes into a file that is on its way out. When that fails the file
// grows on, and the next sixteenth of its size is the next occasion.
//
// All operations may run on any thread and raise std::bad_alloc alone; codes are Win32 codes.
class Session {
public:
    explicit Session(const Limits& limits = {}) : m_Limits(limits) {}

    // Names, makes and opens the file.
    std::uint32_t Open(const KrDbgConfig& config);
    // Writes one line; `time` is its local time. A line that cannot be written is lost.
    std::uint32_t Write(const KrDbgTime& time, const wchar_t* line);

    // The path of the current file (0), and of the old ones from the youngest (1) on.
    std::wstring FilePath(unsigned age) const;

private:
    std::uint32_t WriteLocked(const KrDbgTime& time);
    bool IsFull(const KrDbgTime& time, std::uint64_t size);
    std::uint32_t Rotate();
    std::uint32_t CopyTo(const std::wstring& path);

    const Limits m_Limits;
    std::wstring m_strStem;  // with its folder
    std::wstring m_strExtension;
    bool m_bRobust = false;
    bool m_bDebugger = false;
    bool m_bByDay = false;

    KrCommon::Synchronize::CriticalSection m_Lock;
    File m_File;
    FileLock m_FileLock;
    bool m_bStuck = false;               // the lock was not to be had the last time
    std::uint64_t m_uiNextOccasion = 0;  // the file must have this size to be exchanged
    std::string m_strBytes;
};

}  // namespace Trace
