// The cipher in CBC mode beside mbedTLS's table implementation.
//
// mbedTLS takes the processor's instructions for AES where there are any, and asks its own function
// mbedtls_aesni_has_support for them before each block and each key. The shared library calls that
// through the symbol table of the process, so the definition below, which says no, takes its place
// and everything else of mbedTLS stays as it is packaged.

#include <benchmark/benchmark.h>
#include <mbedtls/aes.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "Common/KrCommon/KrComn_Rijndael.h"

namespace {

std::uint64_t g_Asked = 0;

}  // namespace

extern "C" int mbedtls_aesni_has_support(unsigned int what);
extern "C" __attribute__((visibility("default"))) int mbedtls_aesni_has_support(unsigned int) {
    ++g_Asked;
    return 0;
}

namespace {

using KrCommon::Cryptograph::Rijndael;

constexpr std::size_t kLong = 16384;
constexpr std::size_t kShort = 256;  // as the fixed-size text form has it
const std::uint8_t kKey[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

std::vector<std::uint8_t> Text(std::size_t size) {
    std::vector<std::uint8_t> text(size);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : text) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24 | 0x80);  // nothing that looks like padding
    }
    return text;
}

void SetKey(mbedtls_aes_context& context, bool encrypt) {
    mbedtls_aes_init(&context);
    if (encrypt) {
        mbedtls_aes_setkey_enc(&context, kKey, 128);
    } else {
        mbedtls_aes_setkey_dec(&context, kKey, 128);
    }
}

void Run(mbedtls_aes_context& context, bool encrypt, std::uint8_t* iv,
         const std::vector<std::uint8_t>& in, std::uint8_t* out) {
    mbedtls_aes_crypt_cbc(&context, encrypt ? MBEDTLS_AES_ENCRYPT : MBEDTLS_AES_DECRYPT, in.size(),
                          iv, in.data(), out);
}

bool SetKey(Rijndael& cipher, bool encrypt) {
    return cipher.Initialize(encrypt ? Rijndael::kEncrypt : Rijndael::kDecrypt, kKey, sizeof(kKey),
                             Rijndael::kCbc, nullptr, 0, nullptr);
}

// Both must give the same, and mbedTLS must have asked for the hardware.
bool Agree(bool encrypt, const std::vector<std::uint8_t>& in) {
    std::vector<std::uint8_t> ours(in.size());
    std::vector<std::uint8_t> theirs(in.size());
    std::uint64_t written = 0;
    Rijndael cipher;
    const bool done = SetKey(cipher, encrypt) && cipher.Convert(in.data(), in.size(), ours.data(),
                                                                ours.size(), &written, nullptr);
    const std::uint64_t before = g_Asked;
    mbedtls_aes_context context;
    std::uint8_t iv[16] = {};
    SetKey(context, encrypt);
    Run(context, encrypt, iv, in, theirs.data());
    mbedtls_aes_free(&context);
    const std::uint64_t blocks = in.size() / 16;
    return done && g_Asked - before >= blocks &&
           std::memcmp(ours.data(), theirs.data(), static_cast<std::size_t>(written)) == 0;
}

// A long text with a key that is set.
void LongOurs(benchmark::State& state, bool encrypt) {
    const std::vector<std::uint8_t> in = Text(kLong);
    std::vector<std::uint8_t> out(kLong + 16);
    if (!Agree(encrypt, in)) {
        state.SkipWithError("the two differ, or the hardware is in use");
    }
    Rijndael cipher;
    SetKey(cipher, encrypt);
    for (auto _ : state) {
        std::uint64_t written = 0;
        cipher.Update(in.data(), in.size(), out.data(), out.size(), &written, nullptr);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void LongMbedTls(benchmark::State& state, bool encrypt) {
    const std::vector<std::uint8_t> in = Text(kLong);
    std::vector<std::uint8_t> out(kLong);
    std::uint8_t iv[16] = {};
    mbedtls_aes_context context;
    SetKey(context, encrypt);
    for (auto _ : state) {
        Run(context, encrypt, iv, in, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    mbedtls_aes_free(&context);
}

// A short text and its key.
void ShortOurs(benchmark::State& state, bool encrypt) {
    const std::vector<std::uint8_t> in = Text(kShort);
    std::vector<std::uint8_t> out(kShort);
    for (auto _ : state) {
        Rijndael cipher;
        std::uint64_t written = 0;
        SetKey(cipher, encrypt);
        cipher.Convert(in.data(), in.size(), out.data(), out.size(), &written, nullptr);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void ShortMbedTls(benchmark::State& state, bool encrypt) {
    const std::vector<std::uint8_t> in = Text(kShort);
    std::vector<std::uint8_t> out(kShort);
    for (auto _ : state) {
        mbedtls_aes_context context;
        std::uint8_t iv[16] = {};
        SetKey(context, encrypt);
        Run(context, encrypt, iv, in, out.data());
        mbedtls_aes_free(&context);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(LongOurs, encrypt, true);
BENCHMARK_CAPTURE(LongMbedTls, encrypt, true);
BENCHMARK_CAPTURE(LongOurs, decrypt, false);
BENCHMARK_CAPTURE(LongMbedTls, decrypt, false);
BENCHMARK_CAPTURE(ShortOurs, encrypt, true);
BENCHMARK_CAPTURE(ShortMbedTls, encrypt, true);
BENCHMARK_CAPTURE(ShortOurs, decrypt, false);
BENCHMARK_CAPTURE(ShortMbedTls, decrypt, false);

}  // namespace
