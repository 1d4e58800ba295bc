#pragma once

// Whether a process runs in the session of the services or in that of a person.

#include <cstdint>

namespace KrCommon {

// What the decision asks of the system. A question that fails gives false.
class SessionSystem {
public:
    SessionSystem() = default;
    SessionSystem(const SessionSystem&) = delete;
    SessionSystem& operator=(const SessionSystem&) = delete;
    virtual ~SessionSystem() = default;

    // Whether the system meets a condition of KrComn_OsVersion.h.
    virtual bool Meets(std::uint32_t condition) = 0;
    // The session of this process (ProcessIdToSessionId).
    virtual bool GetSessionId(std::uint32_t& session) = 0;
    // Whether the token of this process belongs to the local system (CheckTokenMembership).
    virtual bool IsLocalSystem(bool& member) = 0;
};

// True in session 0 from Windows Vista on, and before that, from Windows 2000 on, for a process of
// the local system. An older system, and any question that fails, means a person's session.
bool IsServiceSession(SessionSystem& system);

// The same for this process; false in a native build.
bool IsServiceSession();

}  // namespace KrCommon
