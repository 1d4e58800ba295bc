#include "deploy/WyRemover.h"

#include <cwchar>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_WinScheduler.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Events.h"
#include "deploy/DeployCommon_Folders.h"
#include "deploy/DeployCommon_Identity.h"
#include "deploy/DeployCommon_Processes.h"
#include "deploy/DeployCommon_Startups.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Watchdog.h"
#include "utilMode/FrwkMode.h"

#include <shlobj.h>

namespace WyDeployHelper::RemoveHelper {

namespace {

namespace File = KrCommon::Storage::File;
namespace OsVersion = KrCommon::OsVersion;
namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "WyRemover";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr DWORD kServiceStartMs = 2000;  // until a service that has just been started listens
constexpr std::uint32_t kServiceAway = Result::FromSystem(RPC_S_SERVER_UNAVAILABLE);
constexpr wchar_t kMakerKey[] = L"Software\\KorvexData";

std::uint32_t FailWith(const wchar_t* what, std::uint32_t result) {
    WY_LOG_ERROR << what << WyHex{result};
    return result;
}

// Of the calling user; empty when the shell does not name the folder.
std::wstring LocalDataFolder() {
    wchar_t path[MAX_PATH] = {};
    if (SHGetSpecialFolderPathW(nullptr, path, CSIDL_LOCAL_APPDATA, TRUE) == FALSE)
        return {};
    return std::wstring(path) + L"\\Korvex Data\\" + Frwk::Mode::GetWyvarionId();
}

void RemoveFolder(const std::wstring& folder, bool& rebootNeeded) {
    std::uint32_t listError = ERROR_SUCCESS;
    if (!File::DeleteAllFiles(folder, rebootNeeded, &listError)) {
        if (listError == ERROR_PATH_NOT_FOUND)
            return;
        WY_LOG_ERROR << L"KrCommon::Storage::File::DeleteAllFiles failed! Dir: " << folder
                     << L"dwErrorCode=" << WyHex{listError};
    }
    if (RemoveDirectoryW(folder.c_str()) != 0)
        return;
    const DWORD error = GetLastError();
    WY_LOG_ERROR << L"RemoveDirectory failed! Dir: " << folder << L",dwErrorCode=" << WyHex{error};
    if (!folder.empty() && MoveFileExW(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT) == 0) {
        const DWORD moveError = GetLastError();
        WY_LOG_ERROR << L"MoveFileEx failed! Dir: " << folder << L",dwErrorCode="
                     << WyHex{moveError};
    }
    rebootNeeded = true;
}

// True where the maker's key holds nothing of another product; one that cannot be read counts so.
bool IsOnlyProductKey(HKEY root, const wchar_t* key) {
    KrCommon::Storage::List names;
    if (!Reg::EnumKeys(names, root, key, Reg::ProductView()) || names.empty())
        return true;
    return names.size() == 1 &&
           _wcsicmp(names.front().c_str(), Frwk::Mode::GetWyvarionId().c_str()) == 0;
}

std::uint32_t RemoveKeys(HKEY root) {
    const std::wstring key =
        IsOnlyProductKey(root, kMakerKey) ? kMakerKey : Utility::GetProductRegistryKey();
    if (Reg::DeleteAllSection(root, key))
        return Result::kSuccess;
    WY_LOG_ERROR << L"KrCommon::Storage::Reg::DeleteAllSection() failed...";
    return Result::kKeysNotRemoved;
}

void DeleteDownloadTask() {
    const std::wstring task = L"Downloader of Korvex Data " + Frwk::Mode::GetWyvarionId();
    if (!KrCommon::WinScheduler::DeleteScheduledTask(task))
        WY_LOG_ERROR << L"The task cannot be deleted: " << task;
}

}  // namespace

CWyRemover::CWyRemover() : m_bTavrenoxMode(Frwk::Mode::GetModeId() == Frwk::Mode::kTavrenoxMode) {}

CWyRemover::~CWyRemover() = default;

std::uint32_t CWyRemover::PreRemove(const std::wstring& installDir) {
    m_strInstallDir = installDir;
    WY_LOG_INFO << L"Uninstall Wyvarion...";
    if (m_bTavrenoxMode) {
        DeployCommon::PublishUsageEvent(L"uninstall", L"Uninstall", {}, 0);
        DeployCommon::PublishUsageEvent(L"versionUsage", L"VersionUsage",
                                        Utility::GetProductVersion(), -1);
    }
    PublishEvent();
    if (!DeployCommon::ExitAllExec({})) {
        WY_LOG_ERROR << L"Terminate exe failed...";
        return Result::kProcessesNotStopped;
    }
    const std::uint32_t result =
        DeployCommon::UninstallWyStartups(m_strInstallDir, m_bTavrenoxMode);
    if (m_bTavrenoxMode)
        Reg::DeleteEntry(HKEY_LOCAL_MACHINE, DeployCommon::kSharedKey, L"WorkingId",
                         Reg::ProductView(), nullptr);
    // Whatever became of the steps above, nothing may start the product by the clock.
    if (OsVersion::Is(OsVersion::Condition::kNt60OrLater))
        DeleteDownloadTask();
    return result;
}

std::uint32_t CWyRemover::PublishEvent() {
    constexpr std::uint32_t kEvent = DeployCommon::SetupEvent::kUninstalling;
    constexpr const wchar_t* kFailed = L"WyPublishEvent failed... RetCode = ";
    std::uint32_t told = DeployCommon::PublishEvent(kEvent);
    if (told == kServiceAway) {
        const std::uint32_t started = Utility::StartServiceByName(Utility::HostServiceName());
        if (Result::Failed(started))
            return FailWith(L"WyCommon::Utility::StartSvcViaScm failed, error = ", started);
        Sleep(kServiceStartMs);
        told = DeployCommon::PublishEvent(kEvent);
    }
    return Result::Failed(told) ? FailWith(kFailed, told) : told;
}

std::uint32_t CWyRemover::Remove() {
    bool rebootNeeded = false;
    for (const std::wstring& folder : Folders())
        RemoveFolder(folder, rebootNeeded);
    if (rebootNeeded && Frwk::Mode::GetModeId() == Frwk::Mode::kTavrenoxMode)
        DeployCommon::SetRebootFlag();
    const std::uint32_t result = RemoveKeys(HKEY_LOCAL_MACHINE);
    return Result::Failed(result) ? result : RemoveKeys(HKEY_CURRENT_USER);
}

std::vector<std::wstring> CWyRemover::Folders() const {
    return {m_strInstallDir,
            LocalDataFolder(),
            Utility::GetExternalFolder(false),
            Utility::GetExternalFolder(true),
            Utility::GetCommonCacheFolder(),
            Utility::GetLocalCacheFolder(),
            WyCommon::LogSettings::GetLogFolder(),
            WyCommon::LogSettings::GetDumpFolder()};
}

}  // namespace WyDeployHelper::RemoveHelper
