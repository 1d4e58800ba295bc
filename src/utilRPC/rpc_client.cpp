#include "utilRPC/rpc_client.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_mode.h"

namespace {

constexpr const char* kLogSource = "rpc_client";
constexpr const wchar_t* kLogModule = L"utilRPC";

}  // namespace

int CRPCClient::m_eWyMode = RpcMode::kFirst;

void CRPCClient::ReadMode() {
    m_eWyMode = RpcMode::ReadFromFramework(kLogSource);
}

CRPCClient::~CRPCClient() = default;

CRPCClientHelper::CRPCClientHelper(const CComponentID& component) {
    try {
        m_Client.Create(component, CRPCClientParameter(L"", RpcProtocol::kLocal));
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"CRPCClientHelper::CRPCClientHelper()," << error.GetFullMessage();
    }
}

CRPCClientHelper::~CRPCClientHelper() {
    try {
        m_Client.Destroy();
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"CRPCClientHelper::~CRPCClientHelper()," << error.GetFullMessage();
    }
}

void CRPCClientHelper::SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
    try {
        m_Client.SendRequest(in, out, kTimeout);
    } catch (const OS::CException& error) {
        out << IPC_REPLY_FAILURE << error.GetCode() << error.GetMessage();
        WY_LOG_ERROR << L"CRPCClientHelper::SendRequest()," << error.GetFullMessage();
    }
}
