// Result forms: a reply of any bytes to a command, and a delivery of any bytes at the callback
// endpoint.
//
// Input: one byte (bit 0: reply or delivery), the envelope behind it.

#include <atomic>
#include <cstring>

#include "Framework/utilIPC/ipc_ids.h"
#include "FuzzInput.h"
#include "support/GoldenImages.h"
#include "support/MessageExerciser.h"
#include "support/loopback/LoopbackTransport.h"
#include "utilRPC/RpcClientManager.h"

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;

void CheckResult(const CommandResult& result) {
    fuzz::Require(std::memchr(result.szTrackingID, '\0', RpcMessages::kIdLength + 1) != nullptr,
                  "a tracking id without its end");
    fuzz::Require(test_support::ExerciseMessage(CRpcDataHandleWrapper(result.pReport)));
}

int Callback(const char* trackingId, CommandResult* in, CommandResult* out) {
    fuzz::Require(std::strcmp(trackingId, test_support::golden::kSessionKey) == 0,
                  "the wrong record was found");
    CheckResult(*in);
    out->iResult = in->iResult;
    out->uiReportId = in->uiReportId;
    return 0;
}

Loopback::Bytes& Reply() {
    static Loopback::Bytes reply;
    return reply;
}

// One manager, one service and one tracked command for the whole run.
void SetUp() {
    static const Loopback::Endpoint service(ServiceComponentName(),
                                            [](const Loopback::Bytes&) { return Reply(); });
    g_pRpcClientManager = new CRpcClientManager(nullptr, 1000);
    CommandContext context{};
    std::strcpy(context.szTrackingID, test_support::golden::kSessionKey);
    CommandResult result{};
    Reply() = test_support::golden::ScanReply();
    fuzz::Require(CRpcClientManager::ExecuteCommand(&context, Callback, &result) == kSuccess,
                  "the set-up got no reply");
    CRpcClientManager::DestroyReport(&result.pReport);
}

void ReadReply() {
    CommandContext context{};
    CommandResult result{};
    const std::uint32_t code = CRpcClientManager::ExecuteCommand(&context, nullptr, &result);
    fuzz::Require(static_cast<std::int32_t>(code) < 0 || result.iResult == code,
                  "code and result differ");
    CheckResult(result);
    CRpcClientManager::DestroyReport(&result.pReport);
}

void TakeDelivery(const std::vector<std::uint8_t>& bytes) {
    CIPCMsgBuffer in(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    (*g_pRpcClientManager)(IPC_MSG_COMMAND_RESULT, in, out);
    if (out.GetLength() == 0) {
        return;  // the envelope held no message
    }
    std::uint32_t marker = 0;
    CRpcDataHandleWrapper answer;
    out >> marker >> answer;
    fuzz::Require(
        marker == IPC_REPLY_SUCCESS && answer.GetMsgId() == RPC_MSG_MAIN && out.GetRemaining() == 0,
        "the answer to a delivery is malformed");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzz::LogIntoNothing();
    SetUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const bool delivery = (input.Byte() & 1) != 0;
    std::vector<std::uint8_t> bytes = input.Rest();
    if (delivery) {
        TakeDelivery(bytes);
    } else {
        Reply() = std::move(bytes);
        ReadReply();
    }
    return 0;
}
