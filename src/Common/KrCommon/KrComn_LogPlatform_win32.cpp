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

}  // namespace KrCommon::LogPlatform
