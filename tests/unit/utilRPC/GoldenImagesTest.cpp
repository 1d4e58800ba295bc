// The bytes of whole requests, replies and deliveries, compared one by one with images that were
// written down from the format.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "Framework/utilIPC/ipc_ids.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "support/GoldenImages.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/RpcMessages.h"
#include "utilRPC/rpc_client.h"

namespace golden = test_support::golden;
using test_support::Bytes;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;

// A handle in a record, released at the end of a scope.
struct Lent {
    explicit Lent(const CRpcDataHandleWrapper& message) {
        RpcDataShare(&message.Handle(), &handle);
    }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;
    ~Lent() { RpcDataDestroy(&handle); }
    RpcDataHandle handle;
};

void Copy(char* field, const char* text) {
    std::memcpy(field, text, std::strlen(text) + 1);
}

std::string Envelope(std::uint32_t id, const CRpcDataHandleWrapper& message) {
    CIPCMsgBuffer buffer(CIPCMsgBuffer::kBlockSize, false);
    buffer << id << message;
    return ToHex(buffer.GetData(), buffer.GetLength());
}

// The message behind the first word of an envelope.
void ReadEnvelope(const Bytes& bytes, std::uint32_t& id, CRpcDataHandleWrapper& message) {
    CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    view >> id >> message;
    EXPECT_EQ(view.GetRemaining(), 0U);
}

void SetJson(CRpcDataHandleWrapper& message, const wchar_t* text) {
    ASSERT_EQ(message.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text), kSuccess);
}

TEST(GoldenImage, scan_request_is_encoded_byte_for_byte) {
    CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
    SetJson(param, L"{\"activeSessionId\":1,\"items\":[\"a\",\"b\"]}\n");
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, false);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, golden::kProcessId);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, golden::kThreadId);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, std::uint32_t{0x4e0009});
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, std::uint32_t{400000000});
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
    data.Set(param);
    const Lent lent(data);
    CommandContext context{};
    context.uiCommandId = IPC_MSG_SEND_MAIL;
    context.iFlag = 1;
    Copy(context.szTrackingID, golden::kTrackingId);
    context.hData = lent.handle;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(golden::kSessionKey, context, message);
    EXPECT_EQ(Envelope(IPC_MSG_SEND_MAIL, message), ToHex(golden::ScanRequest()));
}

TEST(GoldenImage, scan_request_is_decoded_field_by_field) {
    std::uint32_t id = 0;
    CRpcDataHandleWrapper message;
    ReadEnvelope(golden::ScanRequest(), id, message);
    EXPECT_EQ(id, IPC_MSG_SEND_MAIL);
    EXPECT_EQ(message.GetMsgId(), RPC_MSG_MAIN);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_STREQ(main.szClientSessionKey, golden::kSessionKey);
    EXPECT_EQ(main.uiBodyId, RPC_MSG_COMMAND);
    CommandContext context{};
    RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, context);
    EXPECT_EQ(context.uiCommandId, IPC_MSG_SEND_MAIL);
    EXPECT_EQ(context.iFlag, 1);
    EXPECT_STREQ(context.szTrackingID, golden::kTrackingId);
    EXPECT_STREQ(context.client.szContextID, "");
    EXPECT_STREQ(context.client.szSessionID, "");
    EXPECT_STREQ(context.client.szClientSessionKey, "");
    const CRpcDataHandleWrapper data(context.hData);
    RpcDataDestroy(&context.hData);
    CRpcDataHandleWrapper param;
    ASSERT_EQ(data.Get(RPC_MSG_PRODUCT_DATA, &param), kSuccess);
    std::uint32_t mail = 0;
    EXPECT_EQ(param.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, &mail), kSuccess);
    EXPECT_EQ(mail, 400000000U);
}

TEST(GoldenImage, scan_reply_is_encoded_byte_for_byte) {
    CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
    SetJson(param, L"{\"data\":{\"sessionId\":\"s1\"},\"retCode\":553582592}\n");
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    report.Set(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, kSuccess);
    report.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
    report.Set(param);
    const Lent lent(report);
    CommandResult result{};
    Copy(result.szTrackingID, golden::kTrackingId);
    result.iResult = kSuccess;
    result.uiReportId = RPC_MSG_PRODUCT_DATA;
    result.pReport = lent.handle;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    EXPECT_EQ(Envelope(IPC_REPLY_SUCCESS, message), ToHex(golden::ScanReply()));
}

TEST(GoldenImage, scan_reply_is_decoded_field_by_field) {
    std::uint32_t marker = 0;
    CRpcDataHandleWrapper message;
    ReadEnvelope(golden::ScanReply(), marker, message);
    EXPECT_EQ(marker, 202U);
    CommandResult result{};
    RpcMessages::DecodeResult(message, result);
    EXPECT_STREQ(result.szTrackingID, golden::kTrackingId);
    EXPECT_EQ(result.iResult, kSuccess);
    EXPECT_EQ(result.uiReportId, RPC_MSG_PRODUCT_DATA);
    const CRpcDataHandleWrapper report(result.pReport);
    RpcDataDestroy(&result.pReport);
    std::uint32_t verdict = 0;
    EXPECT_EQ(report.Get(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, &verdict), kSuccess);
    EXPECT_EQ(verdict, kSuccess);
}

TEST(GoldenImage, register_request_is_encoded_byte_for_byte) {
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME, L"WyConsole", 9);
    data.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, golden::kProcessId);
    const Lent lent(data);
    CommandContext context{};
    context.uiCommandId = IPC_MSG_REGISTER_PROCESS;
    Copy(context.szTrackingID, golden::kSessionKey);
    context.hData = lent.handle;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(golden::kSessionKey, context, message);
    EXPECT_EQ(Envelope(IPC_MSG_REGISTER_PROCESS, message), ToHex(golden::RegisterRequest()));
}

TEST(GoldenImage, event_delivery_is_encoded_byte_for_byte) {
    CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
    SetJson(report, L"{\"eventId\":7,\"param\":{\"percent\":50}}\n");
    const Lent lent(report);
    CommandResult result{};
    Copy(result.szTrackingID, golden::kSessionKey);
    result.uiReportId = RPC_MSG_PRODUCT_DATA;
    result.pReport = lent.handle;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    EXPECT_EQ(Envelope(IPC_MSG_COMMAND_RESULT, message), ToHex(golden::EventDelivery()));
}

TEST(GoldenImage, delivery_under_an_unknown_tracking_id_is_answered_byte_for_byte) {
    CRpcClientManager manager(nullptr, 1000);
    const Bytes delivery = golden::EventDelivery();
    CIPCMsgBuffer in(delivery.data() + 4, static_cast<std::uint32_t>(delivery.size() - 4));
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    manager(IPC_MSG_COMMAND_RESULT, in, out);
    EXPECT_EQ(ToHex(out.GetData(), out.GetLength()), ToHex(golden::UnknownTrackingIdAnswer()));
}

TEST(GoldenImage, call_to_a_service_that_is_not_there_makes_the_failure_envelope) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    in << IPC_MSG_SEND_MAIL;
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    CRPCClientHelper client(CComponentID(L"KR_nobody_RPC_MASTER"));
    client.SendRequest(in, out);
    EXPECT_EQ(ToHex(out.GetData(), out.GetLength()), ToHex(golden::FailureEnvelope()));
}

}  // namespace
