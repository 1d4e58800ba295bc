#include "trace/TraceSession.h"

#include <iterator>
#include <vector>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"
#include "trace/TraceName.h"

namespace Trace {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
using KrCommon::Synchronize::SingleLock;

constexpr wchar_t kDefaultFolder[] = L"\\Korvex Data\\Log";
// A process that was stopped in the wrong moment must not stop all others.
constexpr std::uint32_t kPatience = 2000;
constexpr std::size_t kCopySize = 64 * 1024;

template <std::size_t size>
std::wstring Text(const char16_t (&text)[size]) {
    return RecordText(text, size);
}

std::uint32_t DayOf(const KrDbgTime& time) {
    return (time.uiYear * 100U + time.uiMonth) * 100U + time.uiDay;
}

}  // namespace

std::uint32_t Session::Open(const KrDbgConfig& config) {
    const std::wstring commonData = CommonDataFolder();
    const auto folder =
        ResolveFolder(Text(config.szLogFolder), commonData, commonData + kDefaultFolder);
    if (!folder.has_value())
        return ErrorCode::kBadPathname;
    NameParts parts;
    parts.prefix = Text(config.szLogPrefix);
    parts.name = Text(config.szLogFile);
    if (parts.name.empty())
        parts.name = Text(config.szModuleName);
    if (config.uiLogProcess != 0)
        parts.executable = ExecutableName();
    m_strStem = *folder + L'\\' + FileStem(parts);
    m_strExtension = FileExtension(Text(config.szLogExtension));
    m_bRobust = config.bRobust;
    m_bDebugger = config.bDebugger;
    m_bByDay = config.uiLogUnitType == kUnitDay;

    std::uint32_t error = MakeFolder(*folder);
    if (error == ErrorCode::kSuccess)
        error = m_FileLock.Open(FilePath(0));
    if (error == ErrorCode::kSuccess)
        error = m_File.Open(FilePath(0), false);
    return error;
}

std::wstring Session::FilePath(unsigned age) const {
    return age == 0 ? m_strStem + m_strExtension
                    : m_strStem + L'.' + std::to_wstring(age) + m_strExtension;
}

std::uint32_t Session::Write(const KrDbgTime& time, const wchar_t* line) {
    const SingleLock lock(m_Lock);
    if (m_bDebugger)
        TellDebugger(line);
    if (!KrCommon::String::ToUtf8(line, m_strBytes))
        return ErrorCode::kNotEnoughMemory;
    // Behind a lock that nobody gives up lines are lost at once, until it is free again.
    if (!m_FileLock.Lock(m_bStuck ? 0 : kPatience)) {
        m_bStuck = true;
        return ErrorCode::kTimeout;
    }
    m_bStuck = false;
    std::uint32_t error = ErrorCode::kNotEnoughMemory;
    try {
        error = WriteLocked(time);
    } catch (...) {
        // The line is lost.
    }
    m_FileLock.Unlock();
    return error;
}

std::uint32_t Session::WriteLocked(const KrDbgTime& time) {
    std::uint64_t size = 0;
    std::uint32_t error = m_File.GetSize(size);
    if (error != ErrorCode::kSuccess)
        return error;
    if (IsFull(time, size)) {
        m_uiNextOccasion = Rotate() == ErrorCode::kSuccess ? 0 : size + m_Limits.fileSize / 16;
    }
    error = m_File.Append(m_strBytes.data(), m_strBytes.size());
    if (error == ErrorCode::kSuccess && m_bRobust)
        error = m_File.Flush();
    return error;
}

bool Session::IsFull(const KrDbgTime& time, std::uint64_t size) {
    if (size == 0 || size < m_uiNextOccasion)
        return false;
    if (size + m_strBytes.size() > m_Limits.fileSize)
        return true;
    // A line that is late belongs to the file all the same.
    std::uint32_t day = 0;
    return m_bByDay && m_File.GetWriteDay(day) == ErrorCode::kSuccess && DayOf(time) > day;
}

std::uint32_t Session::Rotate() {
    for (unsigned age = m_Limits.oldFiles; age > 1; --age) {
        const std::uint32_t error = MoveOver(FilePath(age - 1), FilePath(age));
        if (error != ErrorCode::kSuccess)
            return error;
    }
    const std::uint32_t error = CopyTo(FilePath(1));
    return error == ErrorCode::kSuccess ? m_File.Truncate(0) : error;
}

std::uint32_t Session::CopyTo(const std::wstring& path) {
    File target;
    std::uint32_t error = target.Open(path, true);
    std::vector<char> buffer(kCopySize);
    std::uint64_t offset = 0;
    for (std::size_t read = 1; error == ErrorCode::kSuccess && read != 0; offset += read) {
        error = m_File.Read(offset, buffer.data(), buffer.size(), read);
        if (error == ErrorCode::kSuccess && read != 0)
            error = target.Append(buffer.data(), read);
    }
    return error;
}

}  // namespace Trace
