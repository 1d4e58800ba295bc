#include "support/service/ServiceScript.h"

#include <utility>

#include "Common/KrCommon/KrComn_Synchronize.h"
#include "utilRPC/rpc_client.h"

namespace test_support {

void ServiceScript::Reset() {
    const std::lock_guard guard(m_mutex);
    m_Replies.clear();
    m_Default.clear();
    m_Requests.clear();
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

void ServiceScript::SetDelay(std::uint32_t milliseconds) {
    const std::lock_guard guard(m_mutex);
    m_uiDelay = milliseconds;
}

std::vector<Bytes> ServiceScript::TakeRequests() {
    const std::lock_guard guard(m_mutex);
    return std::exchange(m_Requests, {});
}

Bytes ServiceScript::Play(const Bytes& request) {
    std::uint32_t delay = 0;
    Bytes reply;
    {
        const std::lock_guard guard(m_mutex);
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
