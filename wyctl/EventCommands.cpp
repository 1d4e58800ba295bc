#include <fmt/format.h>
#include <json/value.h>

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

    // What the last renewal found.
    bool IsServed() const { return m_bServed; }

private:
    void TakeBack() {
        try {
            for (const std::uint32_t id : m_vecId) {
                m_Context.Unsubscribe(id);
            }
        } catch (const Failure&) {
            // The library cannot; the end of the session takes everything back as well.
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

void ShowUntilEnd(Context& context, Watch& watch, std::uint32_t count) {
    std::uint64_t shown = 0;
    for (std::uint32_t round = 1;; ++round) {
        // What comes meanwhile waits for the next round, so that a storm of events stops neither
        // Ctrl+C nor the renewals.
        for (const ReceivedEvent& event : EventFeed::Instance().TakeAll()) {
            Show(context, event);
            if (++shown == count) {
                return;
            }
        }
        if (context.Screen().WaitForInterrupt(kPollMs)) {
            return;
        }
        if (round % kPollsPerRenewal == 0) {
            watch.Renew();
        }
    }
}

}  // namespace

void RunEvents(Context& context, const EventsOptions& options) {
    std::vector<std::uint32_t> ids = options.ids;
    if (ids.empty()) {
        ids.push_back(kReamerStatusEvent);
    }
    SessionScope session(context);
    bool served = false;
    {
        Watch watch(context, ids);
        if (!context.Options().json) {
            context.Screen().Out(fmt::format("{:>10}  {}\n", "event", "content"));
        }
        ShowUntilEnd(context, watch, options.count);
        served = watch.IsServed();
    }
    if (const std::uint64_t dropped = EventFeed::Instance().Dropped(); dropped != 0) {
        context.Screen().Err(fmt::format("note: {} event(s) came too fast to show\n", dropped));
    }
    // A service that is away cannot be told, and the person knows that it is.
    if (served) {
        session.Close();
    }
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
