#include "Common/KrCommon/KrComn_ServiceSession.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon {

namespace {

class ThisSystem : public SessionSystem {
public:
    bool GetVersion(std::uint32_t& platform, std::uint32_t& major) override {
        OSVERSIONINFOW version = {};
        version.dwOSVersionInfoSize = sizeof(version);
        if (GetVersionExW(&version) == 0)
            return false;
        platform = version.dwPlatformId;
        major = version.dwMajorVersion;
        return true;
    }

    bool GetSessionId(std::uint32_t& session) override {
        using Function = BOOL WINAPI(DWORD, DWORD*);
        const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        if (kernel == nullptr)
            return false;
        auto* const processIdToSessionId = reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(kernel, "ProcessIdToSessionId")));
        DWORD found = 0;
        if (processIdToSessionId == nullptr ||
            processIdToSessionId(GetCurrentProcessId(), &found) == 0)
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
