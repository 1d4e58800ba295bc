#include "utilRPC/rpc_platform.h"

#include <cstring>

#include "Common/KrCommon/KrComn_Windows.h"

#include <objbase.h>
#include <rpc.h>

bool RpcPlatform::NewUuidText(char (&text)[kUuidTextSize]) {
    GUID guid{};
    // The status is not examined: without a new GUID the text of the null one would come out, and
    // two processes with one name do not go unnoticed.
    static_cast<void>(CoCreateGuid(&guid));
    RPC_CSTR made = nullptr;
    if (UuidToStringA(&guid, &made) != RPC_S_OK || made == nullptr) {
        return false;
    }
    const auto* characters = reinterpret_cast<const char*>(made);
    const bool fits = std::strlen(characters) + 1 == kUuidTextSize;
    if (fits) {
        std::memcpy(text, characters, kUuidTextSize);
    }
    RpcStringFreeA(&made);
    return fits;
}

void RpcPlatform::SignalEvent(void* event) {
    SetEvent(event);
}
