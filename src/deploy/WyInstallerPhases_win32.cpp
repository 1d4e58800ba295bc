// The two phases that bring the product to the machine and to life.

#include <array>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Process.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Events.h"
#include "deploy/DeployCommon_Folders.h"
#include "deploy/DeployCommon_Identity.h"
#include "deploy/DeployCommon_Processes.h"
#include "deploy/DeployCommon_Startups.h"
#include "deploy/SetupConfig.h"
#include "deploy/WyDeployer.h"
#include "deploy/WyInstaller.h"
#include "lib/wycommon/WyCommon_Folders.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_Watchdog.h"
#include "utilMode/FrwkMode.h"

#include <objbase.h>
#include <rpc.h>

namespace WyDeployHelper::SetupHelper {

namespace {

namespace File = KrCommon::Storage::File;
namespace OsVersion = KrCommon::OsVersion;
namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "WyInstaller";
constexpr wchar_t kLogModule[] = L"WyDeployHelper";

constexpr std::uint32_t kServiceSession = 0;

// What of the runtime the package brings along for the whole system. It is linked into this build,
// so that nothing is left to copy; the step keeps its place and its code.
constexpr std::array<const wchar_t*, 0> kRuntimeFiles{};

std::uint32_t Fail(const wchar_t* what, std::uint32_t result) {
    WY_LOG_ERROR << what;
    return result;
}

std::uint32_t FailWith(const wchar_t* what, std::uint32_t result) {
    WY_LOG_ERROR << what << WyHex{result};
    return result;
}

std::wstring Below(std::wstring folder, std::initializer_list<const wchar_t*> parts) {
    for (const wchar_t* part : parts)
        folder = Utility::JoinPath(std::move(folder), part);
    return folder;
}

// The tree of a package that belongs to this system.
const wchar_t* SystemTree() {
    return OsVersion::Is64Bit() ? L"x64" : L"win32";
}

void StoreIdentity(const wchar_t* name, const std::wstring& value) {
    Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, Utility::GetProductRegistryKey(), name, value,
                                 Reg::ProductView(), nullptr);
}

// Empty when the system has none to give.
std::wstring MakeGuid() {
    UUID guid = {};
    RPC_WSTR made = nullptr;
    if (FAILED(CoCreateGuid(&guid)) || UuidToStringW(&guid, &made) != RPC_S_OK)
        return {};
    std::wstring text;
    try {
        text = reinterpret_cast<const wchar_t*>(made);
    } catch (...) {
        RpcStringFreeW(&made);
        throw;
    }
    RpcStringFreeW(&made);
    return text;
}

// A re-install stays the installation that it was.
void EnsureWinGuid(bool isReinstall) {
    if (isReinstall && !Utility::GetWinGuid().empty())
        return;
    const std::wstring guid = MakeGuid();
    if (guid.empty() || !DeployCommon::SetWinGuid(guid))
        WY_LOG_ERROR << L"Generate GUID failed...";
}

}  // namespace

bool CWyInstaller::InstallVcrt(const std::wstring& packageDir) {
    const std::wstring source = Below(packageDir, {L"common", L"foundation", L"win32"});
    for (const wchar_t* name : kRuntimeFiles) {
        WY_LOG_INFO << L"KrCommon::Storage::File::CopyFile: " << name;
        if (!File::CopyFile(source, name, Utility::GetHostModuleFolder(), false)) {
            WY_LOG_ERROR << L"KrCommon::Storage::File::CopyFile failed...";
            return false;
        }
    }
    return true;
}

std::uint32_t CWyInstaller::Install() {
    const bool deployRegistry = !(m_bReinstall && g_SetupConfig.GetUpdateRegistry() == L"0");
    return Install(m_strInstallDir, m_strPackageDir, m_bReinstall, m_strProductId, m_strVendorId,
                   deployRegistry);
}

std::uint32_t CWyInstaller::Install(const std::wstring& installDir, const std::wstring& packageDir,
                                    bool isReinstall, const std::wstring& productId,
                                    const std::wstring& vendorId, bool deployRegistry) {
    WY_LOG_INFO << L"Frwk::Mode::GetWyvarionId()= " << Frwk::Mode::GetWyvarionId()
                << L"WY_REG_ROOT = " << Utility::GetProductRegistryKey();
    DeployCommon::CWyDeployer deployer;
    deployer.deployRegistry = deployRegistry;
    if (!deployer.ParseConfig(Below(packageDir, {SystemTree(), L"foundation"}),
                              Below(packageDir, {L"InstCfg.xml"})))
        return Fail(L"Parse InstCfg.xml file failed...", Result::kPackageNotRead);
    if (!deployer.Deploy(packageDir, installDir))
        return Fail(L"Deploy registry or file failed...", Result::kManifestNotCarriedOut);
    const std::uint32_t tools = InstallExternalTools(packageDir, isReinstall);
    if (Result::Failed(tools))
        return Fail(L"Install external tools failed...", tools);
    DeployCommon::SetId(productId, vendorId);
    StoreIdentity(L"ProductGuid", DeployCommon::WY_PRODUCT_GUID);
    StoreIdentity(L"SourceDir", packageDir);
    StoreIdentity(L"ProductPath", installDir);
    EnsureWinGuid(isReinstall);
    return Result::kSuccess;
}

