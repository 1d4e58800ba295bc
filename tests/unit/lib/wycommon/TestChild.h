#pragma once

// Programs that do nothing but run, at a path of the test's choice.

#include <filesystem>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"

namespace wycommon_test {

// Set by a program that runs; its process id follows the name.
constexpr const wchar_t* kReadyEvent = L"WyUtilityProbe.ready.";

// A copy of UtilityProbe.exe that runs until it is ended, by the object at the latest. It has come
// up when the object is made: ending a process that is still being started takes its time.
class Child {
public:
    // The folders of the path are made, too.
    explicit Child(const std::filesystem::path& program) {
        std::filesystem::create_directories(program.parent_path());
        std::filesystem::copy_file(test_support::ProgramFolder() / "UtilityProbe.exe", program,
                                   std::filesystem::copy_options::skip_existing);
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process = {};
        if (CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                           &startup, &process) != 0) {
            CloseHandle(process.hThread);
            m_hProcess = process.hProcess;
            m_uiId = process.dwProcessId;
            WaitUntilReady();
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        TerminateProcess(m_hProcess, 1);
        WaitForSingleObject(m_hProcess, kPatience);
        CloseHandle(m_hProcess);
    }

    DWORD Id() const { return m_uiId; }
    bool IsStarted() const { return m_hProcess != nullptr; }
    bool IsRunning() const { return WaitForSingleObject(m_hProcess, 0) == WAIT_TIMEOUT; }
    // True when it has ended, or does so within half a minute.
    bool Ends() const { return WaitForSingleObject(m_hProcess, kPatience) == WAIT_OBJECT_0; }
    DWORD ExitCode() const {
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(m_hProcess, &code);
        return code;
    }

private:
    void WaitUntilReady() const {
        const std::wstring name = std::wstring(kReadyEvent) + std::to_wstring(m_uiId);
        const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
        WaitForSingleObject(ready, kPatience);
        CloseHandle(ready);
    }

    static constexpr DWORD kPatience = 30000;  // milliseconds
    HANDLE m_hProcess = nullptr;
    DWORD m_uiId = 0;
};

}  // namespace wycommon_test
