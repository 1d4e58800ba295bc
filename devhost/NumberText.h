#pragma once

// Numbers as a person writes them on a command line or in a script.

#include <charconv>
#include <string_view>
#include <system_error>

namespace DevHost {

// Decimal or, with 0x, hexadecimal; without a sign. False for any other text and for what does not
// fit.
template <class Number>
bool ParseNumber(std::string_view text, Number& value) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    }
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, base);
    return error == std::errc() && stop == end && !text.empty();
}

}  // namespace DevHost
