#pragma once

// The sessions of a machine and their users. For Windows builds alone.
//
// A *session* is what one person, or the services, see of a Windows: desktops, windows, local
// names. The *active* one is attached to the console. Nothing here raises; all functions may run
// on any thread.

#include <cstdint>

#include "Common/KrCommon/KrComn_TerminalService.h"

namespace WyCommon::Utility {

// No session. GetSessionUserToken() takes it for the active one.
using KrCommon::TerminalService::kNoSession;

// The session that is attached to the console (WTSGetActiveConsoleSessionId); kNoSession while it
// is attached to none.
//
// KrCommon::TerminalService::GetActiveSessionId() in the product's own terms.
bool GetActiveSessionId(std::uint32_t& id, std::uint32_t* error) noexcept;

// The token of the user of a session (HANDLE), owned by the caller (CloseHandle).
//
// The system gives it to services alone (WTSQueryUserToken); for others, and while nobody is known
// to be logged on, it is that of the session's process Explorer.exe. With kNoSession the active
// session is meant, and session 1 where that cannot be told. False, and a null token, when there is
// neither.
bool GetSessionUserToken(std::uint32_t session, void*& token) noexcept;

}  // namespace WyCommon::Utility
