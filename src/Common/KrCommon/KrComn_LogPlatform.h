#pragma once

// What a log line needs of the system.

#include <cstdint>

#include "Common/KrCommon/KrComn_LogContract.h"

namespace KrCommon::LogPlatform {

// The local time (GetLocalTime).
KrDbgTime LocalTime() noexcept;

// The numbers by which the system knows this process and this thread (GetCurrentProcessId,
// GetCurrentThreadId).
std::uint32_t ProcessId() noexcept;
std::uint32_t ThreadId() noexcept;

}  // namespace KrCommon::LogPlatform
