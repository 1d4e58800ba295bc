#pragma once

#include <map>
#include <string>

#include "Framework/utilIPC/ipc_component_id.h"

// Resolves the endpoint name of a component.
//
// The map of exceptions is a point of configuration that nothing in this library fills, so that
// the endpoint is the component's own name.
class CRPCEndpointMap {
public:
    explicit CRPCEndpointMap(const CComponentID& component);
    virtual ~CRPCEndpointMap() = default;

    const std::wstring& GetEndpoint() const { return m_wsEndpoint; }

private:
    std::wstring m_strComponent;
    std::wstring m_wsEndpoint;

    static const std::map<std::wstring, std::wstring> s_mapEndpoint;
};

namespace RpcProtocol {

constexpr const wchar_t* kLocal = L"ncalrpc";
constexpr const wchar_t* kNamedPipe = L"ncacn_np";

// True when both name the same protocol, ignoring ASCII case.
bool Equal(const std::wstring& left, const std::wstring& right);

// The endpoint of a component in the form that the protocol wants: "\pipe\NAME" under named
// pipes, the name itself otherwise.
std::wstring FormEndpoint(const CComponentID& component, const std::wstring& protocol);

}  // namespace RpcProtocol
