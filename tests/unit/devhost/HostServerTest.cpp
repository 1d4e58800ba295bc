#include "devhost/HostServer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include "Common/KrCommon/KrComn_Result.h"
#include "support/LogRecorder.h"
#include "unit/devhost/TestJson.h"
#include "unit/devhost/WireHelpers.h"

namespace {

using DevHost::ApiAnswer;
using DevHost::CallContext;
using DevHost::Client;
using DevHost::EventChannel;
using DevHost::FaultPlan;
using WireHelpers::Bytes;
using WireHelpers::kSessionKey;
using WireHelpers::kTrackingId;
using WireHelpers::Reply;

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kEchoApi = 400;
constexpr std::uint32_t kMonitor = 0x4e000c;
constexpr std::uint32_t kMonitorMail = 35870;

class SilentChannel : public EventChannel {
public:
    Outcome Deliver(const Client&, const std::wstring&) override { return Outcome::kTaken; }
};

class HostServerFixture : public testing::Test {
protected:
    HostServerFixture() {
        m_Router.Add(kEchoApi, [this](const Json::Value& request, const CallContext& caller) {
            m_Caller = caller;
            ApiAnswer answer;
            answer.data["echo"] = request;
            return answer;
        });
    }

    Reply Send(std::uint32_t messageId, const Bytes& request) {
        CIPCMsgBuffer in(request.data(), static_cast<std::uint32_t>(request.size()));
        CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
        m_Server(messageId, in, out);
        m_uiReplySize = out.GetLength();
        return WireHelpers::ReadReply(out.GetData(), out.GetLength());
    }
    Reply SendMail(const Bytes& request) { return Send(IPC_MSG_SEND_MAIL, request); }
    Reply Echo() { return SendMail(WireHelpers::Api(kEchoApi, L"{\"x\": 1}")); }

    void Script(const std::string& text) {
        std::string error;
        ASSERT_TRUE(m_Faults.Parse(text, error)) << error;
    }

