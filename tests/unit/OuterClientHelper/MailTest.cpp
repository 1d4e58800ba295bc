#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "HelperFixture.h"
#include "support/LogRecorder.h"

using namespace test_support;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;

namespace {

constexpr std::uint32_t kInvalid = 0xe0ff0007;

// One instance holds the client manager for all tests of the suite, as a session does.
class Mail : public HelperTest {
protected:
    static void SetUpTestSuite() {
        HelperTest::SetUpTestSuite();
        s_pSession = new Helper;
    }
    static void TearDownTestSuite() {
        delete s_pSession;
        HelperTest::TearDownTestSuite();
    }

    static std::uint32_t Send(JsonDocument& output, const JsonDocument& input = Document(L"{}"),
                              std::uint32_t mailId = 400013001, bool flag = false) {
        Helper helper;
        return helper.SendMail2ProductPlugin(MailDestination::kApiCall, mailId, input, output,
                                             flag);
    }
    static std::uint32_t Send() {
        JsonDocument output;
        return Send(output);
    }
    // The result of a mail that is answered with these bytes.
    static std::uint32_t CodeOf(const Bytes& reply) {
        Service().PushReply(reply);
        return Send();
    }

    static Helper* s_pSession;
};

Helper* Mail::s_pSession = nullptr;

// Puts what differs from run to run into the place where an image has its fixed value.
void Overwrite(Bytes& image, const Bytes& golden, const Bytes& marker, std::size_t skip,
               const Bytes& actual) {
    const auto at = std::search(golden.begin(), golden.end(), marker.begin(), marker.end());
    ASSERT_NE(at, golden.end());
    const auto offset = at - golden.begin() + static_cast<std::ptrdiff_t>(skip);
    ASSERT_LE(static_cast<std::size_t>(offset) + actual.size(), image.size());
    // It is there, and nothing else.
    EXPECT_TRUE(std::equal(actual.begin(), actual.end(), image.begin() + offset));
    std::copy_n(golden.begin() + offset, actual.size(), image.begin() + offset);
}

Bytes TextBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// ---- the request

TEST_F(Mail, scan_leaves_the_process_byte_for_byte) {
    JsonDocument output;
    ASSERT_EQ(Send(output, Document(L"{\"items\":[\"a\",\"b\"],\"activeSessionId\":1}"), 400000000),
              kSuccess);
    const std::vector<Bytes> requests = Service().TakeRequests();
    ASSERT_EQ(requests.size(), 1U);
    Bytes image = requests[0];
    const Bytes golden = golden::ScanRequest();
    const Request request(image);
    ASSERT_EQ(image.size(), golden.size());
    Overwrite(image, golden, TextBytes(golden::kSessionKey), 0, TextBytes(SessionKey()));
    Overwrite(image, golden, TextBytes(golden::kTrackingId), 0, TextBytes(request.trackingId));
    Overwrite(image, golden, Words({ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, 7, 4}), 12,
              Words({OuterClientPlatform::CurrentProcessId()}));
    Overwrite(image, golden, Words({ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, 7, 4}), 12,
              Words({OuterClientPlatform::CurrentThreadId()}));
    EXPECT_EQ(ToHex(image), ToHex(golden));
}

TEST_F(Mail, command_has_a_new_tracking_id_each_time_and_flag_1) {
    Send();
    Send();
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].id, 8273U);
    EXPECT_EQ(requests[0].command, 8273U);
    EXPECT_EQ(requests[0].flag, 1);
    EXPECT_EQ(requests[0].trackingId.size(), 36U);
    EXPECT_NE(requests[0].trackingId, requests[1].trackingId);
    EXPECT_EQ(requests[0].sessionKey, requests[1].sessionKey);
}

