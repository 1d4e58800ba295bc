#include "support/RawRpcServer.h"

#include <stdexcept>

namespace test_support {

RawRpcServer::RawRpcServer(Answer answer)
    : m_Thread([this, answer = std::move(answer)] { Serve(answer); }) {}

RawRpcServer::~RawRpcServer() {
    if (m_Thread.joinable())
        m_Thread.join();
}

std::wstring RawRpcServer::Endpoint() const {
    return std::to_wstring(m_Listener.Port());
}

RawRpcServer::Seen RawRpcServer::Finish() {
    m_Thread.join();
    if (!m_Seen)
        throw std::runtime_error("the raw server got no request: " + m_strFailure);
    return *m_Seen;
}

void RawRpcServer::Serve(const Answer& answer) {
    try {
        LoopbackSocket connection = m_Listener.Accept();
        const rpc::Message bind = rpc::Read(connection);
        connection.Write(rpc::MakeBindAck(bind.callId));
        const rpc::Message request = rpc::Read(connection);
        connection.Write(answer(request.callId));
        m_Seen = Seen{bind, request};
    } catch (const std::exception& error) {
        m_strFailure = error.what();
    }
}

}  // namespace test_support
