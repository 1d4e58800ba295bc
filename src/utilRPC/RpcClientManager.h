#pragma once

// The one object through which the library talks to the service: it wraps and sends commands,
// owns the callback server, and ties asynchronous results to their callbacks.

#include <atomic>
#include <cstdint>
#include <string>

#include "Framework/utilIPC/ipc_request_dispatcher.h"
#include "utilRPC/RpcMessages.h"
#include "utilRPC/RpcTrackingTable.h"
#include "utilRPC/rpc_server.h"

// One per process, held in g_pRpcClientManager; the static operations act on that one. Commands
// may be sent by any number of threads at the same time.
class CRpcClientManager : public CIPCServerRequestCallback {
public:
    // A non-null `pPluginOrg` suppresses sending. `uiTimeout` goes to the callback server.
    // Opens the callback endpoint; a failure to do so is logged and shows at the first delivery.
    CRpcClientManager(void* pPluginOrg, std::uint32_t uiTimeout);
    // Waits for running deliveries.
    ~CRpcClientManager() override;

    // 0xe0ff0004: no UUID. 0xe0ff0003: the callback server could not be made.
    std::uint32_t StartRPCServer();
    std::uint32_t StopRPCServer();

    // Writes a new UUID in lower-case text form (36 characters and a terminator) into `dst` of
    // `len` characters (CoCreateGuid, UuidToStringA). 0xe0ff0007: null. 0xe0ff0004: no UUID, or
    // no room.
    static std::uint32_t CreateUUID(char* dst, std::uint32_t len);

    // Sends one command and decodes the synchronous reply into `result`, whose `pReport` the
    // caller releases. With a callback, asynchronous results of the same tracking id are delivered
    // to it until EraseTrackingID; a send that fails leaves no record behind.
    static std::uint32_t ExecuteCommand(CommandContext* context, TrackingCallback callback,
                                        CommandResult* result);
    // Tells the service to give up a context.
    static std::uint32_t DestroyContext(const CommandClient* client);
    // Marks a tracking record and removes it when no delivery runs.
    static std::uint32_t EraseTrackingID(const char* szTrackingID);
    static std::uint32_t DestroyReport(RpcDataHandle* report);

    // Sends one message and returns the result code of its reply: 0xe001.... for a failure
    // envelope, 0xe0ff0009 for an empty or malformed reply, 0xe0ff0001 for one without a code.
    static std::uint32_t SendRequestWithData(std::uint32_t uiMsgId,
                                             const CRpcDataHandleWrapper& request,
                                             CRpcDataHandleWrapper& reply, void* pPluginOrg);
    // The same with the id of "destroy context" and a reply that is dropped.
    static std::uint32_t SendRequest(const CRpcDataHandleWrapper& request, void* pPluginOrg);

    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override;
    void operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override;
    void FreeMsgID(std::uint32_t* ids) override;

    // The process's callback identity: a UUID, and the name of the callback endpoint.
    const char* GetClientSessionKey() const { return m_szClientSessionKey; }

private:
    std::uint32_t SendCommand(const CommandContext& context, CommandResult& result) const;
    void CommandResultProcess(const CRpcDataHandleWrapper& message, CIPCMsgBuffer& out);
    static void ReplyResult(const CommandResult& reply, CIPCMsgBuffer& out);

    CRpcTrackingTable m_Tracking;
    char m_szClientSessionKey[38] = {};
    void* m_pPluginOrg;
    std::uint32_t m_uiTimeout;
    CRPCServerHelper* m_pServerHelper = nullptr;
    bool m_bIdRefused = false;  // the dispatcher asked for the id and got none
};

// Written by the product client helper alone; null when there is no manager.
extern std::atomic<CRpcClientManager*> g_pRpcClientManager;

// The component name of the service of this process's product identity:
// "KR_" + product id + "_RPC_MASTER".
std::wstring ServiceComponentName();
