#include "lib/KrOuterClientHelper/OuterClientReconnect.h"

#include "Common/KrCommon/KrComn_Result.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"

std::uint64_t OuterClientReconnect::AskServiceHandle() {
    JsonDocument input;
    input["pid"].SetUInt32(OuterClientPlatform::CurrentProcessId());
    JsonDocument output;
    m_Helper.SendMail2ProductPlugin(MailDestination::kConnectionMonitor,
                                    OuterClientMonitor::kMonitorMail, input, output, false);
    return output["handle"].AsUInt64();
}

bool OuterClientReconnect::TryReconnect() {
    CKrRpcClientHelper::m_bRegistered = false;
    m_Helper.UninitProduct();
    m_Helper.InitProduct(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString);
    const std::uint32_t code = m_Helper.RegisterProcess(m_Helper.m_strProcessName.c_str(),
                                                        CKrRpcClientHelper::g_fnCallback.load());
    return KrCommon::Result::Succeeded(code);
}
