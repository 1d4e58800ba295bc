#pragma once

// Small things that a person types.

#include <cstdint>
#include <string>
#include <vector>

namespace WyCtl {

// Splits a line into arguments at blanks. Double quotes keep blanks together, and \" is a quote
// inside them. Raises UsageError for a quote that is not closed.
std::vector<std::string> SplitCommandLine(const std::string& line);

// "65536", "64K", "10M", "2G": bytes, in units of 1024. Raises UsageError.
std::uint64_t ParseSize(const std::string& text);

}  // namespace WyCtl
