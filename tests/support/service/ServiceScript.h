#pragma once

// The script of a ScriptedService, as it is played where the service runs.

#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

#include "support/HexBytes.h"

namespace test_support {

// All operations may run on any thread.
class ServiceScript {
public:
    void Reset();
    void PushReply(Bytes reply);
    void SetReply(Bytes reply);
    void SetMonitorReply(Bytes reply);
    void SetDelay(std::uint32_t milliseconds);
    std::vector<Bytes> TakeRequests();
    std::vector<Bytes> TakeMonitorRequests();

    // Keeps the request and gives its reply.
    Bytes Play(const Bytes& request);

private:
    std::mutex m_mutex;
    std::deque<Bytes> m_Replies;
    Bytes m_Default;
    Bytes m_MonitorReply;
    std::vector<Bytes> m_Requests;
    std::vector<Bytes> m_MonitorRequests;
    std::uint32_t m_uiDelay = 0;
};

// The answer of an endpoint to one request, or the failure envelope of the call.
Bytes CallEndpoint(const std::wstring& endpoint, const Bytes& request);

}  // namespace test_support
