#include "support/loopback/LoopbackTransport.h"

#include <condition_variable>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

#include "utilRPC/IdlServerHelper.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_client.h"
#include "utilRPC/rpc_server.h"

namespace Loopback {

namespace {

constexpr std::uint32_t kSendRequestLine = 105;
constexpr std::uint32_t kInvalidBinding = 1702;

// All endpoints of the process. Endpoints of the server stay, as on the platform; whether the
// interface is registered decides if they answer.
struct Exchange {
    std::mutex mutex;
    std::condition_variable idle;
    std::map<std::wstring, std::shared_ptr<Service>> services;
    std::map<std::wstring, int> runningServices;
    std::set<std::wstring> serverEndpoints;
    bool serverRegistered = false;
    int runningServerCalls = 0;
    std::optional<Operation> refused;
    std::uint32_t refusalCode = 0;
};

Exchange& TheExchange() {
    static Exchange exchange;
    return exchange;
}

// A call that is running, for the length of a scope, whatever ends it. The exchange is locked when
// the scope begins and not when it ends.
class RunningCall {
public:
    explicit RunningCall(int& count) : m_iCount(++count) {}
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;
    ~RunningCall() {
        Exchange& exchange = TheExchange();
        const std::lock_guard lock(exchange.mutex);
        --m_iCount;
        exchange.idle.notify_all();
    }

private:
    int& m_iCount;
};

[[noreturn]] void Raise(std::uint32_t status) {
    throw OS::CException(status, L"rpc_client", kSendRequestLine);
}

void MayRefuse(Operation operation) {
    Exchange& exchange = TheExchange();
    const std::lock_guard lock(exchange.mutex);
    if (exchange.refused == operation)
        throw OS::CException(exchange.refusalCode, L"platform.cpp", 7);
}

Bytes CallServer(const Bytes& request) {
    std::int32_t size = 0;
    std::uint8_t* block = nullptr;
    IdlServerHelper::ServeRequest(static_cast<std::int32_t>(request.size()), request.data(), &size,
                                  &block);
    Bytes reply;
    if (block != nullptr && size > 0)
        reply.assign(block, block + size);
    std::free(block);
    return reply;
}

}  // namespace

Refusal::Refusal(Operation operation, std::uint32_t code) {
    Exchange& exchange = TheExchange();
    const std::lock_guard lock(exchange.mutex);
    exchange.refused = operation;
    exchange.refusalCode = code;
}

Refusal::~Refusal() {
    Exchange& exchange = TheExchange();
    const std::lock_guard lock(exchange.mutex);
    exchange.refused.reset();
}

Endpoint::Endpoint(std::wstring name, Service service) : m_strName(std::move(name)) {
    Exchange& exchange = TheExchange();
    const std::lock_guard lock(exchange.mutex);
    exchange.services[m_strName] = std::make_shared<Service>(std::move(service));
}

Endpoint::~Endpoint() {
    Exchange& exchange = TheExchange();
    std::unique_lock lock(exchange.mutex);
    exchange.services.erase(m_strName);
    exchange.idle.wait(lock, [&] { return exchange.runningServices[m_strName] == 0; });
    exchange.runningServices.erase(m_strName);
}

bool IsOpen(const std::wstring& name) {
    Exchange& exchange = TheExchange();
    const std::lock_guard lock(exchange.mutex);
    return exchange.services.contains(name) ||
           (exchange.serverRegistered && exchange.serverEndpoints.contains(name));
}

Bytes Send(const std::wstring& name, const Bytes& request) {
    Exchange& exchange = TheExchange();
    std::shared_ptr<Service> service;
    std::optional<RunningCall> running;
    {
        const std::lock_guard lock(exchange.mutex);
        const auto found = exchange.services.find(name);
        if (found != exchange.services.end()) {
            service = found->second;
            running.emplace(exchange.runningServices[name]);
        } else if (exchange.serverRegistered && exchange.serverEndpoints.contains(name)) {
            running.emplace(exchange.runningServerCalls);
        } else {
            Raise(kServerUnavailable);
        }
    }
    try {
        return service != nullptr ? (*service)(request) : CallServer(request);
    } catch (const std::uint32_t status) {
        Raise(status);
    }
}

}  // namespace Loopback

void CRPCClient::Create(const CComponentID& component, const CIPCParameter& parameter) {
    Loopback::MayRefuse(Loopback::Operation::kClientCreate);
    m_Parameter = static_cast<const CRPCClientParameter&>(parameter);
    const std::wstring endpoint = RpcProtocol::FormEndpoint(component, m_Parameter.GetProtocol());
    m_hBinding = new std::wstring(endpoint);
}

void CRPCClient::Destroy() {
    delete static_cast<std::wstring*>(m_hBinding);
    m_hBinding = nullptr;
    m_pszStringBinding = nullptr;
    Loopback::MayRefuse(Loopback::Operation::kClientDestroy);
}

void CRPCClient::SendRequest(CIPCMsgBuffer& in, CIPCMsgBuffer& out, std::uint32_t) {
    if (in.GetLength() < 1)
        return;
    if (m_hBinding == nullptr)
        Loopback::Raise(Loopback::kInvalidBinding);
    const Loopback::Bytes request(in.GetData(), in.GetData() + in.GetLength());
    const Loopback::Bytes reply =
        Loopback::Send(*static_cast<const std::wstring*>(m_hBinding), request);
    if (!reply.empty())
        out.WriteBytes(reply.data(), static_cast<std::uint32_t>(reply.size()));
}

std::uint32_t CRPCServer::Create(const CComponentID& component, const CIPCParameter& parameter) {
    Loopback::MayRefuse(Loopback::Operation::kServerCreate);
    m_ComponentID = component;
    m_Parameter = static_cast<const CRPCServerParameter&>(parameter);
    {
        Loopback::Exchange& exchange = Loopback::TheExchange();
        const std::lock_guard lock(exchange.mutex);
        exchange.serverRegistered = true;
    }
    AddNewEndpoint(component);
    return 0;
}

void CRPCServer::AddNewEndpoint(const CComponentID& component) {
    Loopback::MayRefuse(Loopback::Operation::kServerEndpoint);
    Loopback::Exchange& exchange = Loopback::TheExchange();
    const std::lock_guard lock(exchange.mutex);
    exchange.serverEndpoints.insert(RpcProtocol::FormEndpoint(component, GetProtocol()));
}

void CRPCServer::Shutdown(std::uint32_t) {
    Loopback::Exchange& exchange = Loopback::TheExchange();
    std::unique_lock lock(exchange.mutex);
    exchange.serverRegistered = false;
    exchange.idle.wait(lock, [&] { return exchange.runningServerCalls == 0; });
    lock.unlock();
    Loopback::MayRefuse(Loopback::Operation::kServerShutdown);
}

IdlServerHelper::WorkerThreadScope::WorkerThreadScope() : m_bInitialized(false) {}

IdlServerHelper::WorkerThreadScope::~WorkerThreadScope() = default;
