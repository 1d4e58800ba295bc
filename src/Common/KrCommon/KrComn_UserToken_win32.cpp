#include "Common/KrCommon/KrComn_UserToken.h"

#include <cwchar>

#include "Common/KrCommon/KrComn_ErrorOut.h"
#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_Windows.h"

// Behind <windows.h>, which it needs.
#include <tlhelp32.h>

namespace KrCommon::AccessControl {

namespace {

bool TokenOfProcess(DWORD id, HANDLE* token, std::uint32_t* error) {
    const UniqueHandle process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id));
    if (process == nullptr)
        return Fail(error, GetLastError());
    constexpr DWORD kAccess =
        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE | TOKEN_ASSIGN_PRIMARY;
    if (OpenProcessToken(process.get(), kAccess, token) != 0)
        return Succeed(error);
    *token = nullptr;
    return Fail(error, GetLastError());
}

bool IsOfSession(DWORD id, const std::uint32_t* session) {
    DWORD own = 0;
    return session == nullptr || (ProcessIdToSessionId(id, &own) != 0 && own == *session);
}

}  // namespace

bool QueryUserToken(const wchar_t* program, const std::uint32_t* session, void** token,
                    std::uint32_t* error) noexcept {
    *token = nullptr;
    const HANDLE listed = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (listed == INVALID_HANDLE_VALUE)
        return Fail(error, GetLastError());
    const UniqueHandle snapshot(listed);
    bool found = Fail(error, ERROR_NOT_FOUND);
    PROCESSENTRY32W process = {};
    process.dwSize = sizeof process;
    for (BOOL more = Process32FirstW(snapshot.get(), &process); more != 0 && !found;
         more = Process32NextW(snapshot.get(), &process)) {
        if (_wcsicmp(process.szExeFile, program) == 0 &&
            IsOfSession(process.th32ProcessID, session))
            found = TokenOfProcess(process.th32ProcessID, token, error);
    }
    return found;
}

}  // namespace KrCommon::AccessControl
