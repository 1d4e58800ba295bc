#pragma once

// Plays the RPC server of one connection by hand: takes the bind, takes one request, and answers
// it with whatever bytes the test wants.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "support/LoopbackSocket.h"
#include "support/RpcPdu.h"

namespace test_support {

class RawRpcServer {
public:
    // The bytes of the answer to the call with this id; none close the connection.
    using Answer = std::function<Bytes(std::uint32_t callId)>;

    explicit RawRpcServer(Answer answer);
    RawRpcServer(const RawRpcServer&) = delete;
    RawRpcServer& operator=(const RawRpcServer&) = delete;
    ~RawRpcServer();

    // The port as the endpoint of ncacn_ip_tcp.
    std::wstring Endpoint() const;

    struct Seen {
        rpc::Message bind;
        rpc::Message request;
    };
    // Waits for the end of the connection and tells what came. Raises std::runtime_error when the
    // peer did not get as far as a request. Called once.
    Seen Finish();

private:
    void Serve(const Answer& answer);

    LoopbackListener m_Listener;
    std::optional<Seen> m_Seen;
    std::string m_strFailure;
    std::thread m_Thread;
};

}  // namespace test_support
