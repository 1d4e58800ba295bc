#pragma once

// The tables of the cipher: S-boxes and, for each direction, four tables that hold a substitution
// together with its column of the mixing step.
//
// A word holds the four bytes of a column, the first one in the low bits. Table n of a direction
// is for the byte of row n.

#include <array>
#include <cstdint>

namespace KrCommon::Cryptograph::RijndaelTables {

struct Direction {
    std::array<std::array<std::uint32_t, 256>, 4> mixed;
    std::array<std::uint8_t, 256> box;
};

extern const Direction kEncrypt;
extern const Direction kDecrypt;

// The constants of the key schedule, in the low byte of a word.
extern const std::array<std::uint8_t, 10> kRoundConstants;

}  // namespace KrCommon::Cryptograph::RijndaelTables
