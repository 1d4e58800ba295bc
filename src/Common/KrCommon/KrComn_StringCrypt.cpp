#include "Common/KrCommon/KrComn_StringCrypt.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_Base64.h"
#include "Common/KrCommon/KrComn_CodePage.h"
#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Rijndael.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCryptKey.h"
#include "Common/KrCommon/KrComn_Wipe.h"

namespace KrCommon::Cryptograph {

namespace {

constexpr char kLogSource[] = "KrComn_StringCrypt";

// Sizes of the fixed form. The plain buffer is enciphered without its last byte, so that the one
// byte of padding makes it full again.
constexpr std::size_t kFixedPlain = 256;
constexpr std::size_t kFixedInput = kFixedPlain - 1;
constexpr std::size_t kFixedCipherRoom = 271;
constexpr std::size_t kFixedReadLimit = 271;  // characters of base64

bool SetUp(Rijndael& cipher, std::uint32_t direction, StringCryptKey::Form form) {
    const StringCryptKey key(form);
    return cipher.Initialize(direction, key.Bytes(), StringCryptKey::kSize, Rijndael::kCbc, nullptr,
                             0, nullptr);
}

// One conversion of the fixed form, with its lines.
bool ConvertFixed(std::uint32_t direction, const std::uint8_t* in, std::size_t inLength,
                  std::uint8_t* out, std::size_t outLength, std::uint64_t& written) {
    Rijndael cipher;
    if (!SetUp(cipher, direction, StringCryptKey::Form::Fixed)) {
        WY_TRACE(LogLevel::kError, L"Failed to Rijndael::Initialize()");
        return false;
    }
    std::uint32_t error = 0;
    if (!cipher.Convert(in, inLength, out, outLength, &written, &error)) {
        WY_TRACE(LogLevel::kError, L"Failed to Rijndael::Convert(), error: %d",
                 static_cast<int>(error));
        return false;
    }
    WY_TRACE(LogLevel::kWarning, L"nLenConverted: %d", static_cast<int>(written));
    return true;
}

bool NoFixedBuffer() {
    WY_TRACE(LogLevel::kError, L"Failed to secure buffer");
    return false;
}

using Buffer = std::unique_ptr<std::uint8_t[]>;

// A zeroed buffer; null without memory.
Buffer MakeBuffer(std::size_t size) {
    return Buffer(new (std::nothrow) std::uint8_t[size]());
}

void AppendHex(std::string& out, const std::uint8_t* bytes, std::size_t size) {
    constexpr char kDigits[] = "0123456789abcdef";
    const std::size_t before = out.size();
    out.resize(before + 2 * size);
    char* place = out.data() + before;
    for (std::size_t i = 0; i < size; ++i) {
        *place++ = kDigits[bytes[i] >> 4];
        *place++ = kDigits[bytes[i] & 15];
    }
}

constexpr std::uint8_t kNoDigit = 0xff;

constexpr std::array<std::uint8_t, 256> MakeHexValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(kNoDigit);
    for (unsigned i = 0; i < 10; ++i) {
        values['0' + i] = static_cast<std::uint8_t>(i);
    }
    for (unsigned i = 0; i < 6; ++i) {
        values['a' + i] = static_cast<std::uint8_t>(10 + i);
        values['A' + i] = static_cast<std::uint8_t>(10 + i);
    }
    return values;
}

constexpr std::array<std::uint8_t, 256> kHexValues = MakeHexValues();

// Two characters with base 16, as the C library reads them where they are not both digits.
std::uint8_t FromHexPair(const char* pair) {
    const std::uint8_t high = kHexValues[static_cast<unsigned char>(pair[0])];
    const std::uint8_t low = kHexValues[static_cast<unsigned char>(pair[1])];
    if (high != kNoDigit && low != kNoDigit) {
        return static_cast<std::uint8_t>(high << 4 | low);
    }
    const char text[] = {pair[0], pair[1], '\0'};
    return static_cast<std::uint8_t>(std::strtoul(text, nullptr, 16));
}

}  // namespace

bool EncryptString(std::wstring& text) noexcept {
    if (text.empty()) {
        return false;
    }
    std::string narrow;
    if (!String::ToCodePage(text, narrow, String::kThreadCodePage)) {
        return NoFixedBuffer();
    }
    const WipeAtEnd wipeNarrow(narrow.data(), narrow.size());
    if (narrow.size() + 1 >= kFixedPlain) {
        return false;
    }
    std::uint8_t plain[kFixedPlain] = {};
    const WipeAtEnd wipePlain(plain, sizeof(plain));
    std::memcpy(plain, narrow.data(), narrow.size());
    std::uint8_t cipher[kFixedCipherRoom] = {};
    std::uint64_t written = 0;
    if (!ConvertFixed(Rijndael::kEncrypt, plain, kFixedInput, cipher, sizeof(cipher), written)) {
        return false;
    }
    const auto size = static_cast<std::size_t>(written);
    const std::unique_ptr<char[]> encoded(new (std::nothrow) char[2 * size]);
    if (encoded == nullptr) {
        return NoFixedBuffer();
    }
    Base64::Encode(cipher, size, encoded.get());
    std::wstring wide;
    if (!String::FromCodePage({encoded.get(), Base64::EncodedSize(size)}, wide,
                              String::kThreadCodePage)) {
        return NoFixedBuffer();
    }
    text.swap(wide);
    Wipe(wide.data(), wide.size() * sizeof(wchar_t));
    return true;
}

