#include "utilRPC/RpcMessages.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "Framework/utilIPC/ipc_ids.h"

namespace {

// What the records around a command's data take, names and identifiers at their longest.
constexpr std::uint32_t kFixedSize = 1024;

// A fixed field is terminated by its owner; the search is bounded all the same.
template <std::size_t N>
std::uint32_t FieldLength(const char (&field)[N]) {
    return static_cast<std::uint32_t>(std::find(field, field + N, '\0') - field);
}

template <std::size_t N>
std::uint32_t FieldLength(const wchar_t (&field)[N]) {
    return static_cast<std::uint32_t>(std::find(field, field + N, L'\0') - field);
}

template <std::size_t N>
void SetField(CRpcDataHandleWrapper& message, std::uint32_t id, const char (&field)[N]) {
    message.Set(id, field, FieldLength(field));
}

// Reads an identifier: at most 36 characters, zero-filled. Longer text is cut.
template <std::size_t N>
void GetIdField(const CRpcDataHandleWrapper& message, std::uint32_t id, char (&field)[N]) {
    static_assert(N > RpcMessages::kIdLength);
    std::memset(field, 0, RpcMessages::kIdLength + 1);
    message.GetPrefix(id, field, RpcMessages::kIdLength);
}

void EncodeVersion(const CommandClient& client, CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage version(message, RPC_MSG_VERSION);
    message.Set(ID_DATA_VERSION_MAJOR, client.uiVersion[0]);
    message.Set(ID_DATA_VERSION_MINOR, client.uiVersion[1]);
    message.Set(ID_DATA_VERSION_BUILD, client.uiVersion[2]);
}

void EncodeClientInfo(const CommandClient& client, CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage info(message, RPC_MSG_CLIENT_INFO);
    message.Set(ID_DATA_CLIENT_TYPE, client.uiClientType);
    message.Set(ID_DATA_CLIENT_NAME, client.wszClientName, FieldLength(client.wszClientName));
    EncodeVersion(client, message);
}

void EncodeSession(const CommandClient& client, CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage session(message, RPC_MSG_SESSION);
    SetField(message, ID_DATA_SESSION_ID, client.szSessionID);
    SetField(message, ID_DATA_CLIENT_KEY, client.szClientSessionKey);
    EncodeClientInfo(client, message);
}

void EncodeContext(const CommandClient& client, CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage context(message, RPC_MSG_CONTEXT);
    SetField(message, ID_DATA_TRACKING_ID, client.szContextID);
    EncodeSession(client, message);
}

void EncodeCommand(const CommandContext& context, CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage command(message, RPC_MSG_COMMAND);
    EncodeContext(context.client, message);
    SetField(message, ID_DATA_TRACKING_ID, context.szTrackingID);
    message.Set(ID_DATA_COMMAND_ID, context.uiCommandId);
    message.Set(ID_DATA_COMMAND_FLAG, context.iFlag);
    message.Set(context.hData);
}

void DecodeClientInfo(const CRpcDataHandleWrapper& message, CommandClient& client) {
    message.Get(ID_DATA_CLIENT_TYPE, &client.uiClientType);
    std::wstring name;
    message.Get(ID_DATA_CLIENT_NAME, name);
    const std::size_t length = std::min(name.size(), std::size(client.wszClientName) - 1);
    std::copy_n(name.begin(), length, client.wszClientName);
    client.wszClientName[length] = L'\0';
    CRpcDataHandleWrapper version;
    message.Get(RPC_MSG_VERSION, &version);
    version.Get(ID_DATA_VERSION_MAJOR, &client.uiVersion[0]);
    version.Get(ID_DATA_VERSION_MINOR, &client.uiVersion[1]);
    version.Get(ID_DATA_VERSION_BUILD, &client.uiVersion[2]);
}

void DecodeContext(const CRpcDataHandleWrapper& message, CommandClient& client) {
    GetIdField(message, ID_DATA_TRACKING_ID, client.szContextID);
    CRpcDataHandleWrapper session;
    message.Get(RPC_MSG_SESSION, &session);
    GetIdField(session, ID_DATA_SESSION_ID, client.szSessionID);
    GetIdField(session, ID_DATA_CLIENT_KEY, client.szClientSessionKey);
    CRpcDataHandleWrapper info;
    session.Get(RPC_MSG_CLIENT_INFO, &info);
    DecodeClientInfo(info, client);
}

}  // namespace

void RpcMessages::EncodeMainCommand(const char* sessionKey, const CommandContext& context,
                                    CRpcDataHandleWrapper& message) {
    std::uint32_t dataSize = 0;
    RpcDataGetSize(&context.hData, &dataSize);
    message.Reserve(dataSize + kFixedSize);
    message.Set(ID_DATA_CLIENT_SESSION_KEY, sessionKey,
                static_cast<std::uint32_t>(std::strlen(sessionKey)));
    message.Set(ID_DATA_BODY_ID, RPC_MSG_COMMAND);
    EncodeCommand(context, message);
}

void RpcMessages::EncodeMainContext(const char* sessionKey, const CommandClient& client,
                                    CRpcDataHandleWrapper& message) {
    message.Set(ID_DATA_CLIENT_SESSION_KEY, sessionKey,
                static_cast<std::uint32_t>(std::strlen(sessionKey)));
    message.Set(ID_DATA_BODY_ID, RPC_MSG_CONTEXT);
    EncodeContext(client, message);
}

void RpcMessages::EncodeResult(const CommandResult& result, CRpcDataHandleWrapper& message) {
    SetField(message, ID_DATA_TRACKING_ID, result.szTrackingID);
    message.Set(ID_DATA_RESULT_CODE, static_cast<std::int32_t>(result.iResult));
    message.Set(ID_DATA_BODY_ID, static_cast<std::int32_t>(result.uiReportId));
    message.Set(result.pReport);
}

void RpcMessages::DecodeResult(const CRpcDataHandleWrapper& message, CommandResult& result) {
    GetIdField(message, ID_DATA_TRACKING_ID, result.szTrackingID);
    message.Get(ID_DATA_RESULT_CODE, &result.iResult);
    message.Get(ID_DATA_BODY_ID, &result.uiReportId);
    message.Get(result.uiReportId, &result.pReport);
}

void RpcMessages::DecodeMain(const CRpcDataHandleWrapper& message, CRpcMainMsg& main) {
    GetIdField(message, ID_DATA_CLIENT_SESSION_KEY, main.szClientSessionKey);
    message.Get(ID_DATA_BODY_ID, &main.uiBodyId);
    message.Get(main.uiBodyId, &main.Body);
}

void RpcMessages::DecodeCommand(const CRpcDataHandleWrapper& message, std::uint32_t dataId,
                                CommandContext& context) {
    CRpcDataHandleWrapper client;
    message.Get(RPC_MSG_CONTEXT, &client);
    DecodeContext(client, context.client);
    GetIdField(message, ID_DATA_TRACKING_ID, context.szTrackingID);
    message.Get(ID_DATA_COMMAND_ID, &context.uiCommandId);
    std::uint32_t flag = 0;
    message.Get(ID_DATA_COMMAND_FLAG, &flag);
    context.iFlag = static_cast<std::int32_t>(flag);
    message.Get(dataId, &context.hData);
}
