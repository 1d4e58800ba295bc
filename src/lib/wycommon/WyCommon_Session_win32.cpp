#include "lib/wycommon/WyCommon_Session.h"

#include <cwchar>

#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

// Behind <windows.h>, which it needs.
#include <tlhelp32.h>

namespace WyCommon::Utility {

namespace {

namespace Library = KrCommon::Library;
namespace OsVersion = KrCommon::OsVersion;

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

HANDLE TokenOfProcess(DWORD id) {
    const HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id);
    if (process == nullptr)
        return nullptr;
    constexpr DWORD kAccess =
        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE | TOKEN_ASSIGN_PRIMARY;
    HANDLE token = nullptr;
    if (OpenProcessToken(process, kAccess, &token) == 0)
        token = nullptr;
    CloseHandle(process);
    return token;
}

bool IsShellOf(std::uint32_t session, const PROCESSENTRY32W& process) {
    DWORD own = kNoSession;
    return _wcsicmp(process.szExeFile, kShell) == 0 &&
           ProcessIdToSessionId(process.th32ProcessID, &own) != 0 && own == session;
}

// A shell whose token is refused does not end the search: a session may have several.
HANDLE TokenOfShell(std::uint32_t session) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return nullptr;
    HANDLE token = nullptr;
    PROCESSENTRY32W process = {};
    process.dwSize = sizeof process;
    for (BOOL more = Process32FirstW(snapshot, &process); more != 0 && token == nullptr;
         more = Process32NextW(snapshot, &process)) {
        if (IsShellOf(session, process))
            token = TokenOfProcess(process.th32ProcessID);
    }
    CloseHandle(snapshot);
    return token;
}

}  // namespace

bool GetActiveSessionId(std::uint32_t& id, std::uint32_t* error) noexcept {
    id = kNoSession;
    const std::uint32_t versionError = OsVersion::GetError();
    if (versionError != ERROR_SUCCESS || !OsVersion::Is(OsVersion::Condition::kNt51OrLater)) {
        if (error != nullptr)
            *error = versionError;
        return false;
    }
    Library::Function<DWORD WINAPI()> ask;
    if (!ask.Find(L"kernel32.dll", "WTSGetActiveConsoleSessionId", error))
        return false;
    id = ask.Get()();
    return true;
}

bool GetSessionUserToken(std::uint32_t session, void*& token) noexcept {
    if (session == kNoSession)
        session = ActiveSession();
    token = TokenOfSession(session);
    if (token == nullptr)
        token = TokenOfShell(session);
    return token != nullptr;
}

}  // namespace WyCommon::Utility