bool DecryptString(std::wstring& text) noexcept {
    if (text.empty()) {
        return false;
    }
    std::string encoded;
    if (!String::ToCodePage(text, encoded, String::kThreadCodePage)) {
        return NoFixedBuffer();
    }
    std::uint8_t cipher[kFixedCipherRoom] = {};
    if (Base64::Decode(encoded, kFixedReadLimit, cipher) == 0) {
        WY_TRACE(LogLevel::kError, L"FromBase64 return <= 0");
        return false;
    }
    std::uint8_t plain[kFixedPlain] = {};
    const WipeAtEnd wipePlain(plain, sizeof(plain));
    std::uint64_t written = 0;
    if (!ConvertFixed(Rijndael::kDecrypt, cipher, sizeof(cipher), plain, sizeof(plain), written)) {
        return false;
    }
    const std::size_t length =
        static_cast<std::size_t>(std::find(plain, plain + sizeof(plain), 0) - plain);
    std::wstring wide;
    if (!String::FromCodePage({reinterpret_cast<const char*>(plain), length}, wide,
                              String::kThreadCodePage)) {
        return NoFixedBuffer();
    }
    text.swap(wide);
    return true;
}

bool GetEncryptByteSizeA(const std::string& plain, std::size_t& size) noexcept {
    if (plain.empty()) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::GetEncryptByteSizeA() - _refszPlainStr was zero "
                 L"length.");
        return false;
    }
    constexpr std::size_t kBlock = Rijndael::kBlockSize;
    const std::size_t padded = plain.size() + (kBlock - plain.size() % kBlock);
    size = padded * 2;
    return true;
}

bool EncryptStringA(std::string& out, const std::string& plain) noexcept {
    std::size_t size = 0;
    if (!GetEncryptByteSizeA(plain, size)) {
        WY_TRACE(
            LogLevel::kError,
            L"*** KrCommon::Cryptograph::EncryptStringA() - GetEncryptByteSizeA() was failed.");
        return false;
    }
    if (!EncryptStringA_Sub(out, plain, size)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringA() - EncryptStringA_Sub() was failed.");
        return false;
    }
    return true;
}

bool EncryptStringA_Sub(std::string& out, const std::string& plain, std::size_t size) noexcept {
    const Buffer text = MakeBuffer(plain.size() + 1);
    if (text == nullptr) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - ui8TextPlain was NULL. "
                 L"[0x%08x]",
                 ErrorCode::kNotEnoughMemory);
        return false;
    }
    const WipeAtEnd wipeText(text.get(), plain.size());
    std::memcpy(text.get(), plain.data(), plain.size());
    const std::size_t room = size + Rijndael::kBlockSize;
    const Buffer cipher = MakeBuffer(room);
    const auto noCipher = [] {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - ui8TextCipher was NULL. "
                 L"[0x%08x]",
                 ErrorCode::kNotEnoughMemory);
        return false;
    };
    if (cipher == nullptr) {
        return noCipher();
    }
    Rijndael rijndael;
    if (!SetUp(rijndael, Rijndael::kEncrypt, StringCryptKey::Form::Hexadecimal)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - cRijndael.Initialize() was "
                 L"failed.");
        return false;
    }
    std::uint64_t written = 0;
    std::uint32_t error = 0;
    if (!rijndael.Convert(text.get(), plain.size(), cipher.get(), room, &written, &error)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - cRijndael.Convert() was "
                 L"failed. [%d]",
                 static_cast<int>(error));
        return false;
    }
    try {
        AppendHex(out, cipher.get(), static_cast<std::size_t>(written));
    } catch (...) {
        return noCipher();
    }
    return true;
}

bool EncryptStringW(std::wstring& out, const std::wstring& plain) noexcept {
    std::string narrow;
    std::string digits;
    const bool converted = String::ToUtf8(plain, narrow);
    const WipeAtEnd wipeNarrow(narrow.data(), narrow.size());
    std::wstring wide;
    if (!converted || !EncryptStringA(digits, narrow) || !String::FromUtf8(digits, wide)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::EncryptStringW() - EncryptStringA() was failed");
        return false;
    }
    out.swap(wide);
    return true;
}

bool DecryptStringA_Sub(std::string& out, const std::string& hexText,
                        std::size_t byteCount) noexcept {
    const Buffer cipher = MakeBuffer(byteCount);
    if (cipher == nullptr) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - ui8TextCipher was NULL. "
                 L"[0x%08x]",
                 ErrorCode::kNotEnoughMemory);
        return false;
    }
    const Buffer decoded = MakeBuffer(byteCount);
    const auto noDecoded = [] {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - ui8TextDecoded was NULL. "
                 L"[0x%08x]",
                 ErrorCode::kNotEnoughMemory);
        return false;
    };
    if (decoded == nullptr) {
        return noDecoded();
    }
    const WipeAtEnd wipeDecoded(decoded.get(), byteCount);
    const std::size_t pairs = std::min(hexText.size() / 2, byteCount);
    for (std::size_t i = 0; i < pairs; ++i) {
        cipher[i] = FromHexPair(hexText.data() + 2 * i);
    }
    Rijndael rijndael;
    if (!SetUp(rijndael, Rijndael::kDecrypt, StringCryptKey::Form::Hexadecimal)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Initialize() was "
                 L"failed.");
        return false;
    }
    std::uint64_t written = 0;
    std::uint32_t error = 0;
    if (!rijndael.Convert(cipher.get(), byteCount, decoded.get(), byteCount, &written, &error)) {
        WY_TRACE(LogLevel::kError,
                 L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was "
                 L"failed. [%d]",
                 static_cast<int>(error));
        return false;
    }
    try {
        const auto size = std::min(static_cast<std::size_t>(written), byteCount);
        out.assign(reinterpret_cast<const char*>(decoded.get()), size);
    } catch (...) {
        return noDecoded();
    }
    return true;
}

}  // namespace KrCommon::Cryptograph
