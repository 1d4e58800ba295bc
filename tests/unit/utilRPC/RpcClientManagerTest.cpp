#include "utilRPC/RpcClientManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include "Framework/utilIPC/ipc_ids.h"
#include "support/GoldenImages.h"
#include "support/LogRecorder.h"
#include "support/service/ScriptedService.h"

namespace golden = test_support::golden;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using std::chrono::milliseconds;
using test_support::Append;
using test_support::Bytes;
using test_support::FromHex;
using test_support::LogRecorder;
using test_support::ScriptedService;
using test_support::ToHex;
using test_support::Words;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kMalformed = 0xe0ff0009;
constexpr std::uint32_t kUnavailable = 0xe00106ba;

Bytes Envelope(std::uint32_t word, const CRpcDataHandleWrapper& message) {
    Bytes bytes = Words({word, message.GetSize()});
    bytes.insert(bytes.end(), message.GetData(), message.GetData() + message.GetSize());
    return bytes;
}

// A reply in result form.
Bytes ResultReply(std::uint32_t code, std::uint32_t marker = 202) {
    CommandResult result{};
    result.iResult = code;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    return Envelope(marker, message);
}

Bytes FailureReply(std::uint32_t code) {
    CIPCMsgBuffer buffer(CIPCMsgBuffer::kBlockSize, false);
    buffer << IPC_REPLY_FAILURE << code << L"text";
    return Bytes(buffer.GetData(), buffer.GetData() + buffer.GetLength());
}

// A delivery of the service under a tracking id.
Bytes Delivery(const std::string& trackingId, std::uint32_t code = 0,
               std::uint32_t messageId = IPC_MSG_COMMAND_RESULT) {
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{}");
    CommandResult result{};
    trackingId.copy(result.szTrackingID, 36);
    result.iResult = code;
    result.uiReportId = RPC_MSG_PRODUCT_DATA;
    RpcDataShare(&report.Handle(), &result.pReport);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    RpcDataDestroy(&result.pReport);
    return Envelope(messageId, message);
}

// The result form of an answer; all zero for bytes that are none.
CommandResult ResultOf(const Bytes& answer) {
    CommandResult result{};
    CIPCMsgBuffer view(answer.data(), static_cast<std::uint32_t>(answer.size()));
    std::uint32_t marker = 0;
    CRpcDataHandleWrapper message;
    try {
        view >> marker >> message;
        EXPECT_EQ(marker, IPC_REPLY_SUCCESS);
    } catch (const CIPCMsgBufferException&) {
        ADD_FAILURE() << "the answer is no envelope: " << ToHex(answer);
    }
    RpcMessages::DecodeResult(message, result);
    return result;
}

// What the callback of a test saw and does.
struct Seen {
    std::atomic<int> calls{0};
    std::string trackingId;
    void* context = nullptr;
    std::uint32_t code = 0;
    std::wstring report;
    std::function<void()> work;
};
Seen* s_pSeen = nullptr;

int Callback(const char* trackingId, CommandResult* in, CommandResult* out) {
    Seen& seen = *s_pSeen;
    if (++seen.calls == 1) {
        seen.trackingId = trackingId;
        seen.context = in->pContext;
        seen.code = in->iResult;
        CRpcDataHandleWrapper(in->pReport)
            .Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, seen.report);
    }
    if (seen.work) {
        seen.work();
    }
    out->iResult = 0x1234;
    return -1;  // is not looked at
}

class RpcClientManager : public testing::Test {
protected:
    // One manager for all tests: there can be one at a time, and each opens an endpoint that the
    // process never closes.
    static void SetUpTestSuite() {
        s_pService = new ScriptedService;
        s_pManager = new CRpcClientManager(nullptr, 1000);
        g_pRpcClientManager = s_pManager;
    }
    static void TearDownTestSuite() {
        g_pRpcClientManager = nullptr;
        delete s_pManager;
        delete s_pService;
    }
    void SetUp() override {
        s_pService->Reset();
        s_pService->SetReply(ResultReply(kSuccess));
        s_pSeen = &m_Seen;
    }

    static ScriptedService& Service() { return *s_pService; }

    // A command under a tracking id.
    static std::uint32_t Execute(const std::string& trackingId, TrackingCallback callback,
                                 void* pContext = nullptr, CommandResult* out = nullptr) {
        CommandContext context{};
        context.uiCommandId = IPC_MSG_SEND_MAIL;
        trackingId.copy(context.szTrackingID, 36);
        context.pContext = pContext;
        CommandResult result{};
        const std::uint32_t code = CRpcClientManager::ExecuteCommand(&context, callback, &result);
        if (out != nullptr) {
            *out = result;
        }
        CRpcClientManager::DestroyReport(&result.pReport);
        return code;
    }

