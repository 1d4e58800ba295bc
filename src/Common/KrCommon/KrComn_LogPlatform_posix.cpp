#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

#include "Common/KrCommon/KrComn_LogPlatform.h"

namespace KrCommon::LogPlatform {

KrDbgTime LocalTime() noexcept {
    std::timespec now = {};
    std::tm parts = {};
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &parts);
    const auto narrow = [](long number) { return static_cast<std::uint16_t>(number); };
    return {narrow(parts.tm_year + 1900L), narrow(parts.tm_mon + 1L),    narrow(parts.tm_wday),
            narrow(parts.tm_mday),         narrow(parts.tm_hour),        narrow(parts.tm_min),
            narrow(parts.tm_sec),          narrow(now.tv_nsec / 1000000)};
}

std::uint32_t ProcessId() noexcept {
    return static_cast<std::uint32_t>(getpid());
}

std::uint32_t ThreadId() noexcept {
    // The question is a system call each time.
    static thread_local const auto s_uiThreadId = static_cast<std::uint32_t>(syscall(SYS_gettid));
    return s_uiThreadId;
}

}  // namespace KrCommon::LogPlatform
