#pragma once

// What the system is asked when a program is started.

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_SecurityAttributes.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace wycommon_test {

// The arguments of one start.
struct Start {
    HANDLE token;
    std::optional<std::wstring> program;
    std::wstring line;
    bool hasKindOfProcess;  // the process' attributes are those of kProcess
    bool hasThreadAttributes;
    BOOL inherits;
    DWORD flags;
    void* environment;
    std::optional<std::wstring> directory;
    STARTUPINFOW startup;
    bool isImpersonating;  // the calling thread has a token of its own
};

inline std::optional<std::wstring> OptionalText(const wchar_t* text) {
    return text != nullptr ? std::optional<std::wstring>(text) : std::nullopt;
}

inline std::vector<unsigned char> ListOf(PSECURITY_DESCRIPTOR descriptor) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ACL* list = nullptr;
    if (descriptor == nullptr ||
        GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) == 0 || list == nullptr)
        return {};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(list);
    return {bytes, bytes + list->AclSize};
}

inline bool AreOfProcess(const SECURITY_ATTRIBUTES* attributes) {
    namespace AccessControl = KrCommon::AccessControl;
    const AccessControl::SecurityAttributes expected(AccessControl::kProcess, false);
    return attributes != nullptr && attributes->nLength == sizeof *attributes &&
           attributes->bInheritHandle == FALSE &&
           ListOf(attributes->lpSecurityDescriptor) == ListOf(expected.lpSecurityDescriptor);
}

// The code with which a token cannot be taken from the thread: 1008 when there is none.
inline DWORD ThreadTokenError() {
    HANDLE token = nullptr;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) == 0)
        return GetLastError();
    CloseHandle(token);
    return ERROR_SUCCESS;
}

// Stands between this program and CreateProcessW and CreateProcessAsUserW while it lives; one at a
// time. Keeps what they are asked.
class StartSpies {
public:
    StartSpies()
        : m_Start(Program(), "kernel32.dll", "CreateProcessW", StartDirectly),
          m_StartAsUser(Program(), "advapi32.dll", "CreateProcessAsUserW", StartAsUser) {
        s_pSpies = this;
    }
    StartSpies(const StartSpies&) = delete;
    StartSpies& operator=(const StartSpies&) = delete;
    ~StartSpies() { s_pSpies = nullptr; }

    // Starts fail with this code from now on.
    void Refuse(DWORD code) { m_uiRefusal = code; }

    const std::vector<Start>& Starts() const { return m_Starts; }

private:
    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    // Keeps what is asked; true when it is to be refused.
    bool Keep(HANDLE token, LPCWSTR program, LPCWSTR line, const SECURITY_ATTRIBUTES* process,
              const SECURITY_ATTRIBUTES* thread, BOOL inherits, DWORD flags, void* environment,
              LPCWSTR directory, const STARTUPINFOW& startup) {
        m_Starts.push_back({token, OptionalText(program), line, AreOfProcess(process),
                            thread != nullptr, inherits, flags, environment,
                            OptionalText(directory), startup,
                            ThreadTokenError() != ERROR_NO_TOKEN});
        SetLastError(m_uiRefusal);
        return m_uiRefusal != ERROR_SUCCESS;
    }
    static BOOL WINAPI StartDirectly(LPCWSTR program, LPWSTR line, SECURITY_ATTRIBUTES* process,
                                     SECURITY_ATTRIBUTES* thread, BOOL inherits, DWORD flags,
                                     void* environment, LPCWSTR directory, STARTUPINFOW* startup,
                                     PROCESS_INFORMATION* started) {
        return !s_pSpies->Keep(nullptr, program, line, process, thread, inherits, flags,
                               environment, directory, *startup) &&
               s_pSpies->m_Start.Original<decltype(CreateProcessW)>()(
                   program, line, process, thread, inherits, flags, environment, directory, startup,
                   started) != 0;
    }
    static BOOL WINAPI StartAsUser(HANDLE token, LPCWSTR program, LPWSTR line,
                                   SECURITY_ATTRIBUTES* process, SECURITY_ATTRIBUTES* thread,
                                   BOOL inherits, DWORD flags, void* environment, LPCWSTR directory,
                                   STARTUPINFOW* startup, PROCESS_INFORMATION* started) {
        return !s_pSpies->Keep(token, program, line, process, thread, inherits, flags, environment,
                               directory, *startup) &&
               s_pSpies->m_StartAsUser.Original<decltype(CreateProcessAsUserW)>()(
                   token, program, line, process, thread, inherits, flags, environment, directory,
                   startup, started) != 0;
    }

    inline static StartSpies* s_pSpies = nullptr;

    std::vector<Start> m_Starts;
    DWORD m_uiRefusal = ERROR_SUCCESS;
    test_support::IatPatch m_Start;
    test_support::IatPatch m_StartAsUser;
};

// Stands between the main thread and WaitForSingleObject while it lives; one at a time. Keeps the
// limits.
class WaitSpy {
public:
    WaitSpy() : m_Wait(GetModuleHandleW(nullptr), "kernel32.dll", "WaitForSingleObject", Wait) {
        s_pSpy = this;
    }
    WaitSpy(const WaitSpy&) = delete;
    WaitSpy& operator=(const WaitSpy&) = delete;
    ~WaitSpy() { s_pSpy = nullptr; }

    // Waits give this result, and leave this code, from now on.
    void Answer(DWORD result, DWORD code) {
        m_uiAnswer = result;
        m_uiCode = code;
    }

    const std::vector<DWORD>& Limits() const { return m_Limits; }

private:
    static DWORD WINAPI Wait(HANDLE handle, DWORD limit) {
        if (GetCurrentThreadId() != s_uiThread)
            return s_fnWait(handle, limit);
        s_pSpy->m_Limits.push_back(limit);
        if (!s_pSpy->m_uiAnswer)
            return s_pSpy->m_Wait.Original<DWORD WINAPI(HANDLE, DWORD)>()(handle, limit);
        SetLastError(s_pSpy->m_uiCode);
        return *s_pSpy->m_uiAnswer;
    }

    inline static WaitSpy* s_pSpy = nullptr;
    // Behind a failure or a trace the test framework waits for the end of this thread on another.
    inline static const DWORD s_uiThread = GetCurrentThreadId();
    inline static const auto s_fnWait = &WaitForSingleObject;

    std::vector<DWORD> m_Limits;
    std::optional<DWORD> m_uiAnswer;
    DWORD m_uiCode = ERROR_SUCCESS;
    test_support::IatPatch m_Wait;
};

}  // namespace wycommon_test
