#pragma once

// The service that the Windows benchmarks talk to: the same RPC server as the product's, with
// answers that cost nothing to make.

#include <cstdint>
#include <vector>

namespace BenchServer {

// Envelope id that answers with the bytes of the last mail, so that a bare call can send the same.
constexpr std::uint32_t kLastMailRequest = 0x7777;

// Serves the first identity's endpoint until the named event is signalled. Prints "ready".
int Serve(const wchar_t* stopEventName);

}  // namespace BenchServer