std::uint32_t CWyInstaller::InstallExternalTools(const std::wstring& packageDir, bool isReinstall) {
    const std::wstring target = Utility::GetExternalFolder(isReinstall);
    for (const wchar_t* tree : {SystemTree(), L"common"}) {
        const std::wstring source = Below(packageDir, {tree, L"product", L"External"});
        if (File::Exists(source, nullptr) && !Utility::CopyDirectory(source, target, false))
            return Fail(L"Copy folder failed...", Result::kFailure);
    }
    if (!isReinstall)
        return Result::kSuccess;
    const std::uint32_t queued =
        Utility::MoveAllFilesAfterReboot(target, Utility::GetExternalFolder(false));
    if (Result::Failed(queued))
        return Fail(L"WyCommon::Utility::MoveAllFilesAfterReboot failed...", queued);
    return Result::kSuccess;
}

std::uint32_t CWyInstaller::PostInstall(int startMode) {
    const std::uint32_t started = StartWy(startMode);
    if (Result::Failed(started))
        return started;
    const std::wstring oldVersion = Utility::GetProductVersion();
    if (!DeployCommon::UpdateWyVersionInfo(WY_PRODUCT_VERSION, m_bTavrenoxMode))
        WY_LOG_ERROR << L"Update WY version info failed...";
    if (!DeployCommon::UpdateAu7eVersion(WY_PRODUCT_VERSION))
        WY_LOG_ERROR << L"Update the version info in AU7E failed...";
    const std::uint32_t told = DeployCommon::PublishEvent(DeployCommon::SetupEvent::kInstalled);
    if (Result::Failed(told))
        return FailWith(L"WyPublishEvent failed... RetCode = ", told);
    if (m_bTavrenoxMode)
        PublishUsage(oldVersion);
    if (m_bReinstall) {
        // Where this object made no backup its folder has no name: an error line and no more, and
        // the folder stays until the next re-install deletes it. That is meant so.
        bool rebootNeeded = false;
        DeployCommon::DeleteFolder(m_strBackupDir, rebootNeeded);
    }
    SetInstallStatus(InstallStatus::kComplete);
    return told;
}

void CWyInstaller::PublishUsage(const std::wstring& oldVersion) const {
    const auto publishVersion = [](const std::wstring& version, int change) {
        DeployCommon::PublishUsageEvent(L"versionUsage", L"VersionUsage", version, change);
    };
    if (!m_bReinstall)
        DeployCommon::PublishUsageEvent(L"freshInstall", L"FreshInstall", {}, 0);
    publishVersion(WY_PRODUCT_VERSION, 1);
    if (m_bReinstall)
        publishVersion(oldVersion, -1);
}

std::uint32_t CWyInstaller::StartWy(int startMode) const {
    const std::uint32_t entered = DeployCommon::InstallWyStartups(m_strInstallDir, m_bTavrenoxMode);
    if (m_bTavrenoxMode)
        DeployCommon::SetWorkingId(Frwk::Mode::GetWyvarionId());
    if (Result::Failed(entered))
        return FailWith(L"WyDeployHelper::DeployCommon::InstallWyStartups failed... RetCode = ",
                        entered);
    const std::uint32_t started = Utility::StartServiceByName(Utility::HostServiceName());
    if (Result::Failed(started))
        return FailWith(L"Start service failed, error = ", started);
    const std::uint32_t agent =
        DeployCommon::StartWySessionAgent(m_strInstallDir, startMode, IsRunningInSystemSession());
    if (Result::Failed(agent))
        return FailWith(L"WyDeployHelper::DeployCommon::StartWySessionAgent failed... RetCode = ",
                        agent);
    return agent;
}

bool CWyInstaller::IsRunningInSystemSession() {
    std::uint32_t session = 0;
    std::uint32_t error = ERROR_SUCCESS;
    if (!KrCommon::Process::GetProcessSessionId(GetCurrentProcessId(), &session, &error)) {
        WY_LOG_WARN << L"KrCommon::Process::GetProcessSessionId failed... Error: " << WyHex{error};
        return false;
    }
    // Before Windows Vista services and the first user share session 0.
    if (session != kServiceSession || !OsVersion::Is(OsVersion::Condition::kNt60OrLater))
        return false;
    WY_LOG_DEBUG << L"Running in system session...";
    return true;
}

}  // namespace WyDeployHelper::SetupHelper
