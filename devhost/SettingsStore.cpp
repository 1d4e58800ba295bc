#include "devhost/SettingsStore.h"

#include <utility>

#include "devhost/JsonFields.h"

namespace DevHost {

namespace {

namespace ApiId {
constexpr std::uint32_t kSetCacheValidityTimeout = 400011000;
constexpr std::uint32_t kSetScheduleScanTime = 400011001;
constexpr std::uint32_t kSetInspectUrl = 400011002;
constexpr std::uint32_t kUpdate = 400012003;
constexpr std::uint32_t kSetCloudBrokerStatus = 400014004;
constexpr std::uint32_t kSetProductLcid = 400014005;
}  // namespace ApiId

// A day of the week is 0 (Sunday) to 6, or 7 for every day.
constexpr std::uint32_t kHighestDay = 7;
constexpr std::uint32_t kHighestHour = 23;
constexpr std::uint32_t kHighestMinute = 59;

std::uint32_t UpTo(const JsonFields& fields, const char* key, std::uint32_t highest) {
    const std::uint32_t value = fields.UInt32(key);
    if (value > highest) {
        throw RequestError(KrCommon::Result::kInvalidArgument,
                           std::string("\"") + key + "\" is at most " + std::to_string(highest));
    }
    return value;
}

}  // namespace

ApiAnswer SettingsStore::Keep(std::uint32_t apiId, Json::Value settings) {
    ApiAnswer answer;
    answer.data = settings;
    const std::scoped_lock lock(m_Mutex);
    m_mapSettings[apiId] = std::move(settings);
    return answer;
}

Json::Value SettingsStore::Get(std::uint32_t apiId) const {
    const std::scoped_lock lock(m_Mutex);
    const auto found = m_mapSettings.find(apiId);
    return found == m_mapSettings.end() ? Json::Value() : found->second;
}

void SettingsStore::AddTo(ApiRouter& router) {
    const auto addNumber = [this, &router](std::uint32_t apiId, const char* key) {
        router.Add(apiId, [this, apiId, key](const Json::Value& request, const CallContext&) {
            Json::Value settings(Json::objectValue);
            settings[key] = JsonFields(request).UInt32(key);
            return Keep(apiId, std::move(settings));
        });
    };
    addNumber(ApiId::kSetCacheValidityTimeout, "validityPeriod");
    addNumber(ApiId::kSetCloudBrokerStatus, "status");
    addNumber(ApiId::kSetProductLcid, "productLcid");

    router.Add(ApiId::kSetScheduleScanTime, [this](const Json::Value& request, const CallContext&) {
        const JsonFields fields(request);
        Json::Value settings(Json::objectValue);
        settings["dayOfWeek"] = UpTo(fields, "dayOfWeek", kHighestDay);
        settings["hour"] = UpTo(fields, "hour", kHighestHour);
        settings["minute"] = UpTo(fields, "minute", kHighestMinute);
        settings["scheduleId"] = fields.Text("scheduleId");
        return Keep(ApiId::kSetScheduleScanTime, std::move(settings));
    });
    router.Add(ApiId::kSetInspectUrl, [this](const Json::Value& request, const CallContext&) {
        const JsonFields fields(request);
        Json::Value settings(Json::objectValue);
        settings["feedbackServerUrl"] = fields.Text("feedbackServerUrl");
        settings["reamerServerUrl"] = fields.Text("reamerServerUrl");
        return Keep(ApiId::kSetInspectUrl, std::move(settings));
    });
    // There is no update of a development host; the request is taken and counts as done.
    router.Add(ApiId::kUpdate, [](const Json::Value&, const CallContext&) {
        ApiAnswer answer;
        answer.data["updateAvailable"] = false;
        answer.data["sample"] = true;
        return answer;
    });
}

}  // namespace DevHost
