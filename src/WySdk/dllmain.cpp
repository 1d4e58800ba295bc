// Entry point of the library.

#include "Common/KrCommon/KrComn_Windows.h"

#include <shlwapi.h>

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "WySdk/SdkLog.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

constexpr char kLogSource[] = "dllmain";
constexpr wchar_t kLogModule[] = L"WySdk";
constexpr std::uint32_t kConstructedLine = 21;

// Static objects stand already. Without an installed product there is no log.
void OnProcessAttach() {
    StartFeedbackErrorLog();
    const std::wstring productPath = WyCommon::Utility::GetProductPath();
    if (!PathFileExistsW(productPath.c_str()))
        return;
    StartDebugLog(kLogModule, productPath);
    WyLogStream(kLogSource, kConstructedLine, KrCommon::LogLevel::kInformation)
        << kLogModule << L": [INFO] " << L"Debug server constructed!";
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    try {
        if (reason == DLL_PROCESS_ATTACH)
            OnProcessAttach();
        if (reason == DLL_PROCESS_DETACH)
            StopDebugLog();
    } catch (...) {
        // Loading succeeds whatever the log does.
    }
    return TRUE;
}
