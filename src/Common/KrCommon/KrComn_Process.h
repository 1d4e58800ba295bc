#pragma once

// Starting programs. For Windows builds alone.
//
// A *line* is a whole command line: the program, in quotes where its path has blanks, and its
// parameters. Processes are made with security attributes of kind kProcess, so that a service and
// its users share them, and inherit no handles. Error codes are Win32 codes, given through an
// optional out-parameter: 0 on success, ERROR_NOT_ENOUGH_MEMORY where memory ran out. Nothing here
// raises; all functions may run on any thread.

#include <cstdint>
#include <string>

namespace KrCommon::Process {

// Starts a program hidden, in a process group of its own, and lets it run on (CreateProcessW).
//
// An empty directory is the caller's own. A failure is logged here; callers do not log it again.
bool InvokeProcess(const std::wstring& line, const std::wstring& directory,
                   std::uint32_t* error) noexcept;

// Starts a program in the same way and waits for its end, however long that takes.
//
// True when the program ran and its exit code could be read; what the code says is left to the
// caller. `exitCode`, which may be null, is 0 on failure. Nothing is logged.
bool InvokeProcessSynchForConsole(const std::wstring& line, const std::wstring& directory,
                                  std::uint32_t* exitCode, std::uint32_t* error) noexcept;

// Starts a program as the user of a primary token (CreateProcessAsUserW), in a process group of its
// own, and waits up to `waitMs` milliseconds for its end; 0xffffffff is no limit.
//
// `environment` is a block as CreateEnvironmentBlock makes it. With `waitMs` 0 the program is left
// running. Otherwise a wait that does not see its end is a failure: of the system, with its code,
// or with the result of the wait as the code. The program runs on then.
bool InvokeProcessAsUser(void* token, const std::wstring& line, void* environment,
                         std::uint32_t waitMs, std::uint32_t* error) noexcept;

// The session of the process with this id (ProcessIdToSessionId, looked up at run time). The
// session is not touched on failure.
bool GetProcessSessionId(std::uint32_t processId, std::uint32_t* session,
                         std::uint32_t* error) noexcept;

}  // namespace KrCommon::Process
