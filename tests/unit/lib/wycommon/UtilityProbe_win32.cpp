// UtilityProbe.exe: runs for a minute, unless it is ended.
// UtilityProbe.exe MAJOR.MINOR|fail: prints what the utilities say on a system of that version of
// NT, or on one that refuses to tell its version with code 5.

#include <cstdio>
#include <cstring>
#include <string>

#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Process.h"
#include "lib/wycommon/WyCommon_Session.h"
#include "support/IatPatch.h"
#include "unit/lib/wycommon/TestChild.h"

namespace {

bool s_bFails = false;
unsigned s_uiMajor = 0;
unsigned s_uiMinor = 0;

BOOL WINAPI VersionGiven(OSVERSIONINFOW* out) {
    if (s_bFails) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    out->dwPlatformId = VER_PLATFORM_WIN32_NT;
    out->dwMajorVersion = s_uiMajor;
    out->dwMinorVersion = s_uiMinor;
    return TRUE;
}

}  // namespace

int main(int count, char** words) {
    if (count < 2) {
        const std::wstring name =
            std::wstring(wycommon_test::kReadyEvent) + std::to_wstring(GetCurrentProcessId());
        SetEvent(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
        Sleep(60000);
        return 2;
    }
    s_bFails = std::strcmp(words[1], "fail") == 0;
    if (!s_bFails && std::sscanf(words[1], "%u.%u", &s_uiMajor, &s_uiMinor) != 2)
        return 3;
    const test_support::IatPatch version(GetModuleHandleW(nullptr), "kernel32.dll", "GetVersionExW",
                                         VersionGiven);
    std::uint32_t session = 77;
    std::uint32_t error = 77;
    const bool hasSession = WyCommon::Utility::GetActiveSessionId(session, &error);
    void* token = nullptr;
    const std::uint32_t own = 1;
    std::uint32_t tokenError = 77;
    const bool hasToken =
        KrCommon::TerminalService::QuerySessionUserToken(&token, &own, &tokenError);
    bool isSystem = true;
    const bool known = WyCommon::Utility::IsSystemAccount(isSystem);
    std::printf("session %d %d error %u; token %d %d error %u; system %d %d", hasSession ? 1 : 0,
                static_cast<int>(session), error, hasToken ? 1 : 0, token != nullptr ? 1 : 0,
                tokenError, known ? 1 : 0, isSystem ? 1 : 0);
    return 0;
}
