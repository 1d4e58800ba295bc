#pragma once

// The calling side of the interface's single procedure.

#include <cstdint>

namespace IdlClientHelper {

// The answer of one call.
struct Reply {
    // As the peer sent it. It is the number of bytes where there are bytes; an answer without a
    // block may carry any number.
    std::int32_t lSize = 0;
    // Comes from malloc and belongs to the caller; null when the answer has no bytes.
    std::uint8_t* pBytes = nullptr;
    // Code of the structured exception that ended the call; 0 when it returned.
    std::uint32_t uiException = 0;
};

// Calls SendRequest over a binding handle, through the interface of the given mode (1: the
// second, anything else: the first). Every exception, of RPC or otherwise, ends in the reply.
//
// Nothing is allocated on the peer's word: an answer whose numbers do not agree with the bytes
// that came gives 1783 (RPC_X_BAD_STUB_DATA). Without a call, a null binding gives 1702
// (RPC_S_INVALID_BINDING), null bytes 1780 (RPC_X_NULL_REF_POINTER) and a negative size 1783.
Reply SendRequest(int mode, void* binding, const std::uint8_t* bytes, std::int32_t size);

}  // namespace IdlClientHelper
