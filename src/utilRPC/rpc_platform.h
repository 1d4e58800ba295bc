#pragma once

// The few things that the client manager needs of the platform beside the RPC runtime.

#include <cstddef>

namespace RpcPlatform {

// Characters of a UUID in text form with its terminator.
constexpr std::size_t kUuidTextSize = 37;

// Writes a new UUID in lower-case text form (CoCreateGuid, UuidToStringA). False when there is
// none.
bool NewUuidText(char (&text)[kUuidTextSize]);

// Signals an event handle (SetEvent).
void SignalEvent(void* event);

}  // namespace RpcPlatform
