#pragma once

// The receiving end of the host: takes requests apart, serves the commands, and plays the fault
// script on the replies.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "Framework/utilIPC/ipc_request_dispatcher.h"
#include "devhost/ApiRouter.h"
#include "devhost/ClientRegistry.h"
#include "devhost/EventHub.h"
#include "devhost/FaultScript.h"
#include "devhost/HostWire.h"

namespace DevHost {

// The value of the monitor's answer when there is no handle to give.
constexpr std::uint64_t kNoHandle = 0xffffffffffffffff;

// What the server needs of the process it lives in.
struct HostProcessHooks {
    // A handle of this process that is valid in the given one, or kNoHandle.
    std::function<std::uint64_t(std::uint32_t processId)> duplicateOwnHandle;
    // Carries out the end that a fault script asks for. kRestart returns and stops the host
    // soon after; the other two do not return.
    std::function<void(FaultPlan::End, std::uint32_t absenceMs)> end;
};

// Serves every message id. A request of any bytes gets an answer: a reply in result form, or a
// failure envelope with the code 13 for what cannot be read, 1 for an unknown command, 14 and 1359
// for accidents of the host. Runs on threads of the RPC runtime, several at a time.
class HostServer : public CIPCServerRequestCallback {
public:
    // All references must outlive the server.
    HostServer(const ApiRouter& router, ClientRegistry& clients, EventHub& events,
               FaultScript& faults, HostProcessHooks hooks);

    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override;
    void operator()(std::uint32_t iMsgID, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override;
    void FreeMsgID(std::uint32_t* ids) override;

    // Lets requests that a fault script delays go on at once.
    void CutDelays();

private:
    // A request as far as it is understood, and its answer as far as it is made.
    struct Exchange;

    static void WriteReply(HostReply& reply, const FaultPlan& plan, CIPCMsgBuffer& out);

    void Serve(std::uint32_t commandId, CIPCMsgBuffer& in, CIPCMsgBuffer& reply, FaultPlan& plan);
    void ServeCommand(std::uint32_t commandId, Exchange& exchange, const FaultPlan& plan);
    void Mail(Exchange& exchange, const FaultPlan& plan);
    void Register(Exchange& exchange);
    void Unregister(Exchange& exchange);
    void EraseCallback(Exchange& exchange);
    std::wstring CallApi(const Exchange& exchange, const FaultPlan& plan) const;
    static std::wstring NoteMail(const HostMail& mail, const wchar_t* what);
    std::wstring MonitorConnection(const Exchange& exchange) const;
    void Wait(std::uint32_t milliseconds);

    const ApiRouter& m_Router;
    ClientRegistry& m_Clients;
    EventHub& m_Events;
    FaultScript& m_Faults;
    HostProcessHooks m_Hooks;

    std::mutex m_DelayMutex;
    std::condition_variable m_DelayCut;
    bool m_bDelaysCut = false;
};

}  // namespace DevHost