    DevHost::ApiRouter m_Router;
    DevHost::ClientRegistry m_Clients;
    DevHost::EventHub m_Events{std::make_shared<SilentChannel>(), [](const std::string&) {}};
    DevHost::FaultScript m_Faults;
    std::uint32_t m_uiMonitored = 0;
    std::vector<FaultPlan::End> m_vecEnd;
    std::vector<std::uint32_t> m_vecAbsence;
    CallContext m_Caller;
    std::uint32_t m_uiReplySize = 0;
    DevHost::HostServer m_Server{
        m_Router, m_Clients, m_Events, m_Faults,
        DevHost::HostProcessHooks{[this](std::uint32_t processId) -> std::uint64_t {
                                      m_uiMonitored = processId;
                                      return processId == 1 ? DevHost::kNoHandle : 0x1234;
                                  },
                                  [this](FaultPlan::End end, std::uint32_t absenceMs) {
                                      m_vecEnd.push_back(end);
                                      m_vecAbsence.push_back(absenceMs);
                                  }}};
};

TEST_F(HostServerFixture, serves_every_message_id) {
    std::uint32_t* ids = nullptr;
    std::uint32_t count = 0;
    ASSERT_TRUE(m_Server.GetMsgID(&ids, &count));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(ids[0], CIPCRequestDispatcher::kDefaultHandlerId);
    m_Server.FreeMsgID(ids);
}

TEST_F(HostServerFixture, api_mail_is_answered_in_result_form) {
    const Reply reply = SendMail(WireHelpers::Api(kEchoApi, L"{\"x\": \"\u00e4\u20ac\"}"));
    EXPECT_EQ(reply.trackingId, kTrackingId);
    EXPECT_EQ(reply.resultCode, kSuccess);
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_TRUE(reply.hasReport && reply.hasPacker && reply.hasChild);
    EXPECT_EQ(reply.json,
              L"{\"data\":{\"echo\":{\"x\":\"\\u00e4\\u20ac\"}},\"retCode\":553582592}\n");
    EXPECT_EQ(m_Caller.sessionKey, kSessionKey);
    EXPECT_EQ(m_Caller.processId, 4711U);
    EXPECT_EQ(m_Caller.threadId, 99U);
}

TEST_F(HostServerFixture, bad_json_is_refused_in_the_answer) {
    for (const wchar_t* text : {L"", L"{", L"{\"a\": }", L"nonsense"}) {
        const Reply reply = SendMail(WireHelpers::Api(kEchoApi, text));
        EXPECT_EQ(reply.mailResult, kSuccess) << text;
        EXPECT_NE(reply.json.find(L"3774808071"), std::wstring::npos) << reply.json;  // 0xe0ff0007
    }
}

TEST_F(HostServerFixture, deep_nesting_is_refused_in_the_answer) {
    const std::wstring deep = std::wstring(100'000, L'[') + std::wstring(100'000, L']');
    const Reply reply = SendMail(WireHelpers::Api(kEchoApi, deep));
    EXPECT_NE(reply.json.find(L"3774808071"), std::wstring::npos);
}

TEST_F(HostServerFixture, mail_to_nobody_is_not_found) {
    for (const std::uint32_t destination : {0U, 0x4e0008U, 0x4f0009U, 0xffffffffU}) {
        const Reply reply = SendMail(WireHelpers::Mail(destination, 1, L"{}"));
        EXPECT_EQ(reply.resultCode, kSuccess);
        EXPECT_EQ(reply.mailResult, KrCommon::Result::kNotFound) << destination;
    }
    EXPECT_EQ(SendMail(WireHelpers::Mail(kMonitor, 1, L"{}")).mailResult,
              KrCommon::Result::kNotFound);
}

TEST_F(HostServerFixture, feedback_mail_is_taken) {
    const Reply reply = SendMail(WireHelpers::Mail(0x4e0010, 5, L"{}"));
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_EQ(reply.json, L"{}\n");
}

TEST_F(HostServerFixture, feedback_mail_is_noted_in_the_log) {
    const test_support::LogRecorder log;
    const std::wstring report = L"{\"type\": 1, \"path\": \"C:\\\\\u00e4\\n%s\"}";
    SendMail(WireHelpers::Mail(0x4e0010, 36870, report));
    SendMail(WireHelpers::Mail(0x4e0010, 7, L"{"));
    EXPECT_TRUE(log.Has(1,
                        L"WySvcHost: [INFO] feedback 36870, pid 4711: "
                        L"{\"path\":\"C:\\\\\\u00e4\\n%s\",\"type\":1}"));
    EXPECT_TRUE(log.Has(1, L"WySvcHost: [INFO] feedback 7, pid 4711: no JSON text"));
}

TEST_F(HostServerFixture, event_of_the_set_up_is_taken_and_noted_in_the_log) {
    const test_support::LogRecorder log;
    const Reply reply = SendMail(WireHelpers::Mail(5, 6146, L"{\"eventId\":6}"));
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_EQ(reply.json, L"{}\n");
    EXPECT_TRUE(log.Has(1, L"WySvcHost: [INFO] set-up event 6146, pid 4711: {\"eventId\":6}"));
    EXPECT_EQ(SendMail(WireHelpers::Mail(5, 6147, L"{}")).mailResult, KrCommon::Result::kNotFound);
}

TEST_F(HostServerFixture, monitor_gets_a_handle_at_the_root_of_the_answer) {
    const Reply reply = SendMail(WireHelpers::Mail(kMonitor, kMonitorMail, L"{\"pid\": 77}"));
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_EQ(reply.json, L"{\"handle\":4660}\n");
    EXPECT_EQ(m_uiMonitored, 77U);
}

TEST_F(HostServerFixture, monitor_without_a_handle_gets_all_ones) {
    for (const wchar_t* text : {L"{\"pid\": 1}", L"{}", L"{\"pid\": -5}", L"[]", L"{"}) {
        EXPECT_EQ(SendMail(WireHelpers::Mail(kMonitor, kMonitorMail, text)).json,
                  L"{\"handle\":18446744073709551615}\n")
            << text;
    }
}

TEST_F(HostServerFixture, registration_is_kept_and_taken_back) {
    Reply reply = Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    EXPECT_EQ(reply.resultCode, kSuccess);
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_TRUE(reply.hasMailResult);
    const auto client = m_Clients.Find(kSessionKey, 0);
    ASSERT_TRUE(client.has_value());
    EXPECT_EQ(client->name, L"name");
    EXPECT_EQ(client->processId, 55U);
    EXPECT_EQ(client->trackingId, kSessionKey);

    m_Events.Subscribe(kSessionKey, 7);
    reply = Send(IPC_MSG_UNREGISTER_PROCESS, WireHelpers::Unregister(55));
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_TRUE(m_Clients.All().empty());
    EXPECT_TRUE(m_Events.Subscribers(7).empty());
    reply = Send(IPC_MSG_UNREGISTER_PROCESS, WireHelpers::Unregister(55));
    EXPECT_EQ(reply.mailResult, KrCommon::Result::kNotFound);
}

TEST_F(HostServerFixture, registration_under_a_bad_key_is_refused) {
    const Reply reply =
        Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55, "..\\pipe\\x"));
    EXPECT_EQ(reply.mailResult, KrCommon::Result::kInvalidArgument);
    EXPECT_TRUE(m_Clients.All().empty());
}

