// Events between processes: a host, its subscribers, and publishers.

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "unit/devhost/HostRunner.h"
#include "unit/devhost/ListenerRunner.h"
#include "unit/devhost/TestJson.h"

namespace {

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kPublishEvent = 400012008;

using Events = std::vector<std::string>;

// The number of subscribers.
std::uint32_t Publish(const std::wstring& json) {
    CallResult call = HostClient::Call(kPublishEvent, json);
    EXPECT_EQ(call.result, kSuccess);
    EXPECT_EQ(call.retCode, kSuccess);
    return call.Data()["subscribers"].AsUInt32();
}

std::string Event(std::uint32_t eventId, const std::string& param = "") {
    return "{\"eventId\":" + std::to_string(eventId) +
           (param.empty() ? "" : ",\"param\":" + param) +
           ",\"publisherPid\":" + std::to_string(GetCurrentProcessId()) + "}";
}

std::size_t CountInLog(const HostRunner& host, const std::string& text) {
    const std::string log = host.Log();
    std::size_t count = 0;
    for (std::size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
        ++count;
    return count;
}

bool WaitForLog(const HostRunner& host, const std::string& text) {
    for (int i = 0; i < 1000 && CountInLog(host, text) == 0; ++i)
        Sleep(20);
    return CountInLog(host, text) > 0;
}

TEST(HostEvents, clock_delivers_to_a_client_that_subscribed) {
    HostRunner host({L"--emit", L"7:50", L"--emit", L"0x8001:70"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner listener(L"listener", L"7");
    ASSERT_TRUE(listener.WaitUntilReady());
    ASSERT_TRUE(listener.WaitForEvents(5)) << host.Log();
    const std::uint64_t first = ParseJson(listener.Events()[0])["param"]["number"].asUInt64();
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(listener.Events()[i],
                  "{\"eventId\":7,\"param\":{\"number\":" + std::to_string(first + i) +
                      "},\"publisherPid\":" + std::to_string(host.ProcessId()) + "}");
    }
    EXPECT_EQ(listener.Close(), 0U) << host.Log();
}

TEST(HostEvents, event_goes_to_every_subscriber_and_to_nobody_else) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner first(L"first", L"7,9");
    ListenerRunner second(L"second", L"7,8,9");
    ListenerRunner third(L"third", L"8,9");
    ASSERT_TRUE(first.WaitUntilReady() && second.WaitUntilReady() && third.WaitUntilReady());
    EXPECT_EQ(Publish(L"{\"eventId\": 7, \"param\": {\"a\": [1, \"x\"]}}"), 2U);
    EXPECT_EQ(Publish(L"{\"eventId\": 8}"), 2U);
    EXPECT_EQ(Publish(L"{\"eventId\": 6}"), 0U);
    // The events of a client come in order: behind this one nothing is outstanding.
    EXPECT_EQ(Publish(L"{\"eventId\": 9}"), 3U);
    ASSERT_TRUE(first.WaitForEvents(2) && second.WaitForEvents(3) && third.WaitForEvents(2))
        << host.Log();
    const std::string seven = Event(7, "{\"a\":[1,\"x\"]}");
    EXPECT_EQ(first.Events(), (Events{seven, Event(9)}));
    EXPECT_EQ(second.Events(), (Events{seven, Event(8), Event(9)}));
    EXPECT_EQ(third.Events(), (Events{Event(8), Event(9)}));
}

TEST(HostEvents, reamer_status_reaches_subscribers_and_the_log) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner listener(L"listener", L"32769");
    ASSERT_TRUE(listener.WaitUntilReady());
    EXPECT_EQ(Publish(L"{\"eventId\": 32769, \"param\": {\"status\": 1}}"), 1U);
    ASSERT_TRUE(listener.WaitForEvents(1));
    EXPECT_EQ(listener.Events(), Events{Event(32769, "{\"status\":1}")});
    EXPECT_TRUE(
        WaitForLog(host, "reamer status 1, from pid " + std::to_string(GetCurrentProcessId())));
}

TEST(HostEvents, killed_client_is_dropped_after_one_attempt) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner victim(L"victim", L"7");
    ListenerRunner survivor(L"survivor", L"7");
    ASSERT_TRUE(victim.WaitUntilReady() && survivor.WaitUntilReady());
    EXPECT_EQ(Publish(L"{\"eventId\": 7}"), 2U);
    ASSERT_TRUE(victim.WaitForEvents(1) && survivor.WaitForEvents(1));
    const std::string attempt = "deliver to victim, pid " + std::to_string(victim.ProcessId());
    ASSERT_TRUE(WaitForLog(host, attempt));
    EXPECT_EQ(CountInLog(host, attempt), 1U);

    victim.Kill();
    EXPECT_EQ(Publish(L"{\"eventId\": 7}"), 2U);
    ASSERT_TRUE(WaitForLog(host, "client gone: victim, pid " + std::to_string(victim.ProcessId())))
        << host.Log();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Publish(L"{\"eventId\": 7}"), 1U);
    ASSERT_TRUE(survivor.WaitForEvents(5));
    host.RequestStop();
    EXPECT_EQ(host.WaitForEnd(), 0U);
    EXPECT_EQ(CountInLog(host, attempt), 2U) << host.Log();
    EXPECT_EQ(CountInLog(host, "client gone: "), 1U) << host.Log();
    EXPECT_EQ(victim.Events().size(), 1U);
}

TEST(HostEvents, client_killed_under_events_of_the_clock_is_dropped) {
    HostRunner host({L"--emit", L"7:20"});
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner victim(L"victim", L"7");
    ListenerRunner survivor(L"survivor", L"7");
    ASSERT_TRUE(victim.WaitUntilReady() && survivor.WaitUntilReady());
    ASSERT_TRUE(victim.WaitForEvents(3));
    victim.Kill();
    ASSERT_TRUE(WaitForLog(host, "client gone: victim")) << host.Log();
    const std::size_t received = survivor.Events().size();
    EXPECT_TRUE(survivor.WaitForEvents(received + 10)) << host.Log();
    host.RequestStop();
    EXPECT_EQ(host.WaitForEnd(), 0U);
    EXPECT_EQ(CountInLog(host, "client gone: "), 1U) << host.Log();
    const std::string log = host.Log();
    EXPECT_EQ(log.find("deliver to victim", log.find("client gone: victim")), std::string::npos);
}

TEST(HostEvents, client_that_took_its_leave_is_not_looked_for) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    ListenerRunner listener(L"listener", L"7");
    ASSERT_TRUE(listener.WaitUntilReady());
    EXPECT_EQ(listener.Close(), 0U);
    EXPECT_EQ(Publish(L"{\"eventId\": 7}"), 0U);
    host.RequestStop();
    EXPECT_EQ(host.WaitForEnd(), 0U);
    EXPECT_EQ(CountInLog(host, "deliver to "), 0U) << host.Log();
    EXPECT_EQ(CountInLog(host, "client gone: "), 0U) << host.Log();
}

}  // namespace
