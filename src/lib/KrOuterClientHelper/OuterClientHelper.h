#pragma once

// Carries mail to the product plug-in in the service host and back.

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <string>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "lib/KrOuterClientHelper/OuterClientMonitor.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "utilRPC/RpcClientManager.h"

// The constants with which every helper of this library is made.
namespace ProductIdentity {
constexpr std::uint32_t kProductNumber = 78;
constexpr const wchar_t* kProductIdString = L"c11t1100v1.1.0l1p1r1o1";
constexpr std::uint32_t kTimeout = 30;
}  // namespace ProductIdentity

// Destinations of mail; the product number stands in the high half.
namespace MailDestination {
constexpr std::uint32_t kApiCall = 0x4e0009;
constexpr std::uint32_t kConnectionMonitor = 0x4e000c;
}  // namespace MailDestination

// The application-side function that takes an event of the service. The document is the event;
// it is valid during the call. Returns a result code that the service is told.
using EventEntry = std::uint32_t (*)(JsonDocument& event);

// Owner of the process-wide client manager, and packer of mail.
//
// All instances share one client manager by reference count: the first creates it, the last
// destroys it. Instances may be made and used on any thread; one instance belongs to one thread
// at a time. A mail blocks its thread for the whole remote call; no time limit is applied.
class CKrRpcClientHelper {
public:
    // `timeout` and `flag` are stored and not read; `productId`, `productIdString` and `reserved`
    // name the product and change nothing in this process.
    CKrRpcClientHelper(std::uint32_t productId, const std::wstring& productIdString,
                       std::uint32_t reserved, bool flag, std::uint32_t timeout);
    CKrRpcClientHelper(const CKrRpcClientHelper&) = delete;
    CKrRpcClientHelper& operator=(const CKrRpcClientHelper&) = delete;
    virtual ~CKrRpcClientHelper();

    // Creates the client manager. 0xe0ff000a when it exists, 0xe0ff001e without memory, else
    // 0xe0ff0001: a first creation that worked reports that code too, and no caller reads it.
    static std::uint32_t InitProduct(std::uint32_t productId, const std::wstring& productIdString);

    // Destroys the client manager if this is the last instance. Its own answer is then
    // 0xe0ff0007, since the context that it gives up at the service was never filled.
    static std::uint32_t UninitProduct();

    // Sends one mail and waits for the answer.
    //
    // `input` travels as compact JSON text, `output` receives the answer document (left empty when
    // the answer is no JSON). Returns the plug-in's verdict, a transport code, or 0xe0ff0007 when
    // the answer lacks a field.
    static std::uint32_t SendMail2ProductPlugin(std::uint32_t destId, std::uint32_t mailId,
                                                const JsonDocument& input, JsonDocument& output,
                                                bool mailFlag);

    // The inner form: takes the packed mail and fills the packed answer.
    static std::uint32_t SendMail2ProductPlugin(CRpcDataHandleWrapper& mail,
                                                CRpcScopedMessage& answer);

    // Makes this process known to the service under a name and opens the way for events.
    //
    // 0xe0ff000a when the process is registered already, 0xe0ff0007 for a null argument.
    std::uint32_t RegisterProcess(const wchar_t* processName, EventEntry callback);

    // Takes the registration back. The callback is dropped whatever the service answers.
    std::uint32_t UnregisterProcess();

    static std::uint32_t EraseAllCallbackOfTrackingID(const std::string& trackingId);
    static std::uint32_t DestroyRecordOfTrackingID(const std::string& trackingId);

    // Gives up a context at the service. 0xe0ff0007 for a null context or ids that are not 36
    // characters long, 0xe0ff001f for a context of another kind.
    static std::uint32_t DestroyContext(const CommandClient* context);

    // The tracking callback of the registration: unpacks one event, calls the event entry and
    // packs its answer. Runs on threads of the callback server.
    static int RegisterProcessCallback(const char* trackingId, CommandResult* in,
                                       CommandResult* out);

private:
    friend class OuterClientReconnect;

    static std::uint32_t ExecuteWithRenewal(CommandContext& context, TrackingCallback callback,
                                            CommandResult& result);
    static std::uint32_t NewTrackingId(CommandContext& context);
    void StartMonitor(const std::wstring& processName);
    static std::uint32_t DeliverEvent(const CommandResult& in, CommandResult& out);

    std::wstring m_strProcessName;
    [[maybe_unused]] bool m_bFlag;
    [[maybe_unused]] std::uint32_t m_uiTimeout;
    // Made with the first registration.
    boost::shared_ptr<OuterClientMonitor::Session> m_pSession;
    OuterClientMonitor::LinkPtr m_pLink;
    OuterClientMonitor::EventPtr m_hStopEvent;

    static std::uint32_t m_uiRefCnt;
    static std::atomic<bool> m_bInited;
    static std::atomic<bool> m_bRegistered;
    static std::atomic<EventEntry> g_fnCallback;
    static boost::mutex m_Mutex;
    static std::string m_strRegisterTrackingID;
    static CommandClient m_Context;
    static std::uint32_t m_nProductID;
};

// The session of one client helper, as the monitor thread sees it.
class OuterClientReconnect : public OuterClientMonitor::Session {
public:
    // The helper must outlive this.
    explicit OuterClientReconnect(CKrRpcClientHelper& helper) : m_Helper(helper) {}

    std::uint64_t AskServiceHandle() override;
    bool TryReconnect() override;

private:
    CKrRpcClientHelper& m_Helper;
};
