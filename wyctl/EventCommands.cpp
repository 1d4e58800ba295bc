#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/EventFeed.h"
#include "wyctl/JsonText.h"

namespace WyCtl {

namespace {

using KrCommon::Result::Failed;

// The event by which the service learns of a change of the reamer's status: the one event whose
// number the library itself knows.
constexpr std::uint32_t kReamerStatusEvent = 32769;

constexpr std::uint32_t kPollMs = 100;
// Between two renewals of the subscriptions: a service that was restarted does not know them, and
// the library does not renew them.
constexpr std::uint32_t kPollsPerRenewal = 10;

std::uint32_t WYAPI TakeEvent(std::uint32_t id, const wchar_t* text) {
    try {
        EventFeed::Instance().Push(id, text);
        return KrCommon::Result::kSuccess;
    } catch (const std::bad_alloc&) {
        return KrCommon::Result::kOutOfMemory;
    }
}

// The subscriptions of one run, taken back with it.
class Watch {
public:
    Watch(Context& context, const std::vector<std::uint32_t>& ids) : m_Context(context) {
        EventFeed::Instance().Clear();
        for (const std::uint32_t id : ids) {
            const std::uint32_t code = context.Subscribe(id, TakeEvent);
            if (Failed(code)) {
                TakeBack();
                throw CallFailed("WySubscribeEvent", {code, {}});
            }
            m_vecId.push_back(id);
        }
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { TakeBack(); }

    // Tells the service again, and the person when the service comes and goes.
    void Renew() {
        bool served = true;
        for (const std::uint32_t id : m_vecId) {
            served = served && !Failed(m_Context.Subscribe(id, TakeEvent));
        }
        if (served != m_bServed) {
            m_Context.Screen().Err(served ? "note: the service is back, subscribed again\n"
                                          : "note: the service does not answer, waiting for it\n");
        }
        m_bServed = served;
    }

private:
    void TakeBack() {
        for (const std::uint32_t id : m_vecId) {
            m_Context.Unsubscribe(id);
        }
        m_vecId.clear();
    }

    Context& m_Context;
    std::vector<std::uint32_t> m_vecId;
    bool m_bServed = true;
};

void Show(Context& context, const ReceivedEvent& event) {
    const std::string text = KrCommon::String::ToUtf8(event.text);
    const std::optional<Json::Value> parsed = ParseJson(text);
    if (context.Options().json) {
        Json::Value line(Json::objectValue);
        line["ok"] = true;
        line["eventId"] = event.id;
        line["event"] = parsed.value_or(Json::Value(text));
        context.PrintJson(line);
        return;
    }
    context.Screen().Out(
        fmt::format("{:>10}  {}\n", event.id, parsed.has_value() ? WriteJson(*parsed) : text));
}

}  // namespace

void RunEvents(Context& context, const EventsOptions& options) {
    std::vector<std::uint32_t> ids = options.ids;
    if (ids.empty()) {
        ids.push_back(kReamerStatusEvent);
    }
    SessionScope session(context);
    {
        Watch watch(context, ids);
        if (!context.Options().json) {
            context.Screen().Out(fmt::format("{:>10}  {}\n", "event", "content"));
        }
        std::uint32_t shown = 0;
        const auto showAll = [&] {
            while (options.count == 0 || shown < options.count) {
                const std::optional<ReceivedEvent> event = EventFeed::Instance().Pop();
                if (!event.has_value()) {
                    return false;
                }
                Show(context, *event);
                ++shown;
            }
            return true;
        };
        for (std::uint32_t round = 1; !showAll(); ++round) {
            if (context.Screen().WaitForInterrupt(kPollMs)) {
                break;
            }
            if (round % kPollsPerRenewal == 0) {
                watch.Renew();
            }
        }
        if (const std::uint64_t dropped = EventFeed::Instance().Dropped(); dropped != 0) {
            context.Screen().Err(fmt::format("note: {} events came too fast to show\n", dropped));
        }
    }
    session.Close();
}

void RunPublish(Context& context, const PublishOptions& options) {
    if (!options.param.has_value()) {
        context.Call("WyPublishEvent", {std::uint64_t{options.id}});
    } else if (!ParseJson(*options.param).has_value()) {
        throw UsageError("the parameter of an event must be JSON");
    } else {
        context.Call("WyPublishEventEx",
                     {std::uint64_t{options.id}, KrCommon::String::FromUtf8(*options.param)});
    }
    if (context.Options().json) {
        Json::Value line(Json::objectValue);
        line["ok"] = true;
        line["eventId"] = options.id;
        context.PrintJson(line);
        return;
    }
    context.Screen().Out(fmt::format("published event {}\n", options.id));
}

}  // namespace WyCtl
