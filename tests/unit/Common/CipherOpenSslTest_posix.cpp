// Cipher and text forms against OpenSSL, on random texts from a fixed seed.

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <memory>
#include <random>

#include "Common/KrCommon/KrComn_Rijndael.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_StringCryptKey.h"
#include "support/HexBytes.h"

namespace {

using namespace KrCommon::Cryptograph;
using test_support::Bytes;
using test_support::ToHex;

std::mt19937 g_Random(20261121);

Bytes Random(std::size_t size) {
    Bytes bytes(size);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(g_Random());
    }
    return bytes;
}

// What OpenSSL makes of a whole text.
Bytes Reference(const EVP_CIPHER* kind, bool encrypt, const std::uint8_t* key, const Bytes& iv,
                bool padding, const Bytes& in) {
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                             EVP_CIPHER_CTX_free);
    EXPECT_EQ(EVP_CipherInit_ex(context.get(), kind, nullptr, key, iv.data(), encrypt ? 1 : 0), 1);
    EVP_CIPHER_CTX_set_padding(context.get(), padding ? 1 : 0);
    Bytes out(in.size() + 32);
    int written = 0;
    int rest = 0;
    EXPECT_EQ(EVP_CipherUpdate(context.get(), out.data(), &written, in.data(),
                               static_cast<int>(in.size())),
              1);
    EXPECT_EQ(EVP_CipherFinal_ex(context.get(), out.data() + written, &rest), 1);
    out.resize(static_cast<std::size_t>(written + rest));
    return out;
}

Bytes Ours(std::uint32_t direction, std::uint32_t mode, const Bytes& key, const Bytes& iv,
           const Bytes& in, std::uint64_t* kept = nullptr) {
    Rijndael cipher;
    EXPECT_TRUE(
        cipher.Initialize(direction, key.data(), key.size(), mode, iv.data(), iv.size(), nullptr));
    Bytes out(in.size() + 16);
    std::uint64_t written = 0;
    EXPECT_TRUE(cipher.Convert(in.data(), in.size(), out.data(), out.size(), &written, nullptr));
    if (kept != nullptr) {
        *kept = written;
    }
    out.resize(static_cast<std::size_t>(written));
    return out;
}

const struct Row {
    const EVP_CIPHER* (*reference)();
    std::uint32_t mode;
    std::size_t keyLength;
} kRows[] = {
    {EVP_aes_128_ecb, Rijndael::kEcb, 16},  {EVP_aes_192_ecb, Rijndael::kEcb, 24},
    {EVP_aes_256_ecb, Rijndael::kEcb, 32},  {EVP_aes_128_cbc, Rijndael::kCbc, 16},
    {EVP_aes_192_cbc, Rijndael::kCbc, 24},  {EVP_aes_256_cbc, Rijndael::kCbc, 32},
    {EVP_aes_128_cfb1, Rijndael::kCfb, 16}, {EVP_aes_192_cfb1, Rijndael::kCfb, 24},
    {EVP_aes_256_cfb1, Rijndael::kCfb, 32},
};

TEST(CipherAndOpenSsl, agree_on_whole_blocks) {
    for (const Row& row : kRows) {
        for (std::size_t blocks = 1; blocks <= 40; ++blocks) {
            const Bytes key = Random(row.keyLength);
            const Bytes iv = Random(16);
            const Bytes in = Random(16 * blocks);
            EXPECT_EQ(ToHex(Ours(Rijndael::kEncrypt, row.mode, key, iv, in)),
                      ToHex(Reference(row.reference(), true, key.data(), iv, false, in)));
            // OpenSSL keeps what looks like padding: compare what was kept.
            const Bytes ours = Ours(Rijndael::kDecrypt, row.mode, key, iv, in);
            Bytes reference = Reference(row.reference(), false, key.data(), iv, false, in);
            ASSERT_GE(ours.size() + 16, reference.size());
            reference.resize(ours.size());
            EXPECT_EQ(ToHex(ours), ToHex(reference));
        }
    }
}

TEST(CipherAndOpenSsl, agree_on_padding) {
    for (const Row& row : kRows) {
        if (row.mode == Rijndael::kCfb) {
            continue;  // a stream to OpenSSL, which does not pad it
        }
        for (std::size_t size = 1; size <= 200; ++size) {
            if (size % 16 == 0) {
                continue;
            }
            const Bytes key = Random(row.keyLength);
            const Bytes iv = Random(16);
            const Bytes in = Random(size);
            const Bytes cipher = Ours(Rijndael::kEncrypt, row.mode, key, iv, in);
            EXPECT_EQ(ToHex(cipher),
                      ToHex(Reference(row.reference(), true, key.data(), iv, true, in)));
            EXPECT_EQ(ToHex(Ours(Rijndael::kDecrypt, row.mode, key, iv, cipher)), ToHex(in));
        }
    }
}

const Bytes kZeroIv(16);

TEST(HexadecimalFormAndOpenSsl, agree) {
    const StringCryptKey key(StringCryptKey::Form::Hexadecimal);
    for (std::size_t size = 1; size <= 300; ++size) {
        const Bytes in = Random(size);
        const std::string plain(in.begin(), in.end());
        const Bytes cipher =
            Reference(EVP_aes_128_cbc(), true, key.Bytes(), kZeroIv, size % 16 != 0, in);
        std::string expected;
        for (const std::uint8_t byte : cipher) {
            char digits[3];
            std::snprintf(digits, sizeof(digits), "%02x", byte);
            expected += digits;
        }
        std::string digits;
        ASSERT_TRUE(EncryptStringA(digits, plain));
        EXPECT_EQ(digits, expected) << size;
        std::string back;
        ASSERT_TRUE(DecryptStringA_Sub(back, expected, cipher.size()));
        if (size % 16 != 0 || in.back() > 16) {
            EXPECT_TRUE(back == plain) << size;
        }
    }
}

// The fixed form as its parts: 255 bytes with padding, base64; and read back from 201 bytes.
TEST(FixedFormAndOpenSsl, agree) {
    const StringCryptKey key(StringCryptKey::Form::Fixed);
    for (std::size_t size = 1; size <= 254; ++size) {
        Bytes plain = Random(size);
        for (std::uint8_t& byte : plain) {
            byte = static_cast<std::uint8_t>(byte == 0 ? 1 : byte);
        }
        const std::wstring text(plain.begin(), plain.end());
        Bytes buffer = plain;
        buffer.resize(255);
        Bytes cipher = Reference(EVP_aes_128_cbc(), true, key.Bytes(), kZeroIv, true, buffer);
        ASSERT_EQ(cipher.size(), 256U);
        unsigned char base64[400];
        const int length = EVP_EncodeBlock(base64, cipher.data(), 256);
        std::wstring ours = text;
        ASSERT_TRUE(EncryptString(ours));
        EXPECT_EQ(ours, std::wstring(base64, base64 + length)) << size;

        std::fill(cipher.begin() + 201, cipher.end(), std::uint8_t{0});
        Bytes expected = Reference(EVP_aes_128_cbc(), false, key.Bytes(), kZeroIv, false, cipher);
        expected.erase(std::find(expected.begin(), expected.end(), 0), expected.end());
        ASSERT_TRUE(DecryptString(ours));
        EXPECT_EQ(ours, std::wstring(expected.begin(), expected.end())) << size;
        EXPECT_EQ(ours == text, size <= kMaxWholeFixedText) << size;
    }
}

}  // namespace
