#pragma once

// What the tests of the client manager share: replies and deliveries of the service, a callback
// that remembers what it saw, and one manager for all tests of a program.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "Framework/utilIPC/ipc_ids.h"
#include "support/GoldenImages.h"
#include "support/service/ScriptedService.h"
#include "utilRPC/RpcClientManager.h"

namespace test_support {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kMalformed = 0xe0ff0009;
constexpr std::uint32_t kUnavailable = 0xe00106ba;

inline Bytes Envelope(std::uint32_t word, const CRpcDataHandleWrapper& message) {
    Bytes bytes = Words({word, message.GetSize()});
    bytes.insert(bytes.end(), message.GetData(), message.GetData() + message.GetSize());
    return bytes;
}

// A reply in result form.
inline Bytes ResultReply(std::uint32_t code, std::uint32_t marker = 202) {
    CommandResult result{};
    result.iResult = code;
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    return Envelope(marker, message);
}

inline Bytes FailureReply(std::uint32_t code) {
    CIPCMsgBuffer buffer(CIPCMsgBuffer::kBlockSize, false);
    buffer << IPC_REPLY_FAILURE << code << L"text";
    return Bytes(buffer.GetData(), buffer.GetData() + buffer.GetLength());
}

// A delivery of the service under a tracking id.
inline Bytes Delivery(const std::string& trackingId, std::uint32_t code = 0,
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
inline CommandResult ResultOf(const Bytes& answer) {
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
inline Seen* s_pSeen = nullptr;

inline int Callback(const char* trackingId, CommandResult* in, CommandResult* out) {
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

inline ScriptedService* RpcClientManager::s_pService = nullptr;
inline CRpcClientManager* RpcClientManager::s_pManager = nullptr;

}  // namespace test_support
