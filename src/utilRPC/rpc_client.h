#pragma once

// One envelope becomes one remote call.

#include <cstdint>
#include <string>

#include "Framework/utilIPC/ipc_base.h"

// Address and protocol sequence of a binding.
class CRPCClientParameter : public CIPCParameter {
public:
    CRPCClientParameter(std::wstring address, std::wstring protocol)
        : m_strAddress(std::move(address)), m_strProtocol(std::move(protocol)) {}

    const std::wstring& GetAddress() const { return m_strAddress; }
    const std::wstring& GetProtocol() const { return m_strProtocol; }

private:
    std::wstring m_strAddress;
    std::wstring m_strProtocol;
};

// A binding to one endpoint of the interface (RpcStringBindingComposeW,
// RpcBindingFromStringBindingW, RpcBindingSetAuthInfoW). The statuses of these calls are not
// examined: a bad binding shows at the first SendRequest.
class CRPCClient : public CIPCBaseClient {
public:
    CRPCClient() = default;
    ~CRPCClient() override;

    // The parameter must be a CRPCClientParameter.
    void Create(const CComponentID& component, const CIPCParameter& parameter) override;
    void Destroy() override;
    // One attempt, without a time limit. A request of zero length makes no call. Raises
    // OS::CException with the code of whatever structured exception the call raised.
    void SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out, std::uint32_t timeout) override;

    // Reads the identity that selects the interface; called once, at load.
    static void ReadMode();
    static int GetMode() { return m_eWyMode; }

private:
    CRPCClientParameter m_Parameter{std::wstring(), std::wstring()};
    wchar_t* m_pszStringBinding = nullptr;  // owned by the RPC runtime
    void* m_hBinding = nullptr;             // RPC_BINDING_HANDLE

    static int m_eWyMode;
};

// A client for exactly one request over the local protocol. Nothing escapes from it: a failure
// becomes a failure envelope in `out`.
class CRPCClientHelper {
public:
    static constexpr std::uint32_t kTimeout = 30;

    explicit CRPCClientHelper(const CComponentID& component);
    CRPCClientHelper(const CRPCClientHelper&) = delete;
    CRPCClientHelper& operator=(const CRPCClientHelper&) = delete;
    virtual ~CRPCClientHelper();

    // Appends the answer, or the integer 2, the error code and its text.
    void SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out);

private:
    CRPCClient m_Client;
};
