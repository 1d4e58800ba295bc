#include "WySdk/EventBus.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "support/FakeMail.h"
#include "support/LogRecorder.h"

namespace {

using test_support::FakeMail;
using test_support::LogRecorder;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kRefused = 0xe0ff0001;
constexpr std::uint32_t kError = 256;

struct Event {
    std::uint32_t id;
    std::wstring text;
    bool operator==(const Event&) const = default;
};

std::vector<Event> s_Events;
std::uint32_t s_uiCallbackResult = 0;
std::function<void()> s_InCallback;

std::uint32_t WYAPI First(std::uint32_t eventId, const wchar_t* event) {
    s_Events.push_back({eventId, event});
    if (s_InCallback)
        s_InCallback();
    return s_uiCallbackResult;
}

std::uint32_t WYAPI Second(std::uint32_t eventId, const wchar_t* event) {
    s_Events.push_back({eventId + 1000, event});
    return 2;
}

class EventBusTest : public testing::Test {
protected:
    EventBusTest() {
        g_strProductId = L"product";
        g_EventCallbacks.clear();
        s_Events.clear();
        s_uiCallbackResult = 1;
        s_InCallback = nullptr;
    }
    ~EventBusTest() override {
        g_EventCallbacks.clear();
        g_strProductId.clear();
    }

    std::uint32_t Deliver(const wchar_t* text) {
        JsonDocument event;
        EXPECT_EQ(event.Parse(text), JsonDocument::kOk);
        return WyEventCallBack(event);
    }

    FakeMail mail;
    LogRecorder log;
};

TEST_F(EventBusTest, subscribe_tells_the_service_and_keeps_the_callback) {
    mail.SetAnswer(L"{\"retCode\":5}");
    // A positive code of the service becomes plain success.
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    ASSERT_EQ(mail.Count(), 1U);
    EXPECT_EQ(mail.Mails()[0].destId, 0x4e0009U);
    EXPECT_EQ(mail.Mails()[0].mailId, 400012006U);
    EXPECT_EQ(mail.Mails()[0].request, L"{\"eventId\":7,\"productProcessName\":\"product\"}\n");
    EXPECT_EQ(g_EventCallbacks, (decltype(g_EventCallbacks){{7, First}}));
}

TEST_F(EventBusTest, subscribe_again_replaces_the_callback_and_tells_the_service_again) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(7, Second), kSuccess);
    EXPECT_EQ(mail.Count(), 2U);
    EXPECT_EQ(g_EventCallbacks, (decltype(g_EventCallbacks){{7, Second}}));
}

TEST_F(EventBusTest, subscribe_refused_changes_nothing) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    mail.SetAnswer(L"{\"retCode\":3774808065}");
    EXPECT_EQ(EventBus::Subscribe(7, Second), kRefused);
    EXPECT_EQ(EventBus::Subscribe(8, Second), kRefused);
    EXPECT_EQ(g_EventCallbacks, (decltype(g_EventCallbacks){{7, First}}));
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] Failed to subscribe event! event = 8"));
}

TEST_F(EventBusTest, subscribe_keeps_a_null_callback) {
    EXPECT_EQ(EventBus::Subscribe(7, nullptr), kSuccess);
    EXPECT_TRUE(g_EventCallbacks.contains(7));
}

TEST_F(EventBusTest, subscribe_without_a_session_sends_an_empty_name) {
    g_strProductId.clear();
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    EXPECT_EQ(mail.Mails()[0].request, L"{\"eventId\":7,\"productProcessName\":\"\"}\n");
}

TEST_F(EventBusTest, unsubscribe_tells_the_service_and_forgets_the_callback) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    mail.Clear();
    mail.SetAnswer(L"{\"retCode\":5}");
    EXPECT_EQ(EventBus::Unsubscribe(7), kSuccess);
    EXPECT_EQ(mail.Mails()[0].mailId, 400012007U);
    EXPECT_EQ(mail.Mails()[0].request, L"{\"eventId\":7,\"productProcessName\":\"product\"}\n");
    EXPECT_TRUE(g_EventCallbacks.empty());
}

TEST_F(EventBusTest, unsubscribe_of_an_unknown_event_goes_to_the_service_and_succeeds) {
    EXPECT_EQ(EventBus::Unsubscribe(7), kSuccess);
    EXPECT_EQ(mail.Count(), 1U);
}

TEST_F(EventBusTest, unsubscribe_refused_keeps_the_callback) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    mail.SetAnswer(L"{}", 0xe00106ba);
    EXPECT_EQ(EventBus::Unsubscribe(7), 0xe00106baU);
    EXPECT_TRUE(g_EventCallbacks.contains(7));
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] Failed to un-subscribe event! event = 7"));
}

