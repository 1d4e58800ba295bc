// The server routines of the two interfaces, and the check that stands before them.

#include "utilRPC/IdlServerHelper.h"

#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/IdlStubData.h"

#include <objbase.h>
#include <rpc.h>
#include <rpcndr.h>

namespace {

// The unmarshaller trusts that the two numbers of a request agree, so a caller could make the
// routine read behind the buffer.
bool IsRequestWellFormed(const RPC_MESSAGE& message) {
    return IdlStubData::IsRequestWellFormed(
        {static_cast<const std::uint8_t*>(message.Buffer), message.BufferLength},
        message.DataRepresentation);
}

}  // namespace

extern "C" {

// Stands in the dispatch tables of both interfaces before the platform's unmarshaller.
void __RPC_STUB IdlCheckedServerCall(PRPC_MESSAGE message) {
    if (!IsRequestWellFormed(*message))
        RpcRaiseException(RPC_X_BAD_STUB_DATA);
    NdrServerCall2(message);
}

void __cdecl A_Server_SendRequest(handle_t, LONG lInSize, byte* pbIn, LONG* plOutSize,
                                  byte** ppbOut) {
    std::int32_t size = 0;
    *ppbOut = nullptr;
    IdlServerHelper::ServeRequest(lInSize, pbIn, &size, ppbOut);
    *plOutSize = size;
}

void __cdecl B_Server_SendRequest(handle_t binding, LONG lInSize, byte* pbIn, LONG* plOutSize,
                                  byte** ppbOut) {
    A_Server_SendRequest(binding, lInSize, pbIn, plOutSize, ppbOut);
}

}  // extern "C"

IdlServerHelper::WorkerThreadScope::WorkerThreadScope()
    : m_bInitialized(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}

IdlServerHelper::WorkerThreadScope::~WorkerThreadScope() {
    if (m_bInitialized)
        CoUninitialize();
}
