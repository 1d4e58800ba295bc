// Settings, comparison samples, subscriptions.

#include <gtest/gtest.h>

#include <future>

#include "devhost/CloudSamples.h"
#include "devhost/EventHandlers.h"
#include "devhost/SettingsStore.h"
#include "unit/devhost/RouterCaller.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::Client;
using DevHost::EventChannel;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kInvalid = KrCommon::Result::kInvalidArgument;

// Values as texts: a number's signedness is not part of its meaning.
std::string Text(const Json::Value& value) {
    return value.toStyledString();
}

TEST(SettingsStore, settings_are_kept_and_echoed) {
    DevHost::SettingsStore store;
    RouterCaller api;
    store.AddTo(api.router);
    EXPECT_TRUE(store.Get(400011000).isNull());
    const std::pair<std::uint32_t, const char*> settings[] = {
        {400011000, R"({"validityPeriod":4294967295})"},
        {400011001, R"({"dayOfWeek":7,"hour":23,"minute":59,"scheduleId":"ScheduleScan"})"},
        {400011002, R"({"feedbackServerUrl":"https://a","reamerServerUrl":""})"},
        {400014004, R"({"status":1})"},
        {400014005, R"({"productLcid":1031})"},
    };
    for (const auto& [apiId, json] : settings) {
        const ApiAnswer answer = api.Call(apiId, json);
        EXPECT_EQ(answer.retCode, kSuccess) << json;
        EXPECT_EQ(Text(answer.data), Text(ParseJson(json)));
        EXPECT_EQ(Text(store.Get(apiId)), Text(ParseJson(json)));
    }
    api.Call(400014004, R"({"status": 0, "extra": 1})");
    EXPECT_EQ(Text(store.Get(400014004)), Text(ParseJson(R"({"status": 0})")));
}

TEST(SettingsStore, bad_settings_change_nothing) {
    DevHost::SettingsStore store;
    RouterCaller api;
    store.AddTo(api.router);
    const std::pair<std::uint32_t, const char*> bad[] = {
        {400011000, "{}"},
        {400011000, R"({"validityPeriod":"1"})"},
        {400011001, R"({"dayOfWeek":8,"hour":0,"minute":0,"scheduleId":""})"},
        {400011001, R"({"dayOfWeek":0,"hour":24,"minute":0,"scheduleId":""})"},
        {400011001, R"({"dayOfWeek":0,"hour":0,"minute":60,"scheduleId":""})"},
        {400011001, R"({"dayOfWeek":0,"hour":0,"minute":0})"},
        {400011002, R"({"feedbackServerUrl":"https://a"})"},
        {400014005, R"({"productLcid":-1})"},
    };
    for (const auto& [apiId, json] : bad) {
        EXPECT_EQ(api.Code(apiId, json), kInvalid) << json;
        EXPECT_TRUE(store.Get(apiId).isNull());
    }
}

TEST(SettingsStore, update_is_taken_and_says_that_it_is_a_sample) {
    DevHost::SettingsStore store;
    RouterCaller api;
    store.AddTo(api.router);
    const ApiAnswer answer = api.Call(400012003);
    EXPECT_EQ(answer.retCode, kSuccess);
    EXPECT_TRUE(answer.data["sample"].asBool());
}

TEST(CloudSamples, every_answer_says_that_it_is_a_sample) {
    RouterCaller api;
    DevHost::CloudSamples::AddTo(api.router, {[](const std::string& id) {
                                                  return std::vector<std::string>{id, "b"};
                                              },
                                              [](const std::string&) -> std::vector<std::string> {
                                                  throw DevHost::RequestError(
                                                      KrCommon::Result::kNotFound,
                                                      "no such scan session");
                                              }});
    ApiAnswer answer = api.Call(400014001, R"({"sessionId": "s"})");
    EXPECT_TRUE(answer.data["sample"].asBool());
    ASSERT_EQ(answer.data["items"].size(), 2U);
    EXPECT_EQ(answer.data["items"][0]["name"].asString(), "s");
    EXPECT_LE(answer.data["items"][0]["disabledByPercent"].asUInt(), 100U);
    EXPECT_EQ(answer.data, api.Call(400014001, R"({"sessionId": "s"})").data);
    EXPECT_EQ(api.Code(400014002, R"({"sessionId": "s"})"), KrCommon::Result::kNotFound);
    EXPECT_EQ(api.Code(400014001), kInvalid);
    answer = api.Call(400014003, R"({"bootupTime": 35})");
    EXPECT_EQ(answer.data["percentage"].asUInt(), 65U);
    EXPECT_EQ(answer.data["threshold"].asUInt(), DevHost::CloudSamples::kQuickStartSeconds);
    EXPECT_TRUE(answer.data["sample"].asBool());
}

TEST(CloudSamples, longer_start_ups_rank_lower) {
    std::uint32_t last = 100;
    for (std::uint32_t seconds = 0; seconds < 400; ++seconds) {
        const std::uint32_t rank = DevHost::CloudSamples::RankOf(seconds);
        EXPECT_LE(rank, last);
        EXPECT_GE(rank, 1U);
        last = rank;
    }
    EXPECT_EQ(DevHost::CloudSamples::RankOf(0xffffffff), 1U);
}

class OneEvent : public EventChannel {
public:
    Outcome Deliver(const Client& client, const std::wstring& json) override {
        delivered.set_value({client, json});
        return Outcome::kTaken;
    }
    std::promise<std::pair<Client, std::wstring>> delivered;
};

class Events : public testing::Test {
protected:
    Events() { m_Handlers.AddTo(m_Api.router); }

    void Register() {
        std::vector<std::string> replaced;
        m_Clients.Register({m_Api.caller.sessionKey, "tracking", m_Api.caller.processId, L"name"},
                           replaced);
    }

    std::shared_ptr<OneEvent> m_pChannel = std::make_shared<OneEvent>();
    DevHost::ClientRegistry m_Clients;
    DevHost::EventHub m_Hub{m_pChannel, [](const std::string&) {}};
    DevHost::EventHandlers m_Handlers{m_Clients, m_Hub};
    RouterCaller m_Api;
};

TEST_F(Events, published_event_reaches_the_subscriber) {
    Register();
    EXPECT_EQ(m_Api.Code(400012006, R"({"eventId": 7, "productProcessName": "p"})"), kSuccess);
    m_Api.caller = {"99999999-2222-3333-4444-555555555555", 200, 1};
    const ApiAnswer answer = m_Api.Call(400012008, R"({"eventId": 7, "param": {"a": [1, "x"]}})");
    EXPECT_EQ(answer.data["subscribers"].asUInt(), 1U);
    const auto [client, json] = m_pChannel->delivered.get_future().get();
    EXPECT_EQ(client.trackingId, "tracking");
    EXPECT_EQ(json, L"{\"eventId\":7,\"param\":{\"a\":[1,\"x\"]},\"publisherPid\":200}\n");
}

TEST_F(Events, event_without_parameter_has_none) {
    EXPECT_EQ(DevHost::EventText(1, nullptr, 5), L"{\"eventId\":1,\"publisherPid\":5}\n");
}

TEST_F(Events, nobody_gets_what_nobody_wants) {
    Register();
    m_Api.Call(400012006, R"({"eventId": 7, "productProcessName": "p"})");
    EXPECT_EQ(m_Api.Call(400012008, R"({"eventId": 8})").data["subscribers"].asUInt(), 0U);
    EXPECT_TRUE(m_Api.Call(400012007, R"({"eventId": 7, "productProcessName": "p"})")
                    .data["wasSubscribed"]
                    .asBool());
    EXPECT_EQ(m_Api.Call(400012008, R"({"eventId": 7})").data["subscribers"].asUInt(), 0U);
}

TEST_F(Events, subscription_without_registration_is_accepted_without_effect) {
    const ApiAnswer answer = m_Api.Call(400012006, R"({"eventId": 7, "productProcessName": ""})");
    EXPECT_EQ(answer.retCode, kSuccess);
    EXPECT_FALSE(answer.data["registered"].asBool());
    EXPECT_EQ(m_Api.Call(400012008, R"({"eventId": 7})").data["subscribers"].asUInt(), 0U);
    EXPECT_EQ(m_Api.Code(400012007, R"({"eventId": 7, "productProcessName": ""})"), kSuccess);
}

TEST_F(Events, a_process_that_renewed_its_endpoint_is_still_the_same_client) {
    Register();
    m_Api.caller.sessionKey = "99999999-2222-3333-4444-555555555555";
    EXPECT_TRUE(m_Api.Call(400012006, R"({"eventId": 7, "productProcessName": "p"})")
                    .data["registered"]
                    .asBool());
    EXPECT_EQ(m_Api.Call(400012008, R"({"eventId": 7})").data["subscribers"].asUInt(), 1U);
}

TEST_F(Events, bad_requests_are_refused) {
    EXPECT_EQ(m_Api.Code(400012006), kInvalid);
    EXPECT_EQ(m_Api.Code(400012006, R"({"eventId": 7})"), kInvalid);
    EXPECT_EQ(m_Api.Code(400012007, R"({"eventId": "7", "productProcessName": ""})"), kInvalid);
    EXPECT_EQ(m_Api.Code(400012008, R"({"eventId": -1})"), kInvalid);
    const std::string longText(1024 * 1024, 'x');
    EXPECT_EQ(m_Api.Code(400012008, "{\"eventId\": 7, \"param\": \"" + longText + "\"}"), kInvalid);
}

}  // namespace