TEST_F(HostServerFixture, registration_again_replaces_and_drops_subscriptions) {
    const std::string other = "99999999-2222-3333-4444-555555555555";
    Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    m_Events.Subscribe(kSessionKey, 7);
    const Reply reply = Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55, other));
    EXPECT_EQ(reply.mailResult, kSuccess);
    EXPECT_EQ(m_Clients.All().size(), 1U);
    EXPECT_TRUE(m_Events.Subscribers(7).empty());
}

TEST_F(HostServerFixture, registration_without_its_fields_is_malformed) {
    CRpcDataHandleWrapper empty(RPC_MSG_PRODUCT_DATA);
    for (const std::uint32_t id : {IPC_MSG_REGISTER_PROCESS, IPC_MSG_UNREGISTER_PROCESS}) {
        EXPECT_EQ(Send(id, WireHelpers::Command(id, &empty)).failureCode, 13U);
        EXPECT_EQ(Send(id, WireHelpers::Command(id, nullptr)).failureCode, 13U);
    }
}

TEST_F(HostServerFixture, erased_callback_ends_the_registration) {
    Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    Reply reply = Send(0, WireHelpers::Command(0, nullptr, kSessionKey, "someone else"));
    EXPECT_EQ(reply.resultCode, kSuccess);
    EXPECT_EQ(m_Clients.All().size(), 1U);
    reply = Send(0, WireHelpers::Command(0, nullptr, kSessionKey, kSessionKey));
    EXPECT_EQ(reply.resultCode, kSuccess);
    EXPECT_FALSE(reply.hasReport);
    EXPECT_TRUE(m_Clients.All().empty());
}

TEST_F(HostServerFixture, destroyed_context_ends_the_registration) {
    Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    const Reply reply = Send(IPC_MSG_DESTROY_CONTEXT, WireHelpers::DestroyContext());
    EXPECT_EQ(reply.resultCode, kSuccess);
    EXPECT_FALSE(reply.hasReport);
    EXPECT_TRUE(m_Clients.All().empty());
}

TEST_F(HostServerFixture, unknown_command_is_a_failure_envelope) {
    const Reply reply = Send(1234, WireHelpers::Command(1234, nullptr));
    EXPECT_TRUE(reply.failure);
    EXPECT_EQ(reply.failureCode, 1U);
    EXPECT_EQ(reply.failureText, L"Unknown command");
}

TEST_F(HostServerFixture, context_in_the_place_of_a_command_is_malformed) {
    EXPECT_EQ(Send(IPC_MSG_SEND_MAIL, WireHelpers::DestroyContext()).failureCode, 13U);
    EXPECT_EQ(Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::DestroyContext()).failureCode, 13U);
}

TEST_F(HostServerFixture, request_cut_at_any_byte_is_malformed) {
    const Bytes whole = WireHelpers::Api(kEchoApi, L"{}");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Reply reply =
            SendMail(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        ASSERT_TRUE(reply.failure) << size;
        ASSERT_EQ(reply.failureCode, 13U) << size;
    }
}

TEST_F(HostServerFixture, damaged_requests_get_an_answer_of_some_kind) {
    const Bytes whole = WireHelpers::Api(kEchoApi, L"{\"x\": [1, 2, 3]}");
    std::mt19937 random(20260101);
    for (int round = 0; round < 5000; ++round) {
        Bytes damaged = whole;
        for (int i = 0; i < 1 + round % 4; ++i) {
            damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        }
        const Reply reply = SendMail(damaged);
        ASSERT_TRUE(!reply.empty && !reply.malformed) << round;
        ASSERT_TRUE(reply.failure || reply.hasResultCode) << round;
    }
}

