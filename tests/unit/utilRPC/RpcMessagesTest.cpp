#include "utilRPC/RpcMessages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "Framework/utilIPC/ipc_ids.h"
#include "support/MessageExerciser.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
const std::string kId36 = "0123456789abcdef0123456789abcdef0123";

// A record whose every field is full.
CommandContext FullContext() {
    CommandContext context{};
    std::memcpy(context.client.szContextID, "00000003-1111-2222-3333-444444444444", 37);
    std::memcpy(context.client.szSessionID, "11111111-1111-2222-3333-444444444444", 37);
    std::memcpy(context.client.szClientSessionKey, "22222222-1111-2222-3333-444444444444", 37);
    const std::wstring name = L"client name";
    name.copy(context.client.wszClientName, name.size());
    context.client.uiClientType = 7;
    context.client.uiVersion[0] = 3;
    context.client.uiVersion[1] = 1;
    context.client.uiVersion[2] = 1158;
    context.uiCommandId = 8273;
    context.iFlag = -5;
    std::memcpy(context.szTrackingID, "33333333-1111-2222-3333-444444444444", 37);
    return context;
}

TEST(RpcMessages, command_reads_back_as_it_was_written) {
    CommandContext context = FullContext();
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(5, std::uint32_t{50});
    RpcDataShare(&data.Handle(), &context.hData);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(kId36.c_str(), context, message);
    RpcDataDestroy(&context.hData);

    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_EQ(main.szClientSessionKey, kId36);
    EXPECT_EQ(main.uiBodyId, RPC_MSG_COMMAND);
    EXPECT_EQ(main.uiReserved, 0U);
    CommandContext read{};
    RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, read);
    EXPECT_STREQ(read.client.szContextID, context.client.szContextID);
    EXPECT_STREQ(read.client.szSessionID, context.client.szSessionID);
    EXPECT_STREQ(read.client.szClientSessionKey, context.client.szClientSessionKey);
    EXPECT_EQ(std::wstring(read.client.wszClientName), L"client name");
    EXPECT_EQ(read.client.uiClientType, 7U);
    EXPECT_EQ(read.client.uiVersion[0], 3U);
    EXPECT_EQ(read.client.uiVersion[1], 1U);
    EXPECT_EQ(read.client.uiVersion[2], 1158U);
    EXPECT_EQ(read.uiCommandId, 8273U);
    EXPECT_EQ(read.iFlag, -5);
    EXPECT_STREQ(read.szTrackingID, context.szTrackingID);
    std::uint32_t value = 0;
    EXPECT_EQ(CRpcDataHandleWrapper(read.hData).Get(5, &value), kSuccess);
    EXPECT_EQ(value, 50U);
    RpcDataDestroy(&read.hData);
}

TEST(RpcMessages, context_that_is_given_up_travels_as_the_body) {
    const CommandContext context = FullContext();
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainContext(kId36.c_str(), context.client, message);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_EQ(main.szClientSessionKey, kId36);
    EXPECT_EQ(main.uiBodyId, RPC_MSG_CONTEXT);
    EXPECT_EQ(main.Body.GetMsgId(), RPC_MSG_CONTEXT);
    std::string id;
    EXPECT_EQ(main.Body.Get(ID_DATA_TRACKING_ID, id), kSuccess);
    EXPECT_EQ(id, context.client.szContextID);
    CRpcDataHandleWrapper session;
    ASSERT_EQ(main.Body.Get(RPC_MSG_SESSION, &session), kSuccess);
    EXPECT_EQ(session.Get(ID_DATA_SESSION_ID, id), kSuccess);
    EXPECT_EQ(id, context.client.szSessionID);
}

TEST(RpcMessages, command_without_data_has_no_data_record) {
    const CommandContext context = FullContext();
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(kId36.c_str(), context, message);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    CommandContext read{};
    RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, read);
    EXPECT_EQ(read.hData.pHolder, nullptr);
    EXPECT_STREQ(read.szTrackingID, context.szTrackingID);
}

TEST(RpcMessages, field_without_a_terminator_is_written_to_its_end_and_no_further) {
    CommandContext context{};
    std::memset(context.szTrackingID, 'x', sizeof(context.szTrackingID));
    std::memset(context.client.szContextID, 'c', sizeof(context.client.szContextID));
    for (wchar_t& c : context.client.wszClientName) {
        c = L'n';
    }
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(kId36.c_str(), context, message);
    CRpcDataHandleWrapper command;
    ASSERT_EQ(message.Get(RPC_MSG_COMMAND, &command), kSuccess);
    std::string id;
    EXPECT_EQ(command.Get(ID_DATA_TRACKING_ID, id), kSuccess);
    EXPECT_EQ(id, std::string(44, 'x'));
    CRpcDataHandleWrapper inner;
    ASSERT_EQ(command.Get(RPC_MSG_CONTEXT, &inner), kSuccess);
    EXPECT_EQ(inner.Get(ID_DATA_TRACKING_ID, id), kSuccess);
    EXPECT_EQ(id, std::string(40, 'c'));
    ASSERT_EQ(inner.Get(RPC_MSG_SESSION, &inner), kSuccess);
    ASSERT_EQ(inner.Get(RPC_MSG_CLIENT_INFO, &inner), kSuccess);
    std::wstring name;
    EXPECT_EQ(inner.Get(ID_DATA_CLIENT_NAME, name), kSuccess);
    EXPECT_EQ(name, std::wstring(128, L'n'));
}

