#pragma once

// Conversion between wide text and the bytes of a code page of the system.
//
// On systems other than Windows there are two: UTF-8 by its number, and Latin-1 for every other
// number, with "?" for what it does not have. All functions may run on any thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace KrCommon::String {

constexpr std::uint32_t kThreadCodePage = 3;  // CP_THREAD_ACP: that of the calling thread's locale
constexpr std::uint32_t kUtf8CodePage = 65001;

// Writes wide text with its NUL into the caller's buffer of `size` bytes (WideCharToMultiByte), the
// first byte of which is cleared first. Returns the buffer; null when a pointer is null, the buffer
// is too small, or the system refuses.
char* NarrowToAnsi(char* narrow, const wchar_t* wide, std::size_t size,
                   std::uint32_t codePage) noexcept;

// Converts a whole text, embedded NULs included. False, with an empty result, when memory runs out
// or the system refuses; an empty text gives an empty result and true.
bool ToCodePage(std::wstring_view wide, std::string& narrow, std::uint32_t codePage) noexcept;
bool FromCodePage(std::string_view narrow, std::wstring& wide, std::uint32_t codePage) noexcept;

}  // namespace KrCommon::String
