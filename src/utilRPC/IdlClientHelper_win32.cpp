#include <malloc.h>

#include <cstdlib>

#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/rpc_mode.h"
#include "utilRPC/seh_call.h"

#include <rpc.h>
#include <rpcndr.h>

// The generated client stubs of the two interfaces.
extern "C" {
void __cdecl A_Client_SendRequest(handle_t binding, LONG lInSize, byte* pbIn, LONG* plOutSize,
                                  byte** ppbOut);
void __cdecl B_Client_SendRequest(handle_t binding, LONG lInSize, byte* pbIn, LONG* plOutSize,
                                  byte** ppbOut);
}

namespace {

struct Call {
    decltype(&A_Client_SendRequest) pStub;
    handle_t hBinding;
    LONG lInSize;
    byte* pbIn;
    LONG lOutSize;
    byte* pbOut;
};

void Run(void* argument) {
    auto* call = static_cast<Call*>(argument);
    call->pStub(call->hBinding, call->lInSize, call->pbIn, &call->lOutSize, &call->pbOut);
}

}  // namespace

IdlClientHelper::Reply IdlClientHelper::SendRequest(int mode, void* binding,
                                                    const std::uint8_t* bytes, std::int32_t size) {
    // The runtime faults on a null handle instead of refusing it.
    if (binding == nullptr)
        return {0, nullptr, RPC_S_INVALID_BINDING};
    Call call{mode == RpcMode::kSecond ? B_Client_SendRequest : A_Client_SendRequest,
              binding,
              size,
              const_cast<byte*>(bytes),  // an [in] parameter
              0,
              nullptr};
    unsigned long code = 0;
    if (seh_call(Run, &call, &code) != 0)
        return {0, nullptr, static_cast<std::uint32_t>(code)};
    // Size and block travel as two numbers; a peer may lie with the first.
    if (call.pbOut != nullptr && call.lOutSize > 0 &&
        static_cast<std::size_t>(call.lOutSize) > _msize(call.pbOut)) {
        std::free(call.pbOut);
        return {0, nullptr, RPC_X_BAD_STUB_DATA};
    }
    return {call.lOutSize, call.pbOut, 0};
}