TEST(RpcMessages, result_reads_back_as_it_was_written) {
    CRpcDataHandleWrapper report(0x77U);
    report.Set(5, std::uint32_t{50});
    CommandResult result{};
    std::memcpy(result.szTrackingID, kId36.c_str(), 37);
    result.iResult = 0xe0ff0007;
    result.uiReportId = 0x77;
    RpcDataShare(&report.Handle(), &result.pReport);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    RpcDataDestroy(&result.pReport);
    CommandResult read{};
    RpcMessages::DecodeResult(message, read);
    EXPECT_EQ(read.szTrackingID, kId36);
    EXPECT_EQ(read.iResult, 0xe0ff0007U);
    EXPECT_EQ(read.uiReportId, 0x77U);
    std::uint32_t value = 0;
    EXPECT_EQ(CRpcDataHandleWrapper(read.pReport).Get(5, &value), kSuccess);
    EXPECT_EQ(value, 50U);
    RpcDataDestroy(&read.pReport);
}

TEST(RpcMessages, result_of_an_empty_message_is_all_zero) {
    CommandResult read{};
    RpcMessages::DecodeResult(CRpcDataHandleWrapper(RPC_MSG_MAIN), read);
    EXPECT_STREQ(read.szTrackingID, "");
    EXPECT_EQ(read.iResult, 0U);
    EXPECT_EQ(read.uiReportId, 0U);
    EXPECT_EQ(read.pReport.pHolder, nullptr);
}

TEST(RpcMessages, failure_of_one_field_of_a_result_does_not_stop_the_next) {
    CRpcDataHandleWrapper report(0x77U);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_TRACKING_ID, L"wide instead of narrow");
    message.Set(ID_DATA_RESULT_CODE, std::string("text instead of a number"));
    message.Set(ID_DATA_BODY_ID, std::uint32_t{0x77});
    message.Set(report);
    CommandResult read{};
    RpcMessages::DecodeResult(message, read);
    EXPECT_STREQ(read.szTrackingID, "");
    EXPECT_EQ(read.iResult, 0U);
    EXPECT_EQ(read.uiReportId, 0x77U);
    EXPECT_NE(read.pReport.pHolder, nullptr);
    RpcDataDestroy(&read.pReport);
}

TEST(RpcMessages, report_that_is_absent_leaves_an_empty_handle) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_RESULT_CODE, std::uint32_t{5});
    message.Set(ID_DATA_BODY_ID, std::uint32_t{0x77});
    CommandResult read{};
    RpcMessages::DecodeResult(message, read);
    EXPECT_EQ(read.iResult, 5U);
    EXPECT_EQ(read.uiReportId, 0x77U);
    EXPECT_EQ(read.pReport.pHolder, nullptr);
}

TEST(RpcMessages, long_tracking_id_is_cut_at_36_characters) {
    for (const std::size_t length : {36U, 37U, 48U, 1000U, 5000U}) {
        CRpcDataHandleWrapper message(RPC_MSG_MAIN);
        message.Set(ID_DATA_TRACKING_ID, std::string(length, 'x'));
        CommandResult read{};
        std::memset(read.szTrackingID, 'y', sizeof(read.szTrackingID));
        RpcMessages::DecodeResult(message, read);
        EXPECT_EQ(std::string(read.szTrackingID), std::string(36, 'x')) << length;
        // What lies behind the first 37 bytes is not touched.
        EXPECT_EQ(read.szTrackingID[37], 'y');
    }
}

TEST(RpcMessages, short_tracking_id_is_filled_with_zeroes) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_TRACKING_ID, std::string("ab"));
    CommandResult read{};
    std::memset(read.szTrackingID, 'y', sizeof(read.szTrackingID));
    RpcMessages::DecodeResult(message, read);
    EXPECT_EQ(std::string(read.szTrackingID, 37), "ab" + std::string(35, '\0'));
}

TEST(RpcMessages, long_client_name_is_cut_at_127_characters) {
    CRpcDataHandleWrapper message(RPC_MSG_COMMAND);
    {
        const CRpcNestedMessage context(message, RPC_MSG_CONTEXT);
        const CRpcNestedMessage session(message, RPC_MSG_SESSION);
        const CRpcNestedMessage info(message, RPC_MSG_CLIENT_INFO);
        const std::wstring name(300, L'n');
        message.Set(ID_DATA_CLIENT_NAME, name.c_str());
    }
    CommandContext read{};
    RpcMessages::DecodeCommand(message, RPC_MSG_PRODUCT_DATA, read);
    EXPECT_EQ(std::wstring(read.client.wszClientName), std::wstring(127, L'n'));
}

TEST(RpcMessages, command_of_an_empty_message_is_all_zero) {
    CommandContext read{};
    RpcMessages::DecodeCommand(CRpcDataHandleWrapper(RPC_MSG_COMMAND), RPC_MSG_PRODUCT_DATA, read);
    EXPECT_EQ(read.uiCommandId, 0U);
    EXPECT_EQ(read.iFlag, 0);
    EXPECT_STREQ(read.szTrackingID, "");
    EXPECT_STREQ(read.client.szContextID, "");
    EXPECT_EQ(read.hData.pHolder, nullptr);
}

TEST(RpcMessages, main_message_without_a_body_has_an_empty_one) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_BODY_ID, RPC_MSG_COMMAND);
    CRpcMainMsg main;
    RpcMessages::DecodeMain(message, main);
    EXPECT_EQ(main.uiBodyId, RPC_MSG_COMMAND);
    EXPECT_STREQ(main.szClientSessionKey, "");
    EXPECT_EQ(main.Body.GetSize(), 0U);
}

}  // namespace
