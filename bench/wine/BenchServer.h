#pragma once

// The service that the Windows benchmarks talk to: the same RPC server as the product's, with
// answers that cost nothing to make.

#include <cstdint>
#include <vector>

namespace BenchServer {

// Envelope id that answers with the bytes of the last mail, so that a bare call can send the same.
constexpr std::uint32_t kLastMailRequest = 0x7777;

// Envelope id that names the endpoint and the tracking id, one after the other as 36 characters
// each, to which published events go; a registration does the same.
constexpr std::uint32_t kDeliverTo = 0x7778;

// The event that it delivers has a text of this many characters.
constexpr std::uint32_t kEventLength = 300;

// Stops the serving process of either benchmark.
constexpr const wchar_t* kStopEvent = L"WySdkBenchStop";

// Serves the first identity's endpoint until the named event is signalled. Prints "ready".
int Serve(const wchar_t* stopEventName);

}  // namespace BenchServer
