#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_ServiceSession.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon {

namespace {

class ThisSystem : public SessionSystem {
public:
    bool Meets(std::uint32_t condition) override { return OsVersion::Is(condition); }

    bool GetSessionId(std::uint32_t& session) override {
        Library::Function<BOOL WINAPI(DWORD, DWORD*)> ask;
        DWORD found = 0;
        if (!ask.Find(L"kernel32.dll", "ProcessIdToSessionId", nullptr) ||
            ask.Get()(GetCurrentProcessId(), &found) == 0)
            return false;
        session = found;
        return true;
    }

    bool IsLocalSystem(bool& member) override {
        BYTE sid[SECURITY_MAX_SID_SIZE];
        DWORD size = sizeof(sid);
        BOOL found = FALSE;
        if (CreateWellKnownSid(WinLocalSystemSid, nullptr, sid, &size) == 0 ||
            CheckTokenMembership(nullptr, sid, &found) == 0)
            return false;
        member = found != FALSE;
        return true;
    }
};

}  // namespace

bool IsServiceSession() {
    ThisSystem system;
    return IsServiceSession(system);
}

}  // namespace KrCommon
