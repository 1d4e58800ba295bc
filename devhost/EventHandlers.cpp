#include "devhost/EventHandlers.h"

#include <set>
#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "devhost/JsonFields.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace DevHost {

namespace {

namespace ApiId {
constexpr std::uint32_t kSubscribeEvent = 400012006;
constexpr std::uint32_t kUnsubscribeEvent = 400012007;
constexpr std::uint32_t kPublishEvent = 400012008;
}  // namespace ApiId

// By this event the library tells what WySetReamerStatus was asked for.
constexpr std::uint32_t kReamerStatusEvent = 32769;

// Characters of the JSON text.
constexpr std::size_t kLongestEvent = 1024 * 1024;

constexpr const char* kLogSource = "EventHandlers";
constexpr const wchar_t* kLogModule = L"WySvcHost";

void NoteReamerStatus(const Json::Value* param, std::uint32_t publisherPid) {
    if (param == nullptr || !param->isObject() || !(*param)["status"].isUInt()) {
        WY_LOG_WARN << L"reamer status without a number, from pid " << publisherPid;
        return;
    }
    WY_LOG_INFO << L"reamer status " << (*param)["status"].asUInt() << L", from pid "
                << publisherPid;
}

}  // namespace

std::wstring EventText(std::uint32_t eventId, const Json::Value* param,
                       std::uint32_t publisherPid) {
    JsonDocument document;
    Json::Value& event = document.Native();
    event = Json::Value(Json::objectValue);
    event["eventId"] = eventId;
    event["publisherPid"] = publisherPid;
    if (param != nullptr)
        event["param"] = *param;
    return document.ToCompactString();
}

void EventHandlers::AddTo(ApiRouter& router) {
    router.Add(ApiId::kSubscribeEvent, [this](const Json::Value& request, const CallContext& who) {
        return Subscribe(request, who);
    });
    router.Add(ApiId::kUnsubscribeEvent,
               [this](const Json::Value& request, const CallContext& who) {
                   return Unsubscribe(request, who);
               });
    router.Add(ApiId::kPublishEvent, [this](const Json::Value& request, const CallContext& who) {
        return PublishFor(request, who);
    });
}

ApiAnswer EventHandlers::Subscribe(const Json::Value& request, const CallContext& caller) {
    const JsonFields fields(request);
    const std::uint32_t eventId = fields.UInt32("eventId");
    fields.Text("productProcessName");
    const auto client = m_Clients.Find(caller.sessionKey, caller.processId);
    ApiAnswer answer;
    answer.data["eventId"] = eventId;
    answer.data["registered"] = client.has_value();
    if (client.has_value() && !m_Events.Subscribe(client->key, eventId)) {
        throw RequestError(KrCommon::Result::kOutOfMemory, "too many subscriptions");
    }
    return answer;
}

ApiAnswer EventHandlers::Unsubscribe(const Json::Value& request, const CallContext& caller) {
    const JsonFields fields(request);
    const std::uint32_t eventId = fields.UInt32("eventId");
    fields.Text("productProcessName");
    const auto client = m_Clients.Find(caller.sessionKey, caller.processId);
    ApiAnswer answer;
    answer.data["eventId"] = eventId;
    answer.data["wasSubscribed"] = client.has_value() && m_Events.Unsubscribe(client->key, eventId);
    return answer;
}

bool EventHandlers::Publish(std::uint32_t eventId, const Json::Value* param,
                            std::uint32_t publisherPid, std::uint32_t& subscribers) {
    subscribers = 0;
    const std::wstring text = EventText(eventId, param, publisherPid);
    if (text.size() > kLongestEvent)
        return false;
    for (const std::string& key : m_Events.Subscribers(eventId)) {
        const auto client = m_Clients.Find(key, kNoProcess);
        if (!client.has_value())
            continue;
        m_Events.DeliverEvent(*client, text);
        ++subscribers;
    }
    return true;
}

ApiAnswer EventHandlers::PublishFor(const Json::Value& request, const CallContext& caller) {
    const JsonFields fields(request);
    const std::uint32_t eventId = fields.UInt32("eventId");
    const Json::Value* const param = fields.Has("param") ? &fields.Member("param") : nullptr;
    std::uint32_t subscribers = 0;
    if (!Publish(eventId, param, caller.processId, subscribers)) {
        throw RequestError(KrCommon::Result::kInvalidArgument, "the event is too long");
    }
    if (eventId == kReamerStatusEvent)
        NoteReamerStatus(param, caller.processId);
    ApiAnswer answer;
    answer.data["eventId"] = eventId;
    answer.data["subscribers"] = subscribers;
    return answer;
}

}  // namespace DevHost
