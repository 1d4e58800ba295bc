#include "utilRPC/RpcClientManager.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_platform.h"

namespace Result = KrCommon::Result;

std::atomic<CRpcClientManager*> g_pRpcClientManager{nullptr};

namespace {

constexpr const char* kLogSource = "RpcClientManager";
constexpr const wchar_t* kLogModule = L"utilRPC";
constexpr std::size_t kEnvelopeRoom = 2048;
constexpr std::uint32_t kSessionKeyLength = RpcMessages::kIdLength + 1;

// The code of a reply envelope; `reply` receives the message of the success form.
std::uint32_t ReadReply(CIPCMsgBuffer& out, CRpcDataHandleWrapper& reply) {
    std::uint32_t code = Result::kFailure;
    try {
        std::uint32_t word = 0;
        out >> word;
        if (word == IPC_REPLY_FAILURE) {
            out >> word;
            return Result::FromRemote(word);
        }
        out >> reply;
        reply.Get(ID_DATA_RESULT_CODE, &code);
    } catch (const CIPCMsgBufferException&) {
        code = Result::kMalformedReply;
    }
    return code;
}

// UUID text is ASCII, so that the UTF-8 conversion is one character for each byte.
std::wstring WidenUuid(const char* text) {
    return {text, text + std::strlen(text)};
}

}  // namespace

std::wstring ServiceComponentName() {
    constexpr std::wstring_view prefix = L"KR_";
    constexpr std::wstring_view suffix = L"_RPC_MASTER";
    const std::wstring id = Frwk::Mode::GetWyvarionId();
    std::wstring name;
    name.reserve(prefix.size() + id.size() + suffix.size());
    name.append(prefix).append(id).append(suffix);
    return name;
}

CRpcClientManager::CRpcClientManager(void* pPluginOrg, std::uint32_t uiTimeout)
    : m_pPluginOrg(pPluginOrg), m_uiTimeout(uiTimeout) {
    WY_LOG_INFO << L"Constructor, PluginOrg : " << static_cast<const void*>(pPluginOrg);
    StartRPCServer();
    if (!m_Tracking.IsValid())
        WY_LOG_ERROR << L"Cannot init lock ";
}

CRpcClientManager::~CRpcClientManager() {
    StopRPCServer();
}

std::uint32_t CRpcClientManager::StartRPCServer() {
    if (CreateUUID(m_szClientSessionKey, kSessionKeyLength) != Result::kSuccess) {
        WY_LOG_ERROR << L"Create UUID Fail!";
        return Result::kNoUuid;
    }
    try {
        const CComponentID component(WidenUuid(m_szClientSessionKey).c_str());
        std::unique_ptr<CRPCServerHelper> server(new (std::nothrow) CRPCServerHelper(
            component, m_uiTimeout, CRPCServerParameter(RpcProtocol::kLocal)));
        if (server == nullptr) {
            WY_LOG_ERROR << L"Cannot new CRPCServerHelper";
            return Result::kNoCallbackServer;
        }
        m_bIdRefused = false;
        server->RegisterHandler(this);
        // A handler that did not come in must not be taken out: that waits for ever. A helper
        // without a server takes nothing in or out, and stays.
        if (m_bIdRefused)
            return Result::kNoCallbackServer;
        m_pServerHelper = server.release();
    } catch (const OS::CException& error) {
        WY_LOG_ERROR << L"Initialize(): " << error.GetFullMessage();
        return Result::kNoCallbackServer;
    } catch (const std::bad_alloc&) {
        WY_LOG_ERROR << L"Cannot new CRPCServerHelper";
        return Result::kNoCallbackServer;
    }
    return Result::kSuccess;
}

std::uint32_t CRpcClientManager::StopRPCServer() {
    if (m_pServerHelper != nullptr) {
        m_pServerHelper->UnRegisterHandler(this);
        delete m_pServerHelper;
        m_pServerHelper = nullptr;
    }
    return Result::kSuccess;
}

std::uint32_t CRpcClientManager::CreateUUID(char* dst, std::uint32_t len) {
    if (dst == nullptr)
        return Result::kInvalidArgument;
    if (len > 0)
        *dst = '\0';
    char text[RpcPlatform::kUuidTextSize];
    if (!RpcPlatform::NewUuidText(text)) {
        WY_LOG_ERROR << L"CreateUUID() create uuid failed";
        return Result::kNoUuid;
    }
    if (sizeof(text) > len) {
        WY_LOG_ERROR << L"CreateUUID() create uuid failed (length) ";
        return Result::kNoUuid;
    }
    std::memcpy(dst, text, sizeof(text));
    return Result::kSuccess;
}

std::uint32_t CRpcClientManager::ExecuteCommand(CommandContext* context, TrackingCallback callback,
                                                CommandResult* result) {
    CRpcClientManager* manager = g_pRpcClientManager;
    if (manager == nullptr || context == nullptr || result == nullptr)
        return Result::kFailure;
    if (callback != nullptr) {
        const std::uint32_t code = manager->m_Tracking.Add(
            context->szTrackingID, context->client.szClientSessionKey, callback, context->pContext);
        if (Result::Failed(code))
            return code;
    }
    std::uint32_t code = Result::kFailure;
    try {
        code = manager->SendCommand(*context, *result);
    } catch (const std::bad_alloc&) {
        code = Result::kOutOfMemory;
    }
    if (Result::Failed(code) && callback != nullptr)
        manager->m_Tracking.Erase(context->szTrackingID);
    return code;
}

