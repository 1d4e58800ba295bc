// The exports that bring the product to a machine and take it away. They work in the calling
// process, without the service.

#include <WySdk/WySdk.h>

#include <boost/thread/mutex.hpp>

#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "WySdk/ApiCall.h"
#include "WySdk/SdkOutput.h"
#include "WySdk/SdkState.h"
#include "deploy/WyInstaller.h"
#include "deploy/WyRemover.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyDebugLog.h"

namespace {

namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;
using WyDeployHelper::RemoveHelper::CWyRemover;
using WyDeployHelper::SetupHelper::CWyInstaller;

constexpr char kLogSource[] = "Exports_Deployment";
constexpr wchar_t kLogModule[] = L"WySdk";

// The first phase, up to and with its rollback. A phase that is cut short by a lack of memory has
// failed like any other.
std::uint32_t RunInstall(const wchar_t* name, CWyInstaller& installer) {
    std::uint32_t result = Guarded(name, [&] { return installer.PreInstall(); });
    if (Result::Succeeded(result)) {
        result = Guarded(name, [&] { return installer.Install(); });
        if (Result::Failed(result))
            WY_LOG_ERROR << L"Install error, now rollback. retCode = " << WyHex{result};
    }
    // What becomes of the rollback stands in the log and in the registry.
    if (Result::Failed(result))
        Guarded(name, [&] { return installer.RollbackWy(); });
    return result;
}

// An empty folder is a text, too.
void GiveFolder(const std::wstring& folder, wchar_t** out) {
    if (out == nullptr)
        return;
    if (folder.empty()) {
        *out = static_cast<wchar_t*>(AllocateOutput(sizeof(wchar_t)));
        if (*out != nullptr)
            **out = L'\0';
    } else {
        *out = AllocateOutputText(folder);
    }
    if (*out == nullptr)
        WY_LOG_ERROR << L"No memory for the name of the install folder...";
}

}  // namespace

uint32_t WYAPI WyInstall(const wchar_t* productId, const wchar_t* vendorId,
                         const wchar_t* packageDir, const wchar_t* installDir,
                         wchar_t** installDirOut) {
    constexpr const wchar_t* kName = L"WyInstall";
    if (installDirOut != nullptr)
        *installDirOut = nullptr;
    if (productId == nullptr || vendorId == nullptr || packageDir == nullptr ||
        installDir == nullptr) {
        WY_LOG_ERROR << L"Invalid param...";
        return Result::kInvalidArgument;
    }
    return Guarded(kName, [&] {
        const WyDebugLog log(L"WySdk", Utility::GetMediaProductFolder(packageDir), {});
        const boost::mutex::scoped_lock lock(g_ApiMutex);
        std::wstring used;
        CWyInstaller installer(productId, vendorId);
        installer.SetDirectory(installDir, packageDir, used);
        const std::uint32_t result = RunInstall(kName, installer);
        GiveFolder(used, installDirOut);
        return result;
    });
}

uint32_t WYAPI WyPostInstall(void) {
    constexpr const wchar_t* kName = L"WyPostInstall";
    return Guarded(kName, [] {
        CWyInstaller installer(Utility::GetProductId(), Utility::GetVendorId());
        std::wstring used;
        installer.SetDirectory(Utility::GetProductPath(), {}, used);
        const std::uint32_t result = Guarded(kName, [&] {
            return installer.PostInstall(WyDeployHelper::SetupHelper::StartMode::kAfterInstall);
        });
        if (Result::Failed(result)) {
            WY_LOG_ERROR << L"Post install error, now rollback. retCode = " << WyHex{result};
            Guarded(kName, [&] { return installer.RollbackWy(); });
        }
        return result;
    });
}

uint32_t WYAPI WyUninstall(void) {
    return Guarded(L"WyUninstall", [] {
        const std::wstring path = Utility::GetProductPathOrModuleFolder();
        const WyDebugLog log(L"WySdk", path, {});
        const boost::mutex::scoped_lock lock(g_ApiMutex);
        CWyRemover remover;
        const std::uint32_t prepared = remover.PreRemove(path);
        return Result::Failed(prepared) ? prepared : remover.Remove();
    });
}
