#pragma once

// Two text forms of enciphered strings: a fixed-size one in base64 for short secrets, and a
// hexadecimal one of any length.
//
// Both use AES-128 in CBC mode with a zero initial value and a key that stands in this library, a
// different one for each form. That keeps a text from being read at a glance and no more: whoever
// has the library has the keys, equal texts give equal ciphers, and nothing shows that a cipher was
// changed. See docs/security.md.
//
// All functions return false on failure, leave lines in the log (level 256) and raise nothing. They
// may run on any thread.

#include <cstddef>
#include <string>

namespace KrCommon::Cryptograph {

// The longest text, in bytes of the thread's code page, that the fixed-size form enciphers, and the
// longest one that it gives back whole.
constexpr std::size_t kMaxFixedText = 254;
constexpr std::size_t kMaxWholeFixedText = 191;

// Replaces the text by its cipher: 344 characters of base64, whatever its length.
//
// False, with the text unchanged, for an empty text and for one of more than kMaxFixedText bytes.
// A text of more than kMaxWholeFixedText bytes is enciphered and comes back damaged. A character
// that the code page does not have is replaced as the system does it.
bool EncryptString(std::wstring& text) noexcept;

// Replaces the cipher by its text.
//
// Of the cipher at most 271 characters are read, up to the first "="; those outside of base64 are
// skipped and do count. What they give is deciphered as if zeros followed it up to the full size.
// The text ends at its first NUL. So text of 191 bytes comes back whole; of a longer one the first
// 192 bytes are right, and what follows is noise up to its first NUL.
//
// False, with the text unchanged, when no byte comes out of the base64 text. A text that is no
// cipher of EncryptString gives noise and true.
bool DecryptString(std::wstring& text) noexcept;

// The number of hexadecimal digits that is enough for the cipher of a text; false for an empty one.
bool GetEncryptByteSizeA(const std::string& plain, std::size_t& size) noexcept;

// Appends the cipher of the text to `out` as lower-case hexadecimal digits, 32 for each block of 16
// bytes. A last block that is not full is padded. False for an empty text, and then, as on every
// failure, `out` is as it was.
bool EncryptStringA(std::string& out, const std::string& plain) noexcept;

// The worker of EncryptStringA; `size` is what GetEncryptByteSizeA gave.
bool EncryptStringA_Sub(std::string& out, const std::string& plain, std::size_t size) noexcept;

// The same for wide text, which is enciphered as UTF-8; `out` becomes the digits.
bool EncryptStringW(std::wstring& out, const std::wstring& plain) noexcept;

// Puts the text of a cipher of `byteCount` bytes into `out`.
//
// The digits are taken in pairs, each converted with base 16 (strtoul); a digit that is left over
// is ignored, missing pairs are zeros. A cipher that is no multiple of 16 bytes is deciphered up to
// its last whole block. A last block that ends like padding (n times the byte n, n at most 16) is
// shortened by it, even if that was the text's own end. False, with `out` as it was, for less than
// a block.
bool DecryptStringA_Sub(std::string& out, const std::string& hexText,
                        std::size_t byteCount) noexcept;

}  // namespace KrCommon::Cryptograph
