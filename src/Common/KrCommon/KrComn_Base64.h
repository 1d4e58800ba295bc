#pragma once

// Base64 with the standard alphabet (RFC 4648), as the fixed-size cipher text is written and read.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KrCommon::Cryptograph::Base64 {

// Four characters for three bytes, the last ones begun.
constexpr std::size_t EncodedSize(std::size_t size) {
    return (size + 2) / 3 * 4;
}

// Writes EncodedSize(size) characters at `out`, with "=" for what is missing at the end.
void Encode(const std::uint8_t* bytes, std::size_t size, char* out);

// Decodes at most `limit` characters of the text and returns the number of bytes written at `out`,
// which needs room for three quarters of them.
//
// A character outside of the alphabet is skipped; it counts as read. "=" ends the text: the bytes
// that the group before it has whole are taken. A group that is not full where the text or the
// limit ends gives nothing.
std::size_t Decode(std::string_view text, std::size_t limit, std::uint8_t* out);

}  // namespace KrCommon::Cryptograph::Base64