TEST_F(HostServerFixture, lengths_of_four_gibibytes_are_malformed) {
    EXPECT_EQ(SendMail({0xff, 0xff, 0xff, 0x7f, 1, 2, 3}).failureCode, 13U);
    EXPECT_EQ(SendMail({0xff, 0xff, 0xff, 0xff}).failureCode, 13U);
    EXPECT_EQ(SendMail({0, 0, 0, 0}).failureCode, 13U);
}

TEST_F(HostServerFixture, fault_unknown_client) {
    Script("api:400 unknown-client");
    EXPECT_EQ(Echo().failureCode, 0x803U);
    EXPECT_EQ(Echo().resultCode, kSuccess);
}

TEST_F(HostServerFixture, fault_failure_envelope) {
    Script("cmd:0x2052 fail 0x12345");
    const Reply reply = Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    EXPECT_EQ(reply.failureCode, 0x12345U);
    EXPECT_TRUE(m_Clients.All().empty());
}

TEST_F(HostServerFixture, fault_bytes_and_truncation) {
    Script(
        "api:400 bytes ca000000; api:400 bytes -; api:400 truncate 9; api:400 truncate 0; "
        "api:400 truncate 4000000000");
    EXPECT_TRUE(Echo().malformed);
    EXPECT_EQ(m_uiReplySize, 4U);
    EXPECT_TRUE(Echo().empty);
    EXPECT_TRUE(Echo().malformed);
    EXPECT_EQ(m_uiReplySize, 9U);
    EXPECT_TRUE(Echo().empty);
    EXPECT_EQ(Echo().resultCode, kSuccess);
}

TEST_F(HostServerFixture, fault_omissions_leave_out_one_piece_each) {
    Script(
        "any omit resultcode; any omit bodyid; any omit body; any omit mailresult; "
        "any omit packer; any omit child; any omit json; any omit retcode; any omit data");
    EXPECT_FALSE(Echo().hasResultCode);
    EXPECT_FALSE(Echo().hasReport);
    EXPECT_FALSE(Echo().hasReport);
    Reply reply = Echo();
    EXPECT_TRUE(reply.hasReport && !reply.hasMailResult && reply.hasPacker && reply.hasJson);
    reply = Echo();
    EXPECT_TRUE(reply.hasMailResult && !reply.hasPacker && reply.hasJson);
    reply = Echo();
    EXPECT_TRUE(reply.hasMailResult && reply.hasPacker && !reply.hasChild);
    reply = Echo();
    EXPECT_TRUE(reply.hasChild && !reply.hasJson);
    EXPECT_EQ(Echo().json, L"{\"data\":{\"echo\":{\"x\":1}}}\n");
    EXPECT_EQ(Echo().json, L"{\"retCode\":553582592}\n");
}

TEST_F(HostServerFixture, fault_mistypes_are_there_and_cannot_be_read) {
    Script(
        "any mistype resultcode; any mistype mailresult; any mistype packer; any mistype child; "
        "any mistype json; any mistype retcode; any mistype data");
    EXPECT_FALSE(Echo().hasResultCode);
    Reply reply = Echo();
    EXPECT_TRUE(reply.hasReport && !reply.hasMailResult && reply.hasPacker && reply.hasJson);
    reply = Echo();
    EXPECT_TRUE(reply.hasMailResult && !reply.hasPacker && reply.hasJson);
    reply = Echo();
    EXPECT_TRUE(reply.hasMailResult && reply.hasPacker && !reply.hasChild);
    reply = Echo();
    EXPECT_TRUE(reply.hasChild && !reply.hasJson);
    EXPECT_EQ(Echo().json, L"{\"data\":{\"echo\":{\"x\":1}},\"retCode\":\"wrong\"}\n");
    EXPECT_EQ(Echo().json, L"{\"data\":\"wrong\",\"retCode\":553582592}\n");
}

