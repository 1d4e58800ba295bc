// The call is written out here, because a generated client stub leaves the answer to the runtime.
// Not every runtime looks whether the bytes are there before it allocates a block by the peer's
// count, nor gives the block back when they are not.

#include "utilRPC/IdlClientHelper.h"

#include <cstdlib>
#include <cstring>

#include "Common/KrCommon/KrComn_Windows.h"
#include "utilRPC/IdlInterface.h"
#include "utilRPC/IdlStubData.h"
#include "utilRPC/rpc_mode.h"
#include "utilRPC/seh_call.h"

#include <rpc.h>
#include <rpcndr.h>

namespace {

// SendRequest, the only procedure.
constexpr unsigned int kProcedure = 0;
// The version of the marshalling library that the description asks for, that of Windows 2000.
constexpr unsigned long kNdrVersion = 0x50002;

// The calling side's description of one interface. Uuid and transfer syntax are the called side's.
class ClientStub {
public:
    explicit ClientStub(int mode) {
        const auto* called = static_cast<const RPC_SERVER_INTERFACE*>(IdlInterface::OfMode(mode));
        m_Interface.Length = sizeof m_Interface;
        m_Interface.InterfaceId = called->InterfaceId;
        m_Interface.TransferSyntax = called->TransferSyntax;
        m_Description.RpcInterfaceInformation = &m_Interface;
        m_Description.pfnAllocate = MIDL_user_allocate;
        m_Description.pfnFree = MIDL_user_free;
        m_Description.fCheckBounds = 1;
        m_Description.Version = kNdrVersion;
    }
    ClientStub(const ClientStub&) = delete;
    ClientStub& operator=(const ClientStub&) = delete;

    const MIDL_STUB_DESC& Description() const { return m_Description; }

private:
    RPC_CLIENT_INTERFACE m_Interface{};
    MIDL_STUB_DESC m_Description{};
};

const ClientStub& StubOfMode(int mode) {
    static const ClientStub first(RpcMode::kFirst);
    static const ClientStub second(RpcMode::kSecond);
    return mode == RpcMode::kSecond ? second : first;
}

// One call under way. The message owns the request's buffer, then the answer's.
struct Call {
    const MIDL_STUB_DESC* pDescription;
    handle_t hBinding;
    const std::uint8_t* pbIn;
    std::uint32_t uiInSize;
    RPC_MESSAGE message;
    MIDL_STUB_MESSAGE stub;
};

// Sends the request and waits for the answer. Raises what the runtime raises.
void Exchange(void* argument) {
    auto* call = static_cast<Call*>(argument);
    NdrClientInitializeNew(&call->message, &call->stub, call->pDescription, kProcedure);
    std::uint8_t* buffer =
        NdrGetBuffer(&call->stub, IdlStubData::kRequestHead + call->uiInSize, call->hBinding);
    call->stub.Buffer = IdlStubData::WriteRequest(buffer, call->pbIn, call->uiInSize);
    NdrSendReceive(&call->stub, call->stub.Buffer);
}

// Gives back the buffer that the message still owns, if any; the runtime keeps the record of it.
void Release(void* argument) {
    NdrFreeBuffer(&static_cast<Call*>(argument)->stub);
}

IdlClientHelper::Reply Failure(unsigned long code) {
    return {0, nullptr, static_cast<std::uint32_t>(code)};
}

IdlClientHelper::Reply CopyAnswer(const RPC_MESSAGE& message) {
    const auto answer = IdlStubData::ReadAnswer(
        {static_cast<const std::uint8_t*>(message.Buffer), message.BufferLength},
        message.DataRepresentation);
    if (!answer)
        return Failure(RPC_X_BAD_STUB_DATA);
    if (answer->pBlock == nullptr || answer->lSize == 0)
        return {answer->lSize, nullptr, 0};
    const auto size = static_cast<std::size_t>(answer->lSize);
    auto* bytes = static_cast<std::uint8_t*>(std::malloc(size));
    if (bytes == nullptr)
        return Failure(RPC_S_OUT_OF_MEMORY);
    std::memcpy(bytes, answer->pBlock, size);
    return {answer->lSize, bytes, 0};
}

}  // namespace

IdlClientHelper::Reply IdlClientHelper::SendRequest(int mode, void* binding,
                                                    const std::uint8_t* bytes, std::int32_t size) {
    // The runtime faults on a null handle instead of refusing it.
    if (binding == nullptr)
        return Failure(RPC_S_INVALID_BINDING);
    if (bytes == nullptr)
        return Failure(RPC_X_NULL_REF_POINTER);
    if (size < 0)
        return Failure(RPC_X_BAD_STUB_DATA);
    Call call{};
    call.pDescription = &StubOfMode(mode).Description();
    call.hBinding = binding;
    call.pbIn = bytes;
    call.uiInSize = static_cast<std::uint32_t>(size);
    unsigned long code = 0;
    const Reply reply =
        seh_call(Exchange, &call, &code) == 0 ? CopyAnswer(call.message) : Failure(code);
    // The outcome of the call stands, whatever becomes of the buffer.
    seh_call(Release, &call, &code);
    return reply;
}
