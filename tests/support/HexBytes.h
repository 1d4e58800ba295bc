#pragma once

// Byte images as people write them: "14 00 01 00" with blanks and line breaks wherever they help.

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

// The bytes of a text of hexadecimal digits. Blanks are skipped; anything else is an error.
inline Bytes FromHex(std::string_view text) {
    Bytes bytes;
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\n') {
            continue;
        }
        const std::size_t digit = std::string_view("0123456789abcdef").find(c);
        if (digit == std::string_view::npos) {
            throw std::invalid_argument("no hexadecimal digit: " + std::string(1, c));
        }
        if (high < 0) {
            high = static_cast<int>(digit);
        } else {
            bytes.push_back(static_cast<std::uint8_t>(high * 16 + static_cast<int>(digit)));
            high = -1;
        }
    }
    if (high >= 0) {
        throw std::invalid_argument("odd number of hexadecimal digits");
    }
    return bytes;
}

// Sixteen bytes to a line, so that a failed comparison shows where two images part.
inline std::string ToHex(const std::uint8_t* data, std::size_t size) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        if (i > 0) {
            text += i % 16 == 0 ? '\n' : ' ';
        }
        text += kDigits[data[i] >> 4];
        text += kDigits[data[i] & 15];
    }
    return text;
}

inline std::string ToHex(const Bytes& bytes) {
    return ToHex(bytes.data(), bytes.size());
}

// The same text for an image written by hand, for comparison with ToHex of a real one.
inline std::string Hex(std::string_view text) {
    return ToHex(FromHex(text));
}

// Little-endian pieces of an image.
inline void Append(Bytes& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

inline void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline Bytes Words(std::initializer_list<std::uint32_t> values) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        Append(bytes, value);
    }
    return bytes;
}

}  // namespace test_support
