#include "wine/BenchServer.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/RpcMessages.h"
#include "utilRPC/rpc_EndpointMap.h"
#include "utilRPC/rpc_server.h"
#include "wine/BenchClient.h"

namespace Result = KrCommon::Result;

namespace {

constexpr std::uint32_t kBigFileResult = 400010002;
constexpr std::uint32_t kPublishEvent = 400012008;
constexpr std::uint32_t kConnectionMonitor = 35870;

// An answer of about `kibibytes` KiB of JSON text: a list of files as a search gives it.
std::wstring BigAnswer(std::uint32_t kibibytes) {
    std::wstring text = L"{\"data\":{\"files\":[";
    const std::size_t wanted = static_cast<std::size_t>(kibibytes) * 1024;
    text.reserve(wanted + 512);
    for (std::uint32_t i = 0; text.size() < wanted; ++i) {
        text += i == 0 ? L"" : L",";
        text +=
            L"{\"path\":\"C:\\\\Users\\\\person\\\\Documents\\\\a folder with a usual "
            L"name\\\\file " +
            std::to_wstring(i) + L".bin\",\"size\":" + std::to_wstring(1048576 + i) + L"}";
    }
    return text + L"]},\"retCode\":553582592}\n";
}

// One event on its way to a client, as the wire has it.
std::vector<std::uint8_t> Delivery(const std::string& trackingId) {
    std::wstring text = L"{\"eventId\":7,\"param\":\"";
    text += std::wstring(BenchServer::kEventLength - text.size() - 3, L'x') + L"\"}\n";
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_TRACKING_ID, trackingId);
    message.Set(ID_DATA_RESULT_CODE, static_cast<std::int32_t>(Result::kSuccess));
    message.Set(ID_DATA_BODY_ID, static_cast<std::int32_t>(RPC_MSG_PRODUCT_DATA));
    {
        const CRpcNestedMessage report(message, RPC_MSG_PRODUCT_DATA);
        message.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str(),
                    static_cast<std::uint32_t>(text.size()));
    }
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    out << IPC_MSG_COMMAND_RESULT << message;
    return {out.GetData(), out.GetData() + out.GetLength()};
}

class Handler : public CIPCServerRequestCallback {
public:
    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        *ids = new std::uint32_t[1]{CIPCRequestDispatcher::kDefaultHandlerId};
        *count = 1;
        return true;
    }
    void FreeMsgID(std::uint32_t* ids) override { delete[] ids; }

    void operator()(std::uint32_t id, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override {
        if (id == BenchServer::kLastMailRequest) {
            const std::lock_guard lock(m_Mutex);
            out.WriteBytes(m_LastMail.data(), static_cast<std::uint32_t>(m_LastMail.size()));
            return;
        }
        if (id == BenchServer::kDeliverTo) {
            const std::string both(reinterpret_cast<const char*>(in.GetReadPtr()),
                                   in.GetRemaining());
            SetReceiver(both.substr(0, RpcMessages::kIdLength),
                        both.substr(RpcMessages::kIdLength));
            return;
        }
        if (id == IPC_MSG_SEND_MAIL)
            Remember(id, in);
        CRpcDataHandleWrapper message;
        in >> message;
        Answer(id, message, out);
    }

private:
    void Remember(std::uint32_t id, const CIPCMsgBuffer& in) {
        const std::lock_guard lock(m_Mutex);
        m_LastMail.resize(4 + in.GetRemaining());
        std::memcpy(m_LastMail.data(), &id, 4);
        std::memcpy(m_LastMail.data() + 4, in.GetReadPtr(), in.GetRemaining());
    }

    static std::wstring AnswerText(const CRpcDataHandleWrapper& mail) {
        std::uint32_t api = 0;
        mail.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, &api);
        if (api == kConnectionMonitor)
            return L"{\"handle\":18446744073709551615}\n";
        if (api != kBigFileResult)
            return L"{\"data\":{\"cpuUsage\":17},\"retCode\":553582592}\n";
        std::wstring request;
        mail.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, request);
        JsonDocument document;
        document.Parse(request);
        return BigAnswer(document["filterParamHighBound"].AsUInt32());
    }

    void SetReceiver(const std::string& endpoint, const std::string& trackingId) {
        const std::lock_guard lock(m_Mutex);
        m_Delivery = Delivery(trackingId);
        m_Receiver.assign(endpoint.begin(), endpoint.end());
    }

    // Before the publisher has its answer, so that one event at a time is under way.
    void Deliver() {
        std::wstring receiver;
        std::vector<std::uint8_t> delivery;
        {
            const std::lock_guard lock(m_Mutex);
            receiver = m_Receiver;
            delivery = m_Delivery;
        }
        if (!receiver.empty())
            BenchClient::BareCall(receiver, delivery);
    }

    void Answer(std::uint32_t id, const CRpcDataHandleWrapper& message, CIPCMsgBuffer& out) {
        CRpcMainMsg main;
        RpcMessages::DecodeMain(message, main);
        CommandContext command{};
        RpcMessages::DecodeCommand(main.Body, RPC_MSG_PRODUCT_DATA, command);
        if (id == IPC_MSG_REGISTER_PROCESS)
            SetReceiver(main.szClientSessionKey, command.szTrackingID);
        CRpcDataHandleWrapper report(RPC_MSG_PRODUCT_DATA);
        report.Set(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, Result::kSuccess);
        if (id == IPC_MSG_SEND_MAIL) {
            CRpcDataHandleWrapper mail;
            CRpcDataHandleWrapper(command.hData).Get(RPC_MSG_PRODUCT_DATA, &mail);
            std::uint32_t api = 0;
            mail.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, &api);
            if (api == kPublishEvent)
                Deliver();
            const std::wstring text = AnswerText(mail);
            CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
            param.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, text.c_str(),
                      static_cast<std::uint32_t>(text.size()));
            report.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
            report.Set(param);
        }
        CommandResult result{};
        std::memcpy(result.szTrackingID, command.szTrackingID, RpcMessages::kIdLength);
        result.iResult = Result::kSuccess;
        result.uiReportId = RPC_MSG_PRODUCT_DATA;
        RpcDataShare(&report.Handle(), &result.pReport);
        CRpcDataHandleWrapper reply(RPC_MSG_MAIN);
        RpcMessages::EncodeResult(result, reply);
        out << IPC_REPLY_SUCCESS << reply;
        RpcDataDestroy(&result.pReport);
        RpcDataDestroy(&command.hData);
    }

    std::mutex m_Mutex;
    std::vector<std::uint8_t> m_LastMail;
    std::wstring m_Receiver;
    std::vector<std::uint8_t> m_Delivery;
};

}  // namespace

int BenchServer::Serve(const wchar_t* stopEventName) {
    const HANDLE stop = OpenEventW(SYNCHRONIZE, FALSE, stopEventName);
    if (stop == nullptr) {
        std::fprintf(stderr, "the stop event is missing, error %lu\n", GetLastError());
        return 1;
    }
    Handler handler;
    CRPCServerHelper server(CComponentID(ServiceComponentName().c_str()), 1000,
                            CRPCServerParameter(RpcProtocol::kLocal));
    server.RegisterHandler(&handler);
    WaitForSingleObject(stop, 600000);
    server.UnRegisterHandler(&handler);
    CloseHandle(stop);
    return 0;
}
