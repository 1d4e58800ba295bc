#include "lib/KrOuterClientHelper/OuterClientHelper.h"

#include <boost/thread/lock_guard.hpp>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_ids.h"

namespace Result = KrCommon::Result;
using KrCommon::Synchronize::SingleLock;

namespace {

constexpr const char* kLogSource = "OuterClientHelper";
constexpr const wchar_t* kLogModule = L"OuterClientHelper";
constexpr std::uint32_t kManagerTimeout = 1000;
constexpr std::uint32_t kTrackingIdSize = RpcMessages::kIdLength + 1;

// Room for the records of a mail beside its text.
constexpr std::uint32_t kMailFieldsSize = 160;

// The kind of context that the client manager may give up, by its first characters.
constexpr const char kContextKind[] = "00000003";

// A request's data and a reply's report for the length of a scope.
struct Exchange {
    CommandContext context{};
    CommandResult result{};

    Exchange() = default;
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange() {
        ReleaseRequest();
        CRpcClientManager::DestroyReport(&result.pReport);
    }
    void ReleaseRequest() { RpcDataDestroy(&context.hData); }
    void Pack(const CRpcDataHandleWrapper& data) { RpcDataShare(&data.Handle(), &context.hData); }
};

std::uint32_t TextLength(const std::wstring& text) {
    return static_cast<std::uint32_t>(text.size());
}

// The plug-in's verdict in a report. False, with a word in the log, when it is not there.
bool ReadMailResult(const CRpcDataHandleWrapper& report, std::uint32_t& verdict) {
    if (report.Get(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, &verdict) == Result::kSuccess) {
        return true;
    }
    WY_LOG_ERROR << L"get parameter ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT failed";
    return false;
}

// Where a mail goes.
struct MailTarget {
    std::uint32_t destId;
    std::uint32_t mailId;
    bool flag;
};

// Packs a mail into an empty message.
std::uint32_t PackMail(const MailTarget& target, const std::string& text,
                       CRpcDataHandleWrapper& mail) {
    mail.Reserve(static_cast<std::uint32_t>(text.size()) * 2 + kMailFieldsSize);
    mail.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
    std::uint32_t opened = 0;
    std::uint32_t result = mail.OpenMessage(RPC_MSG_PRODUCT_DATA, &opened);
    if (Result::Failed(result))
        return result;
    result = mail.SetUtf8(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text);
    mail.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, target.flag);
    mail.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, OuterClientPlatform::CurrentProcessId());
    mail.Set(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, OuterClientPlatform::CurrentThreadId());
    mail.Set(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, target.destId);
    mail.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, target.mailId);
    mail.CloseMessage(opened);
    return result;
}

// Takes the packed answer out of a report and gives the verdict, or 0xe0ff0007 at the first field
// that is missing.
std::uint32_t UnpackAnswer(const CRpcDataHandleWrapper& report, CRpcScopedMessage& param) {
    std::uint32_t verdict = 0;
    if (!ReadMailResult(report, verdict))
        return Result::kInvalidArgument;
    std::uint32_t childId = 0;
    if (report.Get(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, &childId) != Result::kSuccess) {
        WY_LOG_ERROR << L"get parameter ID_DATA_PRODUCTADAPTER_PACKER_PARAM failed";
        return Result::kInvalidArgument;
    }
    if (param.LoadChild(report, childId) != Result::kSuccess) {
        WY_LOG_ERROR << L"get parameter param_index failed, param_index=" << childId;
        return Result::kInvalidArgument;
    }
    return verdict;
}

// What a destructor does must not raise.
template <class Step>
void Quietly(Step&& step) noexcept {
    try {
        step();
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"the end of a helper is not complete: " << error.what();
    }
}

