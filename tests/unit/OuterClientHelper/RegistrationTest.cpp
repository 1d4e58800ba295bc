// Registration of the process and the events that it opens the way for.

#include <algorithm>
#include <stdexcept>
#include <thread>

#include "HelperFixture.h"
#include "support/LogRecorder.h"

using namespace test_support;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;

namespace {

constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kAlready = 0xe0ff000a;

std::vector<std::wstring> s_Events;
std::uint32_t s_uiEventResult = kSuccess;

std::uint32_t TakeEvent(JsonDocument& event) {
    s_Events.push_back(event.ToCompactString());
    return s_uiEventResult;
}

std::uint32_t ChangeEvent(JsonDocument& event) {
    event[L"seen"].SetUInt32(1);
    return kSuccess;
}

std::uint32_t RaisingEvent(JsonDocument&) {
    throw std::runtime_error("raised by an event");
}

class Registration : public HelperTest {
protected:
    void SetUp() override {
        HelperTest::SetUp();
        s_Events.clear();
        s_uiEventResult = kSuccess;
        m_pHelper = std::make_unique<Helper>();
    }
    void TearDown() override {
        m_pHelper->UnregisterProcess();
        m_pHelper.reset();
    }

    std::uint32_t Register(EventEntry callback = TakeEvent) {
        return m_pHelper->RegisterProcess(L"WyConsole", callback);
    }

    std::unique_ptr<Helper> m_pHelper;
};

// ---- registering

TEST_F(Registration, request_leaves_the_process_byte_for_byte) {
    ASSERT_EQ(Register(), kSuccess);
    const std::vector<Bytes> requests = Service().TakeRequests();
    ASSERT_EQ(requests.size(), 1U);
    Bytes expected = golden::RegisterRequest();
    const std::string fixed = golden::kSessionKey;
    const std::string key = SessionKey();
    // The session key stands there twice: as itself and as the tracking id.
    for (int i = 0; i < 2; ++i) {
        const auto at = std::search(expected.begin(), expected.end(), fixed.begin(), fixed.end());
        ASSERT_NE(at, expected.end());
        std::copy(key.begin(), key.end(), at);
    }
    const Bytes process = Words({OuterClientPlatform::CurrentProcessId()});
    std::copy(process.begin(), process.end(), expected.end() - 4);
    EXPECT_EQ(ToHex(requests[0]), ToHex(expected));
}

TEST_F(Registration, verdict_is_the_result) {
    Service().PushReply(MailReply{.verdict = 55}.Encode());
    EXPECT_EQ(Register(), 55U);
}

TEST_F(Registration, second_registration_is_refused_and_the_first_stays) {
    ASSERT_EQ(Register(), kSuccess);
    Service().TakeRequests();
    const LogRecorder log;
    EXPECT_EQ(m_pHelper->RegisterProcess(L"Other", ChangeEvent), kAlready);
    EXPECT_TRUE(log.Has(kWarning, L"OuterClientHelper: [WARN] The process has been registered"));
    EXPECT_TRUE(Requests().empty());
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{\"eventId\":1}")).json, L"{\"eventId\":1}\n");
    EXPECT_EQ(s_Events.size(), 1U);
}

TEST_F(Registration, other_instance_is_refused_too) {
    ASSERT_EQ(Register(), kSuccess);
    Helper other;
    EXPECT_EQ(other.RegisterProcess(L"Other", ChangeEvent), kAlready);
}

TEST_F(Registration, null_arguments_are_invalid_and_nothing_is_sent) {
    EXPECT_EQ(m_pHelper->RegisterProcess(nullptr, TakeEvent), kInvalid);
    EXPECT_EQ(m_pHelper->RegisterProcess(L"WyConsole", nullptr), kInvalid);
    EXPECT_TRUE(Requests().empty());
    EXPECT_EQ(Register(), kSuccess);
}

TEST_F(Registration, failure_is_the_result_and_it_can_be_tried_again) {
    Service().PushReply(FailureReply(5));
    const LogRecorder log;
    EXPECT_EQ(Register(), 0xe0010005U);
    EXPECT_TRUE(
        log.Has(kError, L"OuterClientHelper: [ERROR] executing command failed, err=0xe0010005"));
    EXPECT_EQ(Register(), kSuccess);
}

TEST_F(Registration, negative_verdict_is_the_result_and_the_process_counts_as_registered) {
    Service().PushReply(MailReply{.verdict = 0xe0ff000e}.Encode());
    EXPECT_EQ(Register(), 0xe0ff000eU);
    EXPECT_EQ(Register(), kAlready);
}

