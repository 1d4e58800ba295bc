#pragma once

// What a result code means, in words.

#include <cstdint>
#include <string>

namespace WyCtl {

// "0x" and eight hexadecimal digits.
std::string HexCode(std::uint32_t code);

// One line of English for any 32-bit value: the text of a known code, or the family and the number
// inside it ("system error 5"). Never empty.
std::string DescribeResult(std::uint32_t code);

// What a person should do after an installation or removal that has failed with this code. Empty
// where nothing better can be said than to read the log.
std::string AdviseOnDeployment(std::uint32_t code);

}  // namespace WyCtl
