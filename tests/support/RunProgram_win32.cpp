#include "Common/KrCommon/KrComn_Windows.h"
#include "support/RunProgram.h"

namespace test_support {

std::filesystem::path ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

int RunProgram(const std::filesystem::path& program) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    std::wstring commandLine = L"\"" + program.wstring() + L"\"";
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                       nullptr, &startup, &process) == 0) {
        return -1;
    }
    constexpr DWORD kTimeLimit = 30000;
    DWORD code = static_cast<DWORD>(-1);
    if (WaitForSingleObject(process.hProcess, kTimeLimit) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

}  // namespace test_support
