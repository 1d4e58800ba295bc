#pragma once

// What a log line needs of the system.

#include <cstdint>
#include <string>
#include <string_view>

#include "Common/KrCommon/KrComn_LogContract.h"

namespace KrCommon::LogPlatform {

// The local time (GetLocalTime).
KrDbgTime LocalTime() noexcept;

// The numbers by which the system knows this process and this thread (GetCurrentProcessId,
// GetCurrentThreadId).
std::uint32_t ProcessId() noexcept;
std::uint32_t ThreadId() noexcept;

// Appends narrow text of the code page of the thread (MultiByteToWideChar with CP_THREAD_ACP); in
// a native build each byte becomes one character. Raises std::bad_alloc alone.
void AppendThreadText(std::wstring& target, std::string_view text);

}  // namespace KrCommon::LogPlatform
