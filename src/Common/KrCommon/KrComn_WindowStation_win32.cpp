#include "Common/KrCommon/KrComn_WindowStation.h"

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Process.h"
#include "Common/KrCommon/KrComn_TerminalService.h"
#include "Common/KrCommon/KrComn_UserToken.h"

namespace KrCommon::WindowStation {

namespace {

constexpr char kLogSource[] = "KrComn_WindowStation";
constexpr const wchar_t* kShell = L"Explorer.exe";

using LogLevel::kError;

// False, with a line in the log, when neither the session nor a shell gives a token.
bool QueryToken(std::uint32_t session, HANDLE& token, std::uint32_t& error) {
    if (TerminalService::QuerySessionUserToken(&token, &session, &error))
        return true;
    WY_TRACE(kError,
             L"*** InvokeProcessOnInteractiveSession() - "
             L"KrCommon::TerminalService::QuerySessionUserToken() failed. [0x%08x]",
             error);
    if (AccessControl::QueryUserToken(kShell, nullptr, &token, &error))
        return true;
    WY_TRACE(kError,
             L"*** InvokeProcessOnInteractiveSession() - "
             L"KrCommon::AccessControl::QueryUserToken() failed. [0x%08x]",
             error);
    return false;
}

// Null without a token that can be used.
UniqueHandle TokenFor(std::uint32_t session, std::uint32_t& error) {
    HANDLE token = nullptr;
    if (!QueryToken(session, token, error))
        return nullptr;
    if (token != nullptr && token != INVALID_HANDLE_VALUE)
        return UniqueHandle(token);
    WY_TRACE(kError, L"*** InvokeProcessOnInteractiveSession() - hUserToken was invalid. [%d]",
             static_cast<int>(reinterpret_cast<INT_PTR>(token)));
    error = ERROR_INVALID_HANDLE;
    return nullptr;
}

bool InvokeAs(HANDLE token, const std::wstring& line, bool wait, std::uint32_t& error) {
    TerminalService::UserEnvironment environment;
    if (!TerminalService::StartImpersonateLoggedOnUser(token, environment, &error)) {
        WY_TRACE(kError,
                 L"*** InvokeProcessOnInteractiveSession() - "
                 L"KrCommon::TerminalService::StartImpersonateLoggedOnUser() failed. [0x%08x]",
                 error);
        return false;
    }
    const bool invoked =
        Process::InvokeProcessAsUser(token, line, environment.Get(), wait ? INFINITE : 0, &error);
    if (!invoked) {
        WY_TRACE(kError,
                 L"*** InvokeProcessOnInteractiveSession() - "
                 L"KrCommon::Process::InvokeProcessAsUser() failed. [0x%08x]",
                 error);
    }
    std::uint32_t endError = ERROR_SUCCESS;
    if (!TerminalService::EndImpersonateLoggedOnUser(environment, &endError)) {
        WY_TRACE(kError,
                 L"*** InvokeProcessOnInteractiveSession() - "
                 L"KrCommon::TerminalService::EndImpersonateLoggedOnUser() failed. [0x%08x]",
                 endError);
    }
    return invoked;
}

}  // namespace

bool InvokeProcessOnInteractiveSession(const std::wstring& line, std::uint32_t session,
                                       const bool* wait, std::uint32_t* error) noexcept {
    std::uint32_t code = ERROR_SUCCESS;
    const UniqueHandle token = TokenFor(session, code);
    const bool invoked =
        token != nullptr && InvokeAs(token.get(), line, wait != nullptr && *wait, code);
    if (error != nullptr)
        *error = code;
    return invoked;
}

}  // namespace KrCommon::WindowStation