// Null without memory. An exception must not leave the constructor of a helper, which has been
// counted by then.
CRpcClientManager* NewManager() {
    try {
        return new CRpcClientManager(nullptr, kManagerTimeout);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::uint32_t SendUnregister(Exchange& exchange) {
    {
        CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
        data.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, OuterClientPlatform::CurrentProcessId());
        exchange.Pack(data);
    }
    std::uint32_t result =
        CRpcClientManager::ExecuteCommand(&exchange.context, nullptr, &exchange.result);
    if (Result::Failed(result)) {
        WY_LOG_ERROR << L"executing command failed, err=" << WyHex{result};
        return result;
    }
    const bool read = ReadMailResult(CRpcDataHandleWrapper(exchange.result.pReport), result);
    return read ? result : Result::kInvalidArgument;
}

bool IsFullId(const char* text) {
    return std::strlen(text) == RpcMessages::kIdLength;
}

}  // namespace

std::uint32_t CKrRpcClientHelper::m_uiRefCnt = 0;
std::atomic<bool> CKrRpcClientHelper::m_bInited{false};
std::atomic<bool> CKrRpcClientHelper::m_bRegistered{false};
std::atomic<EventEntry> CKrRpcClientHelper::g_fnCallback{nullptr};
boost::mutex CKrRpcClientHelper::m_Mutex;
std::string CKrRpcClientHelper::m_strRegisterTrackingID;
CommandClient CKrRpcClientHelper::m_Context{};
std::uint32_t CKrRpcClientHelper::m_nProductID = 0;

CKrRpcClientHelper::CKrRpcClientHelper(std::uint32_t productId, const std::wstring& productIdString,
                                       std::uint32_t, bool flag, std::uint32_t timeout)
    : m_bFlag(flag), m_uiTimeout(timeout) {
    {
        const boost::lock_guard<boost::mutex> lock(m_Mutex);
        ++m_uiRefCnt;
    }
    InitProduct(productId, productIdString);
}

CKrRpcClientHelper::~CKrRpcClientHelper() {
    if (m_pLink != nullptr) {
        // From here on a monitor thread that is still at work finds no helper any more.
        const SingleLock lock(m_pLink->lock);
        m_pLink->session = nullptr;
    }
    Quietly([] { UninitProduct(); });
    Quietly([] {
        const boost::lock_guard<boost::mutex> lock(m_Mutex);
        --m_uiRefCnt;
    });
}

std::uint32_t CKrRpcClientHelper::InitProduct(std::uint32_t, const std::wstring&) {
    const boost::lock_guard<boost::mutex> lock(m_Mutex);
    if (m_uiRefCnt == 0) {
        WY_LOG_FATAL << L"reference count should not be zero or negative. m_uiRefCnt="
                     << m_uiRefCnt;
        return Result::kFailure;
    }
    if (m_bInited) {
        WY_LOG_WARN << L"The Product helper is already initialized";
        return Result::kAlreadyInitialized;
    }
    CRpcClientManager* const manager = NewManager();
    if (manager == nullptr)
        return Result::kOutOfMemory;
    g_pRpcClientManager = manager;
    m_bInited = true;
    return Result::kFailure;
}

std::uint32_t CKrRpcClientHelper::UninitProduct() {
    const boost::lock_guard<boost::mutex> lock(m_Mutex);
    if (m_uiRefCnt != 1) {
        WY_LOG_INFO << L"There are another instances still been held, m_uiRefCnt="
                    << m_uiRefCnt - 1;
        return Result::kSuccess;
    }
    if (!m_bInited) {
        WY_LOG_WARN << L"The Product helper is not initialized";
        return Result::kSuccess;
    }
    if (!m_strRegisterTrackingID.empty()) {
        const std::uint32_t code = DestroyRecordOfTrackingID(m_strRegisterTrackingID);
        if (Result::Failed(code)) {
            WY_LOG_ERROR << L"DestroyRecordOfTrackingID fail, err=" << WyHex{code};
        }
    }
    const std::uint32_t result = DestroyContext(&m_Context);
    if (Result::Failed(result))
        WY_LOG_ERROR << L"DestroyContext fail, err=" << WyHex{result};
    m_Context = CommandClient{};
    delete g_pRpcClientManager.exchange(nullptr);
    m_bInited = false;
    if (Result::Failed(result))
        WY_LOG_ERROR << L"UninitProduct fail, err=" << WyHex{result};
    return result;
}

