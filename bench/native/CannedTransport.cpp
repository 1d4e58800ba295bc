#include "native/CannedTransport.h"

#include "utilRPC/IdlServerHelper.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

namespace {

std::vector<std::uint8_t> s_Reply;

}  // namespace

void CannedTransport::SetReply(std::vector<std::uint8_t> reply) {
    s_Reply = std::move(reply);
}

void CRPCClient::Create(const CComponentID&, const CIPCParameter&) {}

void CRPCClient::Destroy() {}

void CRPCClient::SendRequest(CIPCMsgBuffer&, CIPCMsgBuffer& out, std::uint32_t) {
    out.WriteBytes(s_Reply.data(), static_cast<std::uint32_t>(s_Reply.size()));
}

std::uint32_t CRPCServer::Create(const CComponentID&, const CIPCParameter&) {
    return 0;
}

void CRPCServer::AddNewEndpoint(const CComponentID&) {}

void CRPCServer::Shutdown(std::uint32_t) {}

IdlServerHelper::WorkerThreadScope::WorkerThreadScope() : m_bInitialized(false) {}

IdlServerHelper::WorkerThreadScope::~WorkerThreadScope() = default;
