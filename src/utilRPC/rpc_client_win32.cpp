#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_mode.h"

#include <rpc.h>

#include <cstdlib>

namespace {

constexpr const char* kLogSource = "rpc_client";
constexpr const wchar_t* kLogModule = L"utilRPC";
constexpr const wchar_t* kThrowSource = L"rpc_client";
// The line under which a failed call is known.
constexpr std::uint32_t kSendRequestLine = 105;
constexpr int kModeWithoutInterface = 2;

RPC_WSTR RpcText(const std::wstring& text) {
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text.c_str()));
}

}  // namespace

void CRPCClient::Create(const CComponentID& component, const CIPCParameter& parameter) {
    m_Parameter = static_cast<const CRPCClientParameter&>(parameter);
    const std::wstring& protocol = m_Parameter.GetProtocol();
    WY_LOG_INFO << L"component id:" << component.GetName() << L" address: "
                << m_Parameter.GetAddress() << L", protocol:" << protocol;
    if (m_eWyMode == kModeWithoutInterface) {
        throw OS::CException(RPC_S_UNKNOWN_IF, kThrowSource, __LINE__);
    }
    const std::wstring endpoint = RpcProtocol::FormEndpoint(component, protocol);
    WY_LOG_INFO << L"GetEndpoint(), endpoint:" << endpoint;
    const bool pipe = RpcProtocol::Equal(protocol, RpcProtocol::kNamedPipe);

    // From here on nothing raises: the one who is left without a client cannot destroy it.
    RPC_WSTR text = nullptr;
    RpcStringBindingComposeW(nullptr, RpcText(protocol), RpcText(m_Parameter.GetAddress()),
                             RpcText(endpoint), nullptr, &text);
    m_pszStringBinding = reinterpret_cast<wchar_t*>(text);
    WY_LOG_INFO << L"binding string: " << m_pszStringBinding;
    // Without a text or a binding the first request fails: the runtime faults on either as null.
    if (text != nullptr)
        RpcBindingFromStringBindingW(text, &m_hBinding);
    WY_LOG_INFO << L"register with SSP ";
    if (m_hBinding == nullptr)
        return;
    RpcBindingSetAuthInfoW(m_hBinding, nullptr,
                           pipe ? RPC_C_AUTHN_LEVEL_PKT_PRIVACY : RPC_C_AUTHN_LEVEL_NONE,
                           RPC_C_AUTHN_WINNT, nullptr, RPC_C_AUTHZ_NONE);
}

void CRPCClient::Destroy() {
    WY_LOG_INFO << L"CRPCClient::Destroy";
    if (m_pszStringBinding != nullptr) {
        auto text = reinterpret_cast<RPC_WSTR>(m_pszStringBinding);
        RpcStringFreeW(&text);
        m_pszStringBinding = nullptr;
    }
    if (m_hBinding != nullptr) {
        RpcBindingFree(&m_hBinding);
        m_hBinding = nullptr;
    }
    WY_LOG_INFO << L"CRPCClient::Destroy";
}

void CRPCClient::SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out, std::uint32_t) {
    const auto size = static_cast<std::int32_t>(in.GetLength());
    if (size < 1) {
        OutputDebugStringW(L"CRPCClient::SendRequest(), lInSize is zero");
        return;
    }
    const IdlClientHelper::Reply reply =
        IdlClientHelper::SendRequest(m_eWyMode, m_hBinding, in.GetData(), size);
    if (reply.uiException != 0) {
        throw OS::CException(reply.uiException, kThrowSource, kSendRequestLine);
    }
    if (reply.pBytes == nullptr)
        return;
    if (reply.lSize >= 1)
        out.WriteBytes(reply.pBytes, static_cast<std::uint32_t>(reply.lSize));
    std::free(reply.pBytes);
}