std::uint32_t CKrRpcClientHelper::DestroyContext(const CommandClient* context) {
    if (context == nullptr)
        return Result::kInvalidArgument;
    std::uint32_t result = Result::kFailure;
    if (!IsFullId(context->szContextID) || !IsFullId(context->szSessionID)) {
        result = Result::kInvalidArgument;
    } else if (std::strncmp(context->szContextID, kContextKind, std::strlen(kContextKind)) != 0) {
        result = Result::kWrongContextKind;
    } else {
        result = CRpcClientManager::DestroyContext(context);
    }
    WY_LOG_INFO << L"DestroyContext" << WyHex{result};
    return result;
}

std::uint32_t CKrRpcClientHelper::EraseAllCallbackOfTrackingID(const std::string& trackingId) {
    Exchange exchange;
    exchange.context.iFlag = 1;
    trackingId.copy(exchange.context.szTrackingID, RpcMessages::kIdLength);
    const std::uint32_t result =
        CRpcClientManager::ExecuteCommand(&exchange.context, nullptr, &exchange.result);
    WY_LOG_INFO << L"EraseAllCallbackOfTrackingID, result=" << WyHex{result};
    return result;
}

std::uint32_t CKrRpcClientHelper::DestroyRecordOfTrackingID(const std::string& trackingId) {
    if (trackingId.empty())
        return Result::kInvalidArgument;
    try {
        EraseAllCallbackOfTrackingID(trackingId);
        return CRpcClientManager::EraseTrackingID(trackingId.c_str());
    } catch (const std::bad_alloc&) {
        return Result::kOutOfMemory;  // also called by the destructor
    }
}

std::uint32_t CKrRpcClientHelper::NewTrackingId(CommandContext& context) {
    const std::uint32_t code = CRpcClientManager::CreateUUID(context.szTrackingID, kTrackingIdSize);
    if (Result::Failed(code))
        WY_LOG_ERROR << L"Cannot generate tracking ID, err=" << WyHex{code};
    return code;
}

std::uint32_t CKrRpcClientHelper::ExecuteWithRenewal(CommandContext& context,
                                                     TrackingCallback callback,
                                                     CommandResult& result) {
    std::uint32_t code = CRpcClientManager::ExecuteCommand(&context, callback, &result);
    if (code != Result::kUnknownClient)
        return code;
    WY_LOG_WARN << L"not register yet. register this client helper to service now. nProductID="
                << m_nProductID;
    CRpcClientManager::DestroyReport(&result.pReport);
    result = CommandResult{};
    // The new manager takes the place of the old one, which other threads may still be using and
    // which therefore is left to itself.
    m_bInited = false;
    InitProduct(m_nProductID, std::wstring());
    return CRpcClientManager::ExecuteCommand(&context, callback, &result);
}

std::uint32_t CKrRpcClientHelper::SendMail2ProductPlugin(std::uint32_t destId, std::uint32_t mailId,
                                                         const JsonDocument& input,
                                                         JsonDocument& output, bool mailFlag) {
    std::string text = input.ToCompactUtf8();
    if (input.Status() == JsonDocument::kOutOfMemory)
        return Result::kOutOfMemory;
    std::uint32_t result = Result::kSuccess;
    {
        CRpcDataHandleWrapper mail(RPC_MSG_PRODUCT_DATA);
        result = PackMail({destId, mailId, mailFlag}, text, mail);
        if (Result::Failed(result))
            return result;
        text = std::string();
        CRpcScopedMessage answer;
        result = SendMail2ProductPlugin(mail, answer);
        if (Result::Failed(result)) {
            WY_LOG_ERROR << L"executing command failed, err=" << WyHex{result};
            return result;
        }
        const std::uint32_t code = answer.GetUtf8(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text);
        if (Result::Failed(code)) {
            WY_LOG_ERROR << L"get parameter ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING failed, err="
                         << WyHex{code};
        }
    }
    // The message is gone by now, so that a large answer is not held beside its own document.
    const std::uint32_t status = output.ParseUtf8(text);
    WY_LOG_INFO << L"after invoking ParseJsonString, ret=" << status;
    if (status == JsonDocument::kOutOfMemory)
        return Result::kOutOfMemory;
    if (status != JsonDocument::kOk)
        output.Clear();
    return result;
}

