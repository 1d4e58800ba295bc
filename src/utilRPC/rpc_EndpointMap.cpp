#include "utilRPC/rpc_EndpointMap.h"

#include <algorithm>

#include "Common/KrCommon/KrComn_Log.h"

namespace {

constexpr const char* kLogSource = "rpc_EndpointMap";
constexpr const wchar_t* kLogModule = L"utilRPC";

wchar_t LowerAscii(wchar_t c) {
    return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

}  // namespace

const std::map<std::wstring, std::wstring> CRPCEndpointMap::s_mapEndpoint;

CRPCEndpointMap::CRPCEndpointMap(const CComponentID& component)
    : m_strComponent(component.GetName()) {
    const auto found = s_mapEndpoint.find(m_strComponent);
    m_wsEndpoint = found != s_mapEndpoint.end() ? found->second : m_strComponent;
    WY_LOG_INFO << L"CRPCEndpointMap::CRPCEndpointMap(), endpoint: " << m_wsEndpoint;
}

bool RpcProtocol::Equal(const std::wstring& left, const std::wstring& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](wchar_t a, wchar_t b) { return LowerAscii(a) == LowerAscii(b); });
}

std::wstring RpcProtocol::FormEndpoint(const CComponentID& component,
                                       const std::wstring& protocol) {
    const CRPCEndpointMap map(component);
    return Equal(protocol, kNamedPipe) ? L"\\pipe\\" + map.GetEndpoint() : map.GetEndpoint();
}