TEST_F(Registration, answer_without_a_verdict_is_invalid_and_the_process_not_registered) {
    Service().PushReply(MailReply{.withVerdict = false}.Encode());
    const LogRecorder log;
    EXPECT_EQ(Register(), kInvalid);
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] get parameter "
                        L"ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT failed"));
    // The service took the command, so that its record stands: the id cannot be used again.
    EXPECT_EQ(Register(), 0xe0ff001cU);
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
}

TEST_F(Registration, unknown_client_is_registered_by_a_new_manager) {
    const std::string key = SessionKey();
    LoseClientOnce();
    EXPECT_EQ(Register(), kSuccess);
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].sessionKey, key);
    EXPECT_EQ(requests[1].sessionKey, SessionKey());
    EXPECT_NE(SessionKey(), key);
    EXPECT_EQ(requests[1].clientName, L"WyConsole");
}

TEST_F(Registration, event_after_a_renewal_is_answered_by_the_manager_that_was_left_behind) {
    // It still serves the process's endpoints, and does not know the record of the new one.
    LoseClientOnce();
    ASSERT_EQ(Register(), kSuccess);
    const Request registration = Requests().back();
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{}");
    EXPECT_EQ(EventAnswer(Deliver(registration.sessionKey, registration.trackingId, report)).code,
              0xe0ff0018U);
    EXPECT_TRUE(s_Events.empty());
}

// ---- events

TEST_F(Registration, event_reaches_the_callback_and_its_answer_is_byte_for_byte) {
    ASSERT_EQ(Register(), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(ToHex(DeliverEvent(L"{\"param\":{\"percent\":50},\"eventId\":7}")),
              ToHex(golden::EventAnswer()));
    EXPECT_EQ(s_Events,
              (std::vector<std::wstring>{L"{\"eventId\":7,\"param\":{\"percent\":50}}\n"}));
    EXPECT_TRUE(log.Has(kInformation,
                        L"OuterClientHelper: [INFO] Receive "
                        L"ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING="
                        L"{\"param\":{\"percent\":50},\"eventId\":7}"));
}

TEST_F(Registration, result_of_the_callback_is_told_to_the_service) {
    ASSERT_EQ(Register(), kSuccess);
    for (const std::uint32_t result : {0U, 5U, 0xe0ff0007U}) {
        s_uiEventResult = result;
        EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, result);
    }
    EXPECT_EQ(s_Events.size(), 3U);
}

TEST_F(Registration, change_of_the_event_by_the_callback_is_told_to_the_service) {
    ASSERT_EQ(Register(ChangeEvent), kSuccess);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{\"a\":1}")).json, L"{\"a\":1,\"seen\":1}\n");
}

TEST_F(Registration, event_that_is_no_json_reaches_the_callback_as_an_empty_document) {
    ASSERT_EQ(Register(), kSuccess);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{no json")).code, kSuccess);
    EXPECT_EQ(s_Events, (std::vector<std::wstring>{L"null\n"}));
}

TEST_F(Registration, event_without_its_text_is_refused) {
    ASSERT_EQ(Register(), kSuccess);
    const LogRecorder log;
    const Bytes answer =
        Deliver(SessionKey(), SessionKey(), CRpcDataHandleWrapper(RPC_MSG_PRODUCT_DATA));
    EXPECT_EQ(EventAnswer(answer).code, 0xe0ff000eU);
    EXPECT_TRUE(s_Events.empty());
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] CRpcDataHandleWrapper.Get("
                        L"ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING) fail, ret=0xe0ff000e"));
}

TEST_F(Registration, event_under_another_tracking_id_is_refused) {
    ASSERT_EQ(Register(), kSuccess);
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{}");
    EXPECT_EQ(EventAnswer(Deliver(SessionKey(), golden::kTrackingId, report)).code, 0xe0ff0018U);
    EXPECT_TRUE(s_Events.empty());
}

TEST_F(Registration, callback_that_raises_is_logged_and_the_next_event_comes) {
    ASSERT_EQ(Register(RaisingEvent), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, 0xe0ff001eU);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, 0xe0ff001eU);
    EXPECT_EQ(
        log.CountContaining(L": [ERROR] The event could not be delivered: raised by an event"), 2U);
}

// ---- taking it back

TEST_F(Registration, end_without_a_registration_is_a_success_and_sends_nothing) {
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    EXPECT_TRUE(Requests().empty());
}

