// SetupProbe.exe [WORD...] FILE...: reads each Setup.ini, checks the system, prints what came of
// it.
//
// Words change what the system answers to GetVersionExW:
//   version=PLATFORM,MAJOR,MINOR,BUILD,PACK,TYPE   both forms; decimal numbers
//   fail=extended|all    these forms fail when the numbers of Setup.ini are compared
//   fail=first           all forms fail from the beginning
// FILE "?" stands for an empty path. For each file the lines are:
//   file NUMBER
//   read 0|1 FIELDS      what ReadConfig() returned, and the object afterwards
//   result CODE          of the check of the system
//   log LEVEL TEXT       each line of the log, of both
// Characters that are not printable ASCII are written as \u and four hexadecimal digits.

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/SetupConfig.h"
#include "deploy/SystemCheckHelper.h"
#include "support/IatPatch.h"
#include "support/LogRecorder.h"
#include "unit/deploy/SetupFields.h"

namespace {

using WyDeployHelper::SetupHelper::CSystemCheckHelper;
using WyDeployHelper::SetupHelper::g_SetupConfig;

bool s_bGiven = false;
unsigned s_Version[6] = {};
bool s_bExtendedFails = false;
bool s_bSmallFails = false;

decltype(&GetVersionExW) s_pGetVersion;
BOOL WINAPI VersionGiven(OSVERSIONINFOW* out) {
    const bool extended = out->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW);
    if (extended ? s_bExtendedFails : s_bSmallFails)
        return FALSE;
    if (!s_bGiven)
        return s_pGetVersion(out);
    out->dwPlatformId = s_Version[0];
    out->dwMajorVersion = s_Version[1];
    out->dwMinorVersion = s_Version[2];
    out->dwBuildNumber = s_Version[3];
    if (extended) {
        auto* const whole = reinterpret_cast<OSVERSIONINFOEXW*>(out);
        whole->wServicePackMajor = static_cast<WORD>(s_Version[4]);
        whole->wProductType = static_cast<BYTE>(s_Version[5]);
    }
    return TRUE;
}

void Print(std::wstring_view text) {
    for (const wchar_t c : text) {
        if (c >= L' ' && c <= L'~') {
            std::putchar(c);
        } else {
            std::printf("\\u%04x", static_cast<unsigned>(c));
        }
    }
}

void Run(const std::wstring& file) {
    const test_support::LogRecorder log;
    const bool read = g_SetupConfig.ReadConfig(file);
    CSystemCheckHelper checks;
    checks.InitCheckFunction();
    const std::uint32_t result = checks.CheckAllSystemItems();
    std::printf("read %d ", read ? 1 : 0);
    Print(deploy_test::Fields(g_SetupConfig));
    std::printf("\nresult 0x%08x\n", result);
    for (const auto& line : log.Lines()) {
        std::printf("log %u ", line.level);
        Print(line.text);
        std::putchar('\n');
    }
}

// True when it was a word.
bool ReadWord(std::wstring_view word, bool& failsLater) {
    if (word.starts_with(L"version=")) {
        unsigned* const v = s_Version;
        s_bGiven = std::swscanf(word.data() + 8, L"%u,%u,%u,%u,%u,%u", &v[0], &v[1], &v[2], &v[3],
                                &v[4], &v[5]) == 6;
    } else if (word == L"fail=extended" || word == L"fail=all") {
        s_bExtendedFails = true;
        s_bSmallFails = word == L"fail=all";
        failsLater = true;
    } else if (word == L"fail=first") {
        s_bExtendedFails = s_bSmallFails = true;
    } else {
        return false;
    }
    return true;
}

}  // namespace

int wmain(int count, wchar_t** words) {
    const test_support::IatPatch version(GetModuleHandleW(nullptr), "kernel32.dll", "GetVersionExW",
                                         VersionGiven);
    s_pGetVersion = version.Original<BOOL WINAPI(OSVERSIONINFOW*)>();
    bool failsLater = false;
    int first = 1;
    while (first < count && ReadWord(words[first], failsLater))
        ++first;
    if (failsLater) {
        // What the conditions look at is kept for the life of the process.
        const bool extended = std::exchange(s_bExtendedFails, false);
        const bool small = std::exchange(s_bSmallFails, false);
        KrCommon::OsVersion::GetError();
        s_bExtendedFails = extended;
        s_bSmallFails = small;
    }
    for (int i = first; i < count; ++i) {
        std::printf("file %d\n", i - first);
        Run(std::wstring_view(words[i]) == L"?" ? L"" : words[i]);
    }
    return 0;
}
