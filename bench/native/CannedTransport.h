#pragma once

#include <cstdint>
#include <vector>

// The platform half of client and server for benchmarks: every request is answered with the same
// bytes, at the cost of copying them.
namespace CannedTransport {

void SetReply(std::vector<std::uint8_t> reply);

}  // namespace CannedTransport
