// Events, from one process to the service and back into the callback of this one.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "abi/EventInbox.h"
#include "abi/SdkLibrary.h"
#include "abi/ServiceFixture.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ServiceHost;

constexpr std::uint32_t kEvent = 7;
constexpr std::uint32_t kOtherEvent = 8;
// Long enough for an event that should not come.
constexpr std::chrono::milliseconds kAWhile{300};

class Events : public ServiceFixture {
protected:
    void SetUp() override { Inbox().Reset(); }
    void TearDown() override {
        SDK(WyUnsubscribeEvent)(kEvent);
        SDK(WyUnsubscribeEvent)(kOtherEvent);
    }

    static EventInbox& Inbox() { return EventInbox::Instance(); }
    static std::uint32_t Subscribe(std::uint32_t id) {
        return SDK(WySubscribeEvent)(id, EventInbox::Take);
    }
};

TEST_F(Events, published_event_arrives_whole) {
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK,
              SDK(WyPublishEventEx)(kEvent, L"{\"percent\":5,\"name\":\"\u00e4\U0001f642\"}"));
    ASSERT_TRUE(Inbox().WaitFor(1));
    const EventInbox::Event event = Inbox().Events().front();
    EXPECT_EQ(kEvent, event.id);
    EXPECT_EQ(L'\n', event.text.back());
    EXPECT_EQ(std::wstring::npos, event.text.find(L' '));
    JsonDocument document;
    ASSERT_EQ(JsonDocument::kOk, document.Parse(event.text));
    EXPECT_EQ(kEvent, document[L"eventId"].AsUInt32());
    EXPECT_EQ(5u, document[L"param"][L"percent"].AsUInt32());
    EXPECT_EQ(L"\u00e4\U0001f642", document[L"param"][L"name"].AsString());
    EXPECT_EQ(GetCurrentProcessId(), document[L"publisherPid"].AsUInt32());
}

TEST_F(Events, event_without_parameter_has_none) {
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    ASSERT_TRUE(Inbox().WaitFor(1));
    JsonDocument document;
    ASSERT_EQ(JsonDocument::kOk, document.Parse(Inbox().Events().front().text));
    EXPECT_FALSE(document.isMember(L"param"));
}

TEST_F(Events, only_what_was_subscribed_to_arrives) {
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kOtherEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    ASSERT_TRUE(Inbox().WaitFor(1));
    EXPECT_FALSE(Inbox().WaitFor(2, kAWhile));
    EXPECT_EQ(kEvent, Inbox().Events().front().id);
}

std::atomic<int> s_iOthers{0};

std::uint32_t WYAPI CountAlone(std::uint32_t, const wchar_t*) {
    ++s_iOthers;
    return WY_S_OK;
}

TEST_F(Events, second_subscription_replaces_the_callback) {
    s_iOthers = 0;
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, CountAlone));
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    ASSERT_TRUE(Inbox().WaitFor(1));
    EXPECT_FALSE(Inbox().WaitFor(2, kAWhile));
    EXPECT_EQ(0, s_iOthers);
}

TEST_F(Events, unsubscribed_event_does_not_arrive) {
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyUnsubscribeEvent)(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_FALSE(Inbox().WaitFor(1, kAWhile));
}

TEST_F(Events, unsubscribing_waits_for_the_callback_that_runs) {
    std::atomic<bool> entered{false};
    std::atomic<bool> left{false};
    Inbox().Reset([&](const EventInbox::Event&) {
        entered = true;
        Sleep(300);
        left = true;
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    while (!entered)
        Sleep(1);
    EXPECT_EQ(WY_S_OK, SDK(WyUnsubscribeEvent)(kEvent));
    EXPECT_TRUE(left);
    Inbox().Reset();
}

TEST_F(Events, failing_callback_does_not_stop_later_events) {
    Inbox().Reset([](const EventInbox::Event&) { return WY_E_FAILURE; });
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_TRUE(Inbox().WaitFor(3));
}

TEST_F(Events, null_callback_takes_nothing_and_can_be_replaced) {
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, nullptr));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_FALSE(Inbox().WaitFor(1, kAWhile));
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_TRUE(Inbox().WaitFor(1));
}