TEST_F(Mail, destination_number_flag_and_text_travel) {
    Helper helper;
    JsonDocument output;
    EXPECT_EQ(helper.SendMail2ProductPlugin(0x4e0010, 77, Document(L"[1]"), output, true),
              kSuccess);
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].destId, 0x4e0010U);
    EXPECT_EQ(requests[0].mailId, 77U);
    EXPECT_EQ(requests[0].mailFlag, 1U);
    EXPECT_EQ(requests[0].json, L"[1]\n");
}

TEST_F(Mail, empty_document_travels_as_null) {
    JsonDocument output;
    EXPECT_EQ(Send(output, JsonDocument()), kSuccess);
    EXPECT_EQ(Requests().at(0).json, L"null\n");
}

TEST_F(Mail, sending_is_logged_with_process_and_thread) {
    const LogRecorder log;
    Send();
    EXPECT_TRUE(log.Has(kInformation,
                        L"OuterClientHelper: [INFO] SendMail2ProductPlugin from outer process, "
                        L"process id=" +
                            std::to_wstring(OuterClientPlatform::CurrentProcessId()) +
                            L", thread id=" +
                            std::to_wstring(OuterClientPlatform::CurrentThreadId())));
}

// ---- the answer

TEST_F(Mail, answer_replaces_the_output) {
    Service().PushReply(MailReply{.json = L"{\"data\":{\"a\":[1,\"\\u00e4\"]}}"}.Encode());
    JsonDocument output = Document(L"{\"before\":1}");
    const LogRecorder log;
    EXPECT_EQ(Send(output), kSuccess);
    EXPECT_EQ(output.ToCompactString(), L"{\"data\":{\"a\":[1,\"\\u00e4\"]}}\n");
    EXPECT_TRUE(
        log.Has(kInformation, L"OuterClientHelper: [INFO] after invoking ParseJsonString, ret=0"));
}

TEST_F(Mail, verdict_is_the_result) {
    EXPECT_EQ(CodeOf(MailReply{.verdict = 0}.Encode()), 0U);
    EXPECT_EQ(CodeOf(MailReply{.verdict = 0x20ff0001}.Encode()), 0x20ff0001U);
}

TEST_F(Mail, negative_verdict_is_the_result_and_the_answer_is_not_read) {
    Service().PushReply(MailReply{.json = L"{\"a\":1}", .verdict = 0xe0ff000e}.Encode());
    JsonDocument output = Document(L"{\"before\":1}");
    const LogRecorder log;
    EXPECT_EQ(Send(output), 0xe0ff000eU);
    EXPECT_EQ(output.ToCompactString(), L"{\"before\":1}\n");
    EXPECT_TRUE(
        log.Has(kError, L"OuterClientHelper: [ERROR] executing command failed, err=0xe0ff000e"));
    EXPECT_EQ(log.CountContaining(L"executing command failed"), 1U);
}

TEST_F(Mail, negative_verdict_leaves_the_packed_answer_to_the_inner_form) {
    Service().PushReply(MailReply{.json = L"{\"a\":1}", .verdict = 0xe0ff000e}.Encode());
    Helper helper;
    CRpcDataHandleWrapper mail(RPC_MSG_PRODUCT_DATA);
    CRpcScopedMessage answer;
    EXPECT_EQ(helper.SendMail2ProductPlugin(mail, answer), 0xe0ff000eU);
    std::wstring json;
    EXPECT_EQ(answer.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json), kSuccess);
    EXPECT_EQ(json, L"{\"a\":1}");
}

TEST_F(Mail, answer_without_a_verdict_is_invalid_and_its_text_is_not_read) {
    Service().PushReply(MailReply{.withVerdict = false}.Encode());
    JsonDocument output = Document(L"{\"before\":1}");
    const LogRecorder log;
    EXPECT_EQ(Send(output), kInvalid);
    EXPECT_EQ(output.ToCompactString(), L"{\"before\":1}\n");
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] get parameter "
                        L"ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT failed"));
    EXPECT_EQ(log.CountContaining(L"PACKER_PARAM"), 0U);
}