TEST_F(Registration, end_is_sent_under_8275_with_a_tracking_id_of_its_own) {
    ASSERT_EQ(Register(), kSuccess);
    Service().TakeRequests();
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].id, 8275U);
    EXPECT_EQ(requests[0].command, 8275U);
    EXPECT_EQ(requests[0].flag, 1);
    EXPECT_EQ(requests[0].trackingId.size(), 36U);
    EXPECT_NE(requests[0].trackingId, SessionKey());
    EXPECT_EQ(requests[0].processId, OuterClientPlatform::CurrentProcessId());
}

TEST_F(Registration, event_after_the_end_is_refused) {
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, 0xe0ff000bU);
    EXPECT_TRUE(s_Events.empty());
    EXPECT_TRUE(log.Has(kError, L"OuterClientHelper: [ERROR] g_fnCallback is NULL"));
}

TEST_F(Registration, event_during_the_end_arrives_as_long_as_the_service_has_not_answered) {
    ASSERT_EQ(Register(), kSuccess);
    Service().TakeRequests();
    Service().SetDelay(1000);
    std::uint32_t ended = 0;
    std::thread ender([&] { ended = m_pHelper->UnregisterProcess(); });
    while (Service().TakeRequests().empty())
        std::this_thread::yield();
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, kSuccess);
    EXPECT_EQ(s_Events.size(), 1U);
    ender.join();
    Service().SetDelay(0);
    EXPECT_EQ(ended, kSuccess);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, 0xe0ff000bU);
}

TEST_F(Registration, end_that_fails_drops_the_callback_and_the_registration_all_the_same) {
    ASSERT_EQ(Register(), kSuccess);
    Service().PushReply(FailureReply(5));
    const LogRecorder log;
    EXPECT_EQ(m_pHelper->UnregisterProcess(), 0xe0010005U);
    EXPECT_TRUE(
        log.Has(kError, L"OuterClientHelper: [ERROR] executing command failed, err=0xe0010005"));
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, 0xe0ff000bU);
    Service().TakeRequests();
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    EXPECT_TRUE(Requests().empty());
}

TEST_F(Registration, end_without_a_verdict_is_invalid) {
    ASSERT_EQ(Register(), kSuccess);
    Service().PushReply(MailReply{.withVerdict = false}.Encode());
    EXPECT_EQ(m_pHelper->UnregisterProcess(), kInvalid);
}

TEST_F(Registration, end_of_the_last_helper_erases_the_record_at_the_service_too) {
    ASSERT_EQ(Register(), kSuccess);
    const std::string key = SessionKey();
    m_pHelper->UnregisterProcess();
    Service().TakeRequests();
    m_pHelper->UninitProduct();
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].command, 0U);
    EXPECT_EQ(requests[0].trackingId, key);
    m_pHelper->InitProduct(0, L"x");
}

TEST_F(Registration, record_that_is_not_there_any_more_is_logged_at_the_end) {
    Service().PushReply(FailureReply(5));
    Register();
    const LogRecorder log;
    m_pHelper->UninitProduct();
    EXPECT_TRUE(log.Has(
        kError, L"OuterClientHelper: [ERROR] DestroyRecordOfTrackingID fail, err=0xe0ff000e"));
    m_pHelper->InitProduct(0, L"x");
}

TEST_F(Registration, same_manager_cannot_be_registered_again_while_its_record_stands) {
    ASSERT_EQ(Register(), kSuccess);
    ASSERT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    EXPECT_EQ(Register(), 0xe0ff001cU);
}

TEST_F(Registration, new_manager_can_be_registered_after_the_end_of_the_old_one) {
    ASSERT_EQ(Register(), kSuccess);
    m_pHelper->UnregisterProcess();
    m_pHelper.reset();
    m_pHelper = std::make_unique<Helper>();
    EXPECT_EQ(Register(), kSuccess);
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{}")).code, kSuccess);
}

// ---- what the monitor does between its waits

TEST_F(Registration, service_is_asked_for_a_handle_on_its_process) {
    Service().SetMonitorReply(MailReply{.json = L"{\"handle\":1234}"}.Encode());
    EXPECT_EQ(OuterClientReconnect(*m_pHelper).AskServiceHandle(), 1234U);
    const std::vector<Request> requests = Decode(Service().TakeMonitorRequests());
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].destId, 0x4e000cU);
    EXPECT_EQ(requests[0].mailId, 35870U);
    EXPECT_EQ(requests[0].mailFlag, 0U);
    EXPECT_EQ(requests[0].json,
              L"{\"pid\":" + std::to_wstring(OuterClientPlatform::CurrentProcessId()) + L"}\n");
}

