#include "Common/KrCommon/KrComn_TerminalService.h"

#include <iterator>

#include "Common/KrCommon/KrComn_ErrorOut.h"
#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::TerminalService {

namespace {

bool HasSessions(std::uint32_t* error) {
    const std::uint32_t versionError = OsVersion::GetError();
    if (versionError == ERROR_SUCCESS && OsVersion::Is(OsVersion::Condition::kNt51OrLater))
        return true;
    return Fail(error, versionError);
}

bool Revert(std::uint32_t* error) {
    if (RevertToSelf() != 0)
        return Succeed(error);
    const DWORD code = GetLastError();
    SetThreadToken(nullptr, nullptr);
    return Fail(error, code);
}

}  // namespace

bool GetActiveSessionId(std::uint32_t* session, std::uint32_t* error) noexcept {
    *session = kNoSession;
    if (!HasSessions(error))
        return false;
    Library::Function<DWORD WINAPI()> ask;
    if (!ask.Find(L"kernel32.dll", "WTSGetActiveConsoleSessionId", error))
        return false;
    *session = ask.Get()();
    return true;
}

bool QuerySessionUserToken(void** token, const std::uint32_t* session,
                           std::uint32_t* error) noexcept {
    *token = nullptr;
    if (!HasSessions(error))
        return false;
    Library::Function<BOOL WINAPI(ULONG, HANDLE*)> query;
    if (!query.Find(L"wtsapi32.dll", "WTSQueryUserToken", error))
        return false;
    HANDLE given = nullptr;
    if (query.Get()(*session, &given) == 0)
        return Fail(error, GetLastError());
    const UniqueHandle original(given);
    HANDLE primary = nullptr;
    if (DuplicateTokenEx(original.get(), TOKEN_ALL_ACCESS, nullptr, SecurityImpersonation,
                         TokenPrimary, &primary) == 0)
        return Fail(error, GetLastError());
    *token = primary;
    return Succeed(error);
}

UserEnvironment::~UserEnvironment() {
    Destroy(nullptr);
}

bool UserEnvironment::Initialize(std::uint32_t* error) {
    return Load(L"userenv.dll", 0, error) && Bind(true, error);
}

bool UserEnvironment::Bind(bool load, std::uint32_t* error) {
    const Entry entries[] = {
        {"CreateEnvironmentBlock", &m_pCreate},
        {"DestroyEnvironmentBlock", &m_pDestroy},
    };
    return load ? BindAll(entries, std::size(entries), error)
                : UnbindAll(entries, std::size(entries));
}

bool UserEnvironment::Create(void* token, std::uint32_t* error) {
    constexpr BOOL kInherit = FALSE;
    auto* const create = reinterpret_cast<BOOL WINAPI (*)(void**, HANDLE, BOOL)>(m_pCreate);
    if (create == nullptr)
        return Fail(error, ERROR_INVALID_HANDLE);
    if (create(&m_pBlock, token, kInherit) != 0)
        return Succeed(error);
    const DWORD code = GetLastError();
    m_pBlock = nullptr;
    return Fail(error, code);
}

bool UserEnvironment::Destroy(std::uint32_t* error) {
    if (m_pBlock == nullptr)
        return Succeed(error);
    auto* const destroy = reinterpret_cast<BOOL WINAPI (*)(void*)>(m_pDestroy);
    void* const block = m_pBlock;
    m_pBlock = nullptr;
    return destroy(block) != 0 ? Succeed(error) : Fail(error, GetLastError());
}

bool StartImpersonateLoggedOnUser(void* token, UserEnvironment& environment,
                                  std::uint32_t* error) noexcept {
    if (!environment.Initialize(error))
        return false;
    if (ImpersonateLoggedOnUser(token) == 0)
        return Fail(error, GetLastError());
    if (environment.Create(token, error))
        return true;
    Revert(nullptr);
    return false;
}

bool EndImpersonateLoggedOnUser(UserEnvironment& environment, std::uint32_t* error) noexcept {
    const bool destroyed = environment.Destroy(error);
    std::uint32_t code = ERROR_SUCCESS;
    if (!Revert(&code))
        return Fail(error, code);
    return destroyed;
}

}  // namespace KrCommon::TerminalService
