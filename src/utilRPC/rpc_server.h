#pragma once

// The one RPC server of the process, shared by reference count.

#include <cstdint>
#include <string>

#include "Framework/utilIPC/ipc_base.h"

class CRPCServerParameter : public CIPCParameter {
public:
    explicit CRPCServerParameter(std::wstring protocol) : m_strProtocol(std::move(protocol)) {}
    const std::wstring& GetProtocol() const { return m_strProtocol; }

private:
    std::wstring m_strProtocol;
};

// An interface registered with the RPC runtime, and its endpoints (RpcServerRegisterIfEx,
// RpcServerUseProtseqEpW, RpcServerRegisterAuthInfoW). Endpoints stay open until the process
// ends, since the platform has no call to close one.
class CRPCServer : public CIPCBaseServer {
public:
    CRPCServer();
    ~CRPCServer() override;

    // The parameter must be a CRPCServerParameter. Returns the status of the registration of the
    // authentication service; the other statuses are not examined.
    std::uint32_t Create(const CComponentID& component, const CIPCParameter& parameter) override;
    // Nothing to do: the interface listens from its registration on.
    void Start() override {}
    // Takes the interface back and waits for running calls. `timeout` plays no part.
    void Shutdown(std::uint32_t timeout) override;

    // Opens one more endpoint under the server's protocol.
    void AddNewEndpoint(const CComponentID& component);

    const CComponentID& GetComponent() const { return m_ComponentID; }
    const std::wstring& GetProtocol() const { return m_Parameter.GetProtocol(); }

    static void ReadMode();
    static int GetMode() { return m_eWyMode; }

private:
    CComponentID m_ComponentID;
    CRPCServerParameter m_Parameter;

    static int m_eWyMode;
};

// Takes one reference on the process's server, which the first call makes. A second component
// adds an endpoint; the same component with another protocol gives null, as does a failure.
CRPCServer* CreateServer(const CComponentID& component, const CRPCServerParameter& parameter);

// The process's server, or null. Valid inside a call that the RPC runtime makes into it.
CRPCServer* DefaultServer();

// Gives one reference back; the last one shuts the server down and waits for running calls.
void DestroyServer(CRPCServer* server, std::uint32_t timeout);

// One endpoint on the shared server for the length of a scope. Nothing escapes from it; without a
// server the handler operations do nothing.
class CRPCServerHelper {
public:
    CRPCServerHelper(const CComponentID& component, std::uint32_t timeout,
                     const CRPCServerParameter& parameter);
    CRPCServerHelper(const CRPCServerHelper&) = delete;
    CRPCServerHelper& operator=(const CRPCServerHelper&) = delete;
    virtual ~CRPCServerHelper();

    void RegisterHandler(CIPCServerRequestCallback* handler);
    void UnRegisterHandler(CIPCServerRequestCallback* handler);

private:
    std::uint32_t m_uiTimeout;
    CRPCServer* m_pServer = nullptr;
};