TEST_F(EventBusTest, delivery_calls_the_callback_with_the_whole_event) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    s_uiCallbackResult = 0x12345678;
    EXPECT_EQ(Deliver(L"{ \"eventId\": 7, \"data\": [1, 100.5] }"), 0x12345678U);
    EXPECT_EQ(s_Events, (std::vector<Event>{{7, L"{\"data\":[1,100.5],\"eventId\":7}\n"}}));
    EXPECT_EQ(log.CountContaining(L"[ERROR]"), 0U);
}

TEST_F(EventBusTest, delivery_of_an_event_without_identifier_fails) {
    EXPECT_EQ(EventBus::Subscribe(0, First), kSuccess);
    EXPECT_EQ(Deliver(L"{\"id\":\"100%s\"}"), kInvalid);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] Event Id is absent! JSON = {\"id\":\"100%s\"}\n"));
    for (const wchar_t* text : {L"null", L"[7]", L"\"eventId\"", L"7"}) {
        EXPECT_EQ(Deliver(text), kInvalid) << text;
    }
    EXPECT_TRUE(s_Events.empty());
}

TEST_F(EventBusTest, delivery_of_an_event_that_nobody_subscribed_fails) {
    EXPECT_EQ(Deliver(L"{\"eventId\":7}"), kInvalid);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] the event not subscribed yet, event = 7"));
}

TEST_F(EventBusTest, delivery_to_a_null_callback_fails) {
    EXPECT_EQ(EventBus::Subscribe(7, nullptr), kSuccess);
    EXPECT_EQ(Deliver(L"{\"eventId\":7}"), kInvalid);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] Null callback function, event = 7"));
}

TEST_F(EventBusTest, delivery_reads_an_identifier_that_is_no_number_as_0) {
    for (const wchar_t* text : {L"{\"eventId\":\"x\"}", L"{\"eventId\":-1}", L"{\"eventId\":[7]}",
                                L"{\"eventId\":null}", L"{\"eventId\":4294967296}"}) {
        log.Clear();
        EXPECT_EQ(Deliver(text), kInvalid) << text;
        EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] the event not subscribed yet, event = 0"));
    }
    EXPECT_EQ(EventBus::Subscribe(0, First), kSuccess);
    EXPECT_EQ(Deliver(L"{\"eventId\":\"x\"}"), 1U);
    EXPECT_EQ(s_Events.size(), 1U);
}

TEST_F(EventBusTest, a_callbacks_failure_does_not_stop_later_events) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    s_uiCallbackResult = kRefused;
    EXPECT_EQ(Deliver(L"{\"eventId\":7}"), kRefused);
    EXPECT_EQ(Deliver(L"{\"eventId\":7}"), kRefused);
    EXPECT_EQ(s_Events.size(), 2U);
}

TEST_F(EventBusTest, a_callback_runs_with_the_lock_held_and_leaves_it_free) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    bool held = false;
    s_InCallback = [&held] {
        held = !std::async(std::launch::async, [] {
                    const bool locked = g_ApiMutex.try_lock();
                    if (locked)
                        g_ApiMutex.unlock();
                    return locked;
                }).get();
    };
    EXPECT_EQ(Deliver(L"{\"eventId\":7}"), 1U);
    EXPECT_TRUE(held);
    EXPECT_TRUE(g_ApiMutex.try_lock());
    g_ApiMutex.unlock();
}

TEST_F(EventBusTest, the_lock_is_held_during_the_mail_of_a_subscription) {
    bool held = false;
    mail.SetHook([&held] {
        held = !std::async(std::launch::async, [] {
                    const bool locked = g_ApiMutex.try_lock();
                    if (locked)
                        g_ApiMutex.unlock();
                    return locked;
                }).get();
    });
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    EXPECT_TRUE(held);
    held = false;
    EXPECT_EQ(EventBus::Unsubscribe(7), kSuccess);
    EXPECT_TRUE(held);
}

TEST_F(EventBusTest, failures_leave_the_lock_free) {
    Deliver(L"{}");
    Deliver(L"{\"eventId\":7}");
    mail.SetHook([] { throw std::bad_alloc(); });
    EXPECT_THROW(EventBus::Subscribe(7, First), std::bad_alloc);
    EXPECT_THROW(EventBus::Unsubscribe(7), std::bad_alloc);
    EXPECT_TRUE(g_ApiMutex.try_lock());
    g_ApiMutex.unlock();
}

TEST_F(EventBusTest, deliveries_on_several_threads_are_served_one_by_one) {
    EXPECT_EQ(EventBus::Subscribe(7, First), kSuccess);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 50; ++n)
                Deliver(L"{\"eventId\":7}");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // The callback appends to a list without a lock of its own.
    EXPECT_EQ(s_Events.size(), 200U);
}

}  // namespace
