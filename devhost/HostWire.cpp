#include "devhost/HostWire.h"

#include "Common/KrCommon/KrComn_Result.h"
#include "Framework/utilIPC/ipc_exception.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "utilRPC/RpcMessages.h"

namespace DevHost {

namespace {

using KrCommon::Result::Failed;

// Of messages that are to have the wrong id.
constexpr std::uint32_t kWrongMessageId = 1;

// Puts a number into the message, a text in its place, or nothing.
template <class Number>
void WriteNumber(CRpcDataHandleWrapper& message, std::uint32_t id, Number value, bool omitted,
                 bool mistyped) {
    if (omitted)
        return;
    if (mistyped) {
        message.Set(id, std::string("wrong"));
        return;
    }
    message.Set(id, value);
}

void WriteJson(const std::wstring& json, const ReplyFaults& faults,
               CRpcDataHandleWrapper& message) {
    if (faults.omit.json)
        return;
    if (faults.mistype.json) {
        message.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, std::uint32_t{1});
        return;
    }
    message.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json.c_str(),
                static_cast<std::uint32_t>(json.size()));
}

void WriteReport(const HostReply& reply, const ReplyFaults& faults,
                 CRpcDataHandleWrapper& message) {
    const CRpcNestedMessage report(message,
                                   faults.mistype.report ? kWrongMessageId : RPC_MSG_PRODUCT_DATA);
    WriteNumber(message, ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT, reply.mailResult,
                faults.omit.mailResult, faults.mistype.mailResult);
    if (!reply.json.has_value())
        return;
    WriteNumber(message, ID_DATA_PRODUCTADAPTER_PACKER_PARAM, std::uint32_t{RPC_MSG_PRODUCT_DATA},
                faults.omit.packer, faults.mistype.packer);
    if (faults.omit.child)
        return;
    const CRpcNestedMessage packed(message,
                                   faults.mistype.child ? kWrongMessageId : RPC_MSG_PRODUCT_DATA);
    WriteJson(*reply.json, faults, message);
}

}  // namespace

bool DecodeRequest(CIPCMsgBuffer& in, HostRequest& request) {
    CRpcDataHandleWrapper image;
    in >> image;

    CRpcMainMsg main;
    RpcMessages::DecodeMain(image, main);
    request.sessionKey = main.szClientSessionKey;
    request.isCommand = main.uiBodyId == RPC_MSG_COMMAND;
    if (main.uiBodyId != RPC_MSG_COMMAND && main.uiBodyId != RPC_MSG_CONTEXT)
        return false;
    if (!request.isCommand)
        return true;

    if (Failed(main.Body.Get(ID_DATA_TRACKING_ID, request.trackingId)))
        return false;
    if (request.trackingId.size() > RpcMessages::kIdLength)
        return false;
    if (Failed(main.Body.Get(ID_DATA_COMMAND_ID, &request.commandId)))
        return false;
    // A command without data is well-formed; the wrapper then stays empty.
    main.Body.Get(RPC_MSG_PRODUCT_DATA, &request.data);
    return true;
}

bool DecodeMail(const CRpcDataHandleWrapper& data, HostMail& mail) {
    std::uint32_t packedId = 0;
    if (Failed(data.Get(ID_DATA_PRODUCTADAPTER_PACKER_PARAM, &packedId)))
        return false;
    CRpcDataHandleWrapper packed;
    if (Failed(data.Get(packedId, &packed)))
        return false;

    std::uint32_t flag = 0;
    if (Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, mail.json)) ||
        Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, &flag)) ||
        Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, &mail.processId)) ||
        Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID, &mail.threadId)) ||
        Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, &mail.destination)) ||
        Failed(packed.Get(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, &mail.mailId))) {
        return false;
    }
    mail.flag = flag != 0;
    return true;
}

void EncodeReply(const HostReply& reply, const ReplyFaults& faults, CIPCMsgBuffer& out) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_TRACKING_ID, reply.trackingId);
    WriteNumber(message, ID_DATA_RESULT_CODE, static_cast<std::int32_t>(reply.resultCode),
                faults.omit.resultCode, faults.mistype.resultCode);
    WriteNumber(message, ID_DATA_BODY_ID,
                static_cast<std::int32_t>(reply.hasReport ? RPC_MSG_PRODUCT_DATA : 0),
                faults.omit.bodyId, faults.mistype.bodyId);
    if (reply.hasReport && !faults.omit.report)
        WriteReport(reply, faults, message);
    out << IPC_REPLY_SUCCESS << message;
}

void EncodeFailure(std::uint32_t code, const std::wstring& text, CIPCMsgBuffer& out) {
    out << IPC_REPLY_FAILURE << code << text;
}

void EncodeDelivery(const std::string& trackingId, const std::wstring& json, CIPCMsgBuffer& out) {
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    message.Set(ID_DATA_TRACKING_ID, trackingId);
    message.Set(ID_DATA_RESULT_CODE, static_cast<std::int32_t>(KrCommon::Result::kSuccess));
    message.Set(ID_DATA_BODY_ID, static_cast<std::int32_t>(RPC_MSG_PRODUCT_DATA));
    {
        const CRpcNestedMessage report(message, RPC_MSG_PRODUCT_DATA);
        message.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, json.c_str(),
                    static_cast<std::uint32_t>(json.size()));
    }
    out << IPC_MSG_COMMAND_RESULT << message;
}

DeliveryReply DecodeDeliveryReply(const std::uint8_t* bytes, std::uint32_t size) {
    DeliveryReply reply;
    try {
        CIPCMsgBuffer in(bytes, size);
        std::uint32_t marker = 0;
        in >> marker;
        if (marker == IPC_REPLY_FAILURE) {
            in >> reply.code;
            reply.failure = true;
            reply.wellFormed = true;
            return reply;
        }
        CRpcDataHandleWrapper message;
        in >> message;
        reply.wellFormed = !Failed(message.Get(ID_DATA_RESULT_CODE, &reply.code));
    } catch (const OS::CException&) {
        reply.wellFormed = false;
    }
    return reply;
}

}  // namespace DevHost