std::uint32_t CRpcClientManager::SendCommand(const CommandContext& context,
                                             CommandResult& result) const {
    CRpcScopedMessage reply;
    std::uint32_t code = Result::kFailure;
    {
        CRpcScopedMessage message(RPC_MSG_MAIN);
        RpcMessages::EncodeMainCommand(m_szClientSessionKey, context, message);
        code = SendRequestWithData(context.uiCommandId, message, reply, m_pPluginOrg);
    }
    if (Result::Succeeded(code))
        RpcMessages::DecodeResult(reply, result);
    return code;
}

std::uint32_t CRpcClientManager::DestroyContext(const CommandClient* client) {
    WY_LOG_INFO << L"CRpcClientManager::DestroyContext";
    const CRpcClientManager* manager = g_pRpcClientManager;
    if (manager == nullptr || client == nullptr)
        return Result::kFailure;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainContext(manager->m_szClientSessionKey, *client, message);
    return SendRequest(message, manager->m_pPluginOrg);
}

std::uint32_t CRpcClientManager::EraseTrackingID(const char* szTrackingID) {
    CRpcClientManager* manager = g_pRpcClientManager;
    return manager != nullptr ? manager->m_Tracking.Erase(szTrackingID) : Result::kNotFound;
}

std::uint32_t CRpcClientManager::DestroyReport(RpcDataHandle* report) {
    return RpcDataDestroy(report);
}

std::uint32_t CRpcClientManager::SendRequestWithData(std::uint32_t uiMsgId,
                                                     const CRpcDataHandleWrapper& request,
                                                     CRpcDataHandleWrapper& reply,
                                                     void* pPluginOrg) {
    WY_LOG_INFO << L"SendRequestWithData";
    // Most requests and replies need no memory beyond these.
    std::uint8_t outRoom[kEnvelopeRoom];
    CIPCMsgBuffer out(outRoom);
    if (pPluginOrg == nullptr) {
        std::uint8_t inRoom[kEnvelopeRoom];
        CIPCMsgBuffer in(inRoom);
        in << uiMsgId << request;
        const CComponentID component(ServiceComponentName().c_str());
        CRPCClientHelper client(component);
        client.SendRequest(in, out);
    }
    const std::uint32_t code = ReadReply(out, reply);
    WY_LOG_INFO << L"SendRequestWithData, code = " << WyHex{code};
    return code;
}

std::uint32_t CRpcClientManager::SendRequest(const CRpcDataHandleWrapper& request,
                                             void* pPluginOrg) {
    CRpcDataHandleWrapper reply;
    return SendRequestWithData(IPC_MSG_DESTROY_CONTEXT, request, reply, pPluginOrg);
}

bool CRpcClientManager::GetMsgID(std::uint32_t** ids, std::uint32_t* count) {
    *ids = new (std::nothrow) std::uint32_t[1]{CIPCRequestDispatcher::kDefaultHandlerId};
    if (*ids == nullptr) {
        WY_LOG_ERROR << L"GetMsgID() new failed ";
        m_bIdRefused = true;
        return false;
    }
    *count = 1;
    return true;
}

void CRpcClientManager::FreeMsgID(std::uint32_t* ids) {
    delete[] ids;
}

void CRpcClientManager::operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
    WY_LOG_INFO << L"operator(iMsgID ) : " << iMsgID;
    try {
        CRpcDataHandleWrapper message;
        in >> message;
        CommandResultProcess(message, out);
        // The id is looked at afterwards: a result under a wrong id counts all the same.
        if (iMsgID != IPC_MSG_COMMAND_RESULT) {
            WY_LOG_WARN << L"Received incorrect msg id: " << iMsgID;
        }
    } catch (const CIPCMsgBufferException&) {
        WY_LOG_WARN << L"Got invalid input buffer!!! ";
    }
    WY_LOG_INFO << L"operator()";
}

void CRpcClientManager::CommandResultProcess(const CRpcDataHandleWrapper& message,
                                             CIPCMsgBuffer& out) {
    CommandResult in{};
    RpcMessages::DecodeResult(message, in);
    WY_LOG_INFO << L"Tracking id = " << in.szTrackingID;
    CommandResult reply{};
    TrackingRecord record;
    const std::string trackingId = in.szTrackingID;
    reply.iResult = m_Tracking.BeginDelivery(trackingId, record);
    if (reply.iResult == Result::kSuccess) {
        reply.iResult = 0;
        in.pContext = record.pContext;
        // The callback runs without a lock; the count that BeginDelivery raised protects it.
        if (record.pfnCallback != nullptr)
            record.pfnCallback(in.szTrackingID, &in, &reply);
        m_Tracking.EndDelivery(trackingId);
    }
    ReplyResult(reply, out);
    if (RpcDataDestroy(&in.pReport) != Result::kSuccess) {
        WY_LOG_ERROR << L"CommandResultProcess() destroy CommandResult.pReport failed ";
    }
    RpcDataDestroy(&reply.pReport);
}

void CRpcClientManager::ReplyResult(const CommandResult& reply, CIPCMsgBuffer& out) {
    WY_LOG_INFO << L"CRpcClientManager::ReplyResult";
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(reply, message);
    out << IPC_REPLY_SUCCESS << message;
}
