#include <cstddef>

#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::LogPlatform {

KrDbgTime LocalTime() noexcept {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    return {now.wYear, now.wMonth,  now.wDayOfWeek, now.wDay,
            now.wHour, now.wMinute, now.wSecond,    now.wMilliseconds};
}

std::uint32_t ProcessId() noexcept {
    return GetCurrentProcessId();
}

std::uint32_t ThreadId() noexcept {
    return GetCurrentThreadId();
}

void AppendThreadText(std::wstring& target, std::string_view text) {
    if (text.empty())
        return;
    // No code page gives more characters than bytes.
    const std::size_t before = target.size();
    target.resize(before + text.size());
    const int length =
        MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()),
                            target.data() + before, static_cast<int>(text.size()));
    target.resize(before + static_cast<std::size_t>(length));
}

}  // namespace KrCommon::LogPlatform
