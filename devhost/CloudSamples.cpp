#include "devhost/CloudSamples.h"

#include <utility>
#include <vector>

#include "devhost/JsonFields.h"

namespace DevHost::CloudSamples {

namespace {

namespace ApiId {
constexpr std::uint32_t kGetCloudDataStartupApp = 400014001;
constexpr std::uint32_t kGetCloudDataStartupSvc = 400014002;
constexpr std::uint32_t kGetCloudDataBootupRanking = 400014003;
}  // namespace ApiId

// Start-up times in seconds, and the share of machines that take longer.
constexpr std::pair<std::uint32_t, std::uint32_t> kRanks[] = {
    {10, 99}, {20, 92}, {30, 80}, {40, 65}, {60, 45}, {90, 25}, {120, 15}, {180, 6}, {300, 2}};

// A number between 0 and 100 that is the same for a name whenever it is asked for.
std::uint32_t SampleShare(const std::string& name) {
    std::uint32_t hash = 2166136261U;
    for (const char character : name) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
    }
    return hash % 101;
}

ApiAnswer SamplesOf(const std::vector<std::string>& names) {
    Json::Value items(Json::arrayValue);
    for (const std::string& name : names) {
        Json::Value item(Json::objectValue);
        const std::uint32_t share = SampleShare(name);
        item["name"] = name;
        item["disabledByPercent"] = share;
        item["suggestion"] = share > 50 ? "disable" : "keep";
        items.append(std::move(item));
    }
    ApiAnswer answer;
    answer.data["items"] = std::move(items);
    answer.data["sample"] = true;
    return answer;
}

}  // namespace

std::uint32_t RankOf(std::uint32_t bootupSeconds) {
    for (const auto& [seconds, share] : kRanks) {
        if (bootupSeconds <= seconds)
            return share;
    }
    return 1;
}

void AddTo(ApiRouter& router, const StartupNames& names) {
    router.Add(ApiId::kGetCloudDataStartupApp,
               [of = names.programs](const Json::Value& request, const CallContext&) {
                   return SamplesOf(of(JsonFields(request).Text("sessionId")));
               });
    router.Add(ApiId::kGetCloudDataStartupSvc,
               [of = names.services](const Json::Value& request, const CallContext&) {
                   return SamplesOf(of(JsonFields(request).Text("sessionId")));
               });
    router.Add(ApiId::kGetCloudDataBootupRanking,
               [](const Json::Value& request, const CallContext&) {
                   ApiAnswer answer;
                   answer.data["percentage"] = RankOf(JsonFields(request).UInt32("bootupTime"));
                   answer.data["threshold"] = kQuickStartSeconds;
                   answer.data["sample"] = true;
                   return answer;
               });
}

}  // namespace DevHost::CloudSamples
