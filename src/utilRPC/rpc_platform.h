#pragma once

// The few things that the client manager needs of the platform beside the RPC runtime.

#include <string>

namespace RpcPlatform {

// A new UUID in lower-case text form (CoCreateGuid, UuidToStringA). Empty when there is none.
std::string NewUuidText();

// Signals an event handle (SetEvent).
void SignalEvent(void* event);

}  // namespace RpcPlatform
