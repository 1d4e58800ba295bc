#pragma once

// Starting programs before the eyes of the person at the machine. For Windows builds alone.

#include <cstdint>
#include <string>

namespace KrCommon::WindowStation {

// Runs a command line as the user of a session, also from a service, which has no desktop.
//
// The user's token is that of the session (TerminalService::QuerySessionUserToken); where the
// system does not give it, that of the first running Explorer.exe, whoever's it is. The calling
// thread acts as that user while the program is started and waited for, and MUST NOT do other work
// of the caller meanwhile.
//
// `wait`: true waits for the program's end without a limit, false (or null) lets it run on. True
// when the program was started and, if asked for, has ended; what its exit code says plays no part.
// Otherwise the Win32 code of the step that failed stands in `error`, which may be null and is 0 on
// success; a token that is no handle gives ERROR_INVALID_HANDLE. Each failing step leaves a line in
// the log, also the end of the acting, which does not change the result. However the call ends, the
// token and the environment are released and the thread has its own identity back. Never raises.
bool InvokeProcessOnInteractiveSession(const std::wstring& line, std::uint32_t session,
                                       const bool* wait, std::uint32_t* error) noexcept;

}  // namespace KrCommon::WindowStation