TEST_F(Mail, answer_without_the_id_of_its_child_is_invalid) {
    const LogRecorder log;
    EXPECT_EQ(CodeOf(MailReply{.withPacker = false}.Encode()), kInvalid);
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] get parameter "
                        L"ID_DATA_PRODUCTADAPTER_PACKER_PARAM failed"));
    EXPECT_EQ(log.CountContaining(L"param_index"), 0U);
}

TEST_F(Mail, answer_without_its_child_is_invalid) {
    const LogRecorder log;
    EXPECT_EQ(CodeOf(MailReply{.withChild = false}.Encode()), kInvalid);
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] get parameter param_index failed, "
                        L"param_index=65556"));
}

TEST_F(Mail, answer_without_its_text_keeps_the_verdict_and_empties_the_output) {
    Service().PushReply(MailReply{.withJson = false}.Encode());
    JsonDocument output = Document(L"{\"before\":1}");
    const LogRecorder log;
    EXPECT_EQ(Send(output), kSuccess);
    EXPECT_TRUE(output.isNull());
    EXPECT_TRUE(log.Has(kError,
                        L"OuterClientHelper: [ERROR] get parameter "
                        L"ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING failed, err=0xe0ff000e"));
}

TEST_F(Mail, answer_that_is_no_json_keeps_the_verdict_and_empties_the_output) {
    for (const wchar_t* text : {L"{", L"", L"no json"}) {
        Service().PushReply(MailReply{.json = text}.Encode());
        JsonDocument output = Document(L"{\"before\":1}");
        const LogRecorder log;
        EXPECT_EQ(Send(output), kSuccess);
        EXPECT_TRUE(output.isNull());
        EXPECT_TRUE(log.Has(kInformation,
                            L"OuterClientHelper: [INFO] after invoking ParseJsonString, ret=87"));
    }
}

TEST_F(Mail, child_of_the_answer_may_have_any_message_id) {
    CRpcDataHandleWrapper param(0x4711U);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{\"a\":1}");
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, std::uint32_t{7});
    report.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, std::uint32_t{0x4711});
    report.Set(param);
    Service().PushReply(ResultEnvelope(202, "", kSuccess, report));
    JsonDocument output;
    EXPECT_EQ(Send(output), 7U);
    EXPECT_EQ(output.ToCompactString(), L"{\"a\":1}\n");
}

TEST_F(Mail, answer_with_a_report_of_another_kind_is_invalid) {
    EXPECT_EQ(CodeOf(ResultEnvelope(202, "", kSuccess, CRpcDataHandleWrapper(0x99U))), kInvalid);
    // A result form without a report at all.
    CommandResult result{};
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    EXPECT_EQ(CodeOf(Envelope(202, message)), kInvalid);
}

TEST_F(Mail, text_with_everything_json_can_hold_comes_back) {
    const wchar_t* text = L"{\"data\":\"a\\u0000b \\ud83d\\ude00 \\ufffd \\\"quoted\\\"\"}\n";
    Service().PushReply(MailReply{.json = text}.Encode());
    JsonDocument output;
    EXPECT_EQ(Send(output), kSuccess);
    EXPECT_EQ(output.ToCompactString(), text);
}

TEST_F(Mail, answer_of_a_mebibyte_comes_back_whole) {
    const std::wstring text(1 << 20, L'x');
    Service().PushReply(MailReply{.json = L"\"" + text + L"\""}.Encode());
    JsonDocument output;
    EXPECT_EQ(Send(output), kSuccess);
    EXPECT_TRUE(output.AsString() == text);
}

// ---- failures of the transport

TEST_F(Mail, failure_of_the_service_is_the_result_and_the_output_stays) {
    Service().PushReply(FailureReply(5));
    JsonDocument output = Document(L"{\"before\":1}");
    const LogRecorder log;
    EXPECT_EQ(Send(output), 0xe0010005U);
    EXPECT_EQ(output.ToCompactString(), L"{\"before\":1}\n");
    // Once by the inner form, which knows the command, and once by the outer.
    EXPECT_EQ(log.CountContaining(L": [ERROR] executing command failed, err=0xe0010005"), 2U);
}

