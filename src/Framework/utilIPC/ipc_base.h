#pragma once

// The abstract transport: parameters, client and server.

#include <cstdint>

#include "Framework/utilIPC/ipc_component_id.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "Framework/utilIPC/ipc_request_dispatcher.h"

// What a concrete transport needs to know beside the component.
class CIPCParameter {
public:
    CIPCParameter() = default;
    CIPCParameter(const CIPCParameter&) = default;
    CIPCParameter& operator=(const CIPCParameter&) = default;
    virtual ~CIPCParameter() = default;
};

// One connection to a component. Raises OS::CException.
class CIPCBaseClient {
public:
    CIPCBaseClient() = default;
    CIPCBaseClient(const CIPCBaseClient&) = delete;
    CIPCBaseClient& operator=(const CIPCBaseClient&) = delete;

    virtual void Create(const CComponentID& component, const CIPCParameter& parameter) = 0;
    virtual void Destroy() = 0;
    // Sends `in` and appends the answer to `out`. `timeout` is part of the interface and honoured
    // by no transport of this library.
    virtual void SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out, std::uint32_t timeout) = 0;
    virtual ~CIPCBaseClient() = default;
};

// A server that feeds its dispatcher. Raises OS::CException.
class CIPCBaseServer : public CIPCRequestDispatcher {
public:
    virtual std::uint32_t Create(const CComponentID& component, const CIPCParameter& parameter) = 0;
    virtual void Start() = 0;
    virtual void Shutdown(std::uint32_t timeout) = 0;
    virtual ~CIPCBaseServer() = default;
};
