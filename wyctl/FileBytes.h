#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace WyCtl {

// The largest file that ReadFileBytes takes.
constexpr std::uint64_t kMaxFileBytes = 256U << 20;

// The whole of a file; `path` is UTF-8. Raises Failure when it cannot be read or is larger than
// kMaxFileBytes.
std::vector<std::uint8_t> ReadFileBytes(const std::string& path);

// The whole of standard input, as text. Raises Failure as above.
std::string ReadStandardInput();

}  // namespace WyCtl
