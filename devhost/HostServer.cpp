#include "devhost/HostServer.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Framework/utilIPC/ipc_exception.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "devhost/JsonFields.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "HostServer";
constexpr const wchar_t* kLogModule = L"WySvcHost";

constexpr std::uint32_t kCommandEraseCallback = 0;

constexpr std::uint32_t kDestinationSetup = 5;
constexpr std::uint32_t kMailSetupEvent = 6146;
constexpr std::uint32_t kDestinationApi = 0x4e0009;
constexpr std::uint32_t kDestinationMonitor = 0x4e000c;
constexpr std::uint32_t kDestinationFeedback = 0x4e0010;
constexpr std::uint32_t kMailMonitorConnection = 35870;

std::wstring ToText(Json::Value value) {
    JsonDocument document;
    document.Native() = std::move(value);
    return document.ToCompactString();
}

}  // namespace

struct HostServer::Exchange {
    HostRequest request;
    HostMail mail;
    HostReply reply;
    std::uint32_t failure = 0;  // a remote error; 0: the reply counts
    const wchar_t* failureText = L"";

    void Fail(std::uint32_t code, const wchar_t* text) {
        failure = code;
        failureText = text;
    }
};

HostServer::HostServer(const ApiRouter& router, ClientRegistry& clients, EventHub& events,
                       FaultScript& faults, HostProcessHooks hooks)
    : m_Router(router),
      m_Clients(clients),
      m_Events(events),
      m_Faults(faults),
      m_Hooks(std::move(hooks)) {}

bool HostServer::GetMsgID(std::uint32_t** ids, std::uint32_t* count) {
    *ids = new (std::nothrow) std::uint32_t[1]{CIPCRequestDispatcher::kDefaultHandlerId};
    *count = *ids != nullptr ? 1 : 0;
    return *ids != nullptr;
}

void HostServer::FreeMsgID(std::uint32_t* ids) {
    delete[] ids;
}

void HostServer::operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
    CIPCMsgBuffer reply(CIPCMsgBuffer::kBlockSize, false);
    FaultPlan plan;
    std::uint32_t accident = 0;
    const wchar_t* accidentText = L"";
    try {
        Serve(iMsgID, in, reply, plan);
    } catch (const OS::CException&) {
        accident = RemoteError::kInvalidData;
        accidentText = L"The request is malformed";
    } catch (const std::bad_alloc&) {
        accident = RemoteError::kOutOfMemory;
        accidentText = L"The host is out of memory";
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"accident in command " << iMsgID << L": " << error.what();
        accident = RemoteError::kInternal;
        accidentText = L"Accident in the host";
    }
    if (accident != 0) {
        WY_LOG_WARN << L"refuse command " << iMsgID << L": " << accidentText;
        EncodeFailure(accident, accidentText, out);
        return;
    }
    if (plan.bytes.has_value()) {
        out.WriteBytes(plan.bytes->data(), static_cast<std::uint32_t>(plan.bytes->size()));
    } else {
        const std::uint32_t limit = plan.truncate.value_or(reply.GetLength());
        out.WriteBytes(reply.GetData(), std::min(limit, reply.GetLength()));
    }
    if (plan.end == FaultPlan::End::kRestart)
        m_Hooks.end(plan.end, 0);
}

