#include "utilRPC/IdlServerHelper.h"

#include <cstdlib>
#include <cstring>
#include <exception>

#include "Common/KrCommon/KrComn_Log.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "utilRPC/rpc_server.h"

namespace {

constexpr const char* kLogSource = "IdlServerHelper";
constexpr const wchar_t* kLogModule = L"utilRPC";

void Answer(const CIPCMsgBuffer& reply, std::int32_t* plOutSize, std::uint8_t** ppbOut) {
    *plOutSize = static_cast<std::int32_t>(reply.GetLength());
    if (*plOutSize <= 0)
        return;
    *ppbOut = static_cast<std::uint8_t*>(std::malloc(reply.GetLength()));
    if (*ppbOut != nullptr)
        std::memcpy(*ppbOut, reply.GetData(), reply.GetLength());
}

void Dispatch(CRPCServer& server, std::int32_t lInSize, const std::uint8_t* pbIn,
              std::int32_t* plOutSize, std::uint8_t** ppbOut) {
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    if (lInSize > 0)
        in.WriteBytes(pbIn, static_cast<std::uint32_t>(lInSize));
    server.ProcessRequest(in, out);
    Answer(out, plOutSize, ppbOut);
}

void GiveEmptyAnswer(std::int32_t* plOutSize, std::uint8_t** ppbOut) {
    std::free(*ppbOut);
    *plOutSize = 0;
    *ppbOut = nullptr;
}

}  // namespace

void IdlServerHelper::ServeRequest(std::int32_t lInSize, const std::uint8_t* pbIn,
                                   std::int32_t* plOutSize, std::uint8_t** ppbOut) noexcept {
    WY_LOG_INFO << L"SendRequest(), inSize: " << lInSize;
    if (CRPCServer* server = DefaultServer(); server != nullptr) {
        const WorkerThreadScope scope;
        *plOutSize = 0;
        *ppbOut = nullptr;
        try {
            Dispatch(*server, lInSize, pbIn, plOutSize, ppbOut);
        } catch (const OS::CException& error) {
            GiveEmptyAnswer(plOutSize, ppbOut);
            WY_LOG_ERROR << L"SendRequest(), error = " << error.GetFullMessage();
        } catch (const std::exception& error) {
            // Out of memory in a handler must not reach the RPC runtime.
            GiveEmptyAnswer(plOutSize, ppbOut);
            WY_LOG_ERROR << L"SendRequest(), error = " << error.what();
        }
    }
    WY_LOG_INFO << L"SendRequest(), outSize: " << *plOutSize;
}
