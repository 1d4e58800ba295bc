// CreationNamesProbe.exe PLATFORM MAJOR SMALL EXTENDED: tells by its exit code how kernel objects
// are named where the system answers so.
//
// PLATFORM and MAJOR are the version that GetVersionExW tells, SMALL and EXTENDED the codes with
// which its two forms fail (0: they do not). Exit code: 1 with prefixes, 0 without, 2 otherwise.
// A process of its own for each answer, because the answer is kept for the life of the process.

#include <cstdlib>
#include <string>

#include "Common/KrCommon/KrComn_CreationNames.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/IatPatch.h"

namespace {

DWORD s_Answers[4];

BOOL WINAPI GetVersionGiven(OSVERSIONINFOW* out) {
    const bool small = out->dwOSVersionInfoSize == sizeof(OSVERSIONINFOW);
    const DWORD error = s_Answers[small ? 2 : 3];
    if (error != 0) {
        SetLastError(error);
        return FALSE;
    }
    out->dwPlatformId = s_Answers[0];
    out->dwMajorVersion = s_Answers[1];
    return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 0; i < 4 && i + 1 < argc; ++i)
        s_Answers[i] = std::strtoul(argv[i + 1], nullptr, 10);
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "GetVersionExW",
                                       GetVersionGiven);
    const KrCommon::CreationNames names(L"name");
    if (names.GetGlobalName() == L"Global\\name" && names.GetLocalName() == L"Local\\name")
        return 1;
    return names.GetGlobalName() == L"name" && names.GetLocalName() == L"name" ? 0 : 2;
}
