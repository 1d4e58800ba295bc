#include "utilRPC/rpc_platform.h"

#include "Common/KrCommon/KrComn_Windows.h"

#include <objbase.h>
#include <rpc.h>

std::string RpcPlatform::NewUuidText() {
    GUID guid{};
    // The status is not examined: without a new GUID the text of the null one would come out, and
    // two processes with one name do not go unnoticed.
    static_cast<void>(CoCreateGuid(&guid));
    RPC_CSTR text = nullptr;
    if (UuidToStringA(&guid, &text) != RPC_S_OK)
        return {};
    const std::string result = reinterpret_cast<const char*>(text);
    RpcStringFreeA(&text);
    return result;
}

void RpcPlatform::SignalEvent(void* event) {
    SetEvent(event);
}
