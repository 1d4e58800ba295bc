#include "devhost/ScanHandlers.h"

#include <algorithm>
#include <utility>

#include "devhost/JsonFields.h"

namespace DevHost {

namespace {

namespace ApiId {
constexpr std::uint32_t kScan = 400000000;
constexpr std::uint32_t kCancelScan = 400000001;
constexpr std::uint32_t kGetScanProgress = 400000002;
constexpr std::uint32_t kFix = 400000003;
constexpr std::uint32_t kCancelFix = 400000004;
constexpr std::uint32_t kGetFixProgress = 400000005;
constexpr std::uint32_t kGetScanResult = 400000007;
constexpr std::uint32_t kGetFixResult = 400000008;
constexpr std::uint32_t kCustomizeFix = 400000009;
constexpr std::uint32_t kPauseScan = 400000020;
constexpr std::uint32_t kResumeScan = 400000021;
constexpr std::uint32_t kCustomizeFixV2 = 400000030;
constexpr std::uint32_t kCancelFixV2 = 400000031;
constexpr std::uint32_t kGetFixProgressV2 = 400000032;
constexpr std::uint32_t kGetFixResultV2 = 400000033;
constexpr std::uint32_t kSetStartupServiceStatus = 400003002;
constexpr std::uint32_t kSetStartupProgramStatus = 400003003;
}  // namespace ApiId

constexpr const char* kProgramFeature = "autorunEntries";
constexpr const char* kServiceFeature = "startupServices";

[[noreturn]] void Reject(const char* text) {
    throw RequestError(KrCommon::Result::kInvalidArgument, text);
}

ApiAnswer ProgressOf(const WorkerJob::Status& status) {
    ApiAnswer answer;
    answer.data["progress"] = status.progress;
    answer.data["feature"] = status.part;
    answer.data["object"] = status.object;
    answer.data["state"] = JobStateName(status.state);
    if (status.state == JobState::kCancelled) {
        answer.retCode = kCancelled;
        answer.message = "it was cancelled";
    } else if (status.state == JobState::kFailed) {
        answer.retCode = KrCommon::Result::kFailure;
        answer.message = "it failed";
    }
    return answer;
}

std::vector<std::string> TextsOf(const Json::Value& list, const char* member) {
    std::vector<std::string> texts;
    if (!list.isArray() || list.size() > JsonFields::kListLimit) {
        Reject("a selection is a list of at most 100000 entries");
    }
    for (const Json::Value& item : list) {
        const Json::Value& text = item.isObject() ? item[member] : item;
        if (!text.isString())
            Reject("a selection is made of texts, or of objects with an \"id\"");
        texts.push_back(text.asString());
    }
    return texts;
}

}  // namespace

RepairChoice ReadRepairChoice(const Json::Value& data) {
    RepairChoice choice;
    if (data.isArray()) {
        choice.ids = TextsOf(data, "id");
        return choice;
    }
    if (!data.isObject())
        Reject("\"data\" must be a list of findings or an object");
    bool any = false;
    if (data.isMember("ids")) {
        choice.ids = TextsOf(data["ids"], "id");
        any = true;
    }
    if (data.isMember("findings")) {
        const std::vector<std::string> ids = TextsOf(data["findings"], "id");
        choice.ids.insert(choice.ids.end(), ids.begin(), ids.end());
        any = true;
    }
    if (data.isMember("items")) {
        choice.features = TextsOf(data["items"], "feature");
        any = true;
    }
    if (data.isMember("all") && data["all"].isBool()) {
        choice.all = data["all"].asBool();
        any = true;
    }
    if (!any)
        Reject("\"data\" must have \"ids\", \"findings\", \"items\" or \"all\"");
    return choice;
}

std::vector<std::string> ReadFeatures(const Json::Value& request) {
    std::vector<std::string> features = JsonFields(request).TextList("items");
    std::erase(features, "");
    if (std::find(features.begin(), features.end(), "all") != features.end())
        features.clear();
    return features;
}

void ScanHandlers::AddTo(ApiRouter& router) {
    AddScan(router);
    AddFirstVersion(router);
    AddSecondVersion(router);
    AddStartupStatus(router, ApiId::kSetStartupServiceStatus, kServiceFeature);
    AddStartupStatus(router, ApiId::kSetStartupProgramStatus, kProgramFeature);
}

void ScanHandlers::AddScan(ApiRouter& router) {
    const auto session = [this](const Json::Value& request) {
        return m_Engine.Get(JsonFields(request).Text("sessionId"));
    };
    router.Add(ApiId::kScan, [this](const Json::Value& request, const CallContext&) {
        const std::uint32_t active = JsonFields(request).UInt32("activeSessionId");
        ApiAnswer answer;
        answer.data["sessionId"] = m_Engine.Start(active, ReadFeatures(request))->Id();
        return answer;
    });
    router.Add(ApiId::kPauseScan, [session](const Json::Value& request, const CallContext&) {
        if (!session(request)->Pause())
            Reject("the scan is not running");
        return ApiAnswer{};
    });
    router.Add(ApiId::kResumeScan, [session](const Json::Value& request, const CallContext&) {
        if (!session(request)->Resume())
            Reject("the scan is not paused");
        return ApiAnswer{};
    });
    router.Add(ApiId::kCancelScan, [session](const Json::Value& request, const CallContext&) {
        session(request)->Cancel();
        return ApiAnswer{};
    });
    router.Add(ApiId::kGetScanProgress, [session](const Json::Value& request, const CallContext&) {
        return ProgressOf(session(request)->GetStatus());
    });
    router.Add(ApiId::kGetScanResult, [session](const Json::Value& request, const CallContext&) {
        ApiAnswer answer;
        answer.data = session(request)->Result(ReadFeatures(request));
        return answer;
    });
}

void ScanHandlers::AddFirstVersion(ApiRouter& router) {
    const auto session = [this](const Json::Value& request) {
        return m_Engine.Get(JsonFields(request).Text("sessionId"));
    };
    const auto repair = [session](const Json::Value& request) {
        return session(request)->GetRepair(ScanSession::kFirstVersion);
    };
    router.Add(ApiId::kFix, [session](const Json::Value& request, const CallContext&) {
        RepairChoice choice;
        choice.features = ReadFeatures(request);
        choice.all = choice.features.empty();
        session(request)->StartRepair(ScanSession::kFirstVersion, choice);
        return ApiAnswer{};
    });
    router.Add(ApiId::kCustomizeFix, [session](const Json::Value& request, const CallContext&) {
        session(request)->StartRepair(ScanSession::kFirstVersion,
                                      ReadRepairChoice(JsonFields(request).Member("data")));
        return ApiAnswer{};
    });
    router.Add(ApiId::kCancelFix, [repair](const Json::Value& request, const CallContext&) {
        repair(request)->Cancel();
        return ApiAnswer{};
    });
    router.Add(ApiId::kGetFixProgress, [repair](const Json::Value& request, const CallContext&) {
        return ProgressOf(repair(request)->GetStatus());
    });
    router.Add(ApiId::kGetFixResult, [repair](const Json::Value& request, const CallContext&) {
        ApiAnswer answer;
        answer.data = repair(request)->Report(ReadFeatures(request));
        return answer;
    });
}

void ScanHandlers::AddSecondVersion(ApiRouter& router) {
    const auto repair = [this](const Json::Value& request) {
        const JsonFields fields(request);
        const std::string repairId = fields.Text("fixSessionId");
        // The empty id is that of the first version and none of this one.
        if (repairId.empty())
            Reject("\"fixSessionId\" is empty");
        return m_Engine.Get(fields.Text("sessionId"))->GetRepair(repairId);
    };
    router.Add(ApiId::kCustomizeFixV2, [this](const Json::Value& request, const CallContext&) {
        const JsonFields fields(request);
        const auto session = m_Engine.Get(fields.Text("sessionId"));
        const std::string repairId = m_Engine.MakeId();
        session->StartRepair(repairId, ReadRepairChoice(fields.Member("data")));
        ApiAnswer answer;
        answer.data["fixSessionId"] = repairId;
        return answer;
    });
    router.Add(ApiId::kCancelFixV2, [repair](const Json::Value& request, const CallContext&) {
        repair(request)->Cancel();
        return ApiAnswer{};
    });
    router.Add(ApiId::kGetFixProgressV2, [repair](const Json::Value& request, const CallContext&) {
        return ProgressOf(repair(request)->GetStatus());
    });
    router.Add(ApiId::kGetFixResultV2, [repair](const Json::Value& request, const CallContext&) {
        ApiAnswer answer;
        answer.data = repair(request)->Report({});
        return answer;
    });
}

void ScanHandlers::AddStartupStatus(ApiRouter& router, std::uint32_t apiId, const char* feature) {
    router.Add(apiId, [this, feature](const Json::Value& request, const CallContext&) {
        return SetStartupStatus(feature, request);
    });
}

ApiAnswer ScanHandlers::SetStartupStatus(const char* feature, const Json::Value& request) {
    const JsonFields fields(request);
    const auto session = m_Engine.Get(fields.Text("sessionId"));
    const std::uint32_t status = fields.UInt32("status");
    if (status > 1)
        Reject("\"status\" is 0 (off) or 1 (on)");
    const Json::Value& data = fields.Member("data");
    const Json::Value& list = data.isObject() ? data["names"] : data;
    const std::vector<std::string> names = TextsOf(list, "name");

    Json::Value items(Json::arrayValue);
    for (const std::string& name : names) {
        Json::Value item(Json::objectValue);
        item["name"] = name;
        item["status"] = status;
        item["found"] = session->NoteStatus(feature, name, status);
        items.append(std::move(item));
    }
    ApiAnswer answer;
    answer.data["items"] = std::move(items);
    answer.data["machineChanged"] = false;
    return answer;
}

StartupNames ScanHandlers::GetStartupNames() {
    StartupNames names;
    names.programs = [this](const std::string& sessionId) {
        return m_Engine.Get(sessionId)->NamesOf(kProgramFeature);
    };
    names.services = [this](const std::string& sessionId) {
        return m_Engine.Get(sessionId)->NamesOf(kServiceFeature);
    };
    return names;
}

}  // namespace DevHost