    // The code of a command that is answered with these bytes.
    static std::uint32_t CodeOf(const Bytes& reply) {
        Service().PushReply(reply);
        return Execute("id", nullptr);
    }

    static Bytes Deliver(const Bytes& request) {
        return Service().Deliver(s_pManager->GetClientSessionKey(), request);
    }

    Seen m_Seen;
    static ScriptedService* s_pService;
    static CRpcClientManager* s_pManager;
};

ScriptedService* RpcClientManager::s_pService = nullptr;
CRpcClientManager* RpcClientManager::s_pManager = nullptr;

// ---- identity

bool IsUuid(const std::string& text) {
    if (text.size() != 36) {
        return false;
    }
    for (std::size_t i = 0; i < 36; ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        const bool digit =
            std::string_view("0123456789abcdef").find(text[i]) != std::string_view::npos;
        if (dash ? text[i] != '-' : !digit) {
            return false;
        }
    }
    return true;
}

TEST_F(RpcClientManager, uuid_is_36_characters_in_lower_case_and_new_each_time) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        char text[37];
        std::memset(text, 'x', sizeof(text));
        ASSERT_EQ(CRpcClientManager::CreateUUID(text, 37), kSuccess);
        EXPECT_TRUE(IsUuid(text)) << text;
        EXPECT_TRUE(seen.insert(text).second);
    }
}

TEST_F(RpcClientManager, uuid_without_a_place_is_invalid) {
    EXPECT_EQ(CRpcClientManager::CreateUUID(nullptr, 37), 0xe0ff0007U);
}

TEST_F(RpcClientManager, uuid_without_room_fails_and_leaves_an_empty_text) {
    const LogRecorder log;
    char text[37] = "before";
    EXPECT_EQ(CRpcClientManager::CreateUUID(text, 36), 0xe0ff0004U);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] CreateUUID() create uuid failed (length) "));
    char nothing = 'x';
    EXPECT_EQ(CRpcClientManager::CreateUUID(&nothing, 0), 0xe0ff0004U);
}

TEST_F(RpcClientManager, session_key_is_a_uuid_under_which_the_manager_can_be_called) {
    EXPECT_TRUE(IsUuid(s_pManager->GetClientSessionKey()));
    EXPECT_EQ(ResultOf(Deliver(Delivery("nobody"))).iResult, 0xe0ff0018U);
}

TEST_F(RpcClientManager, only_the_id_0_is_served) {
    std::uint32_t* ids = nullptr;
    std::uint32_t count = 0;
    ASSERT_TRUE(s_pManager->GetMsgID(&ids, &count));
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(ids[0], 0U);
    s_pManager->FreeMsgID(ids);
}

// ---- requests

TEST_F(RpcClientManager, command_travels_with_the_session_key_and_its_own_id) {
    ASSERT_EQ(Execute(golden::kTrackingId, nullptr), kSuccess);
    const std::vector<Bytes> requests = Service().TakeRequests();
    ASSERT_EQ(requests.size(), 1U);
    CIPCMsgBuffer view(requests[0].data(), static_cast<std::uint32_t>(requests[0].size()));
    std::uint32_t id = 0;
    CRpcDataHandleWrapper message;
    view >> id >> message;
    EXPECT_EQ(id, IPC_MSG_SEND_MAIL);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_STREQ(main.szClientSessionKey, s_pManager->GetClientSessionKey());
    CommandContext context{};
    RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, context);
    EXPECT_STREQ(context.szTrackingID, golden::kTrackingId);
    EXPECT_EQ(context.uiCommandId, IPC_MSG_SEND_MAIL);
}

TEST_F(RpcClientManager, context_is_given_up_under_8206) {
    CommandClient client{};
    std::memcpy(client.szContextID, golden::kTrackingId, 37);
    EXPECT_EQ(CRpcClientManager::DestroyContext(&client), kSuccess);
    const std::vector<Bytes> requests = Service().TakeRequests();
    ASSERT_EQ(requests.size(), 1U);
    CIPCMsgBuffer view(requests[0].data(), static_cast<std::uint32_t>(requests[0].size()));
    std::uint32_t id = 0;
    CRpcDataHandleWrapper message;
    view >> id >> message;
    EXPECT_EQ(id, 8206U);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_STREQ(main.szClientSessionKey, s_pManager->GetClientSessionKey());
    EXPECT_EQ(main.uiBodyId, RPC_MSG_CONTEXT);
    std::string context;
    EXPECT_EQ(main.Body.Get(ID_DATA_TRACKING_ID, context), kSuccess);
    EXPECT_EQ(context, golden::kTrackingId);
}

