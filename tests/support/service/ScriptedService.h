#pragma once

// The service of the transport's tests: it answers each request with the next bytes of a script,
// and calls an endpoint of the test when it is told to.
//
// In a native build it stands at an endpoint of the in-process transport. On Windows it is the
// test program itself, started a second time, and is reached over the RPC runtime; the program
// then takes its main() from ServiceMain_win32.cpp. Either way it serves the endpoint of this
// process's product identity, which the service makes unique to the process.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/HexBytes.h"

namespace test_support {

class ScriptedService {
public:
    // Serves until it goes. One at a time.
    ScriptedService();
    ScriptedService(const ScriptedService&) = delete;
    ScriptedService& operator=(const ScriptedService&) = delete;
    ~ScriptedService();

    // Forgets script and requests.
    void Reset();

    // The reply to the next request that has none yet.
    void PushReply(const Bytes& reply);
    // The reply to every request for which none was pushed. Empty at first.
    void SetReply(const Bytes& reply);
    // The reply to the question of a session's monitor for the service's process, which comes at
    // a time of its own and is neither answered from the script nor among the requests.
    void SetMonitorReply(const Bytes& reply);
    // Each reply waits that long before it goes out.
    void SetDelay(std::uint32_t milliseconds);

    // The requests that came since the last time.
    std::vector<Bytes> TakeRequests();
    std::vector<Bytes> TakeMonitorRequests();

    // Calls an endpoint as a service calls its client, and gives the whole answer: of the
    // endpoint, or the failure envelope of the call.
    Bytes Deliver(const std::string& endpoint, const Bytes& request);

    // Ends at once, in the middle of whatever it does, and comes back with an empty script.
    void Kill();
    void Restart();

    class Impl;

private:
    std::unique_ptr<Impl> m_pImpl;
};

}  // namespace test_support
