// What comes before the first file is written, and the way back.

#include "deploy/WyInstaller.h"

#include <cerrno>
#include <cwchar>
#include <utility>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Folders.h"
#include "deploy/DeployCommon_Identity.h"
#include "deploy/DeployCommon_Processes.h"
#include "deploy/DeployCommon_Startups.h"
#include "deploy/SetupConfig.h"
#include "deploy/SystemCheckHelper.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_RegistryTree.h"
#include "utilMode/FrwkMode.h"

namespace WyDeployHelper::SetupHelper {

namespace {

namespace File = KrCommon::Storage::File;
namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "WyInstaller";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr wchar_t kBackupName[] = L"WyvarionBackup";

std::uint32_t Fail(const wchar_t* what, std::uint32_t result) {
    WY_LOG_ERROR << what;
    return result;
}

// What a refused folder or key means for the installation.
std::uint32_t Refused(std::uint32_t error) {
    return error == ERROR_ACCESS_DENIED ? Result::kAccessDenied : Result::kFailure;
}

}  // namespace

std::wstring BackupFolderOf(const std::wstring& installDir) {
    std::wstring folder = installDir;
    KrCommon::String::RemoveSeparator(folder);
    const std::size_t end = folder.rfind(L'\\');
    if (end != std::wstring::npos)
        folder.resize(end);
    return folder + L"\\" + kBackupName;
}

CWyInstaller::CWyInstaller(std::wstring productId, std::wstring vendorId)
    : m_strProductId(std::move(productId)),
      m_strVendorId(std::move(vendorId)),
      m_bTavrenoxMode(Frwk::Mode::GetModeId() == Frwk::Mode::kTavrenoxMode) {}

CWyInstaller::~CWyInstaller() = default;

void CWyInstaller::SetDirectory(const std::wstring& installDir, const std::wstring& packageDir,
                                std::wstring& installDirOut) {
    m_bReinstall = IsInstalled();
    m_strInstallDir = m_bReinstall ? Utility::GetProductPathOrModuleFolder() : installDir;
    m_strPackageDir = packageDir;
    installDirOut = m_strInstallDir;
    WY_LOG_INFO << L"PackageDir: " << m_strPackageDir << L", InstallDir: " << m_strInstallDir;
}

bool CWyInstaller::IsInstalled() const {
    const std::wstring guid = Reg::LoadValueOrRaise(Utility::GetProductRegistryKey(),
                                                    L"ProductGuid", {}, Reg::ProductView());
    if (guid.empty() || _wcsicmp(guid.c_str(), DeployCommon::WY_PRODUCT_GUID) != 0)
        return false;
    // The other identities are installed anew every time, also over themselves.
    if (!m_bTavrenoxMode)
        return false;
    if (!DeployCommon::IsRegKeyExist(
            std::wstring(DeployCommon::kProgramList) + DeployCommon::WY_PRODUCT_GUID,
            Reg::ProductView()))
        return false;
    WY_LOG_INFO << L"The wyvarion product is already installed...";
    return true;
}

std::uint32_t CWyInstaller::PreInstall() {
    SetInstallStatus(InstallStatus::kInProgress);
    if (m_strPackageDir.empty() || m_strInstallDir.empty())
        return Fail(L"The path is invalid...", Result::kEmptyFolder);
    if (m_bTavrenoxMode && DeployCommon::IsRebootPending()) {
        WY_LOG_WARN << L"Need to reboot computer before install...";
        return Result::kRebootPending;
    }
    if (m_bReinstall) {
        const std::uint32_t prepared = PreReInstall();
        if (Result::Failed(prepared))
            return prepared;
    }
    if (!g_SetupConfig.ReadConfig(Utility::JoinPath(m_strPackageDir, L"Setup.ini")))
        return Fail(L"Parse setup config file error...", Result::kPackageNotRead);
    const std::uint32_t checked = PreCheck();
    if (Result::Failed(checked))
        return checked;
    if (!InstallVcrt(m_strPackageDir))
        return Fail(L"Install VS2012 runtime library error...", Result::kRuntimeNotInstalled);
    return checked;
}

std::uint32_t CWyInstaller::PreReInstall() {
    if (IsLaterVersionInstalled())
        return Fail(L"A later version is already installed in this computer...",
                    Result::kLaterVersionInstalled);
    if (!DeployCommon::ExitAllExec({}))
        return Fail(L"Terminate exe failed...", Result::kProcessesNotStopped);
    const std::uint32_t saved = BackupInstallFolder();
    if (Result::Failed(saved)) {
        WY_LOG_ERROR << L"Backup install folder failed...retCode: " << WyHex{saved};
        return saved;
    }
    // The product's files have just moved there, the shortcut tool with them.
    return DeployCommon::UninstallWyStartups(m_strBackupDir, m_bTavrenoxMode);
}

bool CWyInstaller::IsLaterVersionInstalled() {
    const std::wstring installed = Utility::GetProductVersion();
    WY_LOG_INFO << L"Product version check. Old version: " << installed << L"New version:"
                << WY_PRODUCT_VERSION;
    Version oldVersion;
    Version newVersion;
    ParseVersion(installed, oldVersion);
    ParseVersion(WY_PRODUCT_VERSION, newVersion);
    return oldVersion.first > newVersion.first ||
           (oldVersion.first == newVersion.first && oldVersion.second > newVersion.second);
}

// With four numbers the third one plays no part, and that is meant so: 3.1.0.2000 counts as build
// 2000 of 3.1. Any other count than three or four leaves the words as they are.
void CWyInstaller::ParseVersion(const std::wstring& text, Version& out) {
    constexpr int kDecimal = 10;
    constexpr unsigned kWordBits = 16;
    std::vector<std::wstring> tokens;
    KrCommon::String::Split(tokens, text, L".", false);
    // What is blank between two points, or behind the last one, is no number of its own.
    std::erase(tokens, std::wstring());
    if (tokens.size() != 3 && tokens.size() != 4)
        return;
    const auto number = [&tokens](std::size_t i) {
        return static_cast<std::uint32_t>(std::wcstol(tokens[i].c_str(), nullptr, kDecimal));
    };
    out.first = number(0) << kWordBits | number(1);
    out.second = number(tokens.size() - 1);
}

std::uint32_t CWyInstaller::BackupInstallFolder() {
    m_strBackupDir = BackupFolderOf(m_strInstallDir);
    bool rebootNeeded = false;
    const std::uint32_t deleted = DeployCommon::DeleteFolder(m_strBackupDir, rebootNeeded);
    if (Result::Failed(deleted))
        return deleted;
    if (_wrename(m_strInstallDir.c_str(), m_strBackupDir.c_str()) != 0) {
        const int error = errno;
        WY_LOG_ERROR << L"_wrename failed... error code(C Style Error Code): "
                     << WyHex{static_cast<std::uint32_t>(error)} << L"Old name: " << m_strInstallDir
                     << L", New name: " << m_strBackupDir;
        SetInstallStatus(InstallStatus::kBackupFailed);
        return Result::kFolderNotRenamed;
    }
    return Result::kSuccess;
}

std::uint32_t CWyInstaller::PreCheck() const {
    if (m_bTavrenoxMode) {
        CSystemCheckHelper checks;
        checks.InitCheckFunction();
        const std::uint32_t accepted = checks.CheckAllSystemItems();
        if (Result::Failed(accepted)) {
            WY_LOG_ERROR << L"Check all system items failed... RetCode = " << WyHex{accepted};
            return accepted;
        }
    }
    std::uint32_t error = ERROR_SUCCESS;
    if (!File::CreateDirectories(m_strInstallDir, &error)) {
        WY_LOG_ERROR << L"Check file install path failed... ErrorCode=" << WyHex{error};
        return Refused(error);
    }
    return CheckInstallKey();
}

std::uint32_t CWyInstaller::CheckInstallKey() const {
    const std::wstring key = Utility::GetProductRegistryKey();
    const std::uint32_t view = Reg::ProductView();
    std::uint32_t error = ERROR_SUCCESS;
    if (Reg::CreateKeyWithAllAccess(HKEY_LOCAL_MACHINE, key, view, &error))
        return Result::kSuccess;
    // A key that refuses is given up with all that it holds, for one more attempt.
    Utility::RemoveRegistryKeyTree(key, {}, view);
    if (Reg::CreateKeyWithAllAccess(HKEY_LOCAL_MACHINE, key, view, &error))
        return Result::kSuccess;
    WY_LOG_ERROR << L"Check registry install path failed... ErrorCode=" << WyHex{error};
    return Refused(error);
}

std::uint32_t CWyInstaller::RollbackWy() {
    if (!m_bReinstall) {
        SetInstallStatus(InstallStatus::kInProgress);
        return Result::kSuccess;
    }
    if (!DeployCommon::ExitAllExec({})) {
        WY_LOG_ERROR << L"Terminate exe failed...";
        SetInstallStatus(InstallStatus::kRollbackFailed);
        return Result::kProcessesNotStopped;
    }
    bool rebootNeeded = false;
    const std::uint32_t deleted = DeployCommon::DeleteFolder(m_strInstallDir, rebootNeeded);
    if (Result::Failed(deleted)) {
        SetInstallStatus(InstallStatus::kRollbackFailed);
        return deleted;
    }
    const int renamed = _wrename(m_strBackupDir.c_str(), m_strInstallDir.c_str());
    if (renamed != 0) {
        WY_LOG_ERROR << L"_wrename failed... error code: "
                     << WyHex{static_cast<std::uint32_t>(renamed)} << L"Old name: "
                     << m_strBackupDir << L", New name: " << m_strInstallDir;
        SetInstallStatus(InstallStatus::kRollbackFailed);
        return Result::kFolderNotRenamed;
    }
    const std::uint32_t started = StartWy(StartMode::kAfterRollback);
    SetInstallStatus(Result::Failed(started) ? InstallStatus::kRollbackFailed
                                             : InstallStatus::kRolledBack);
    return started;
}

void CWyInstaller::SetInstallStatus(InstallStatus status) {
    std::uint32_t error = ERROR_SUCCESS;
    if (!Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, Utility::GetProductRegistryKey(),
                                      L"InstallStatus", static_cast<std::uint32_t>(status),
                                      Reg::ProductView(), &error))
        WY_LOG_ERROR << L"KrCommon::Storage::Reg::StoreValueWithAllAccess failed... "
                     << WyHex{error};
}

}  // namespace WyDeployHelper::SetupHelper
