// Events on their way through the whole host: from a publisher, or from the clock, to those who
// subscribed.

#include <gtest/gtest.h>

#include <condition_variable>
#include <map>

#include "devhost/HostApplication.h"
#include "support/LogRecorder.h"
#include "unit/devhost/FakeProbe.h"
#include "unit/devhost/TestJson.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::CallContext;
using DevHost::Client;
using DevHost::Emission;
using DevHost::EventChannel;
using DevHost::FaultPlan;
using DevHost::HostApplication;
using DevHost::HostParts;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kHostPid = 4321;
constexpr std::chrono::seconds kPatience{10};

// Keeps what each client gets; clients can be gone.
class RecordingChannel : public EventChannel {
public:
    Outcome Deliver(const Client& client, const std::wstring& json) override {
        const std::scoped_lock lock(m_Mutex);
        ++m_mapAttempts[client.processId];
        m_Changed.notify_all();
        if (client.processId == m_uiGone)
            return Outcome::kGone;
        m_mapEvents[client.processId].push_back(json);
        return Outcome::kTaken;
    }

    void SetGone(std::uint32_t processId) {
        const std::scoped_lock lock(m_Mutex);
        m_uiGone = processId;
    }
    bool WaitForAttempts(std::uint32_t processId, unsigned count) {
        std::unique_lock lock(m_Mutex);
        return m_Changed.wait_for(lock, kPatience,
                                  [&] { return m_mapAttempts[processId] >= count; });
    }
    std::vector<std::wstring> Events(std::uint32_t processId) {
        const std::scoped_lock lock(m_Mutex);
        return m_mapEvents[processId];
    }
    unsigned Attempts(std::uint32_t processId) {
        const std::scoped_lock lock(m_Mutex);
        return m_mapAttempts[processId];
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::uint32_t m_uiGone = 0;
    std::map<std::uint32_t, unsigned> m_mapAttempts;
    std::map<std::uint32_t, std::vector<std::wstring>> m_mapEvents;
};

std::string KeyOf(std::uint32_t processId) {
    return "00000000-0000-0000-0000-0000000000" + std::to_string(processId);
}

// A host with registered clients, which are told apart by process ids of two digits.
class Publication : public testing::Test {
protected:
    ~Publication() override {
        if (m_pHost != nullptr) {
            EXPECT_TRUE(m_pHost->Stop());
        }
    }

    void Begin(const std::vector<Emission>& emissions = {}) {
        HostParts parts;
        parts.probe = std::make_unique<FakeProbe>();
        parts.digest = [](const auto&, const auto&) { return std::string(); };
        parts.makeId = [] { return std::string("id"); };
        parts.emissions = emissions;
        parts.ownProcessId = kHostPid;
        parts.channel = m_pChannel;
        parts.duplicateOwnHandle = [](std::uint32_t) { return DevHost::kNoHandle; };
        parts.end = [](FaultPlan::End, std::uint32_t) {};
        m_pHost = std::make_unique<HostApplication>(std::move(parts));
        m_pHost->Start();
    }

