// LauncherProbe.exe record FILE: writes its command line and its current folder, in UTF-8, on a
// line each; FILE appears when they are complete. LauncherProbe.exe exit CODE [MILLISECONDS]: ends
// with the code, after a while. LauncherProbe.exe decide OPERATION SESSION VERSION REST: calls an
// operation of the launcher twice and prints what came of it.
//   OPERATION  impersonate or rundll
//   SESSION    what the system tells of this process: a number at the first question and the next
//              one at each further question, "fail" (code 87) or "none" (no such function)
//   VERSION    of NT that it tells, MAJOR.MINOR
//   REST       "refuse": starting a program is refused, with 5 and, as another user, with 1314
//              "no-console": as well, and the active session cannot be told
//              anything else is the path of a launcher that is really started, and each wait is
//              told
// A process of its own for each answer, because the answer is kept for the life of the process.

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_Launcher.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "unit/lib/wycommon/LookupStandIns.h"

namespace {

using KrCommon::String::FromUtf8;
using KrCommon::String::ToUtf8;
using test_support::IatPatch;

const char* s_szSession = "";
int s_iQuestions = 0;
unsigned s_uiMajor = 0;
unsigned s_uiMinor = 0;

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

BOOL WINAPI SessionGiven(DWORD id, DWORD* session) {
    if (std::string(s_szSession) == "fail" || id != GetCurrentProcessId()) {
        ++s_iQuestions;
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    *session = static_cast<DWORD>(std::atoi(s_szSession) + s_iQuestions++);
    return TRUE;
}
BOOL WINAPI VersionGiven(OSVERSIONINFOW* out) {
    out->dwPlatformId = VER_PLATFORM_WIN32_NT;
    out->dwMajorVersion = s_uiMajor;
    out->dwMinorVersion = s_uiMinor;
    return TRUE;
}
BOOL WINAPI StartRefused(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                         void*, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*) {
    std::printf("started directly\n");
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}
BOOL WINAPI StartAsUserRefused(HANDLE, LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*,
                               BOOL, DWORD, void*, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*) {
    std::printf("started as the user\n");
    SetLastError(ERROR_PRIVILEGE_NOT_HELD);
    return FALSE;
}

// Nothing else of this program waits.
DWORD WINAPI WaitAndTell(HANDLE handle, DWORD limit) {
    std::printf("waited %lx\n", limit);
    return WaitForSingleObjectEx(handle, limit, FALSE);
}

std::uint32_t Launch(const std::string& operation, const std::wstring& launcher) {
    return operation == "rundll"
               ? WyCommon::Launcher::RunDll(L"C:\\a.dll", L"Function", L"x", launcher)
               : WyCommon::Launcher::Impersonate(L"none", L"C:\\a.exe", L"x", nullptr, 0, L"",
                                                 launcher);
}

int Decide(char** words) {
    const std::string operation = words[0];
    s_szSession = words[1];
    std::sscanf(words[2], "%u.%u", &s_uiMajor, &s_uiMinor);
    const std::string rest = words[3];
    const bool refuses = rest == "refuse" || rest == "no-console";
    const IatPatch version(Program(), "kernel32.dll", "GetVersionExW", VersionGiven);
    wycommon_test::Lookups lookups;
    lookups.Give("ProcessIdToSessionId", SessionGiven);
    if (std::string(s_szSession) == "none")
        lookups.Hide("ProcessIdToSessionId");
    if (rest == "no-console")
        lookups.Hide("WTSGetActiveConsoleSessionId");
    const IatPatch wait(Program(), "kernel32.dll", "WaitForSingleObject", WaitAndTell);
    std::optional<IatPatch> direct;
    std::optional<IatPatch> asUser;
    if (refuses) {
        direct.emplace(Program(), "kernel32.dll", "CreateProcessW", StartRefused);
        asUser.emplace(Program(), "advapi32.dll", "CreateProcessAsUserW", StartAsUserRefused);
    }
    test_support::LogRecorder log(KrCommon::LogLevel::kWarning | KrCommon::LogLevel::kError);
    for (int i = 0; i < 2; ++i)
        std::printf("%08x\n",
                    static_cast<unsigned>(Launch(operation, refuses ? L"L" : FromUtf8(rest))));
    std::printf("questions %d\n", s_iQuestions);
    // The launcher's command line, and what the cipher says, do not belong to the decision.
    for (const test_support::LogRecorder::Line& line : log.Lines()) {
        if (line.file != "KrComn_StringCrypt")
            std::printf("%u %s\n", static_cast<unsigned>(line.level),
                        ToUtf8(line.text.substr(0, line.text.find(L", wstrCmdline="))).c_str());
    }
    return 0;
}

int Record(const wchar_t* path) {
    wchar_t folder[MAX_PATH] = L"";
    GetCurrentDirectoryW(MAX_PATH, folder);
    const std::wstring unfinished = std::wstring(path) + L".part";
    std::FILE* const file = _wfopen(unfinished.c_str(), L"wb");
    if (file == nullptr)
        return 3;
    std::fprintf(file, "%s\n%s\n", ToUtf8(GetCommandLineW()).c_str(), ToUtf8(folder).c_str());
    std::fclose(file);
    return MoveFileW(unfinished.c_str(), path) != 0 ? 0 : 4;
}

}  // namespace

int main(int count, char** words) {
    const std::string what = count > 2 ? words[1] : "";
    if (what == "record")
        return Record(FromUtf8(words[2]).c_str());
    if (what == "exit") {
        Sleep(count > 3 ? static_cast<DWORD>(std::atoi(words[3])) : 0);
        return std::atoi(words[2]);
    }
    return what == "decide" && count == 6 ? Decide(words + 2) : 5;
}
