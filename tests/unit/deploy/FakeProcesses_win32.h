#pragma once

// Starting programs, by script.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "support/IatPatch.h"

namespace deploy_test {

// Stands in for what the test program imports to start programs and to wait, as long as it lives;
// waits of the main thread alone.
// Programs "run" without one being started, and have ended at once. One at a time.
class FakeProcesses {
public:
    // Programs are started after all.
    bool real = false;
    // Errors of the calls, 0 for none.
    DWORD createError = 0;
    DWORD exitCodeError = 0;
    DWORD exitCode = 0;
    // What each wait gives, and the error behind it; nothing lets the system wait.
    std::optional<DWORD> waitResult;
    DWORD waitError = 0;

    // The starts, "LINE|FOLDER|FLAGS", with "|as user" for those under a token.
    std::vector<std::wstring> starts;
    // The limits of the waits, and the pauses, in milliseconds. Pauses take no time.
    std::vector<DWORD> waits;
    std::vector<DWORD> pauses;
    // Of the last start.
    STARTUPINFOW startup = {};
    bool hasProcessAttributes = false;
    bool hasThreadAttributes = false;
    bool inherits = false;
    bool hasEnvironment = false;

    // The last start was that of a hidden program of this process' own kind.
    void ExpectHidden() const {
        EXPECT_TRUE(hasProcessAttributes);
        EXPECT_FALSE(hasThreadAttributes);
        EXPECT_FALSE(inherits);
        EXPECT_FALSE(hasEnvironment);
        EXPECT_EQ(startup.cb, sizeof(STARTUPINFOW));
        EXPECT_EQ(startup.dwFlags, DWORD{STARTF_USESHOWWINDOW});
        EXPECT_EQ(startup.wShowWindow, SW_HIDE);
    }

    FakeProcesses() { s_pCurrent = this; }
    FakeProcesses(const FakeProcesses&) = delete;
    FakeProcesses& operator=(const FakeProcesses&) = delete;
    ~FakeProcesses() { s_pCurrent = nullptr; }

private:
    static std::wstring Hex(DWORD number) {
        wchar_t text[16];
        std::swprintf(text, std::size(text), L"%lx", number);
        return text;
    }

    BOOL Note(const std::wstring& start, const SECURITY_ATTRIBUTES* process,
              const SECURITY_ATTRIBUTES* thread, BOOL inherit, const void* environment,
              const STARTUPINFOW* record, PROCESS_INFORMATION* started) {
        starts.push_back(start);
        startup = *record;
        hasProcessAttributes = process != nullptr && process->lpSecurityDescriptor != nullptr;
        hasThreadAttributes = thread != nullptr;
        inherits = inherit != 0;
        hasEnvironment = environment != nullptr;
        if (createError != 0) {
            SetLastError(createError);
            return FALSE;
        }
        started->hProcess = CreateEventW(nullptr, TRUE, TRUE, nullptr);
        started->hThread = CreateEventW(nullptr, TRUE, TRUE, nullptr);
        return TRUE;
    }

    static BOOL WINAPI Create(LPCWSTR application, LPWSTR line, SECURITY_ATTRIBUTES* process,
                              SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags,
                              LPVOID environment, LPCWSTR folder, STARTUPINFOW* record,
                              PROCESS_INFORMATION* started) {
        if (s_pCurrent->real)
            return s_pCurrent->m_Create.Original<decltype(CreateProcessW)>()(
                application, line, process, thread, inherit, flags, environment, folder, record,
                started);
        const std::wstring name = application != nullptr ? std::wstring(application) + L"!" : L"";
        const std::wstring where = folder != nullptr ? folder : L"null";
        return s_pCurrent->Note(name + line + L'|' + where + L'|' + Hex(flags), process, thread,
                                inherit, environment, record, started);
    }

    static BOOL WINAPI CreateAs(HANDLE, LPCWSTR, LPWSTR line, SECURITY_ATTRIBUTES* process,
                                SECURITY_ATTRIBUTES* thread, BOOL inherit, DWORD flags,
                                LPVOID environment, LPCWSTR folder, STARTUPINFOW* record,
                                PROCESS_INFORMATION* started) {
        const std::wstring where = folder != nullptr ? folder : L"null";
        return s_pCurrent->Note(line + (L'|' + where) + L'|' + Hex(flags) + L"|as user", process,
                                thread, inherit, environment, record, started);
    }

    static BOOL WINAPI ExitCode(HANDLE, DWORD* code) {
        if (s_pCurrent->exitCodeError != 0) {
            SetLastError(s_pCurrent->exitCodeError);
            return FALSE;
        }
        *code = s_pCurrent->exitCode;
        return TRUE;
    }

    static DWORD WINAPI Wait(HANDLE handle, DWORD limit) {
        if (GetCurrentThreadId() != s_uiThread)
            return s_fnWait(handle, limit);
        FakeProcesses& self = *s_pCurrent;
        self.waits.push_back(limit);
        if (!self.waitResult.has_value())
            return self.m_Wait.Original<decltype(WaitForSingleObject)>()(handle, limit);
        SetLastError(self.waitError);
        return *self.waitResult;
    }

    static void WINAPI Pause(DWORD milliseconds) { s_pCurrent->pauses.push_back(milliseconds); }

    static inline FakeProcesses* s_pCurrent = nullptr;
    // Behind a failure or a trace the test framework waits for the end of this thread on another
    // one. That is none of the product's waits, and must not see this thread end.
    static inline const DWORD s_uiThread = GetCurrentThreadId();
    static inline const auto s_fnWait = &WaitForSingleObject;

    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    test_support::IatPatch m_Create{m_hProgram, "kernel32.dll", "CreateProcessW", Create};
    test_support::IatPatch m_CreateAs{m_hProgram, "advapi32.dll", "CreateProcessAsUserW", CreateAs};
    test_support::IatPatch m_ExitCode{m_hProgram, "kernel32.dll", "GetExitCodeProcess", ExitCode};
    test_support::IatPatch m_Wait{m_hProgram, "kernel32.dll", "WaitForSingleObject", Wait};
    test_support::IatPatch m_Sleep{m_hProgram, "kernel32.dll", "Sleep", Pause};
};

}  // namespace deploy_test
