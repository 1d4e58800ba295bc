#pragma once

// The transport of native tests: endpoints are names inside this process.
//
// It stands in for the platform half of CRPCClient and CRPCServer, so that everything above them
// is the product's own code. A client reaches either a test service opened here or an endpoint of
// the process's CRPCServer; nobody there gives the status 1722 as the RPC runtime does.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Loopback {

constexpr std::uint32_t kServerUnavailable = 1722;

using Bytes = std::vector<std::uint8_t>;

// What a test service does with one request. May be called by several threads at a time. A
// service that throws std::uint32_t fails the call with that status.
using Service = std::function<Bytes(const Bytes& request)>;

// Opens an endpoint for the length of a scope; its end waits for running calls.
class Endpoint {
public:
    Endpoint(std::wstring name, Service service);
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;
    ~Endpoint();

private:
    std::wstring m_strName;
};

// True when the process's server, or a test service, has this endpoint.
bool IsOpen(const std::wstring& name);

// The operations of the platform half that a test can have raise.
enum class Operation {
    kClientCreate,
    kClientDestroy,
    kServerCreate,
    kServerEndpoint,
    kServerShutdown,
};

// While it lives, the operation raises OS::CException(code, L"platform.cpp", 7). One at a time.
class Refusal {
public:
    Refusal(Operation operation, std::uint32_t code);
    Refusal(const Refusal&) = delete;
    Refusal& operator=(const Refusal&) = delete;
    ~Refusal();
};

// Sends one request to an endpoint, as a peer of the process would. Raises OS::CException with
// kServerUnavailable when nobody is there.
Bytes Send(const std::wstring& name, const Bytes& request);

}  // namespace Loopback
