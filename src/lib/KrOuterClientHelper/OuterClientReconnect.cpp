#include "lib/KrOuterClientHelper/OuterClientReconnect.h"

#include "Common/KrCommon/KrComn_Result.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"

std::uint64_t OuterClientReconnect::AskServiceHandle(CKrRpcClientHelper& helper) {
    JsonDocument input;
    input["pid"].SetUInt32(OuterClientPlatform::CurrentProcessId());
    JsonDocument output;
    helper.SendMail2ProductPlugin(MailDestination::kConnectionMonitor,
                                  OuterClientMonitor::kMonitorMail, input, output, false);
    return output["handle"].AsUInt64();
}

bool OuterClientReconnect::TryOnce(CKrRpcClientHelper& helper) {
    CKrRpcClientHelper::m_bRegistered = false;
    helper.UninitProduct();
    helper.InitProduct(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString);
    const std::uint32_t code = helper.RegisterProcess(helper.m_strProcessName.c_str(),
                                                      CKrRpcClientHelper::g_fnCallback.load());
    return KrCommon::Result::Succeeded(code);
}
