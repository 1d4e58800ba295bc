#pragma once

// A machine on which a program is started as the user of a session: what the system is asked, what
// it gives, and each of its refusals.

#include <gtest/gtest.h>

#include <list>

#include "support/IatPatch.h"
#include "unit/lib/wycommon/LookupStandIns.h"
#include "unit/lib/wycommon/StartSpies.h"

// Behind <windows.h>, which it needs.
#include <tlhelp32.h>

namespace wycommon_test {

// ---- What the system is asked, and what it gives

inline ULONG s_uiAskedSession = 0;
inline HANDLE s_hDuplicate = nullptr;
inline DWORD s_uiDuplicateAccess = 0;
inline TOKEN_TYPE s_DuplicateType = TokenImpersonation;
inline bool s_bDuplicateHasAttributes = true;
inline HANDLE s_hEnvironmentToken = nullptr;
inline BOOL s_bEnvironmentInherits = TRUE;
inline bool s_bEnvironmentMadeAsUser = false;
inline bool s_bEnvironmentFreedAsUser = false;
inline int s_iEnvironments = 0;
inline void* s_pEnvironment = nullptr;

// The functions themselves, found before anything stands in their place.
using MakeFunction = BOOL WINAPI(void**, HANDLE, BOOL);
using FreeFunction = BOOL WINAPI(void*);
inline MakeFunction* s_pMake = nullptr;
inline FreeFunction* s_pFree = nullptr;
inline decltype(&DuplicateTokenEx) s_pDuplicate = nullptr;
inline decltype(&CreateToolhelp32Snapshot) s_pSnapshot = nullptr;

template <class Function>
void FindReal(const wchar_t* module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(module), name)));
    ASSERT_NE(function, nullptr);
}

inline void FindRealFunctions() {
    FindReal(L"userenv.dll", "CreateEnvironmentBlock", s_pMake);
    FindReal(L"userenv.dll", "DestroyEnvironmentBlock", s_pFree);
    FindReal(L"advapi32.dll", "DuplicateTokenEx", s_pDuplicate);
    FindReal(L"kernel32.dll", "CreateToolhelp32Snapshot", s_pSnapshot);
}

inline BOOL WINAPI QueryToken(ULONG session, HANDLE* token) {
    s_uiAskedSession = session;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token);
}
inline BOOL WINAPI Duplicate(HANDLE token, DWORD access, SECURITY_ATTRIBUTES* attributes,
                             SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type,
                             HANDLE* duplicate) {
    s_uiDuplicateAccess = access;
    s_DuplicateType = type;
    s_bDuplicateHasAttributes = attributes != nullptr;
    const BOOL done = s_pDuplicate(token, access, attributes, level, type, duplicate);
    s_hDuplicate = *duplicate;
    return done;
}
inline BOOL WINAPI MakeEnvironment(void** block, HANDLE token, BOOL inherits) {
    s_hEnvironmentToken = token;
    s_bEnvironmentInherits = inherits;
    s_bEnvironmentMadeAsUser = ThreadTokenError() == ERROR_SUCCESS;
    const BOOL made = s_pMake(block, token, inherits);
    s_pEnvironment = *block;
    s_iEnvironments += made != 0;
    return made;
}
inline BOOL WINAPI FreeEnvironment(void* block) {
    EXPECT_EQ(block, s_pEnvironment);
    s_bEnvironmentFreedAsUser = ThreadTokenError() == ERROR_SUCCESS;
    --s_iEnvironments;
    return s_pFree(block);
}

// A machine on which one program runs, of the name given.
inline const wchar_t* s_wszRunning = L"";
inline BOOL WINAPI FirstProcess(HANDLE, PROCESSENTRY32W* process) {
    process->th32ProcessID = GetCurrentProcessId();
    wcscpy(process->szExeFile, s_wszRunning);
    return TRUE;
}
inline BOOL WINAPI NoMoreProcesses(HANDLE, PROCESSENTRY32W*) {
    SetLastError(ERROR_NO_MORE_FILES);
    return FALSE;
}

