// Entry point of the library.

#include "Common/KrCommon/KrComn_Windows.h"

#include <shlwapi.h>

#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_DebugLog.h"
#include "lib/wycommon/WyCommon_LazyLogs.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

constexpr char kLogSource[] = "dllmain";
constexpr wchar_t kLogModule[] = L"WySdk";
constexpr std::uint32_t kConstructedLine = 21;

// Static objects stand already. Without an installed product there is no log.
void OnProcessAttach() {
    WyCommon::LazyLogs::Start();
    const std::wstring productPath = WyCommon::Utility::GetProductPath();
    if (!PathFileExistsW(productPath.c_str()))
        return;
    KrCommon::CreateMainLog(kLogModule, productPath);
    WyLogStream(kLogSource, kConstructedLine, KrCommon::LogLevel::kInformation)
        << kLogModule << L": [INFO] " << L"Debug server constructed!";
}

void OnProcessDetach() {
    WyCommon::LazyLogs::Stop();
    KrCommon::DestroyMainLog();
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    try {
        if (reason == DLL_PROCESS_ATTACH)
            OnProcessAttach();
        if (reason == DLL_PROCESS_DETACH)
            OnProcessDetach();
    } catch (...) {
        // Loading succeeds whatever the log does.
    }
    return TRUE;
}