TEST_F(Registration, handle_stands_at_the_root_of_the_answer_and_is_64_bits_wide) {
    Service().SetMonitorReply(MailReply{.json = L"{\"handle\":18446744073709551615}"}.Encode());
    EXPECT_EQ(OuterClientReconnect(*m_pHelper).AskServiceHandle(),
              OuterClientMonitor::Session::kNoHandle);
    Service().SetMonitorReply(MailReply{.json = L"{\"data\":{\"handle\":5}}"}.Encode());
    EXPECT_EQ(OuterClientReconnect(*m_pHelper).AskServiceHandle(), 0U);
}

TEST_F(Registration, service_that_does_not_answer_gives_no_handle) {
    Service().SetMonitorReply(FailureReply(5));
    EXPECT_EQ(OuterClientReconnect(*m_pHelper).AskServiceHandle(), 0U);
    Service().SetMonitorReply(MailReply{.json = L"[1,2]"}.Encode());
    EXPECT_EQ(OuterClientReconnect(*m_pHelper).AskServiceHandle(), 0U);
}

TEST_F(Registration, reconnection_fails_while_the_service_is_away_and_then_registers_anew) {
    ASSERT_EQ(Register(), kSuccess);
    const std::string key = SessionKey();
    OuterClientReconnect session(*m_pHelper);
    Service().Kill();
    EXPECT_FALSE(session.TryReconnect());
    EXPECT_FALSE(session.TryReconnect());
    Service().Restart();
    Service().SetReply(MailReply().Encode());
    EXPECT_TRUE(session.TryReconnect());
    EXPECT_NE(SessionKey(), key);
    const std::vector<Request> requests = Requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().id, 8274U);
    EXPECT_EQ(requests.back().clientName, L"WyConsole");
    EXPECT_EQ(requests.back().trackingId, SessionKey());
    // Events come again, under the new key.
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{\"eventId\":1}")).code, kSuccess);
    EXPECT_EQ(s_Events.size(), 1U);
}

TEST_F(Registration, reconnection_uses_the_name_of_the_last_registration_that_got_through) {
    ASSERT_EQ(Register(), kSuccess);
    OuterClientReconnect session(*m_pHelper);
    m_pHelper->UnregisterProcess();
    m_pHelper->UninitProduct();
    m_pHelper->InitProduct(0, L"x");
    Service().PushReply(MailReply{.verdict = 0xe0ff000e}.Encode());
    EXPECT_EQ(m_pHelper->RegisterProcess(L"Refused", TakeEvent), 0xe0ff000eU);
    Service().TakeRequests();
    EXPECT_TRUE(session.TryReconnect());
    const std::vector<Request> requests = Requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().id, 8274U);
    EXPECT_EQ(requests.back().clientName, L"WyConsole");
}

TEST_F(Registration, reconnection_after_the_end_of_the_registration_is_not_through) {
    ASSERT_EQ(Register(), kSuccess);
    OuterClientReconnect session(*m_pHelper);
    ASSERT_EQ(m_pHelper->UnregisterProcess(), kSuccess);
    Service().TakeRequests();
    // There is no callback any more to register with.
    EXPECT_FALSE(session.TryReconnect());
    for (const Request& request : Requests()) {
        EXPECT_NE(request.id, 8274U);
    }
}

TEST_F(Registration, callback_of_a_registration_that_failed_is_the_one_that_is_kept) {
    Service().PushReply(FailureReply(5));
    ASSERT_EQ(Register(ChangeEvent), 0xe0010005U);
    OuterClientReconnect session(*m_pHelper);
    EXPECT_TRUE(session.TryReconnect());
    EXPECT_EQ(EventAnswer(DeliverEvent(L"{\"a\":1}")).json, L"{\"a\":1,\"seen\":1}\n");
}

TEST_F(Registration, reconnection_that_the_service_refuses_is_not_through) {
    ASSERT_EQ(Register(), kSuccess);
    OuterClientReconnect session(*m_pHelper);
    Service().SetReply(FailureReply(5));
    EXPECT_FALSE(session.TryReconnect());
    Service().SetReply(MailReply{.verdict = 0xe0ff000e}.Encode());
    EXPECT_FALSE(session.TryReconnect());
    Service().SetReply(MailReply().Encode());
    EXPECT_TRUE(session.TryReconnect());
}

}  // namespace