TEST_F(RpcClientManager, code_of_giving_up_a_context_is_that_of_the_reply) {
    CommandClient client{};
    Service().PushReply(FailureReply(5));
    EXPECT_EQ(CRpcClientManager::DestroyContext(&client), 0xe0010005U);
}

TEST_F(RpcClientManager, command_is_logged_with_its_code) {
    const LogRecorder log;
    ASSERT_EQ(Execute("id", nullptr), kSuccess);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequestWithData"));
    EXPECT_EQ(log.CountContaining(L"0x20ff0000"), 1U);
}

TEST_F(RpcClientManager, plugin_origin_suppresses_sending) {
    CRpcDataHandleWrapper request(RPC_MSG_MAIN);
    CRpcDataHandleWrapper reply;
    int origin = 0;
    EXPECT_EQ(CRpcClientManager::SendRequestWithData(IPC_MSG_SEND_MAIL, request, reply, &origin),
              kMalformed);
    EXPECT_EQ(CRpcClientManager::SendRequest(request, &origin), kMalformed);
    EXPECT_TRUE(Service().TakeRequests().empty());
}

TEST_F(RpcClientManager, command_without_a_manager_fails) {
    g_pRpcClientManager = nullptr;
    CommandClient client{};
    EXPECT_EQ(Execute("id", nullptr), kFailure);
    EXPECT_EQ(CRpcClientManager::DestroyContext(&client), kFailure);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
    g_pRpcClientManager = s_pManager;
    EXPECT_TRUE(Service().TakeRequests().empty());
}

// ---- replies

TEST_F(RpcClientManager, reply_is_decoded_into_the_result) {
    Service().PushReply(golden::ScanReply());
    CommandContext context{};
    CommandResult result{};
    EXPECT_EQ(CRpcClientManager::ExecuteCommand(&context, nullptr, &result), kSuccess);
    EXPECT_STREQ(result.szTrackingID, golden::kTrackingId);
    EXPECT_EQ(result.iResult, kSuccess);
    EXPECT_EQ(result.uiReportId, RPC_MSG_PRODUCT_DATA);
    std::uint32_t verdict = 0;
    EXPECT_EQ(
        CRpcDataHandleWrapper(result.pReport).Get(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, &verdict),
        kSuccess);
    EXPECT_EQ(verdict, kSuccess);
    CRpcClientManager::DestroyReport(&result.pReport);
    EXPECT_EQ(result.pReport.pHolder, nullptr);
}

TEST_F(RpcClientManager, any_marker_but_2_means_success) {
    for (const std::uint32_t marker : {0U, 1U, 3U, 202U, 0xffffffffU}) {
        EXPECT_EQ(CodeOf(ResultReply(7, marker)), 7U) << marker;
    }
}

TEST_F(RpcClientManager, code_of_a_reply_is_passed_on_as_it_is) {
    for (const std::uint32_t code : {0U, 1U, 0x20ff0001U, 0xe0ff0007U, 0xffffffffU}) {
        EXPECT_EQ(CodeOf(ResultReply(code)), code);
    }
}

TEST_F(RpcClientManager, negative_reply_is_not_decoded) {
    CommandResult result{};
    Service().PushReply(ResultReply(0xe0ff0007));
    EXPECT_EQ(Execute("id", nullptr, nullptr, &result), 0xe0ff0007U);
    EXPECT_EQ(result.iResult, 0U);
}

TEST_F(RpcClientManager, empty_reply_is_malformed) {
    EXPECT_EQ(CodeOf({}), kMalformed);
}

TEST_F(RpcClientManager, reply_of_a_marker_alone_is_malformed) {
    EXPECT_EQ(CodeOf(Words({202})), kMalformed);
}

TEST_F(RpcClientManager, every_truncation_of_a_reply_gives_a_stated_code) {
    const Bytes whole = golden::ScanReply();
    for (std::size_t size = 0; size < whole.size(); size += size < 20 ? 1 : 7) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(CodeOf(cut), kMalformed) << size;
    }
}

