// WyInitialize and WyUninitialize.

#include <WySdk/WySdk.h>

#include <memory>
#include <new>
#include <vector>

#include "Common/KrCommon/KrComn_Log.h"
#include "WySdk/ApiCall.h"
#include "WySdk/EventBus.h"
#include "WySdk/SdkState.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"

namespace {

using KrCommon::Result::Failed;
using KrCommon::Result::kInvalidArgument;
using KrCommon::Result::kOutOfMemory;
using KrCommon::Result::kSuccess;

constexpr char kLogSource[] = "Session";
constexpr wchar_t kLogModule[] = L"WySdk";

// Makes the helper and keeps the name; null without memory.
std::unique_ptr<CKrRpcClientHelper> PrepareSession(const wchar_t* productId) {
    try {
        auto helper = std::make_unique<CKrRpcClientHelper>(ProductIdentity::kProductNumber,
                                                           ProductIdentity::kProductIdString, 0,
                                                           false, ProductIdentity::kTimeout);
        g_strProductId = productId;
        return helper;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::uint32_t OpenSession(const wchar_t* productId) {
    if (g_pClientHelper != nullptr) {
        WY_LOG_INFO << L"WySdk is already initialized";
        return kSuccess;
    }
    if (productId == nullptr || *productId == L'\0') {
        WY_LOG_ERROR << L"Null product ID!";
        return kInvalidArgument;
    }
    std::unique_ptr<CKrRpcClientHelper> helper = PrepareSession(productId);
    if (helper == nullptr) {
        WY_LOG_ERROR << L"failed to allocate memory!";
        return kOutOfMemory;
    }
    const std::uint32_t result = helper->RegisterProcess(productId, WyEventCallBack);
    if (Failed(result)) {
        WY_LOG_ERROR << L"RegisterProcess fail, retCode = " << WyHex{result};
        return result;
    }
    g_pClientHelper = helper.release();
    return result;
}

// Keys whose removal the service refuses stay in the map.
void UnsubscribeAll() {
    std::vector<std::uint32_t> eventIds;
    eventIds.reserve(g_EventCallbacks.size());
    for (const auto& [eventId, callback] : g_EventCallbacks)
        eventIds.push_back(eventId);
    for (const std::uint32_t eventId : eventIds) {
        const std::uint32_t result =
            Guarded(L"WyUnsubscribeEvent", [eventId] { return EventBus::Unsubscribe(eventId); });
        if (Failed(result)) {
            WY_LOG_WARN << L"WyUnsubscribeEvent fail, eventId = " << eventId << L". retCode = "
                        << WyHex{result};
        }
    }
}

std::uint32_t CloseSession() {
    UnsubscribeAll();
    WY_LOG_INFO << L"WyUninitialize";
    if (g_pClientHelper == nullptr) {
        WY_LOG_INFO << L"WySdk is not initialized yet";
        return kSuccess;
    }
    const std::unique_ptr<CKrRpcClientHelper> helper(g_pClientHelper);
    g_pClientHelper = nullptr;
    const std::uint32_t result = helper->UnregisterProcess();
    if (Failed(result)) {
        WY_LOG_ERROR << L"WyUninitialize execute fail, retCode = " << WyHex{result};
    }
    return result;
}

}  // namespace

uint32_t WYAPI WyInitialize(const wchar_t* productId) {
    return Guarded(L"WyInitialize", [productId] { return OpenSession(productId); });
}

uint32_t WYAPI WyUninitialize(void) {
    return Guarded(L"WyUninitialize", CloseSession);
}
