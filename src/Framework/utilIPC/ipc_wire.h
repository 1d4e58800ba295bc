#pragma once

// Byte order and wide text of the wire: integers are little-endian, wide text is UTF-16LE.
//
// Where a wide character has 16 bits the text moves as it is; where it has more, the conversion
// happens here and nowhere else. Unpaired surrogates pass unchanged.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Wire {

// All that this is built for is little-endian, so nothing is turned round on the way.
static_assert(std::endian::native == std::endian::little);

inline void StoreUInt32(std::uint8_t* at, std::uint32_t value) {
    std::memcpy(at, &value, sizeof(value));
}

inline std::uint32_t LoadUInt32(const std::uint8_t* at) {
    std::uint32_t value = 0;
    std::memcpy(&value, at, sizeof(value));
    return value;
}

inline std::uint32_t LoadUnit(const std::uint8_t* at) {
    std::uint16_t unit = 0;
    std::memcpy(&unit, at, sizeof(unit));
    return unit;
}

inline void StoreUnit(std::uint8_t* at, std::uint32_t unit) {
    const auto value = static_cast<std::uint16_t>(unit);
    std::memcpy(at, &value, sizeof(value));
}

constexpr bool kNativeUnits = sizeof(wchar_t) == 2;

namespace Detail {

// Text without surrogates on the one side and without characters above 0xffff on the other is the
// rule; it goes through loops that the compiler can widen.
inline bool NeedsNoPairs(std::wstring_view text) {
    std::uint32_t all = 0;
    for (const wchar_t c : text) {
        all |= static_cast<std::uint32_t>(c);
    }
    return all <= 0xffffU;
}

inline bool HasNoSurrogates(const std::uint8_t* from, std::size_t units) {
    std::uint32_t found = 0;
    for (std::size_t i = 0; i < units; ++i) {
        found |= (LoadUnit(from + 2 * i) & 0xf800U) == 0xd800U ? 1U : 0U;
    }
    return found == 0;
}

inline void EncodePairs(std::wstring_view text, std::uint8_t* to) {
    for (const wchar_t c : text) {
        const auto code = static_cast<std::uint32_t>(c);
        if (code > 0xffffU) {
            StoreUnit(to, 0xd800U + (((code - 0x10000U) >> 10) & 0x3ffU));
            to += 2;
            StoreUnit(to, 0xdc00U + (code & 0x3ffU));
        } else {
            StoreUnit(to, code);
        }
        to += 2;
    }
}

inline std::size_t DecodePairs(const std::uint8_t* from, std::size_t units, wchar_t* to) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < units; ++i) {
        std::uint32_t code = LoadUnit(from + 2 * i);
        if (code >= 0xd800U && code < 0xdc00U && i + 1 < units) {
            const std::uint32_t low = LoadUnit(from + 2 * (i + 1));
            if (low >= 0xdc00U && low < 0xe000U) {
                code = 0x10000U + ((code - 0xd800U) << 10) + (low - 0xdc00U);
                ++i;
            }
        }
        to[count++] = static_cast<wchar_t>(code);
    }
    return count;
}

}  // namespace Detail

// ASCII is one unit for each byte: it needs no wide text in between.
inline bool IsAscii(std::string_view text) {
    unsigned char all = 0;
    for (const char c : text) {
        all = static_cast<unsigned char>(all | c);
    }
    return all < 0x80U;
}

inline void EncodeAscii(std::string_view text, std::uint8_t* to) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        StoreUnit(to + 2 * i, static_cast<unsigned char>(text[i]));
    }
}

// Reads `units` units into as many bytes. False when they are not all ASCII; what stands in `to`
// is then of no use.
inline bool DecodeAscii(const std::uint8_t* from, std::size_t units, char* to) {
    std::uint16_t all = 0;
    for (std::size_t i = 0; i < units; ++i) {
        const std::uint32_t unit = LoadUnit(from + 2 * i);
        all = static_cast<std::uint16_t>(all | unit);
        to[i] = static_cast<char>(unit);
    }
    return all < 0x80U;
}

// Number of UTF-16 units that the text takes.
inline std::size_t CountUnits(std::wstring_view text) {
    std::size_t units = text.size();
    if (kNativeUnits || Detail::NeedsNoPairs(text)) {
        return units;
    }
    for (const wchar_t c : text) {
        const auto code = static_cast<std::uint32_t>(c);
        units += code > 0xffffU ? 1U : 0U;
    }
    return units;
}

// Writes the text as CountUnits(text) units; no terminator.
inline void EncodeUnits(std::wstring_view text, std::uint8_t* to) {
    if constexpr (kNativeUnits) {
        std::memcpy(to, text.data(), text.size() * 2);
    } else if (Detail::NeedsNoPairs(text)) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            StoreUnit(to + 2 * i, static_cast<std::uint32_t>(text[i]));
        }
    } else {
        Detail::EncodePairs(text, to);
    }
}

// Reads `units` units into `to`, which has room for that many characters. Returns the number of
// characters, which is smaller only where a surrogate pair becomes one character.
inline std::size_t DecodeUnits(const std::uint8_t* from, std::size_t units, wchar_t* to) {
    if constexpr (kNativeUnits) {
        std::memcpy(to, from, units * 2);
        return units;
    } else if (Detail::HasNoSurrogates(from, units)) {
        for (std::size_t i = 0; i < units; ++i) {
            to[i] = static_cast<wchar_t>(LoadUnit(from + 2 * i));
        }
        return units;
    } else {
        return Detail::DecodePairs(from, units, to);
    }
}

}  // namespace Wire