TEST_F(RpcClientManager, reply_whose_message_is_larger_than_the_rest_is_malformed) {
    EXPECT_EQ(CodeOf(Words({202, 0x7fffffff, 1, 2})), kMalformed);
    EXPECT_EQ(CodeOf(Words({202, 13, RPC_MSG_MAIN, 100, 0})), kMalformed);
}

TEST_F(RpcClientManager, reply_without_a_result_code_is_a_failure) {
    EXPECT_EQ(CodeOf(Envelope(202, CRpcDataHandleWrapper(RPC_MSG_MAIN))), kFailure);
    EXPECT_EQ(CodeOf(Words({202, 0})), kFailure);
    EXPECT_EQ(CodeOf(Words({202, 0xffffffff})), kFailure);
}

TEST_F(RpcClientManager, reply_whose_image_does_not_parse_is_a_failure) {
    Bytes reply = Words({202, 13, RPC_MSG_MAIN, 100, 1});
    reply.push_back(0xff);
    EXPECT_EQ(CodeOf(reply), kFailure);
}

TEST_F(RpcClientManager, result_code_of_another_type_is_a_failure) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_RESULT_CODE, std::string("text"));
    EXPECT_EQ(CodeOf(Envelope(202, message)), kFailure);
}

TEST_F(RpcClientManager, failure_envelope_gives_its_code_under_the_remote_family) {
    EXPECT_EQ(CodeOf(FailureReply(0x803)), 0xe0010803U);
    EXPECT_EQ(CodeOf(FailureReply(1722)), 0xe00106baU);
    EXPECT_EQ(CodeOf(golden::UnknownClientEnvelope()), 0xe0010803U);
}

TEST_F(RpcClientManager, failure_code_above_16_bits_loses_its_high_half) {
    EXPECT_EQ(CodeOf(FailureReply(0xc0000005)), 0xe0010005U);
    EXPECT_EQ(CodeOf(FailureReply(0x12340803)), 0xe0010803U);
}

TEST_F(RpcClientManager, failure_envelope_needs_no_text) {
    EXPECT_EQ(CodeOf(Words({2, 0x803})), 0xe0010803U);
}

TEST_F(RpcClientManager, failure_marker_alone_is_malformed) {
    EXPECT_EQ(CodeOf(Words({2})), kMalformed);
    EXPECT_EQ(CodeOf(FromHex("02 00 00 00 03 08 00")), kMalformed);
}

TEST_F(RpcClientManager, large_reply_arrives_whole) {
    const std::wstring text(1000000, L'x');
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str());
    CommandResult sent{};
    sent.uiReportId = RPC_MSG_PRODUCT_DATA;
    RpcDataShare(&report.Handle(), &sent.pReport);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(sent, message);
    RpcDataDestroy(&sent.pReport);
    Service().PushReply(Envelope(202, message));
    CommandContext context{};
    CommandResult result{};
    EXPECT_EQ(CRpcClientManager::ExecuteCommand(&context, nullptr, &result), 0U);
    std::wstring read;
    EXPECT_EQ(
        CRpcDataHandleWrapper(result.pReport).Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, read),
        kSuccess);
    EXPECT_TRUE(read == text);
    CRpcClientManager::DestroyReport(&result.pReport);
}

TEST_F(RpcClientManager, service_that_is_not_there_gives_its_rpc_status_once) {
    Service().Kill();
    const LogRecorder log;
    EXPECT_EQ(Execute("id", nullptr), kUnavailable);
    EXPECT_EQ(log.CountContaining(L"CRPCClientHelper::SendRequest(),"), 1U);
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRPCClientHelper::SendRequest(),1722, (1722), "
                        L"[rpc_client|105]"));
    Service().Restart();
    Service().SetReply(ResultReply(kSuccess));
    // No state is left behind: the next request binds anew.
    EXPECT_EQ(Execute("id", nullptr), kSuccess);
}

// ---- the tracking record of a command