void HostServer::Serve(std::uint32_t commandId, CIPCMsgBuffer& in, CIPCMsgBuffer& reply,
                       FaultPlan& plan) {
    Exchange exchange;
    const bool readable = DecodeRequest(in, exchange.request);
    bool isMail = false;
    if (readable && commandId == IPC_MSG_SEND_MAIL) {
        isMail = DecodeMail(exchange.request.data, exchange.mail);
    }

    FaultSubject subject;
    subject.commandId = commandId;
    if (isMail)
        subject.mailId = exchange.mail.mailId;
    subject.isApi = isMail && exchange.mail.destination == kDestinationApi;
    plan = m_Faults.Match(subject);
    if (plan.delayMs > 0)
        Wait(plan.delayMs);
    if (plan.end == FaultPlan::End::kCrash || plan.end == FaultPlan::End::kCrashRestart) {
        m_Hooks.end(plan.end, plan.absenceMs);
    }
    if (plan.failure.has_value()) {
        EncodeFailure(*plan.failure, L"Failure by fault script", reply);
        return;
    }

    if (!readable || (commandId == IPC_MSG_SEND_MAIL && !isMail)) {
        exchange.Fail(RemoteError::kInvalidData, L"The request is malformed");
    } else {
        ServeCommand(commandId, exchange, plan);
    }
    if (exchange.failure != 0) {
        WY_LOG_WARN << L"refuse command " << commandId << L": " << exchange.failureText;
        EncodeFailure(exchange.failure, exchange.failureText, reply);
        return;
    }
    exchange.reply.trackingId = exchange.request.trackingId;
    exchange.reply.resultCode = plan.resultCode.value_or(exchange.reply.resultCode);
    exchange.reply.mailResult = plan.mailResult.value_or(exchange.reply.mailResult);
    if (plan.text.has_value() && exchange.reply.json.has_value()) {
        exchange.reply.json = KrCommon::String::FromUtf8(*plan.text);
    }
    WriteReply(exchange.reply, plan, reply);
}

void HostServer::WriteReply(HostReply& reply, const FaultPlan& plan, CIPCMsgBuffer& out) {
    const ReplyFaults faults{plan.omit, plan.mistype};
    if (plan.size.has_value() && reply.json.has_value()) {
        CIPCMsgBuffer measured(CIPCMsgBuffer::kBlockSize, false);
        EncodeReply(reply, faults, measured);
        if (measured.GetLength() < *plan.size)
            reply.json->append((*plan.size - measured.GetLength()) / 2, L' ');
    }
    EncodeReply(reply, faults, out);
}

void HostServer::ServeCommand(std::uint32_t commandId, Exchange& exchange, const FaultPlan& plan) {
    exchange.reply.resultCode = KrCommon::Result::kSuccess;
    exchange.reply.mailResult = KrCommon::Result::kSuccess;
    if (commandId == IPC_MSG_DESTROY_CONTEXT) {
        m_Clients.Unregister(exchange.request.sessionKey, kNoProcess);
        m_Events.ForgetClient(exchange.request.sessionKey);
        return;
    }
    if (!exchange.request.isCommand) {
        exchange.Fail(RemoteError::kInvalidData, L"The request is malformed");
        return;
    }
    switch (commandId) {
        case IPC_MSG_SEND_MAIL:
            Mail(exchange, plan);
            break;
        case IPC_MSG_REGISTER_PROCESS:
            Register(exchange);
            break;
        case IPC_MSG_UNREGISTER_PROCESS:
            Unregister(exchange);
            break;
        case kCommandEraseCallback:
            EraseCallback(exchange);
            break;
        default:
            exchange.Fail(RemoteError::kInvalidFunction, L"Unknown command");
    }
}

void HostServer::Mail(Exchange& exchange, const FaultPlan& plan) {
    exchange.reply.hasReport = true;
    const HostMail& mail = exchange.mail;
    if (mail.destination == kDestinationApi) {
        exchange.reply.json = CallApi(exchange, plan);
    } else if (mail.destination == kDestinationMonitor && mail.mailId == kMailMonitorConnection) {
        exchange.reply.json = MonitorConnection(exchange);
    } else if (mail.destination == kDestinationFeedback) {
        exchange.reply.json = NoteMail(mail, L"feedback ");
    } else if (mail.destination == kDestinationSetup && mail.mailId == kMailSetupEvent) {
        exchange.reply.json = NoteMail(mail, L"set-up event ");
    } else {
        exchange.reply.mailResult = KrCommon::Result::kNotFound;
        exchange.reply.json = L"{}\n";
    }
}

