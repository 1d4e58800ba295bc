#include "support/service/ServiceScript.h"

#include <algorithm>
#include <utility>

#include "Common/KrCommon/KrComn_Synchronize.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "utilRPC/rpc_client.h"

namespace test_support {

namespace {

// True for a mail to the connection monitor: the record of its destination is somewhere inside.
bool IsMonitorMail(const Bytes& request) {
    const Bytes destination = Words({ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, 7, 4, 0x4e000c});
    return std::search(request.begin(), request.end(), destination.begin(), destination.end()) !=
           request.end();
}

}  // namespace

void ServiceScript::Reset() {
    const std::lock_guard guard(m_mutex);
    m_Replies.clear();
    m_Default.clear();
    m_MonitorReply.clear();
    m_Requests.clear();
    m_MonitorRequests.clear();
    m_uiDelay = 0;
}

void ServiceScript::PushReply(Bytes reply) {
    const std::lock_guard guard(m_mutex);
    m_Replies.push_back(std::move(reply));
}

void ServiceScript::SetReply(Bytes reply) {
    const std::lock_guard guard(m_mutex);
    m_Default = std::move(reply);
}

void ServiceScript::SetMonitorReply(Bytes reply) {
    const std::lock_guard guard(m_mutex);
    m_MonitorReply = std::move(reply);
}

void ServiceScript::SetDelay(std::uint32_t milliseconds) {
    const std::lock_guard guard(m_mutex);
    m_uiDelay = milliseconds;
}

std::vector<Bytes> ServiceScript::TakeRequests() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_Requests, {});
}

std::vector<Bytes> ServiceScript::TakeMonitorRequests() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_MonitorRequests, {});
}

Bytes ServiceScript::Play(const Bytes& request) {
    std::uint32_t delay = 0;
    Bytes reply;
    {
        const std::lock_guard guard(m_mutex);
        if (IsMonitorMail(request)) {
            m_MonitorRequests.push_back(request);
            return m_MonitorReply;
        }
        m_Requests.push_back(request);
        delay = m_uiDelay;
        reply = m_Default;
        if (!m_Replies.empty()) {
            reply = std::move(m_Replies.front());
            m_Replies.pop_front();
        }
    }
    if (delay > 0) {
        KrCommon::Synchronize::SleepMilliseconds(delay);
    }
    return reply;
}

Bytes CallEndpoint(const std::wstring& endpoint, const Bytes& request) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in.WriteBytes(request.data(), static_cast<std::uint32_t>(request.size()));
    CRPCClientHelper client(CComponentID(endpoint.c_str()));
    client.SendRequest(in, out);
    return Bytes(out.GetData(), out.GetData() + out.GetLength());
}

}  // namespace test_support
