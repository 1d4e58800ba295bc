#include <optional>

#include "support/loopback/LoopbackTransport.h"
#include "support/service/ScriptedService.h"
#include "support/service/ServiceScript.h"
#include "utilMode/FrwkMode.h"
#include "utilRPC/RpcClientManager.h"

namespace test_support {

class ScriptedService::Impl {
public:
    Impl() { Open(); }

    void Open() {
        script = std::make_shared<ServiceScript>();
        endpoint.emplace(ServiceComponentName(), [played = script](const Loopback::Bytes& request) {
            return played->Play(request);
        });
    }

    std::shared_ptr<ServiceScript> script;
    std::optional<Loopback::Endpoint> endpoint;
};

namespace {

// The native program's name tells no identity.
void ChooseIdentity() {
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
}

}  // namespace

ScriptedService::ScriptedService() {
    ChooseIdentity();
    m_pImpl = std::make_unique<Impl>();
}

ScriptedService::~ScriptedService() = default;

void ScriptedService::Reset() {
    m_pImpl->script->Reset();
}

void ScriptedService::PushReply(const Bytes& reply) {
    m_pImpl->script->PushReply(reply);
}

void ScriptedService::SetReply(const Bytes& reply) {
    m_pImpl->script->SetReply(reply);
}

void ScriptedService::SetMonitorReply(const Bytes& reply) {
    m_pImpl->script->SetMonitorReply(reply);
}

std::vector<Bytes> ScriptedService::TakeMonitorRequests() {
    return m_pImpl->script->TakeMonitorRequests();
}

void ScriptedService::SetDelay(std::uint32_t milliseconds) {
    m_pImpl->script->SetDelay(milliseconds);
}

std::vector<Bytes> ScriptedService::TakeRequests() {
    return m_pImpl->script->TakeRequests();
}

Bytes ScriptedService::Deliver(const std::string& endpoint, const Bytes& request) {
    return CallEndpoint(std::wstring(endpoint.begin(), endpoint.end()), request);
}

void ScriptedService::Kill() {
    m_pImpl->endpoint.reset();
}

void ScriptedService::Restart() {
    m_pImpl->Open();
}

}  // namespace test_support
