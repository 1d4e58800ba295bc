#pragma once

// The output of another program.

#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// Runs a program to its end and gives what it has written to standard output. `words` follow its
// name on the command line as they are. "not started" when it could not be started.
inline std::string ProgramOutput(const std::wstring& program, const std::string& words) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    CreatePipe(&read, &write, &inherited, 0);
    SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = write;
    PROCESS_INFORMATION process = {};
    std::wstring line = L"\"" + program + L"\" " + std::wstring(words.begin(), words.end());
    const BOOL started = CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                                        nullptr, nullptr, &startup, &process);
    CloseHandle(write);
    std::string text = started != 0 ? "" : "not started";
    char buffer[512];
    DWORD count = 0;
    while (ReadFile(read, buffer, sizeof buffer, &count, nullptr) != 0 && count != 0)
        text.append(buffer, count);
    CloseHandle(read);
    if (started != 0) {
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    return text;
}

}  // namespace test_support
