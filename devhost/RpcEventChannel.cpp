#include "devhost/RpcEventChannel.h"

#include <exception>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "devhost/HostWire.h"
#include "utilRPC/rpc_client.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "RpcEventChannel";
constexpr const wchar_t* kLogModule = L"WySvcHost";

}  // namespace

EventChannel::Outcome RpcEventChannel::Deliver(const Client& client, const std::wstring& json) {
    try {
        const std::wstring endpoint = KrCommon::String::FromUtf8(client.key);
        CIPCMsgBuffer request(CIPCMsgBuffer::kBlockSize, false);
        CIPCMsgBuffer answer(CIPCMsgBuffer::kBlockSize, false);
        EncodeDelivery(client.trackingId, json, request);
        CRPCClientHelper(CComponentID(endpoint.c_str())).SendRequest(request, answer);

        const DeliveryReply reply = DecodeDeliveryReply(answer.GetData(), answer.GetLength());
        WY_LOG_INFO << L"deliver to " << client.name << L", pid " << client.processId
                    << L", result " << WyHex{reply.code};
        if (!reply.wellFormed || reply.failure ||
            reply.code == KrCommon::Result::kUnknownTrackingId) {
            return Outcome::kGone;
        }
        return KrCommon::Result::Succeeded(reply.code) ? Outcome::kTaken : Outcome::kRefused;
    } catch (const std::exception& error) {
        WY_LOG_ERROR << L"cannot deliver: " << error.what();
        return Outcome::kRefused;
    }
}

}  // namespace DevHost
