#include "deploy/DeployCommon_Events.h"

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace Result = KrCommon::Result;

constexpr std::uint32_t kComponentNumber = 1033;
constexpr std::uint32_t kDestination = 5;
constexpr std::uint32_t kPublish = 6146;
constexpr std::uint32_t kUsageEvent = 112;

// The RPC runtime's code for a service that is not there (RPC_S_SERVER_UNAVAILABLE).
constexpr std::uint32_t kServerUnavailable = 1722;
constexpr std::uint32_t kNoMemory = Result::FromSystem(KrCommon::ErrorCode::kNotEnoughMemory);

// The set-up knows a service that is not there by the code of a failed call of the system, and not
// by the transport's own.
std::uint32_t Send(const JsonDocument& event) {
    JsonDocument output;
    CKrRpcClientHelper helper(kComponentNumber, ProductIdentity::kProductIdString, 0, false,
                              ProductIdentity::kTimeout);
    const std::uint32_t result =
        helper.SendMail2ProductPlugin(kDestination, kPublish, event, output, false);
    return result == Result::FromRemote(kServerUnavailable) ? Result::FromSystem(kServerUnavailable)
                                                            : result;
}

}  // namespace

std::uint32_t PublishEvent(std::uint32_t eventId) noexcept try {
    JsonDocument event;
    event[L"eventId"].SetUInt32(eventId);
    return Send(event);
} catch (...) {
    return kNoMemory;
}

bool PublishUsageEvent(const std::wstring& category, const std::wstring& ec, const std::wstring& ea,
                       int ev) noexcept try {
    JsonDocument event;
    event[L"eventId"].SetUInt32(kUsageEvent);
    event[L"category"].SetString(category);
    JsonDocument param = event[L"param"];
    param[L"ec"].SetString(ec);
    param[L"ea"].SetString(ea);
    param[L"ev"].SetString(std::to_wstring(ev));
    return Result::Succeeded(Send(event));
} catch (...) {
    return false;
}

}  // namespace WyDeployHelper::DeployCommon
