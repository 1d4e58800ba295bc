// Identity, requests and replies of the client manager.

#include <cstring>
#include <set>
#include <string_view>

#include "ManagerFixture.h"
#include "support/LogRecorder.h"

using namespace test_support;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;

namespace {

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
    const LogRecorder log;
    EXPECT_EQ(CRpcClientManager::DestroyContext(&client), 0xe0010005U);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CRpcClientManager::DestroyContext"));
}

TEST_F(RpcClientManager, command_is_logged_with_its_code) {
    const LogRecorder log;
    ASSERT_EQ(Execute("id", nullptr), kSuccess);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequestWithData"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequestWithData, code = 0x20ff0000"));
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

}  // namespace
