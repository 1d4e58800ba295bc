#pragma once

// The tokens of users, taken from the programs that run for them. For Windows builds alone.

#include <cstdint>

namespace KrCommon::AccessControl {

// The token of a running program (OpenProcessToken), good for impersonating its user and starting
// programs as that user; owned by the caller (CloseHandle).
//
// `program` is the name of its file without a folder; ASCII case is ignored. With `session` not
// null, only programs of that session count; otherwise the first one found gives its token,
// whichever session it runs in. One whose token is refused does not end the search. False, and a
// null token, when there is none: with the code of the last refusal, or ERROR_NOT_FOUND, in
// `error`, which may be null. Never raises; may run on any thread.
bool QueryUserToken(const wchar_t* program, const std::uint32_t* session, void** token,
                    std::uint32_t* error) noexcept;

}  // namespace KrCommon::AccessControl