std::uint32_t CKrRpcClientHelper::SendMail2ProductPlugin(CRpcDataHandleWrapper& mail,
                                                         CRpcScopedMessage& answer) {
    Exchange exchange;
    exchange.context.client = m_Context;
    exchange.context.uiCommandId = IPC_MSG_SEND_MAIL;
    exchange.context.iFlag = 1;
    std::uint32_t result = NewTrackingId(exchange.context);
    if (Result::Failed(result))
        return result;
    mail.MoveTo(&exchange.context.hData);
    WY_LOG_INFO << L"SendMail2ProductPlugin from outer process, process id="
                << OuterClientPlatform::CurrentProcessId() << L", thread id="
                << OuterClientPlatform::CurrentThreadId();
    result = ExecuteWithRenewal(exchange.context, nullptr, exchange.result);
    exchange.ReleaseRequest();
    if (Result::Failed(result)) {
        WY_LOG_ERROR << L"executing command failed, err=" << WyHex{result};
        return result;
    }
    const RpcDataHandle report = std::exchange(exchange.result.pReport, {});
    return UnpackAnswer(CRpcDataHandleWrapper(report, kRpcAdopt), answer);
}

std::uint32_t CKrRpcClientHelper::RegisterProcess(const wchar_t* processName, EventEntry callback) {
    if (m_bRegistered) {
        WY_LOG_WARN << L"The process has been registered";
        return Result::kAlreadyInitialized;
    }
    if (processName == nullptr || callback == nullptr)
        return Result::kInvalidArgument;
    g_fnCallback.exchange(callback);
    Exchange exchange;
    exchange.context.client = m_Context;
    exchange.context.uiCommandId = IPC_MSG_REGISTER_PROCESS;
    const CRpcClientManager* manager = g_pRpcClientManager;
    if (manager == nullptr || !IsFullId(manager->GetClientSessionKey())) {
        WY_LOG_ERROR << L"Cannot generate tracking ID, err=" << WyHex{Result::kNoUuid};
        return Result::kNoUuid;
    }
    std::memcpy(exchange.context.szTrackingID, manager->GetClientSessionKey(), kTrackingIdSize);
    const std::wstring name = processName;
    {
        CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
        data.Set(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME, name.c_str(), TextLength(name));
        data.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, OuterClientPlatform::CurrentProcessId());
        exchange.Pack(data);
    }
    // Nothing that needs memory may come between the service's consent and the flag.
    m_strRegisterTrackingID = exchange.context.szTrackingID;
    std::uint32_t result =
        ExecuteWithRenewal(exchange.context, RegisterProcessCallback, exchange.result);
    if (Result::Failed(result)) {
        WY_LOG_ERROR << L"executing command failed, err=" << WyHex{result};
    } else {
        const bool read = ReadMailResult(CRpcDataHandleWrapper(exchange.result.pReport), result);
        // Registered whatever the verdict is: the service has this process in its books.
        if (read)
            m_bRegistered = true;
        if (!read)
            result = Result::kInvalidArgument;
    }
    if (Result::Succeeded(result))
        StartMonitor(name);
    return result;
}

