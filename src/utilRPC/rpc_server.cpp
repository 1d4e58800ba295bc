#include "utilRPC/rpc_server.h"

#include <atomic>
#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Synchronize.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_mode.h"

using KrCommon::Synchronize::CriticalSection;
using KrCommon::Synchronize::SingleLock;

namespace {

constexpr const char* kLogSource = "rpc_server";
constexpr const wchar_t* kLogModule = L"utilRPC";

// Read by calls of the RPC runtime without the lock; the server goes only after the last of them.
std::atomic<CRPCServer*> s_pDefaultServer{nullptr};
std::int32_t s_iServerRefCount = 0;
CriticalSection s_ServerLock;

CRPCServer* MakeDefaultServer(const CComponentID& component, const CRPCServerParameter& parameter) {
    std::unique_ptr<CRPCServer> server(new (std::nothrow) CRPCServer);
    if (server == nullptr) {
        WY_LOG_ERROR << L"CreateServer() fail ";
        return nullptr;
    }
    try {
        server->Create(component, parameter);
    } catch (const OS::CException& error) {
        s_pDefaultServer = nullptr;
        s_iServerRefCount = 0;
        WY_LOG_ERROR << L"CRpcServer::CreateServer() fail, " << error.GetFullMessage();
        return nullptr;
    }
    s_pDefaultServer = server.get();
    s_iServerRefCount = 1;
    return server.release();
}

CRPCServer* ShareSameComponent(CRPCServer* server, const CRPCServerParameter& parameter) {
    if (!RpcProtocol::Equal(parameter.GetProtocol(), server->GetProtocol())) {
        WY_LOG_ERROR << L"CreateServer, ProtocolSequence is inconsistency," << server->GetProtocol()
                     << L"," << parameter.GetProtocol();
        return nullptr;
    }
    ++s_iServerRefCount;
    WY_LOG_INFO << L"CreateServer, return default server: " << static_cast<const void*>(server);
    return server;
}

CRPCServer* ShareOtherComponent(CRPCServer* server, const CComponentID& component) {
    try {
        server->AddNewEndpoint(component);
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"CRpcServer::CreateServer() fail, " << error.GetFullMessage();
        return nullptr;
    }
    ++s_iServerRefCount;
    WY_LOG_INFO << L"CreateServer, Add new endpoint:" << component.GetName()
                << L", and always use protocol:" << server->GetProtocol();
    return server;
}

void ShutDownAndDelete(CRPCServer* server, std::uint32_t timeout) {
    WY_LOG_INFO << L"delete RPC server: " << static_cast<const void*>(server);
    try {
        server->Shutdown(timeout);
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"CRpcServer::DestroyServer() fail, error code: " << WyHex{error.GetCode()}
                     << L", error msg:" << error.GetMessage();
    }
    s_pDefaultServer = nullptr;
    s_iServerRefCount = 0;
    delete server;
}

void LogHelperFailure(const wchar_t* operation, const OS::CException& error) {
    WY_LOG_ERROR << operation << L", error code: " << WyHex{error.GetCode()} << L", error msg:"
                 << error.GetMessage();
}

}  // namespace

int CRPCServer::m_eWyMode = RpcMode::kFirst;

void CRPCServer::ReadMode() {
    m_eWyMode = RpcMode::ReadFromFramework(kLogSource);
}

CRPCServer::CRPCServer() : m_ComponentID(L""), m_Parameter(L"") {}

CRPCServer::~CRPCServer() = default;

CRPCServer* DefaultServer() {
    return s_pDefaultServer;
}

CRPCServer* CreateServer(const CComponentID& component, const CRPCServerParameter& parameter) {
    const SingleLock lock(s_ServerLock);
    CRPCServer* server = s_pDefaultServer;
    if (server == nullptr)
        return MakeDefaultServer(component, parameter);
    if (RpcProtocol::Equal(component.GetName(), server->GetComponent().GetName())) {
        return ShareSameComponent(server, parameter);
    }
    return ShareOtherComponent(server, component);
}

void DestroyServer(CRPCServer* server, std::uint32_t timeout) {
    if (server == nullptr)
        return;
    const SingleLock lock(s_ServerLock);
    if (server != s_pDefaultServer) {
        WY_LOG_WARN << L"unknown RPC server: " << static_cast<const void*>(server);
        delete server;
        return;
    }
    if (--s_iServerRefCount > 0) {
        WY_LOG_INFO << L"delete RPC server: " << static_cast<const void*>(server) << L", count: "
                    << s_iServerRefCount;
        return;
    }
    ShutDownAndDelete(server, timeout);
}

CRPCServerHelper::CRPCServerHelper(const CComponentID& component, std::uint32_t timeout,
                                   const CRPCServerParameter& parameter)
    : m_uiTimeout(timeout) {
    try {
        m_pServer = CreateServer(component, parameter);
    } catch (const OS::CException& error) {
        LogHelperFailure(L"CRPCServerHelper::CRPCServerHelper()", error);
    }
}

CRPCServerHelper::~CRPCServerHelper() {
    try {
        DestroyServer(m_pServer, m_uiTimeout);
    } catch (const OS::CException& error) {
        LogHelperFailure(L"CRPCServerHelper::~CRPCServerHelper()", error);
    }
}

void CRPCServerHelper::RegisterHandler(CIPCServerRequestCallback* handler) {
    try {
        if (m_pServer != nullptr)
            m_pServer->RegisterHandler(handler);
    } catch (const OS::CException& error) {
        LogHelperFailure(L"CRPCServerHelper::RegisterHandler()", error);
    }
}

void CRPCServerHelper::UnRegisterHandler(CIPCServerRequestCallback* handler) {
    try {
        if (m_pServer != nullptr)
            m_pServer->UnRegisterHandler(handler);
    } catch (const OS::CException& error) {
        LogHelperFailure(L"CRPCServerHelper::UnRegisterHandler()", error);
    }
}
