#pragma once

// What a parser has to know before it parses: the file, the encoding and where the XML library is.

#include <cstddef>
#include <cstdint>

namespace KrCommon::Storage {

// A block of fixed size that is copied as a whole. Each text ends with a NUL within its buffer.
struct XmlParsingState {
    static constexpr std::size_t kCharacters = 260;
    using Buffer = wchar_t[kCharacters];

    Buffer wszFilePath = {};
    Buffer wszEncoding = {};   // "UTF8", "UTF16", "ISO_8859_1" or "US_ASCII"
    Buffer wszPathOfDll = {};  // the folder of "libexpat.dll"; empty: where the system looks
};

static_assert(sizeof(XmlParsingState) == 3 * XmlParsingState::kCharacters * sizeof(wchar_t));
static_assert(sizeof(wchar_t) != 2 || sizeof(XmlParsingState) == 1560);

// Copies a text and its NUL into a buffer. A null pointer gives 160; a text that is too long gives
// 122 (ERROR_INSUFFICIENT_BUFFER) and leaves the buffer as it was.
std::uint32_t CopyIntoBuffer(XmlParsingState::Buffer& buffer, const wchar_t* text) noexcept;

}  // namespace KrCommon::Storage
