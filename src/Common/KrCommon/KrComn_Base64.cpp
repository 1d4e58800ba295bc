#include "Common/KrCommon/KrComn_Base64.h"

#include <array>

namespace KrCommon::Cryptograph::Base64 {

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';
constexpr std::uint8_t kForeign = 0xff;

constexpr std::array<std::uint8_t, 256> MakeValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(kForeign);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return values;
}

constexpr std::array<std::uint8_t, 256> kValues = MakeValues();

}  // namespace

void Encode(const std::uint8_t* bytes, std::size_t size, char* out) {
    for (std::size_t i = 0; i < size; i += 3) {
        const std::size_t given = size - i < 3 ? size - i : 3;
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < given ? bytes[i + k] : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            *out++ = k <= given ? kAlphabet[group >> (18 - 6 * k) & 63] : kPadding;
        }
    }
}

std::size_t Decode(std::string_view text, std::size_t limit, std::uint8_t* out) {
    std::uint8_t* const begin = out;
    std::uint32_t group = 0;
    unsigned count = 0;
    for (const char character : text.substr(0, limit)) {
        if (character == kPadding) {
            for (unsigned k = 1; k < count; ++k) {
                *out++ = static_cast<std::uint8_t>(group >> (6 * count - 8 * k));
            }
            break;
        }
        const std::uint8_t value = kValues[static_cast<unsigned char>(character)];
        if (value == kForeign) {
            continue;
        }
        group = group << 6 | value;
        if (++count == 4) {
            for (int shift = 16; shift >= 0; shift -= 8) {
                *out++ = static_cast<std::uint8_t>(group >> shift);
            }
            group = 0;
            count = 0;
        }
    }
    return static_cast<std::size_t>(out - begin);
}

}  // namespace KrCommon::Cryptograph::Base64
