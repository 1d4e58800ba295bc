#pragma once

// The calling side of the interface's single procedure.

#include <cstdint>

namespace IdlClientHelper {

// The answer of one call. `pBytes` comes from malloc and belongs to the caller.
struct Reply {
    std::int32_t lSize = 0;
    std::uint8_t* pBytes = nullptr;
    // Code of the structured exception that ended the call; 0 when it returned.
    std::uint32_t uiException = 0;
};

// Calls SendRequest over a binding handle, through the interface of the given mode (1: the
// second, anything else: the first). Every exception, of RPC or otherwise, ends in the reply. A
// size that the block does not hold is cut to what was received.
Reply SendRequest(int mode, void* binding, const std::uint8_t* bytes, std::int32_t size);

}  // namespace IdlClientHelper
