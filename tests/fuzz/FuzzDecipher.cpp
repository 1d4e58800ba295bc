// Both forms of enciphered text: what strangers wrote is deciphered, and what the library wrote
// comes back.
//
// Input: one byte (bit 0: the fixed-size form, else the hexadecimal one), one byte added to the
// byte count of the hexadecimal form as a signed number, text.

#include <string>

#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "FuzzInput.h"

namespace {

using namespace KrCommon::Cryptograph;

void Fixed(const std::wstring& text) {
    std::wstring plain = text;
    const bool done = DecryptString(plain);
    fuzz::Require(done || plain == text, "a failure changed the text");
    fuzz::Require(!done || plain.size() <= 256, "more text than its buffer");

    std::wstring cipher = text;
    const bool enciphered = EncryptString(cipher);
    fuzz::Require(enciphered == (!text.empty() && text.size() <= kMaxFixedText), "the limits");
    if (!enciphered) {
        return;
    }
    fuzz::Require(cipher.size() == 344, "the size of the cipher");
    fuzz::Require(DecryptString(cipher), "the library's own cipher is refused");
    const std::wstring ended = text.substr(0, text.find(L'\0'));
    if (text.size() <= kMaxWholeFixedText) {
        fuzz::Require(cipher == ended, "the text does not come back");
    } else {
        fuzz::Require(cipher.substr(0, 192) == ended.substr(0, 192), "the head is damaged");
    }
}

// What deciphering takes off the end of a text that was not padded.
std::size_t PaddingLookalike(const std::string& text) {
    const auto last = static_cast<unsigned char>(text.back());
    if (text.size() % 16 != 0 || last > 16) {
        return 0;
    }
    return text.substr(text.size() - last) == std::string(last, text.back()) ? last : 0;
}

void Hexadecimal(const std::string& text, std::int8_t more) {
    const auto count = static_cast<std::int64_t>(text.size() / 2) + more;
    const auto byteCount = static_cast<std::size_t>(count < 0 ? 0 : count);
    std::string plain = "before";
    const bool done = DecryptStringA_Sub(plain, text, byteCount);
    fuzz::Require(done == (byteCount >= 16), "less than a block, or more");
    fuzz::Require(done ? plain.size() <= byteCount : plain == "before", "the size of the text");

    std::string cipher;
    fuzz::Require(EncryptStringA(cipher, text) == !text.empty(), "an empty text alone is refused");
    if (text.empty()) {
        return;
    }
    fuzz::Require(cipher.size() == (text.size() + 15) / 16 * 32, "the size of the cipher");
    fuzz::Require(DecryptStringA_Sub(plain, cipher, cipher.size() / 2), "own cipher refused");
    fuzz::Require(plain == text.substr(0, text.size() - PaddingLookalike(text)),
                  "the text does not come back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LogIntoNothing();
    fuzz::Input input(data, size);
    const bool fixed = (input.Byte() & 1) != 0;
    const auto more = static_cast<std::int8_t>(input.Byte());
    if (fixed) {
        // One character for each byte: natively the thread's code page has them all.
        Fixed(input.RestAsText());
    } else {
        const std::vector<std::uint8_t> rest = input.Rest();
        Hexadecimal(std::string(rest.begin(), rest.end()), more);
    }
    return 0;
}
