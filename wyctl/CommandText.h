#pragma once

// Small things that a person types.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace WyCtl {

// Splits a line into arguments at blanks. Double quotes keep blanks together, and \" is a quote
// inside them. Raises UsageError for a quote that is not closed.
std::vector<std::string> SplitCommandLine(const std::string& line);

// A decimal number, or a hexadecimal one behind "0x"; nothing for any other text and for what 64
// bits cannot hold.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

// The number of an event. Raises UsageError.
std::uint32_t ParseEventId(const std::string& text);

// "65536", "64K", "10M", "2G": bytes, in units of 1024. Raises UsageError.
std::uint64_t ParseSize(const std::string& text);

}  // namespace WyCtl