void CKrRpcClientHelper::StartMonitor(const std::wstring& processName) {
    try {
        m_hStopEvent = OuterClientMonitor::CreateStopEvent();
        m_strProcessName = processName;
        if (m_pLink == nullptr) {
            m_pLink.reset(new OuterClientMonitor::Link);
            m_pSession.reset(new OuterClientReconnect(*this));
            m_pLink->session = m_pSession.get();
        }
        OuterClientMonitor::StartThread(m_pLink, m_hStopEvent);
    } catch (const std::bad_alloc&) {
        // The session stands; nobody watches its service.
        WY_LOG_ERROR << L"The monitor of the service could not be started, out of memory";
    }
}

std::uint32_t CKrRpcClientHelper::UnregisterProcess() {
    if (!m_bRegistered)
        return Result::kSuccess;
    OuterClientMonitor::SignalStopEvent(m_hStopEvent.get());
    Exchange exchange;
    exchange.context.client = m_Context;
    exchange.context.uiCommandId = IPC_MSG_UNREGISTER_PROCESS;
    exchange.context.iFlag = 1;
    std::uint32_t result = NewTrackingId(exchange.context);
    if (Result::Failed(result))
        return result;
    try {
        result = SendUnregister(exchange);
    } catch (const std::bad_alloc&) {
        result = Result::kOutOfMemory;
    }
    g_fnCallback.exchange(nullptr);
    m_bRegistered = false;
    return result;
}

int CKrRpcClientHelper::RegisterProcessCallback(const char*, CommandResult* in,
                                                CommandResult* out) {
    try {
        out->iResult = DeliverEvent(*in, *out);
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"The event could not be delivered: " << error.what();
        out->iResult = Result::kOutOfMemory;
    }
    return static_cast<int>(out->iResult);
}

std::uint32_t CKrRpcClientHelper::DeliverEvent(const CommandResult& in, CommandResult& out) {
    std::wstring text;
    {
        const CRpcDataHandleWrapper report(in.pReport);
        const std::uint32_t code = report.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text);
        if (Result::Failed(code)) {
            WY_LOG_ERROR
                << L"CRpcDataHandleWrapper.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING) fail, ret="
                << WyHex{code};
            return code;
        }
    }
    WY_LOG_INFO << L"Receive ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING=" << text;
    JsonDocument document;
    document.Parse(text);
    const EventEntry callback = g_fnCallback.load();
    if (callback == nullptr) {
        WY_LOG_ERROR << L"g_fnCallback is NULL";
        return Result::kNoEventCallback;
    }
    const std::uint32_t result = callback(document);
    text = document.ToCompactString();
    CRpcDataHandleWrapper answer(RPC_MSG_PRODUCT_DATA);
    answer.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str(), TextLength(text));
    out.uiReportId = RPC_MSG_PRODUCT_DATA;
    RpcDataShare(&answer.Handle(), &out.pReport);
    return result;
}

std::uint64_t OuterClientReconnect::AskServiceHandle() {
    JsonDocument input;
    input["pid"].SetUInt32(OuterClientPlatform::CurrentProcessId());
    JsonDocument output;
    m_Helper.SendMail2ProductPlugin(MailDestination::kConnectionMonitor,
                                    OuterClientMonitor::kMonitorMail, input, output, false);
    return output["handle"].AsUInt64();
}

bool OuterClientReconnect::TryReconnect() {
    CKrRpcClientHelper::m_bRegistered = false;
    m_Helper.UninitProduct();
    if (CKrRpcClientHelper::m_bInited) {
        // Calls on other threads keep the manager, and with it the record of the registration that
        // only the dead service knew. It would stand in the way of the new one, which has the same
        // tracking id.
        CRpcClientManager::EraseTrackingID(CKrRpcClientHelper::m_strRegisterTrackingID.c_str());
    }
    m_Helper.InitProduct(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString);
    const std::uint32_t code = m_Helper.RegisterProcess(m_Helper.m_strProcessName.c_str(),
                                                        CKrRpcClientHelper::g_fnCallback.load());
    return Result::Succeeded(code);
}
