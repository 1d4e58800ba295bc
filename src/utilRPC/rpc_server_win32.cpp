#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/IdlInterface.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_server.h"
#include "utilRPC/rpc_server_callback.h"

#include <rpc.h>

namespace {

constexpr const char* kLogSource = "rpc_server";
constexpr const wchar_t* kLogModule = L"utilRPC";
constexpr unsigned int kMaxInterfaceCalls = 1234;
constexpr unsigned int kMaxEndpointCalls = 10;
constexpr int kModeWithoutInterface = 2;
constexpr long kAccessDenied = ERROR_ACCESS_DENIED;

RPC_WSTR RpcText(const std::wstring& text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text.c_str()));
}

}  // namespace

std::uint32_t CRPCServer::Create(const CComponentID& component, const CIPCParameter& parameter) {
    m_ComponentID = component;
    m_Parameter = static_cast<const CRPCServerParameter&>(parameter);
    WY_LOG_INFO << L"component id:" << component.GetName() << L", protocol: " << GetProtocol();
    if (m_eWyMode == kModeWithoutInterface) {
        throw OS::CException(RPC_S_UNKNOWN_IF, L"rpc_server", __LINE__);
    }
    const bool local = RpcProtocol::Equal(GetProtocol(), RpcProtocol::kLocal);
    WY_LOG_INFO << (local ? L"security Level: Local RPC Server"
                          : L"security Level: Remote RPC Server");
    RpcServerRegisterIfEx(IdlInterface::OfMode(m_eWyMode), nullptr, nullptr, RPC_IF_AUTOLISTEN,
                          kMaxInterfaceCalls, local ? nullptr : RpcServerIfCallback);
    AddNewEndpoint(component);
    return static_cast<std::uint32_t>(
        RpcServerRegisterAuthInfoW(nullptr, RPC_C_AUTHN_WINNT, nullptr, nullptr));
}

void CRPCServer::AddNewEndpoint(const CComponentID& component) {
    const std::wstring endpoint = RpcProtocol::FormEndpoint(component, GetProtocol());
    WY_LOG_INFO << L"AddNewEndpoint(), endpoint: " << endpoint;
    const RPC_STATUS status = RpcServerUseProtseqEpW(RpcText(GetProtocol()), kMaxEndpointCalls,
                                                     RpcText(endpoint), nullptr);
    if (status == RPC_S_DUPLICATE_ENDPOINT)
        WY_LOG_WARN << L"AddNewEndpoint(), duplicate endpoint";
}

void CRPCServer::Shutdown(std::uint32_t) {
    WY_LOG_INFO << L"CRPCServer::Shutdown";
    RpcServerUnregisterIf(IdlInterface::OfMode(m_eWyMode), nullptr, 1);
}

long __stdcall RpcServerIfCallback(void*, void* binding) {
    WY_LOG_INFO << L"CRPCServer::RpcServerIfCallback";
    RPC_AUTHZ_HANDLE privileges = nullptr;
    unsigned long level = 0;
    unsigned long service = 0;
    RPC_STATUS status =
        RpcBindingInqAuthClientW(binding, &privileges, nullptr, &level, &service, nullptr);
    if (status != RPC_S_OK) {
        WY_LOG_WARN << L"Failed on RpcBindingInqAuthClient()" << status;
        return kAccessDenied;
    }
    WY_LOG_INFO << L"ulAuthnLevel:" << level;
    if (level != RPC_C_AUTHN_LEVEL_PKT_PRIVACY)
        return kAccessDenied;
    status = RpcImpersonateClient(binding);
    if (status != RPC_S_OK) {
        WY_LOG_WARN << L"Failed on RpcImpersonateClient(), " << kAccessDenied;
        return kAccessDenied;
    }
    RpcRevertToSelf();
    return RPC_S_OK;
}