TEST_F(Mail, empty_answer_is_a_malformed_reply) {
    EXPECT_EQ(CodeOf({}), 0xe0ff0009U);
}

TEST_F(Mail, service_that_is_not_there_is_told_and_its_return_is_unnoticed) {
    Service().Kill();
    EXPECT_EQ(Send(), 0xe00106baU);
    Service().Restart();
    Service().SetReply(MailReply().Encode());
    EXPECT_EQ(Send(), kSuccess);
}

// ---- many at once

TEST_F(Mail, eight_threads_each_get_their_own_answer) {
    Service().SetReply(MailReply{.verdict = 4711}.Encode());
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&wrong] {
            for (int call = 0; call < 20; ++call) {
                wrong += Send() == 4711 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Service().TakeRequests().size(), 160U);
}

TEST_F(Mail, helpers_come_and_go_while_a_mail_is_under_way) {
    Service().SetDelay(1000);
    std::atomic<bool> answered = false;
    std::thread mail([&answered] {
        EXPECT_EQ(Send(), kSuccess);
        answered = true;
    });
    bool arrived = false;
    for (int i = 0; i < 4000 && !arrived; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        arrived = !Service().TakeRequests().empty();
    }
    EXPECT_TRUE(arrived);
    { const Helper other; }
    EXPECT_FALSE(answered);
    mail.join();
}

// ---- other commands

TEST_F(Mail, callbacks_of_a_tracking_id_are_erased_by_command_0) {
    Helper helper;
    const LogRecorder log;
    EXPECT_EQ(helper.EraseAllCallbackOfTrackingID(golden::kTrackingId), kSuccess);
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].id, 0U);
    EXPECT_EQ(requests[0].command, 0U);
    EXPECT_EQ(requests[0].flag, 1);
    EXPECT_EQ(requests[0].trackingId, golden::kTrackingId);
    EXPECT_EQ(log.CountContaining(L"0x20ff0000"), 2U);
    EXPECT_TRUE(
        log.Has(kInformation,
                L"OuterClientHelper: [INFO] EraseAllCallbackOfTrackingID, result=0x20ff0000"));
}

TEST_F(Mail, record_of_an_unknown_tracking_id_is_told_after_the_service_was) {
    Helper helper;
    Service().PushReply(FailureReply(5));
    EXPECT_EQ(helper.DestroyRecordOfTrackingID("unknown"), 0xe0ff000eU);
    EXPECT_EQ(Requests().size(), 1U);
    EXPECT_EQ(helper.DestroyRecordOfTrackingID(""), kInvalid);
    EXPECT_TRUE(Requests().empty());
}

TEST_F(Mail, context_needs_ids_of_36_characters_and_the_right_kind) {
    CommandClient context{};
    const LogRecorder log;
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(nullptr), kInvalid);
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(&context), kInvalid);
    EXPECT_TRUE(log.Has(kInformation, L"OuterClientHelper: [INFO] DestroyContext0xe0ff0007"));
    std::memcpy(context.szContextID, golden::kTrackingId, 37);
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(&context), kInvalid);
    std::memcpy(context.szSessionID, golden::kTrackingId, 36);
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(&context), 0xe0ff001fU);
    std::memcpy(context.szContextID, "00000002", 8);
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(&context), 0xe0ff001fU);
    EXPECT_TRUE(Requests().empty());
    std::memcpy(context.szContextID, "00000003", 8);
    EXPECT_EQ(CKrRpcClientHelper::DestroyContext(&context), kSuccess);
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].id, 8206U);
    EXPECT_EQ(requests[0].bodyId, RPC_MSG_CONTEXT);
}

}  // namespace
