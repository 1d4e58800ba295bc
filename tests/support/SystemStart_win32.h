#pragma once

// The start of the system, as far as a test can have it.

#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// Starts the system anew as far as Wine has that: without ending a program, it carries out what
// is pending. False when it cannot be had.
inline bool RunSystemStart() {
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    std::wstring command = std::wstring(system) + L"\\wineboot.exe";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &process) == 0) {
        return false;
    }
    const bool ended = WaitForSingleObject(process.hProcess, 60000) == WAIT_OBJECT_0;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return ended;
}

}  // namespace test_support
