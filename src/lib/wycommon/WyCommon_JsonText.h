#pragma once

// Keeps from the JSON reader the texts that it is not made for.
//
// The reader recurses once per level, and the time it takes for one number grows with the square
// of the number's length: a megabyte of digits would hold a thread for a minute.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace JsonText {

// Longer than the exact decimal form of any floating-point number.
constexpr std::size_t kMaxNumberSize = 1100;

// True when the reader, given this text, stays within this number of levels (the root has level 1)
// and meets no number longer than kMaxNumberSize characters. Reads up to the end of the root; says
// nothing else about the text, which may be no JSON at all. Takes linear time and no memory.
bool IsReadable(std::string_view text, std::uint32_t maxLevels) noexcept;

}  // namespace JsonText