TEST_F(RpcClientManager, command_without_a_callback_leaves_no_record) {
    ASSERT_EQ(Execute("id", nullptr), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, command_with_a_callback_leaves_a_record_until_it_is_erased) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, second_command_of_one_tracking_id_is_refused_before_it_is_sent) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    Service().TakeRequests();
    EXPECT_EQ(Execute("id", Callback), 0xe0ff001cU);
    EXPECT_TRUE(Service().TakeRequests().empty());
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, failed_send_leaves_no_record_so_that_the_id_can_be_used_again) {
    Service().PushReply(FailureReply(5));
    EXPECT_EQ(Execute("id", Callback), 0xe0010005U);
    Service().PushReply({});
    EXPECT_EQ(Execute("id", Callback), kMalformed);
    Service().PushReply(ResultReply(0xe0ff0007));
    EXPECT_EQ(Execute("id", Callback), 0xe0ff0007U);
    EXPECT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- deliveries

TEST_F(RpcClientManager, delivery_reaches_the_callback_and_its_answer_the_service) {
    int context = 0;
    ASSERT_EQ(Execute(golden::kTrackingId, Callback, &context), kSuccess);
    const LogRecorder log;
    const CommandResult answer = ResultOf(Deliver(Delivery(golden::kTrackingId, 77)));
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(m_Seen.trackingId, golden::kTrackingId);
    EXPECT_EQ(m_Seen.context, &context);
    EXPECT_EQ(m_Seen.code, 77U);
    EXPECT_EQ(m_Seen.report, L"{}");
    EXPECT_EQ(answer.iResult, 0x1234U);
    EXPECT_STREQ(answer.szTrackingID, "");
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] operator(iMsgID ) : 8200"));
    EXPECT_TRUE(
        log.Has(kInformation, L"utilRPC: [INFO] Tracking id = " +
                                  std::wstring(golden::kTrackingId, golden::kTrackingId + 36)));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CRpcClientManager::ReplyResult"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] operator()"));
    EXPECT_EQ(CRpcClientManager::EraseTrackingID(golden::kTrackingId), kSuccess);
}

TEST_F(RpcClientManager, one_command_can_have_many_deliveries) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
        EXPECT_EQ(m_Seen.calls, i);
    }
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, delivery_under_an_unknown_id_is_answered_with_a_result_form) {
    EXPECT_EQ(ToHex(Deliver(golden::EventDelivery())), ToHex(golden::UnknownTrackingIdAnswer()));
}

TEST_F(RpcClientManager, delivery_under_another_message_id_is_processed_and_then_logged) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(ResultOf(Deliver(Delivery("id", 0, 9999))).iResult, 0x1234U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_TRUE(log.Has(kWarning, L"utilRPC: [WARN] Received incorrect msg id: 9999"));
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, delivery_that_is_no_envelope_is_logged_and_answered_with_nothing) {
    const LogRecorder log;
    EXPECT_EQ(ToHex(Deliver(Words({IPC_MSG_COMMAND_RESULT}))), "");
    EXPECT_EQ(ToHex(Deliver(Words({IPC_MSG_COMMAND_RESULT, 0x7fffffff}))), "");
    EXPECT_EQ(log.CountContaining(L": [WARN] Got invalid input buffer!!! "), 2U);
}

TEST_F(RpcClientManager, delivery_of_an_empty_message_has_no_tracking_id) {
    EXPECT_EQ(ResultOf(Deliver(Words({IPC_MSG_COMMAND_RESULT, 0}))).iResult, 0xe0ff0018U);
}

TEST_F(RpcClientManager, delivery_without_a_report_reaches_the_callback_with_an_empty_handle) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    CommandResult result{};
    std::memcpy(result.szTrackingID, "id", 3);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    EXPECT_EQ(ResultOf(Deliver(Envelope(IPC_MSG_COMMAND_RESULT, message))).iResult, 0x1234U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(m_Seen.report, L"");
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, several_deliveries_of_one_id_run_at_the_same_time) {
    constexpr int kDeliveries = 4;
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    std::promise<void> all;
    std::shared_future<void> go = all.get_future().share();
    std::atomic<int> inside = 0;
    std::atomic<int> late = 0;
    m_Seen.work = [&] {
        if (++inside == kDeliveries) {
            all.set_value();
        }
        late += go.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? 0 : 1;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kDeliveries; ++i) {
        threads.emplace_back([] { EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(late, 0);
    EXPECT_EQ(m_Seen.calls, kDeliveries);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, erase_during_a_delivery_lets_it_end_and_then_the_record_is_gone) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    std::promise<void> entered;
    std::promise<void> leave;
    m_Seen.work = [&] {
        entered.set_value();
        leave.get_future().wait();
    };
    std::thread delivery([] { EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U); });
    entered.get_future().wait();
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff0016U);
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0xe0ff0015U);
    leave.set_value();
    delivery.join();
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0xe0ff0018U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, record_can_be_erased_by_its_own_callback) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    m_Seen.work = [] { EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff0016U); };
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, callback_can_send_a_command) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    Service().SetReply(ResultReply(55));
    m_Seen.work = [] { EXPECT_EQ(Execute("other", nullptr), 55U); };
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- many threads