TEST_F(HostServerFixture, fault_size_stretches_what_has_a_text) {
    const Reply plain = Echo();
    const std::uint32_t least = m_uiReplySize;
    for (const std::uint32_t size : {least + 1, least + 2, 65'536U, 65'537U, 16U << 20U}) {
        Script("any size " + std::to_string(size));
        const Reply reply = Echo();
        EXPECT_EQ(m_uiReplySize, size - (size - least) % 2);
        EXPECT_TRUE(reply.json.starts_with(plain.json)) << size;
        EXPECT_EQ(reply.json.find_first_not_of(L' ', plain.json.size()), std::wstring::npos);
    }
    Script("any size 5000; any size 5000, omit json; any size 5000, truncate 100");
    Send(IPC_MSG_REGISTER_PROCESS, WireHelpers::Register(L"name", 55));
    EXPECT_LT(m_uiReplySize, 5000U);
    Echo();
    EXPECT_LT(m_uiReplySize, 5000U);
    Echo();
    EXPECT_EQ(m_uiReplySize, 100U);
}

TEST_F(HostServerFixture, fault_values) {
    Script(
        "any mailresult 0xe0ff0016; any resultcode 0xe0ff001e; any retcode 0xe00e0001; "
        "any text not json at all");
    Reply reply = Echo();
    EXPECT_EQ(reply.mailResult, 0xe0ff0016U);
    EXPECT_TRUE(reply.hasJson);
    EXPECT_EQ(Echo().resultCode, 0xe0ff001eU);
    EXPECT_NE(Echo().json.find(L"\"retCode\":3759013889"), std::wstring::npos);
    EXPECT_EQ(Echo().json, L"not json at all");
}

TEST_F(HostServerFixture, fault_ends_go_to_the_process) {
    Script("any crash; any crash-restart; any restart");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Echo().resultCode, kSuccess);
    EXPECT_EQ(m_vecEnd,
              (std::vector<FaultPlan::End>{FaultPlan::End::kCrash, FaultPlan::End::kCrashRestart,
                                           FaultPlan::End::kRestart}));
}

TEST_F(HostServerFixture, fault_ends_tell_the_time_of_absence) {
    Script("any crash; any crash-restart 750; any crash-restart; any restart");
    for (int i = 0; i < 4; ++i)
        Echo();
    EXPECT_EQ(m_vecAbsence, (std::vector<std::uint32_t>{0, 750, 0, 0}));
}

TEST_F(HostServerFixture, fault_delay_holds_the_reply) {
    Script("any delay 80");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Echo().resultCode, kSuccess);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(80));
}

TEST_F(HostServerFixture, delays_are_cut_at_the_stop) {
    Script("any x* delay 600000");
    std::thread caller([this] { EXPECT_EQ(Echo().resultCode, kSuccess); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    m_Server.CutDelays();
    caller.join();
    EXPECT_EQ(Echo().resultCode, kSuccess);
}

TEST(HostWire, delivery_carries_tracking_id_and_text) {
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    DevHost::EncodeDelivery(kTrackingId, L"{\"eventId\":1}", out);
    CIPCMsgBuffer in(out.GetData(), out.GetLength());
    std::uint32_t id = 0;
    CRpcDataHandleWrapper message;
    in >> id >> message;
    EXPECT_EQ(id, IPC_MSG_COMMAND_RESULT);
    std::string tracking;
    message.Get(ID_DATA_TRACKING_ID, tracking);
    EXPECT_EQ(tracking, kTrackingId);
    CRpcDataHandleWrapper report;
    ASSERT_EQ(message.Get(RPC_MSG_PRODUCT_DATA, &report), kSuccess);
    std::wstring json;
    report.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json);
    EXPECT_EQ(json, L"{\"eventId\":1}");
}

TEST(HostWire, delivery_replies_of_any_bytes_are_read) {
    EXPECT_FALSE(DevHost::DecodeDeliveryReply(nullptr, 0).wellFormed);
    const std::uint8_t marker[] = {202, 0, 0, 0};
    EXPECT_FALSE(DevHost::DecodeDeliveryReply(marker, sizeof marker).wellFormed);
    const std::uint8_t failure[] = {2, 0, 0, 0, 0xba, 6, 0, 0};
    const DevHost::DeliveryReply reply = DevHost::DecodeDeliveryReply(failure, sizeof failure);
    EXPECT_TRUE(reply.wellFormed && reply.failure);
    EXPECT_EQ(reply.code, 1722U);
    EXPECT_FALSE(DevHost::DecodeDeliveryReply(failure, 5).wellFormed);
}

}  // namespace
