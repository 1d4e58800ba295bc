// The exports of settings that the service keeps.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

namespace {

// There is one schedule, and it starts at the full hour.
constexpr uint32_t kScheduleMinute = 0;
constexpr const wchar_t* kScheduleId = L"ScheduleScan";

}  // namespace

uint32_t WYAPI WySetCacheValidityTimeout(uint32_t validityPeriod) {
    return CallApi(L"WySetCacheValidityTimeout", validityPeriod);
}

uint32_t WYAPI WySetScheduleScanTime(uint8_t dayOfWeek, uint8_t hour) {
    return CallApi(L"WySetScheduleScanTime", dayOfWeek, hour, kScheduleMinute, kScheduleId);
}

uint32_t WYAPI WySetCloudBrokerStatus(uint32_t status) {
    return CallApi(L"WySetCloudBrokerStatus", status);
}

uint32_t WYAPI WySetProductLcid(uint32_t productLcid) {
    return CallApi(L"WySetProductLcid", productLcid);
}

uint32_t WYAPI WySetInspectUrl(const wchar_t* feedbackServerUrl, const wchar_t* reamerServerUrl) {
    return CallApi(L"WySetInspectUrl", feedbackServerUrl, reamerServerUrl);
}