TEST_F(RpcClientManager, many_threads_can_send_at_the_same_time) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    Service().SetReply(ResultReply(4711));
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&wrong, i] {
            for (int call = 0; call < 25; ++call) {
                const std::string id = "thread " + std::to_string(i);
                const bool tracked = call % 2 == 0;
                wrong += Execute(id, tracked ? Callback : nullptr) == 4711 ? 0 : 1;
                if (tracked) {
                    wrong += CRpcClientManager::EraseTrackingID(id.c_str()) == kSuccess ? 0 : 1;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Service().TakeRequests().size(), 200U);
}

TEST_F(RpcClientManager, deliveries_and_erasures_of_many_threads_keep_the_table_whole) {
    std::atomic<bool> stop = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> services;
    for (int i = 0; i < 3; ++i) {
        services.emplace_back([&] {
            while (!stop) {
                const std::uint32_t code = ResultOf(Deliver(Delivery("id"))).iResult;
                const bool stated = code == 0x1234 || code == 0xe0ff0015 || code == 0xe0ff0018;
                wrong += stated ? 0 : 1;
            }
        });
    }
    for (int round = 0; round < 30; ++round) {
        const std::uint32_t code = Execute("id", Callback);
        wrong += code == kSuccess || code == 0xe0ff001cU ? 0 : 1;
        std::this_thread::sleep_for(milliseconds(2));
        CRpcClientManager::EraseTrackingID("id");
    }
    stop = true;
    for (std::thread& service : services) {
        service.join();
    }
    EXPECT_EQ(wrong, 0);
    CRpcClientManager::EraseTrackingID("id");
    EXPECT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- the life of a manager

TEST(RpcClientManagerLife, construction_is_logged_with_the_plugin_pointer) {
    const LogRecorder log;
    const CRpcClientManager manager(nullptr, 1000);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] Constructor, PluginOrg : 0x0"));
    EXPECT_EQ(log.CountContaining(L": [ERROR] "), 0U);
}

TEST(RpcClientManagerLife, destruction_waits_for_the_running_delivery) {
    ScriptedService service;
    service.SetReply(ResultReply(kSuccess));
    Seen seen;
    s_pSeen = &seen;
    auto manager = std::make_unique<CRpcClientManager>(nullptr, 1000);
    g_pRpcClientManager = manager.get();
    const std::string key = manager->GetClientSessionKey();
    CommandContext context{};
    std::memcpy(context.szTrackingID, "id", 3);
    CommandResult result{};
    ASSERT_EQ(CRpcClientManager::ExecuteCommand(&context, Callback, &result), kSuccess);
    CRpcClientManager::DestroyReport(&result.pReport);
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left = false;
    seen.work = [&] {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    std::thread delivery(
        [&] { EXPECT_EQ(ResultOf(service.Deliver(key, Delivery("id"))).iResult, 0x1234U); });
    entered.get_future().wait();
    std::atomic<bool> leftBeforeTheEnd = false;
    std::thread end([&] {
        g_pRpcClientManager = nullptr;
        manager.reset();
        leftBeforeTheEnd = left.load();
    });
    std::this_thread::sleep_for(milliseconds(250));
    leave.set_value();
    end.join();
    delivery.join();
    EXPECT_TRUE(leftBeforeTheEnd);
}

TEST(RpcClientManagerLife, after_its_end_nobody_takes_a_delivery) {
    ScriptedService service;
    std::string key;
    {
        const CRpcClientManager manager(nullptr, 1000);
        key = manager.GetClientSessionKey();
        EXPECT_EQ(ResultOf(service.Deliver(key, Delivery("id"))).iResult, 0xe0ff0018U);
    }
    const Bytes answer = service.Deliver(key, Delivery("id"));
    ASSERT_GE(answer.size(), 4U);
    EXPECT_EQ(ToHex(answer.data(), 4), "02 00 00 00");
}

TEST(RpcClientManagerLife, next_manager_has_a_key_and_an_endpoint_of_its_own) {
    ScriptedService service;
    std::set<std::string> keys;
    for (int i = 0; i < 3; ++i) {
        const CRpcClientManager manager(nullptr, 1000);
        EXPECT_TRUE(keys.insert(manager.GetClientSessionKey()).second);
        const Bytes answer = service.Deliver(manager.GetClientSessionKey(), Delivery("id"));
        EXPECT_EQ(ResultOf(answer).iResult, 0xe0ff0018U);
    }
}

}  // namespace
