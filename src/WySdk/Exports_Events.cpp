// The exports that subscribe to events and publish them.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"
#include "WySdk/EventBus.h"

uint32_t WYAPI WySubscribeEvent(uint32_t eventId, WyEventCallback callback) {
    return Guarded(L"WySubscribeEvent",
                   [eventId, callback] { return EventBus::Subscribe(eventId, callback); });
}

uint32_t WYAPI WyUnsubscribeEvent(uint32_t eventId) {
    return Guarded(L"WyUnsubscribeEvent", [eventId] { return EventBus::Unsubscribe(eventId); });
}

uint32_t WYAPI WyPublishEvent(uint32_t eventId) {
    return CallApi(L"WyPublishEvent", eventId);
}

uint32_t WYAPI WyPublishEventEx(uint32_t eventId, const wchar_t* param) {
    return CallApi(L"WyPublishEventEx", eventId, param);
}
