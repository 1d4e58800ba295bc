#include "devhost/HostLog.h"

#include <cstdarg>
#include <cwchar>

#include "Common/KrCommon/KrComn_LogLine.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace DevHost {

namespace {

constexpr std::size_t kLongestMessage = 64 * 1024;

}  // namespace

HostLog::~HostLog() {
    if (m_pFile != nullptr)
        std::fclose(m_pFile);
}

bool HostLog::Open(const std::string& path) {
    m_pFile = _wfopen(KrCommon::String::FromUtf8(path).c_str(), L"ab");
    return m_pFile != nullptr;
}

bool HostLog::IsLevelEnabled(std::uint32_t level) {
    return m_pFile != nullptr && level != KrCommon::LogLevel::kDebug;
}

bool HostLog::Trace(const char* file, std::uint32_t line, std::uint32_t level,
                    const wchar_t* format, ...) {
    if (!IsLevelEnabled(level))
        return true;
    std::wstring message(1024, L'\0');
    for (;;) {
        va_list arguments;
        va_start(arguments, format);
        const int length = _vsnwprintf(message.data(), message.size(), format, arguments);
        va_end(arguments);
        if (length >= 0 && static_cast<std::size_t>(length) < message.size()) {
            message.resize(static_cast<std::size_t>(length));
            break;
        }
        // Too long for the buffer; a line beyond the limit is cut.
        if (message.size() >= kLongestMessage)
            break;
        message.resize(message.size() * 4);
    }
    Write(file, line, level, message);
    return true;
}

void HostLog::Write(const char* file, std::uint32_t line, std::uint32_t level,
                    const std::wstring& message) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    KrCommon::LogLine parts;
    parts.day = now.wDay;
    parts.month = now.wMonth;
    parts.year = now.wYear;
    parts.hour = now.wHour;
    parts.minute = now.wMinute;
    parts.second = now.wSecond;
    parts.millisecond = now.wMilliseconds;
    parts.processId = GetCurrentProcessId();
    parts.threadId = GetCurrentThreadId();
    parts.level = level;
    parts.moduleName = L"WySvcHost";
    parts.message = message;
    parts.sourcePath = file;
    parts.sourceLine = line;
    const std::string text = KrCommon::String::ToUtf8(KrCommon::FormatLogLine(parts));
    const std::scoped_lock lock(m_Mutex);
    std::fwrite(text.data(), 1, text.size(), m_pFile);
    std::fflush(m_pFile);
}

}  // namespace DevHost
