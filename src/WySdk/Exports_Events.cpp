// The exports that publish events.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

uint32_t WYAPI WyPublishEvent(uint32_t eventId) {
    return CallApi(L"WyPublishEvent", eventId);
}

uint32_t WYAPI WyPublishEventEx(uint32_t eventId, const wchar_t* param) {
    return CallApi(L"WyPublishEventEx", eventId, param);
}
