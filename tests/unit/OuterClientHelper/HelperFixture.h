#pragma once

// What the tests of the product client helper share: replies, requests taken apart, and a session.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Framework/utilIPC/ipc_ids.h"
#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "support/GoldenImages.h"
#include "support/service/ScriptedService.h"

namespace test_support {

constexpr std::uint32_t kSuccess = 0x20ff0000;

inline Bytes Envelope(std::uint32_t word, const CRpcDataHandleWrapper& message) {
    Bytes bytes = Words({word, message.GetSize()});
    bytes.insert(bytes.end(), message.GetData(), message.GetData() + message.GetSize());
    return bytes;
}

// A message in result form with a report.
inline Bytes ResultEnvelope(std::uint32_t word, const std::string& trackingId, std::uint32_t code,
                            const CRpcDataHandleWrapper& report) {
    CommandResult result{};
    trackingId.copy(result.szTrackingID, 36);
    result.iResult = code;
    result.uiReportId = report.GetMsgId();
    RpcDataShare(&report.Handle(), &result.pReport);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    RpcDataDestroy(&result.pReport);
    return Envelope(word, message);
}

// What a mail is answered with; fields can be left out.
struct MailReply {
    std::wstring json = L"{\"data\":{}}\n";
    std::uint32_t verdict = kSuccess;
    bool withVerdict = true;
    bool withPacker = true;
    bool withChild = true;
    bool withJson = true;

    Bytes Encode() const {
        CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
        if (withJson) {
            param.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json.data(),
                      static_cast<std::uint32_t>(json.size()));
        }
        CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
        if (withVerdict) {
            report.Set(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, verdict);
        }
        if (withPacker) {
            report.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
        }
        if (withChild) {
            report.Set(param);
        }
        return ResultEnvelope(202, golden::kTrackingId, kSuccess, report);
    }
};

inline Bytes FailureReply(std::uint32_t code) {
    Bytes bytes = Words({2, code, 4});
    Append(bytes, Bytes{'x', 0, 0, 0});
    return bytes;
}

// One request, taken apart as a service would.
struct Request {
    explicit Request(const Bytes& bytes) {
        CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        CRpcDataHandleWrapper message;
        view >> id >> message;
        CRpcMainMsg main;
        RpcMessages::DecodeMain(message, main);
        sessionKey = main.szClientSessionKey;
        bodyId = main.uiBodyId;
        CommandContext context{};
        RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, context);
        trackingId = context.szTrackingID;
        command = context.uiCommandId;
        flag = context.iFlag;
        const CRpcDataHandleWrapper data(context.hData);
        RpcDataDestroy(&context.hData);
        data.Get(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, &processId);
        data.Get(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME, clientName);
        CRpcDataHandleWrapper param;
        if (data.Get(RPC_MSG_PRODUCT_DATA, &param) == kSuccess) {
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, &processId);
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, &threadId);
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, &destId);
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, &mailId);
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, &mailFlag);
            param.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json);
        }
    }

    std::uint32_t id = 0;
    std::string sessionKey;
    std::uint32_t bodyId = 0;
    std::string trackingId;
    std::uint32_t command = 0;
    std::int32_t flag = 0;
    std::uint32_t processId = 0;
    std::wstring clientName;
    std::uint32_t threadId = 0;
    std::uint32_t destId = 0;
    std::uint32_t mailId = 0;
    std::uint32_t mailFlag = 0xdead;
    std::wstring json;
};

inline std::vector<Request> Decode(const std::vector<Bytes>& requests) {
    return {requests.begin(), requests.end()};
}

// A helper as the library makes it.
class Helper : public CKrRpcClientHelper {
public:
    Helper()
        : CKrRpcClientHelper(ProductIdentity::kProductNumber, ProductIdentity::kProductIdString, 0,
                             false, ProductIdentity::kTimeout) {}
};

// A document from JSON text.
inline JsonDocument Document(const wchar_t* text) {
    JsonDocument document;
    EXPECT_EQ(document.Parse(text), JsonDocument::kOk);
    return document;
}

// The service of a whole suite; each test finds it with an empty script and content with
// everything.
class HelperTest : public testing::Test {
protected:
    static void SetUpTestSuite() { s_pService = std::make_unique<ScriptedService>(); }
    static void TearDownTestSuite() { s_pService.reset(); }
    void SetUp() override {
        s_pService->Reset();
        s_pService->SetReply(MailReply().Encode());
    }

    static ScriptedService& Service() { return *s_pService; }
    static std::vector<Request> Requests() { return Decode(Service().TakeRequests()); }

    static std::string SessionKey() { return g_pRpcClientManager.load()->GetClientSessionKey(); }

    // The next request comes from a client that the service does not know. The manager that is
    // then replaced is left to no one; it stays in reach here, so that a leak checker finds only
    // what is lost by accident.
    static void LoseClientOnce() {
        static auto* const leftBehind = new std::vector<CRpcClientManager*>;
        leftBehind->push_back(g_pRpcClientManager);
        Service().PushReply(golden::UnknownClientEnvelope());
    }

    // The answer of this process to an event.
    static Bytes Deliver(const std::string& endpoint, const std::string& trackingId,
                         const CRpcDataHandleWrapper& report) {
        return Service().Deliver(endpoint,
                                 ResultEnvelope(IPC_MSG_COMMAND_RESULT, trackingId, 0, report));
    }
    static Bytes DeliverEvent(const wchar_t* json) {
        CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
        report.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json);
        return Deliver(SessionKey(), SessionKey(), report);
    }

    static std::unique_ptr<ScriptedService> s_pService;
};

inline std::unique_ptr<ScriptedService> HelperTest::s_pService;

// The code in an answer to a delivery, and the text of its report.
struct EventAnswer {
    explicit EventAnswer(const Bytes& bytes) {
        CIPCMsgBuffer view(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        std::uint32_t marker = 0;
        CRpcDataHandleWrapper message;
        try {
            view >> marker >> message;
        } catch (const CIPCMsgBufferException&) {
            ADD_FAILURE() << "no answer: " << ToHex(bytes);
        }
        EXPECT_EQ(marker, IPC_REPLY_SUCCESS);
        CommandResult result{};
        RpcMessages::DecodeResult(message, result);
        code = result.iResult;
        CRpcDataHandleWrapper(result.pReport).Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json);
        RpcDataDestroy(&result.pReport);
    }
    std::uint32_t code = 0;
    std::wstring json;
};

}  // namespace test_support