    ApiAnswer Call(std::uint32_t processId, std::uint32_t apiId, const std::string& json) {
        return m_pHost->Router().Call(apiId, ParseJson(json), {KeyOf(processId), processId, 1});
    }
    void Register(std::uint32_t processId) {
        const std::wstring name = L"client " + std::to_wstring(processId);
        const auto bytes = WireHelpers::Register(name, processId, KeyOf(processId));
        CIPCMsgBuffer in(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
        m_pHost->Server()(IPC_MSG_REGISTER_PROCESS, in, out);
    }
    void Subscribe(std::uint32_t processId, std::uint32_t eventId) {
        const ApiAnswer answer =
            Call(processId, 400012006,
                 "{\"eventId\": " + std::to_string(eventId) + ", \"productProcessName\": \"p\"}");
        ASSERT_EQ(answer.retCode, kSuccess);
        ASSERT_TRUE(answer.data["registered"].asBool());
    }
    // The number of subscribers.
    std::uint32_t Publish(std::uint32_t processId, const std::string& json) {
        const ApiAnswer answer = Call(processId, 400012008, json);
        EXPECT_EQ(answer.retCode, kSuccess) << answer.message;
        return answer.data["subscribers"].asUInt();
    }

    const std::shared_ptr<RecordingChannel> m_pChannel = std::make_shared<RecordingChannel>();
    test_support::LogRecorder m_Log;
    std::unique_ptr<HostApplication> m_pHost;
};

TEST_F(Publication, event_goes_to_every_subscriber_and_to_nobody_else) {
    Begin();
    for (const std::uint32_t client : {11U, 12U, 13U, 14U})
        Register(client);
    Subscribe(11, 7);
    Subscribe(12, 7);
    Subscribe(12, 8);
    Subscribe(13, 8);
    EXPECT_EQ(Publish(14, R"({"eventId": 7, "param": [1, null]})"), 2U);
    EXPECT_EQ(Publish(11, R"({"eventId": 8})"), 2U);
    EXPECT_EQ(Publish(99, R"({"eventId": 9})"), 0U);  // has not registered
    EXPECT_EQ(Publish(99, R"({"eventId": 7})"), 2U);
    ASSERT_TRUE(m_pChannel->WaitForAttempts(11, 2) && m_pChannel->WaitForAttempts(12, 3) &&
                m_pChannel->WaitForAttempts(13, 1));
    EXPECT_TRUE(m_pHost->Stop());
    const std::wstring first = L"{\"eventId\":7,\"param\":[1,null],\"publisherPid\":14}\n";
    const std::wstring second = L"{\"eventId\":8,\"publisherPid\":11}\n";
    const std::wstring third = L"{\"eventId\":7,\"publisherPid\":99}\n";
    EXPECT_EQ(m_pChannel->Events(11), (std::vector<std::wstring>{first, third}));
    EXPECT_EQ(m_pChannel->Events(12), (std::vector<std::wstring>{first, second, third}));
    EXPECT_EQ(m_pChannel->Events(13), std::vector<std::wstring>{second});
    EXPECT_TRUE(m_pChannel->Events(14).empty());
}

TEST_F(Publication, publisher_that_subscribed_gets_its_own_event) {
    Begin();
    Register(11);
    Subscribe(11, 0);
    Subscribe(11, 0xffffffff);
    EXPECT_EQ(Publish(11, R"({"eventId": 4294967295})"), 1U);
    EXPECT_EQ(Publish(11, R"({"eventId": 0})"), 1U);
    ASSERT_TRUE(m_pChannel->WaitForAttempts(11, 2));
}

TEST_F(Publication, client_that_is_gone_is_dropped_after_one_attempt_with_a_line_in_the_log) {
    Begin();
    Register(11);
    Register(12);
    Subscribe(11, 7);
    Subscribe(12, 7);
    m_pChannel->SetGone(11);
    EXPECT_EQ(Publish(12, R"({"eventId": 7})"), 2U);
    for (int i = 0; i < 2000 && m_pHost->Clients().All().size() > 1; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(Publish(12, R"({"eventId": 7})"), 1U);
    ASSERT_TRUE(m_pChannel->WaitForAttempts(12, 2));
    EXPECT_TRUE(m_pHost->Stop());
    EXPECT_EQ(m_pChannel->Attempts(11), 1U);
    EXPECT_EQ(m_pChannel->Events(12).size(), 2U);
    EXPECT_TRUE(m_Log.Has(KrCommon::LogLevel::kWarning,
                          L"WySvcHost: [WARN] client gone: client 11, pid 11"));
}

TEST_F(Publication, events_by_the_clock_are_counted_and_come_from_the_host) {
    Begin({{7, 10}, {8, 600'000}});
    Register(11);
    Subscribe(11, 7);
    Subscribe(11, 8);
    ASSERT_TRUE(m_pChannel->WaitForAttempts(11, 3));
    EXPECT_TRUE(m_pHost->Stop());
    const std::vector<std::wstring> events = m_pChannel->Events(11);
    // Some may have been published before there was a subscriber.
    const Json::Value first = ParseJson(std::string(events[0].begin(), events[0].end()));
    const std::uint64_t number = first["param"]["number"].asUInt64();
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i], L"{\"eventId\":7,\"param\":{\"number\":" +
                                 std::to_wstring(number + i) + L"},\"publisherPid\":4321}\n");
    }
}

TEST_F(Publication, reamer_status_travels_as_any_event_and_is_noted) {
    Begin();
    Register(11);
    Subscribe(11, 32769);
    EXPECT_EQ(Publish(55, R"({"eventId": 32769, "param": {"status": 1}})"), 1U);
    ASSERT_TRUE(m_pChannel->WaitForAttempts(11, 1));
    EXPECT_EQ(m_pChannel->Events(11),
              std::vector<std::wstring>{
                  L"{\"eventId\":32769,\"param\":{\"status\":1},\"publisherPid\":55}\n"});
    EXPECT_TRUE(m_Log.Has(KrCommon::LogLevel::kInformation,
                          L"WySvcHost: [INFO] reamer status 1, from pid 55"));
    std::uint32_t publisher = 56;
    for (const char* wrong :
         {R"({"eventId": 32769})", R"({"eventId": 32769, "param": 1})",
          R"({"eventId": 32769, "param": {}})", R"({"eventId": 32769, "param": {"status": -1}})"}) {
        EXPECT_EQ(Publish(publisher, wrong), 1U) << wrong;
        EXPECT_TRUE(m_Log.Has(KrCommon::LogLevel::kWarning,
                              L"WySvcHost: [WARN] reamer status without a number, from pid " +
                                  std::to_wstring(publisher)))
            << wrong;
        ++publisher;
    }
}

}  // namespace
