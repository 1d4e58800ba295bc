#include "WySdk/EventBus.h"

#include <array>
#include <string>
#include <string_view>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "WySdk/ApiCall.h"
#include "WySdk/SdkPrimitive.h"

namespace {

using KrCommon::Result::Failed;
using KrCommon::Result::kInvalidArgument;
using KrCommon::Result::kSuccess;

constexpr char kLogSource[] = "EventBus";
constexpr wchar_t kLogModule[] = L"WySdk";

// Must be called with g_ApiMutex held.
std::uint32_t TellService(std::wstring_view apiName, std::uint32_t eventId) {
    const std::array<std::uint64_t, 2> slots{Slot(eventId), Slot(g_strProductId.c_str())};
    return WySdkPrimitive(apiName, GetApiArgumentCount(apiName), slots);
}

std::uint32_t Deliver(JsonDocument& event) {
    const boost::mutex::scoped_lock lock(g_ApiMutex);
    if (!event.isMember(L"eventId")) {
        WY_LOG_ERROR << L"Event Id is absent! JSON = " << event.ToCompactString();
        return kInvalidArgument;
    }
    const std::uint32_t eventId = event[L"eventId"].AsUInt32();
    const auto entry = g_EventCallbacks.find(eventId);
    if (entry == g_EventCallbacks.end()) {
        WY_LOG_ERROR << L"the event not subscribed yet, event = " << eventId;
        return kInvalidArgument;
    }
    if (entry->second == nullptr) {
        WY_LOG_ERROR << L"Null callback function, event = " << eventId;
        return kInvalidArgument;
    }
    return entry->second(eventId, event.ToCompactString().c_str());
}

}  // namespace

namespace EventBus {

std::uint32_t Subscribe(std::uint32_t eventId, WyEventCallback callback) {
    const boost::mutex::scoped_lock lock(g_ApiMutex);
    // Memory comes first: a subscription that the service has accepted must not be lost here.
    std::map<std::uint32_t, WyEventCallback> entry{{eventId, callback}};
    const std::uint32_t result = TellService(L"WySubscribeEvent", eventId);
    if (Failed(result)) {
        WY_LOG_ERROR << L"Failed to subscribe event! event = " << eventId;
        return result;
    }
    g_EventCallbacks.erase(eventId);
    g_EventCallbacks.merge(entry);
    return kSuccess;
}

std::uint32_t Unsubscribe(std::uint32_t eventId) {
    const boost::mutex::scoped_lock lock(g_ApiMutex);
    const std::uint32_t result = TellService(L"WyUnsubscribeEvent", eventId);
    if (Failed(result)) {
        WY_LOG_ERROR << L"Failed to un-subscribe event! event = " << eventId;
        return result;
    }
    g_EventCallbacks.erase(eventId);
    return kSuccess;
}

}  // namespace EventBus

std::uint32_t WyEventCallBack(JsonDocument& event) noexcept {
    return Guarded(L"WyEventCallBack", [&event] { return Deliver(event); });
}
