#pragma once

// Sessions, the tokens of their users, and acting as such a user. For Windows builds alone.
//
// A *session* is what one person, or the services, see of a Windows: desktops, windows, local
// names. The *active* one is attached to the console. Error codes are Win32 codes, given through
// an optional out-parameter: 0 on success. Nothing here raises. What belongs to one thread is
// said; the rest may run on any.

#include <cstdint>

#include "Common/KrCommon/KrComn_Library.h"

namespace KrCommon::TerminalService {

// The number that stands for no session.
constexpr std::uint32_t kNoSession = 0xffffffff;

// The active session (WTSGetActiveConsoleSessionId, looked up at run time); kNoSession while none
// is attached to the console.
//
// False, and kNoSession, on a system without sessions. Below NT 5.1 the code is the one that the
// question for the version left behind, 0 when it was answered.
bool GetActiveSessionId(std::uint32_t* session, std::uint32_t* error) noexcept;

// A primary token with full access (0xF01FF) of the user who is logged on to a session, owned by
// the caller (CloseHandle).
//
// The system gives the token to services alone (WTSQueryUserToken, looked up at run time); here it
// is duplicated and given back. False, and a null token, on failure; below NT 5.1 with the code
// that GetActiveSessionId() has there.
bool QuerySessionUserToken(void** token, const std::uint32_t* session,
                           std::uint32_t* error) noexcept;

// The environment of a user and the module it comes from (userenv.dll, loaded at run time).
//
// Used by one thread at a time. The object destroys a block that is still there.
class UserEnvironment final : public Library::Wrapper {
public:
    ~UserEnvironment() override;

    // Loads the module and binds both of its functions.
    bool Initialize(std::uint32_t* error);

    bool Bind(bool load, std::uint32_t* error) override;

    // Makes the block of a token's user, without the variables of this process
    // (CreateEnvironmentBlock). Needs Initialize().
    bool Create(void* token, std::uint32_t* error);

    // Frees the block (DestroyEnvironmentBlock); true when there is none.
    bool Destroy(std::uint32_t* error);

    // The block, null without one.
    void* Get() const { return m_pBlock; }

private:
    void* m_pCreate = nullptr;
    void* m_pDestroy = nullptr;
    void* m_pBlock = nullptr;
};

// The calling thread takes on the identity of a token's user (ImpersonateLoggedOnUser), and the
// user's environment is made. The module of the environment is loaded before that, as the caller.
//
// False, with the thread as it was and no block, on failure.
bool StartImpersonateLoggedOnUser(void* token, UserEnvironment& environment,
                                  std::uint32_t* error) noexcept;

// Frees the environment and gives the calling thread its own identity back (RevertToSelf), in any
// case both.
//
// When the system refuses to revert, the token is taken off the thread (SetThreadToken), and the
// refusal is reported all the same. With two failures the code is that of the second.
bool EndImpersonateLoggedOnUser(UserEnvironment& environment, std::uint32_t* error) noexcept;

}  // namespace KrCommon::TerminalService
