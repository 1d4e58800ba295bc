// The export that deploys a downloaded update.

#include <WySdk/WySdk.h>

#include <string>

#include "WySdk/ApiCall.h"
#include "WySdk/AuFeedback.h"
#include "WySdk/UpdateDeploy.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyDebugLog.h"

uint32_t WYAPI WyAuDeploy(const wchar_t* downloadPath) {
    constexpr const wchar_t* kName = L"WyAuDeploy";
    std::wstring productPath;
    uint32_t result = Guarded(kName, [&] {
        productPath = WyCommon::Utility::GetProductPath();
        return KrCommon::Result::kSuccess;
    });
    const WyDebugLog log(L"WySdk", productPath, {});
    if (KrCommon::Result::Succeeded(result))
        result = Guarded(kName, [&] { return UpdateDeploy::Deploy(downloadPath, productPath); });
    FeedbackAuError(result);
    return result;
}