// ---- Refusals

inline BOOL Refuse(DWORD code) {
    SetLastError(code);
    return FALSE;
}
inline BOOL WINAPI QueryRefused(ULONG, HANDLE*) {
    return Refuse(ERROR_PRIVILEGE_NOT_HELD);
}
inline BOOL WINAPI DuplicateRefused(HANDLE, DWORD, SECURITY_ATTRIBUTES*,
                                    SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE*) {
    return Refuse(ERROR_ACCESS_DENIED);
}
inline BOOL WINAPI DuplicateIsNull(HANDLE, DWORD, SECURITY_ATTRIBUTES*,
                                   SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE* duplicate) {
    *duplicate = nullptr;
    return TRUE;
}
inline BOOL WINAPI DuplicateIsInvalid(HANDLE, DWORD, SECURITY_ATTRIBUTES*,
                                      SECURITY_IMPERSONATION_LEVEL, TOKEN_TYPE, HANDLE* duplicate) {
    *duplicate = INVALID_HANDLE_VALUE;
    return TRUE;
}
// The figures of this process list its threads.
inline HANDLE WINAPI SnapshotRefused(DWORD what, DWORD id) {
    if (what != TH32CS_SNAPPROCESS)
        return s_pSnapshot(what, id);
    Refuse(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
}
inline HANDLE WINAPI OpenRefused(DWORD, BOOL, DWORD) {
    Refuse(ERROR_INVALID_PARAMETER);
    return nullptr;
}
inline BOOL WINAPI ProcessTokenRefused(HANDLE, DWORD, HANDLE*) {
    return Refuse(ERROR_ACCESS_DENIED);
}
inline BOOL WINAPI ProcessTokenIsNull(HANDLE, DWORD, HANDLE* token) {
    *token = nullptr;
    return TRUE;
}
inline BOOL WINAPI ProcessTokenIsInvalid(HANDLE, DWORD, HANDLE* token) {
    *token = INVALID_HANDLE_VALUE;
    return TRUE;
}
inline BOOL WINAPI ImpersonateRefused(HANDLE) {
    return Refuse(ERROR_BAD_IMPERSONATION_LEVEL);
}
inline BOOL WINAPI EnvironmentRefused(void** block, HANDLE, BOOL) {
    *block = &s_iEnvironments;  // what is left there on failure does not count
    return Refuse(ERROR_PATH_NOT_FOUND);
}
inline BOOL WINAPI FreedAndRefused(void* block) {
    FreeEnvironment(block);
    return Refuse(ERROR_GEN_FAILURE);
}
inline BOOL WINAPI RevertRefused() {
    return Refuse(ERROR_INVALID_OWNER);
}

// Stands between this program and all of it while it lives; one at a time. FindRealFunctions()
// comes first.
class Scene {
public:
    Scene() {
        lookups.Give("WTSQueryUserToken", QueryToken);
        lookups.Give("CreateEnvironmentBlock", MakeEnvironment);
        lookups.Give("DestroyEnvironmentBlock", FreeEnvironment);
        Patch("kernel32.dll", "Process32FirstW", FirstProcess);
        Patch("kernel32.dll", "Process32NextW", NoMoreProcesses);
        Patch("advapi32.dll", "DuplicateTokenEx", Duplicate);
        s_wszRunning = L"EXPLORER.EXE";
    }

    template <class Function>
    void Patch(const char* library, const char* function, Function* replacement) {
        m_Patches.emplace_front(GetModuleHandleW(nullptr), library, function, replacement);
    }

    Lookups lookups;
    StartSpies starts;
    WaitSpy waits;

private:
    std::list<test_support::IatPatch>
        m_Patches;  // the last one first, so that it is taken back first
};

}  // namespace wycommon_test
