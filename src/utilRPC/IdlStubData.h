#pragma once

// The stub data of the interface's single procedure, as bytes.
//
//     request   lInSize, count of the array, the array
//     answer    lOutSize, referent id of the pointer; unless it is 0: count of the array, the array
//
// Numbers have 32 bits. What a peer sends is checked against the bytes that are there before
// anything is done with it; bytes behind the array are ignored. Nothing here allocates or throws.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace IdlStubData {

// Number of bytes of a request before its array.
constexpr std::uint32_t kRequestHead = 8;

// Writes the request of `size` bytes to `to`, which has room for kRequestHead + size bytes.
// Returns the end of what was written.
std::uint8_t* WriteRequest(std::uint8_t* to, const std::uint8_t* bytes, std::uint32_t size);

// True when the stub data is a request whose two numbers agree with each other and with the bytes
// that are there. `representation` is the data representation label of the message; integers that
// are not little-endian are refused.
bool IsRequestWellFormed(std::span<const std::uint8_t> stubData, std::uint32_t representation);

// An answer inside its stub data.
struct Answer {
    // As it was sent. With a block: from 0 to the number of bytes there. Without one: any number.
    std::int32_t lSize = 0;
    // The first of lSize bytes of the stub data; null when a null pointer was sent.
    const std::uint8_t* pBlock = nullptr;
};

// The answer, or nothing when the stub data is cut short, its integers are not little-endian, its
// count is above the bytes that are there, or its size is above its count. A size below the count
// takes the first bytes of the array.
std::optional<Answer> ReadAnswer(std::span<const std::uint8_t> stubData,
                                 std::uint32_t representation);

}  // namespace IdlStubData
