#include "Common/KrCommon/KrComn_RijndaelTables.h"

#include <bit>

namespace KrCommon::Cryptograph::RijndaelTables {

namespace {

// Multiplication by x in the field of 256 elements with the polynomial 0x11b.
constexpr std::uint8_t Double(std::uint8_t value) {
    return static_cast<std::uint8_t>(value << 1 ^ (value >> 7) * 0x1b);
}

constexpr std::uint8_t Multiply(std::uint8_t a, std::uint8_t b) {
    std::uint8_t product = 0;
    for (; b != 0; b >>= 1) {
        if ((b & 1) != 0) {
            product = static_cast<std::uint8_t>(product ^ a);
        }
        a = Double(a);
    }
    return product;
}

// The inverse in the field and the affine map behind it. 3 generates the field's elements, and its
// inverse 0xf6 generates their inverses beside them.
constexpr std::array<std::uint8_t, 256> MakeBox() {
    std::array<std::uint8_t, 256> box{};
    std::uint8_t element = 1;
    std::uint8_t inverse = 1;
    do {
        box[element] =
            static_cast<std::uint8_t>(inverse ^ std::rotl(inverse, 1) ^ std::rotl(inverse, 2) ^
                                      std::rotl(inverse, 3) ^ std::rotl(inverse, 4) ^ 0x63);
        element = Multiply(element, 3);
        inverse = Multiply(inverse, 0xf6);
    } while (element != 1);
    box[0] = 0x63;  // 0 has no inverse and takes its own place
    return box;
}

constexpr std::array<std::uint8_t, 256> Inverted(const std::array<std::uint8_t, 256>& box) {
    std::array<std::uint8_t, 256> inverted{};
    for (unsigned i = 0; i < 256; ++i) {
        inverted[box[i]] = static_cast<std::uint8_t>(i);
    }
    return inverted;
}

// `column` is what the mixing step makes of a 1 in the first row. A row further down gives the same
// column, turned by a byte.
constexpr Direction MakeDirection(const std::array<std::uint8_t, 256>& box,
                                  const std::array<std::uint8_t, 4>& column) {
    Direction direction{{}, box};
    for (unsigned i = 0; i < 256; ++i) {
        std::uint32_t word = 0;
        for (unsigned row = 0; row < 4; ++row) {
            word |= std::uint32_t{Multiply(box[i], column[row])} << (8 * row);
        }
        for (unsigned table = 0; table < 4; ++table) {
            direction.mixed[table][i] = std::rotl(word, static_cast<int>(8 * table));
        }
    }
    return direction;
}

constexpr std::array<std::uint8_t, 10> MakeRoundConstants() {
    std::array<std::uint8_t, 10> constants{};
    std::uint8_t constant = 1;
    for (std::uint8_t& place : constants) {
        place = constant;
        constant = Double(constant);
    }
    return constants;
}

}  // namespace

// Of the compiler's making: nothing of this runs.
constinit const Direction kEncrypt = MakeDirection(MakeBox(), {2, 1, 1, 3});
constinit const Direction kDecrypt = MakeDirection(Inverted(MakeBox()), {14, 9, 13, 11});
constinit const std::array<std::uint8_t, 10> kRoundConstants = MakeRoundConstants();

}  // namespace KrCommon::Cryptograph::RijndaelTables
