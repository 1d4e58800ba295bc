#pragma once

// The records of one command, one result and the outer message, and their encoding.

#include <cstdint>

#include "Framework/utilIPC/ipc_data_handle.h"

// The part of a command that names its client; the same for every command of a client.
struct CommandClient {
    char szContextID[40];
    char szSessionID[37];
    char szClientSessionKey[39];
    wchar_t wszClientName[128];
    std::uint32_t uiClientType;
    std::uint32_t uiVersion[3];
};

// One command. Plain data: `hData` is released by whoever filled it.
struct CommandContext {
    CommandClient client;
    std::uint32_t uiCommandId;  // also the envelope message id
    std::int32_t iFlag;
    char szTrackingID[44];
    RpcDataHandle hData;
    void* pContext;
};

// One result. Plain data: `pReport` is released by whoever received it.
struct CommandResult {
    char szTrackingID[48];
    std::uint32_t iResult;
    std::uint32_t uiReportId;
    RpcDataHandle pReport;
    void* pContext;
};

// The outer message as its receiver sees it.
class CRpcMainMsg {
public:
    CRpcMainMsg() = default;
    virtual ~CRpcMainMsg() = default;

    char szClientSessionKey[37] = {};
    std::uint32_t uiReserved = 0;
    std::uint32_t uiBodyId = 0;
    CRpcDataHandleWrapper Body;
};

namespace RpcMessages {

// Number of characters of an identifier.
constexpr std::uint32_t kIdLength = 36;

// Writers. Each fills an empty message of the structure's id, children in place.
//
// RPC_MSG_MAIN with a command, or with the context that is to be given up:
void EncodeMainCommand(const char* sessionKey, const CommandContext& context,
                       CRpcDataHandleWrapper& message);
void EncodeMainContext(const char* sessionKey, const CommandClient& client,
                       CRpcDataHandleWrapper& message);
// RPC_MSG_MAIN in result form:
void EncodeResult(const CommandResult& result, CRpcDataHandleWrapper& message);

// Readers, the counterparts for the receiving side. A field that is absent or of a wrong type is
// left at zero; no field's failure stops the next. Ids are cut at 36 characters, names at 127.
void DecodeResult(const CRpcDataHandleWrapper& message, CommandResult& result);
void DecodeMain(const CRpcDataHandleWrapper& message, CRpcMainMsg& main);
// `context.hData` receives the nested data message `dataId` and must be released.
void DecodeCommand(const CRpcDataHandleWrapper& message, std::uint32_t dataId,
                   CommandContext& context);

}  // namespace RpcMessages
