#include "unit/devhost/WireHelpers.h"

#include <algorithm>
#include <cstring>

#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_exception.h"
#include "utilRPC/RpcMessages.h"

namespace WireHelpers {

namespace {

constexpr std::uint32_t kThreadId = 99;

template <std::size_t Size>
void Copy(char (&target)[Size], const std::string& text) {
    std::memset(target, 0, Size);
    std::memcpy(target, text.data(), std::min(text.size(), Size - 1));
}

Bytes Envelope(const CRpcDataHandleWrapper& message) {
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    out << message;
    return {out.GetData(), out.GetData() + out.GetLength()};
}

void ReadReport(const CRpcDataHandleWrapper& report, Reply& reply) {
    using KrCommon::Result::Succeeded;
    reply.hasMailResult =
        Succeeded(report.Get(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, &reply.mailResult));
    std::uint32_t packedId = 0;
    reply.hasPacker = Succeeded(report.Get(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, &packedId));
    CRpcDataHandleWrapper packed;
    reply.hasChild = Succeeded(report.Get(RPC_MSG_PRODUCT_DATA, &packed));
    reply.hasJson = reply.hasChild &&
                    Succeeded(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, reply.json));
}

}  // namespace

Bytes Command(std::uint32_t commandId, const CRpcDataHandleWrapper* data,
              const std::string& sessionKey, const std::string& trackingId) {
    CommandContext context{};
    context.uiCommandId = commandId;
    context.iFlag = 1;
    Copy(context.szTrackingID, trackingId);
    if (data != nullptr)
        context.hData = data->Handle();
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainCommand(sessionKey.c_str(), context, message);
    return Envelope(message);
}

Bytes Mail(std::uint32_t destination, std::uint32_t mailId, const std::wstring& json,
           std::uint32_t processId) {
    CRpcDataHandleWrapper packed(RPC_MSG_PRODUCT_DATA);
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json.c_str(),
               static_cast<std::uint32_t>(json.size()));
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, false);
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, processId);
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, kThreadId);
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, destination);
    packed.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, mailId);
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, RPC_MSG_PRODUCT_DATA);
    data.Set(packed);
    return Command(IPC_MSG_SEND_MAIL, &data);
}

Bytes Api(std::uint32_t apiId, const std::wstring& json) {
    return Mail(0x4e0009, apiId, json);
}

Bytes Register(const std::wstring& name, std::uint32_t processId, const std::string& sessionKey) {
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME, name.c_str(),
             static_cast<std::uint32_t>(name.size()));
    data.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, processId);
    return Command(IPC_MSG_REGISTER_PROCESS, &data, sessionKey, sessionKey);
}

Bytes Unregister(std::uint32_t processId, const std::string& sessionKey) {
    CRpcDataHandleWrapper data(RPC_MSG_PRODUCT_DATA);
    data.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, processId);
    return Command(IPC_MSG_UNREGISTER_PROCESS, &data, sessionKey);
}

Bytes DestroyContext(const std::string& sessionKey) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeMainContext(sessionKey.c_str(), CommandClient{}, message);
    return Envelope(message);
}

Reply ReadReply(const std::uint8_t* bytes, std::uint32_t size) {
    using KrCommon::Result::Succeeded;
    Reply reply;
    reply.empty = size == 0;
    if (reply.empty)
        return reply;
    try {
        CIPCMsgBuffer in(bytes, size);
        std::uint32_t marker = 0;
        in >> marker;
        if (marker == IPC_REPLY_FAILURE) {
            std::uint32_t length = 0;
            in >> reply.failureCode >> length;
            reply.failure = true;
            for (std::uint32_t i = 0; i + 3 < length; i += 2) {
                const std::uint8_t* const unit = in.GetReadPtr() + i;
                reply.failureText += static_cast<wchar_t>(unit[0] | (unit[1] << 8));
            }
            return reply;
        }
        CRpcDataHandleWrapper message;
        in >> message;
        message.Get(ID_DATA_TRACKING_ID, reply.trackingId);
        reply.hasResultCode = Succeeded(message.Get(ID_DATA_RESULT_CODE, &reply.resultCode));
        std::uint32_t bodyId = 0;
        message.Get(ID_DATA_BODY_ID, &bodyId);
        CRpcDataHandleWrapper report;
        reply.hasReport = bodyId != 0 && Succeeded(message.Get(bodyId, &report));
        if (reply.hasReport)
            ReadReport(report, reply);
    } catch (const OS::CException&) {
        reply.malformed = true;
    }
    return reply;
}

}  // namespace WireHelpers
