#pragma once

// Subscriptions and the delivery of events.
//
// The application's callback runs with g_ApiMutex held: while one callback runs, every other
// event and every subscription waits, and a callback that subscribes or unsubscribes waits for
// ever.

#include <cstdint>

#include "WySdk/SdkState.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace EventBus {

// Tells the service that this process wants an event, and keeps the callback when the service
// agrees, in place of an earlier one. A null callback is kept like any other and fails at the
// delivery. 0x20ff0000, or the service's negative code, and then nothing has changed.
std::uint32_t Subscribe(std::uint32_t eventId, WyEventCallback callback);

// Takes a subscription back at the service and forgets the callback when the service agrees.
// 0x20ff0000, also for an event without subscription; or the service's negative code, and then
// the callback stays.
std::uint32_t Unsubscribe(std::uint32_t eventId);

}  // namespace EventBus

// Delivers one event to its callback, on a thread of the callback server, and returns the
// callback's result. 0xe0ff0007: the event names no identifier, or one without a callback.
// Raises nothing.
std::uint32_t WyEventCallBack(JsonDocument& event) noexcept;
