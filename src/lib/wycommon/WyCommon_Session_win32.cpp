#include "lib/wycommon/WyCommon_Session.h"

#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_UserToken.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace WyCommon::Utility {

namespace {

namespace Library = KrCommon::Library;

constexpr const char* kLogSource = "WyCommon_Utility";
constexpr std::uint32_t kFallbackSession = 1;
constexpr const wchar_t* kShell = L"Explorer.exe";

std::uint32_t ActiveSession() {
    std::uint32_t session = kNoSession;
    std::uint32_t error = ERROR_SUCCESS;
    if (!GetActiveSessionId(session, &error) || session == kNoSession) {
        WY_TRACE(KrCommon::LogLevel::kInformation,
                 L"failed to get active session ID, ErrorCode=0x%08X", error);
        session = kFallbackSession;
    }
    return session;
}

HANDLE TokenOfSession(std::uint32_t session) {
    Library::Function<BOOL WINAPI(ULONG, HANDLE*)> query;
    HANDLE token = nullptr;
    if (!query.Find(L"wtsapi32.dll", "WTSQueryUserToken", nullptr) ||
        query.Get()(session, &token) == 0)
        return nullptr;
    return token;
}

}  // namespace

bool GetActiveSessionId(std::uint32_t& id, std::uint32_t* error) noexcept {
    return KrCommon::TerminalService::GetActiveSessionId(&id, error);
}

bool GetSessionUserToken(std::uint32_t session, void*& token) noexcept {
    if (session == kNoSession)
        session = ActiveSession();
    token = TokenOfSession(session);
    return token != nullptr ||
           KrCommon::AccessControl::QueryUserToken(kShell, &session, &token, nullptr);
}

}  // namespace WyCommon::Utility
