#pragma once

#include <cstdint>
#include <string>

class CKrRpcClientHelper;

// What the monitor thread does with the helper between its waits. Portable, so that the steps are
// tested without a wait.
class OuterClientReconnect {
public:
    static constexpr std::uint64_t kNoHandle = 0xffffffffffffffffULL;

    // Asks the service for a handle on its own process that is valid in this one. 0 when the mail
    // failed, kNoHandle when the service could not provide one.
    static std::uint64_t AskServiceHandle(CKrRpcClientHelper& helper);

    // One attempt to register again. True when it got through.
    static bool TryOnce(CKrRpcClientHelper& helper);
};