std::wstring HostServer::CallApi(const Exchange& exchange, const FaultPlan& plan) const {
    const HostMail& mail = exchange.mail;
    JsonDocument request;
    ApiAnswer answer;
    if (request.Parse(mail.json) != JsonDocument::kOk) {
        answer.retCode = KrCommon::Result::kInvalidArgument;
        answer.message = "the request is no JSON text";
    } else {
        const CallContext caller{exchange.request.sessionKey, mail.processId, mail.threadId};
        answer = m_Router.Call(mail.mailId, request.Native(), caller);
    }
    WY_LOG_INFO << L"api " << mail.mailId << L", pid " << mail.processId << L", retCode "
                << WyHex{answer.retCode};
    answer.retCode = plan.retCode.value_or(answer.retCode);
    Json::Value root = AnswerToJson(answer);
    if (plan.mistypeRetCode)
        root["retCode"] = "wrong";
    if (plan.mistypeData)
        root["data"] = "wrong";
    if (plan.omitRetCode)
        root.removeMember("retCode");
    if (plan.omitData)
        root.removeMember("data");
    return ToText(std::move(root));
}

std::wstring HostServer::NoteMail(const HostMail& mail, const wchar_t* what) {
    JsonDocument report;
    std::wstring text = L"no JSON text";
    if (report.Parse(mail.json) == JsonDocument::kOk) {
        text = report.ToCompactString();
        text.pop_back();  // the line end
    }
    WY_LOG_INFO << what << mail.mailId << L", pid " << mail.processId << L": " << text;
    return L"{}\n";
}

std::wstring HostServer::MonitorConnection(const Exchange& exchange) const {
    JsonDocument request;
    request.Parse(exchange.mail.json);
    std::uint64_t handle = kNoHandle;
    try {
        handle = m_Hooks.duplicateOwnHandle(JsonFields(request.Native()).UInt32("pid"));
    } catch (const RequestError& error) {
        WY_LOG_WARN << L"no monitor handle: " << error.what();
    }
    Json::Value root(Json::objectValue);
    root["handle"] = static_cast<Json::UInt64>(handle);
    return ToText(std::move(root));
}

void HostServer::Register(Exchange& exchange) {
    Client client;
    client.key = exchange.request.sessionKey;
    client.trackingId = exchange.request.trackingId;
    const CRpcDataHandleWrapper& data = exchange.request.data;
    if (KrCommon::Result::Failed(data.Get(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME, client.name)) ||
        KrCommon::Result::Failed(
            data.Get(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, &client.processId))) {
        exchange.Fail(RemoteError::kInvalidData, L"The registration is malformed");
        return;
    }
    std::vector<std::string> replaced;
    const ClientRegistry::Outcome outcome = m_Clients.Register(client, replaced);
    for (const std::string& key : replaced)
        m_Events.ForgetClient(key);
    exchange.reply.hasReport = true;
    switch (outcome) {
        case ClientRegistry::Outcome::kBadKey:
            exchange.reply.mailResult = KrCommon::Result::kInvalidArgument;
            break;
        case ClientRegistry::Outcome::kFull:
            exchange.reply.mailResult = KrCommon::Result::kOutOfMemory;
            break;
        default:
            break;
    }
    WY_LOG_INFO << L"register " << client.name << L", pid " << client.processId << L", result "
                << WyHex{exchange.reply.mailResult};
}

void HostServer::Unregister(Exchange& exchange) {
    std::uint32_t processId = 0;
    if (KrCommon::Result::Failed(
            exchange.request.data.Get(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, &processId))) {
        exchange.Fail(RemoteError::kInvalidData, L"The message is malformed");
        return;
    }
    exchange.reply.hasReport = true;
    const auto client = m_Clients.Unregister(exchange.request.sessionKey, processId);
    if (client.has_value()) {
        m_Events.ForgetClient(client->key);
    } else {
        exchange.reply.mailResult = KrCommon::Result::kNotFound;
    }
    WY_LOG_INFO << L"unregister pid " << processId << L", result "
                << WyHex{exchange.reply.mailResult};
}

void HostServer::EraseCallback(Exchange& exchange) {
    const auto client = m_Clients.UnregisterTracking(exchange.request.trackingId);
    if (client.has_value())
        m_Events.ForgetClient(client->key);
}

void HostServer::Wait(std::uint32_t milliseconds) {
    std::unique_lock lock(m_DelayMutex);
    m_DelayCut.wait_for(lock, std::chrono::milliseconds(milliseconds),
                        [this] { return m_bDelaysCut; });
}

void HostServer::CutDelays() {
    const std::scoped_lock lock(m_DelayMutex);
    m_bDelaysCut = true;
    m_DelayCut.notify_all();
}

}  // namespace DevHost