TEST_F(Events, callbacks_that_sleep_delay_events_and_lose_none) {
    constexpr std::size_t kCount = 60;
    Inbox().Reset([](const EventInbox::Event&) {
        Sleep(10);
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    for (std::size_t i = 0; i < kCount; ++i)
        ASSERT_EQ(WY_S_OK, SDK(WyPublishEventEx)(kEvent, std::to_wstring(i).c_str()));
    ASSERT_TRUE(Inbox().WaitFor(kCount));
    const std::vector<EventInbox::Event> events = Inbox().Events();
    for (std::size_t i = 0; i < kCount; ++i) {
        JsonDocument document;
        ASSERT_EQ(JsonDocument::kOk, document.Parse(events[i].text));
        EXPECT_EQ(i, document[L"param"].AsUInt32());
    }
}

TEST_F(Events, callback_may_call_what_takes_no_lock) {
    std::atomic<std::uint32_t> code{0};
    Inbox().Reset([&](const EventInbox::Event& event) {
        std::uint32_t load = 0;
        code = SDK(WyGetSysCpuUsage)(&load);
        if (event.id == kEvent && code == WY_S_OK)
            code = SDK(WyPublishEvent)(kOtherEvent);
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, Subscribe(kEvent));
    ASSERT_EQ(WY_S_OK, Subscribe(kOtherEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    ASSERT_TRUE(Inbox().WaitFor(2));
    EXPECT_EQ(WY_S_OK, code);
    EXPECT_EQ(kOtherEvent, Inbox().Events().back().id);
    Inbox().Reset();
}

// Tests with a service of their own.

TEST(EventRefusal, refused_subscription_changes_nothing) {
    EventInbox::Instance().Reset();
    const ServiceHost host(L"api:400012006 retcode 0xe0ff0042; api:400012007 fail 5");
    const SdkSession session;
    EXPECT_EQ(0xe0ff0042u, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
    // The service knows of the subscription all the same; the library does not deliver.
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_FALSE(EventInbox::Instance().WaitFor(1, kAWhile));

    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
    EXPECT_EQ(0xe0010005u, SDK(WyUnsubscribeEvent)(kEvent));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_TRUE(EventInbox::Instance().WaitFor(1));
    EXPECT_EQ(WY_S_OK, SDK(WyUnsubscribeEvent)(kEvent));
}

TEST(EventSession, without_a_session_nothing_arrives) {
    EventInbox::Instance().Reset();
    const ServiceHost host;
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_FALSE(EventInbox::Instance().WaitFor(1, kAWhile));
    EXPECT_EQ(WY_S_OK, SDK(WyUnsubscribeEvent)(kEvent));
}

TEST(EventSession, closing_the_session_takes_all_subscriptions_back) {
    EventInbox::Instance().Reset();
    const ServiceHost host;
    for (int round = 0; round < 2; ++round) {
        const SdkSession session;
        // The first session's subscription is gone; a second one starts from nothing.
        ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
        EXPECT_FALSE(EventInbox::Instance().WaitFor(1, kAWhile));
        EXPECT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
    }
}

TEST(EventSession, subscriptions_of_a_service_that_is_gone_stay_in_the_library) {
    EventInbox::Instance().Reset();
    auto host = std::make_unique<ServiceHost>();
    {
        const SdkSession session;
        ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
        host->Kill();
        host.reset();
    }
    // The service could not consent; the next session takes them back.
    host = std::make_unique<ServiceHost>();
    {
        const SdkSession session;
        ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
        ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
        EXPECT_TRUE(EventInbox::Instance().WaitFor(1));
    }
}

}  // namespace
