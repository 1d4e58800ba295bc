// The cipher against published vectors, and the rules of its states, buffers and padding.

#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "Common/KrCommon/KrComn_Rijndael.h"
#include "support/HexBytes.h"

namespace {

using KrCommon::Cryptograph::Rijndael;
using test_support::Bytes;
using test_support::FromHex;
using test_support::ToHex;

constexpr std::uint32_t kEncrypt = Rijndael::kEncrypt;
constexpr std::uint32_t kDecrypt = Rijndael::kDecrypt;
constexpr std::uint32_t kEcb = Rijndael::kEcb;
constexpr std::uint32_t kCbc = Rijndael::kCbc;
constexpr std::uint32_t kCfb = Rijndael::kCfb;

// Codes of Windows.
constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kWrongState = 1;
constexpr std::uint32_t kNoRoom = 8;
constexpr std::uint32_t kBadData = 13;
constexpr std::uint32_t kUnsupported = 50;
constexpr std::uint32_t kBadMode = 87;

const Bytes kKey = FromHex("2b7e151628aed2a6abf7158809cf4f3c");
const Bytes kText = FromHex(
    "6bc1bee22e409f96e93d7e117393172a ae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52ef f69f2445df4f9b17ad2b417be66c3710");

// Sets a cipher up; every call must succeed.
void Set(Rijndael& cipher, std::uint32_t direction, std::uint32_t mode, const Bytes& key = kKey,
         const Bytes& iv = {}) {
    std::uint32_t error = 99;
    ASSERT_TRUE(cipher.Initialize(direction, key.data(), key.size(), mode,
                                  iv.empty() ? nullptr : iv.data(), iv.size(), &error));
    ASSERT_EQ(error, kSuccess);
}

// One whole text through a fresh cipher.
Bytes Converted(std::uint32_t direction, std::uint32_t mode, const Bytes& key, const Bytes& iv,
                const Bytes& in) {
    Rijndael cipher;
    Set(cipher, direction, mode, key, iv);
    Bytes out(in.size() + 16);
    std::uint64_t written = 0;
    std::uint32_t error = 99;
    EXPECT_TRUE(cipher.Convert(in.data(), in.size(), out.data(), out.size(), &written, &error));
    EXPECT_EQ(error, kSuccess);
    out.resize(static_cast<std::size_t>(written));
    return out;
}

TEST(Rijndael, agrees_with_fips_197) {
    const struct {
        const char* key;
        const char* plain;
        const char* cipher;
    } rows[] = {
        {"2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e0370734",
         "3925841d02dc09fbdc118597196a0b32"},
        {"000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff",
         "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {"000102030405060708090a0b0c0d0e0f1011121314151617", "00112233445566778899aabbccddeeff",
         "dda97ca4864cdfe06eaf70a0ec0d7191"},
        {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
         "00112233445566778899aabbccddeeff", "8ea2b7ca516745bfeafc49904b496089"},
    };
    for (const auto& row : rows) {
        const Bytes key = FromHex(row.key);
        const Bytes plain = FromHex(row.plain);
        const Bytes cipher = FromHex(row.cipher);
        EXPECT_EQ(ToHex(Converted(kEncrypt, kEcb, key, {}, plain)), ToHex(cipher)) << row.key;
        EXPECT_EQ(ToHex(Converted(kDecrypt, kEcb, key, {}, cipher)), ToHex(plain)) << row.key;
    }
}

TEST(Rijndael, agrees_with_sp_800_38a) {
    const char* const key128 = "2b7e151628aed2a6abf7158809cf4f3c";
    const char* const key192 = "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b";
    const char* const key256 = "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4";
    const Bytes iv = FromHex("000102030405060708090a0b0c0d0e0f");
    const struct {
        const char* section;
        std::uint32_t mode;
        const char* key;
        const char* cipher;
    } rows[] = {
        {"F.1.1", kEcb, key128,
         "3ad77bb40d7a3660a89ecaf32466ef97 f5d3d58503b9699de785895a96fdbaaf"
         "43b1cd7f598ece23881b00e3ed030688 7b0c785e27e8ad3f8223207104725dd4"},
        {"F.1.3", kEcb, key192,
         "bd334f1d6e45f25ff712a214571fa5cc 974104846d0ad3ad7734ecb3ecee4eef"
         "ef7afd2270e2e60adce0ba2face6444e 9a4b41ba738d6c72fb16691603c18e0e"},
        {"F.1.5", kEcb, key256,
         "f3eed1bdb5d2a03c064b5a7e3db181f8 591ccb10d410ed26dc5ba74a31362870"
         "b6ed21b99ca6f4f9f153e7b1beafed1d 23304b7a39f9f3ff067d8d8f9e24ecc7"},
        {"F.2.1", kCbc, key128,
         "7649abac8119b246cee98e9b12e9197d 5086cb9b507219ee95db113a917678b2"
         "73bed6b8e3c1743b7116e69e22229516 3ff1caa1681fac09120eca307586e1a7"},
        {"F.2.3", kCbc, key192,
         "4f021db243bc633d7178183a9fa071e8 b4d9ada9ad7dedf4e5e738763f69145a"
         "571b242012fb7ae07fa9baac3df102e0 08b0e27988598881d920a9e64f5615cd"},
        {"F.2.5", kCbc, key256,
         "f58c4c04d6e5f1ba779eabfb5f7bfbd6 9cfc4e967edb808d679f777bc6702c7d"
         "39f23369a9d9bacfa530e26304231461 b2eb05e2c39be9fcda6c19078c6a9d1b"},
        // One-bit feedback: the samples are the first 16 bits of the same text.
        {"F.3.1", kCfb, key128, "68b3"},
        {"F.3.3", kCfb, key192, "9359"},
        {"F.3.5", kCfb, key256, "9029"},
    };
    for (const auto& row : rows) {
        const Bytes key = FromHex(row.key);
        const Bytes sample = FromHex(row.cipher);
        const Bytes cipher = Converted(kEncrypt, row.mode, key, iv, kText);
        ASSERT_EQ(cipher.size(), kText.size());
        EXPECT_EQ(ToHex(Bytes(cipher.begin(), cipher.begin() + static_cast<long>(sample.size()))),
                  ToHex(sample))
            << row.section;
        EXPECT_EQ(ToHex(Converted(kDecrypt, row.mode, key, iv, cipher)), ToHex(kText))
            << row.section;
    }
}

TEST(Rijndael, one_bit_feedback_deciphers_the_samples) {
    const Bytes iv = FromHex("000102030405060708090a0b0c0d0e0f");
    // What follows the 16 bits of the sample does not change them.
    const Bytes cipher = FromHex("68b30000000000000000000000000000");
    const Bytes plain = Converted(kDecrypt, kCfb, kKey, iv, cipher);
    ASSERT_EQ(plain.size(), 16U);
    EXPECT_EQ(plain[0], 0x6b);
    EXPECT_EQ(plain[1], 0xc1);
}

TEST(Rijndael, chaining_value_is_cut_or_filled_with_zeros) {
    const Bytes zeros(16);
    const Bytes full = FromHex("00010203040506070000000000000000");
    const struct {
        Bytes given;
        Bytes means;
    } rows[] = {
        {{}, zeros},
        {Bytes(full.begin(), full.begin() + 8), full},
        {FromHex("000102030405060700000000000000005555"), full},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ToHex(Converted(kEncrypt, kCbc, kKey, row.given, kText)),
                  ToHex(Converted(kEncrypt, kCbc, kKey, row.means, kText)));
    }
    Rijndael cipher;
    const std::uint8_t unread = 0x55;
    ASSERT_TRUE(cipher.Initialize(kEncrypt, kKey.data(), 16, kCbc, &unread, 0, nullptr));
    Bytes out(64);
    std::uint64_t written = 0;
    ASSERT_TRUE(cipher.Convert(kText.data(), 64, out.data(), 64, &written, nullptr));
    EXPECT_EQ(ToHex(out), ToHex(Converted(kEncrypt, kCbc, kKey, zeros, kText)));
}

TEST(Rijndael, text_in_pieces_gives_the_same_cipher) {
    for (const std::uint32_t mode : {kEcb, kCbc, kCfb}) {
        const Bytes whole = Converted(kEncrypt, mode, kKey, {}, kText);
        for (std::size_t piece = 1; piece <= kText.size(); ++piece) {
            Rijndael cipher;
            Set(cipher, kEncrypt, mode);
            Bytes out(kText.size());
            std::size_t place = 0;
            for (std::size_t i = 0; i < kText.size(); i += piece) {
                const std::size_t size = std::min(piece, kText.size() - i);
                std::uint64_t written = 99;
                ASSERT_TRUE(cipher.Update(kText.data() + i, size, out.data() + place,
                                          std::max<std::size_t>(out.size() - place, 1), &written,
                                          nullptr));
                place += static_cast<std::size_t>(written);
            }
            EXPECT_EQ(place, kText.size());
            EXPECT_EQ(ToHex(out), ToHex(whole)) << mode << " in pieces of " << piece;
        }
    }
}

TEST(Rijndael, deciphering_holds_the_last_whole_block_back) {
    const Bytes cipher = Converted(kEncrypt, kCbc, kKey, {}, kText);
    const struct {
        std::size_t given;
        std::uint64_t written;
    } rows[] = {{1, 0},   {15, 0},  {16, 0},  {31, 0}, {32, 16},
                {47, 16}, {48, 32}, {63, 32}, {64, 48}};
    for (const auto& row : rows) {
        Rijndael decipher;
        Set(decipher, kDecrypt, kCbc);
        Bytes out(64);
        std::uint64_t written = 99;
        EXPECT_TRUE(
            decipher.Update(cipher.data(), row.given, out.data(), out.size(), &written, nullptr));
        EXPECT_EQ(written, row.written) << row.given;
        std::uint32_t error = 99;
        const bool finished = decipher.Final(out.data() + row.written, 16, &written, &error);
        EXPECT_EQ(finished, row.given >= 16) << row.given;
        EXPECT_EQ(error, row.given >= 16 ? kSuccess : kWrongState);
        EXPECT_TRUE(
            std::equal(out.begin(), out.begin() + static_cast<long>(row.written), kText.begin()));
    }
    // In pieces of whole blocks everything arrives.
    Rijndael decipher;
    Set(decipher, kDecrypt, kCbc);
    Bytes out(64);
    std::uint64_t place = 0;
    for (std::size_t i = 0; i < 64; i += 16) {
        std::uint64_t written = 99;
        ASSERT_TRUE(
            decipher.Update(cipher.data() + i, 16, out.data() + place, 64, &written, nullptr));
        EXPECT_EQ(written, i == 0 ? 0U : 16U);
        place += written;
    }
    std::uint64_t written = 0;
    ASSERT_TRUE(decipher.Final(out.data() + place, 16, &written, nullptr));
    EXPECT_EQ(ToHex(out), ToHex(kText));
}

TEST(Rijndael, text_is_padded_up_to_a_block_and_a_full_one_is_not) {
    for (std::size_t size = 1; size <= kText.size(); ++size) {
        const Bytes text(kText.begin(), kText.begin() + static_cast<long>(size));
        const Bytes cipher = Converted(kEncrypt, kCbc, kKey, {}, text);
        EXPECT_EQ(cipher.size(), (size + 15) / 16 * 16) << size;
        EXPECT_EQ(ToHex(Converted(kDecrypt, kCbc, kKey, {}, cipher)), ToHex(text)) << size;

        Bytes padded = text;
        while (padded.size() % 16 != 0) {
            padded.push_back(static_cast<std::uint8_t>(16 - size % 16));
        }
        EXPECT_EQ(ToHex(Converted(kEncrypt, kCbc, kKey, {}, padded)), ToHex(cipher)) << size;
    }
}

TEST(Rijndael, last_block_loses_what_looks_like_padding) {
    const struct {
        const char* block;
        std::size_t kept;
    } rows[] = {
        {"00112233445566778899aabbccddee01", 15}, {"00112233445566778899aabbccdd0202", 14},
        {"00112233445566778899aabbccdd0102", 16}, {"00112233445566778899aabb04040404", 12},
        {"00112233445566778899aabb05040404", 16}, {"00112233445566778899aa0404040404", 12},
        {"000f0f0f0f0f0f0f0f0f0f0f0f0f0f0f", 1},  {"10101010101010101010101010101010", 0},
        {"00101010101010101010101010101010", 16}, {"11111111111111111111111111111111", 16},
        {"00112233445566778899aabbccddee00", 16}, {"00000000000000000000000000000000", 16},
        {"ffffffffffffffffffffffffffffffff", 16},
    };
    for (const auto& row : rows) {
        const Bytes plain = FromHex(row.block);
        for (const std::uint32_t mode : {kEcb, kCbc, kCfb}) {
            const Bytes cipher = Converted(kEncrypt, mode, kKey, {}, plain);
            ASSERT_EQ(cipher.size(), 16U) << "no padding block";
            Rijndael decipher;
            Set(decipher, kDecrypt, mode);
            Bytes out(16, 0xee);
            std::uint64_t written = 0;
            ASSERT_TRUE(decipher.Convert(cipher.data(), 16, out.data(), 16, &written, nullptr));
            // One-bit feedback knows no padding.
            const std::size_t kept = mode == kCfb ? 16 : row.kept;
            EXPECT_EQ(written, kept) << row.block;
            Bytes expected = plain;
            std::fill(expected.begin() + static_cast<long>(kept), expected.end(), std::uint8_t{0});
            EXPECT_EQ(ToHex(out), ToHex(expected)) << "the padding is cleared";
        }
    }
    // An earlier block keeps its end.
    const Bytes plain =
        FromHex("00112233445566778899aabbccddee01 00112233445566778899aabbccddeeff");
    EXPECT_EQ(
        ToHex(Converted(kDecrypt, kCbc, kKey, {}, Converted(kEncrypt, kCbc, kKey, {}, plain))),
        ToHex(plain));
}

// What one operation gives in one state.
enum class Operation { Initialize, Convert, Clear, Update, Final };

std::uint32_t Perform(Rijndael& cipher, Operation operation) {
    std::uint8_t out[32] = {};
    std::uint64_t written = 0;
    std::uint32_t error = 99;
    bool done = false;
    switch (operation) {
        case Operation::Initialize:
            done = cipher.Initialize(kEncrypt, kKey.data(), 16, kCbc, nullptr, 0, &error);
            break;
        case Operation::Convert:
            done = cipher.Convert(kText.data(), 5, out, sizeof(out), &written, &error);
            break;
        case Operation::Clear:
            done = cipher.Clear(&error);
            break;
        case Operation::Update:
            done = cipher.Update(kText.data(), 5, out, sizeof(out), &written, &error);
            break;
        case Operation::Final:
            done = cipher.Final(out, sizeof(out), &written, &error);
            break;
    }
    EXPECT_EQ(done, error == kSuccess);
    return error;
}

TEST(Rijndael, operations_by_state) {
    using enum Operation;
    const struct {
        const char* state;
        std::vector<Operation> road;
        std::uint32_t initialize, convert, clear, update, final;
    } rows[] = {
        {"unset", {}, kSuccess, kWrongState, kWrongState, kWrongState, kWrongState},
        {"set", {Initialize}, kSuccess, kSuccess, kSuccess, kSuccess, kWrongState},
        {"running", {Initialize, Update}, kWrongState, kSuccess, kSuccess, kSuccess, kSuccess},
        {"finished",
         {Initialize, Update, Final},
         kWrongState,
         kWrongState,
         kSuccess,
         kWrongState,
         kWrongState},
        {"converted",
         {Initialize, Convert},
         kWrongState,
         kWrongState,
         kSuccess,
         kWrongState,
         kWrongState},
        {"cleared",
         {Initialize, Update, Final, Clear},
         kSuccess,
         kWrongState,
         kWrongState,
         kWrongState,
         kWrongState},
    };
    for (const auto& row : rows) {
        const struct {
            Operation operation;
            std::uint32_t code;
        } expected[] = {{Initialize, row.initialize},
                        {Convert, row.convert},
                        {Clear, row.clear},
                        {Update, row.update},
                        {Final, row.final}};
        for (const auto& step : expected) {
            Rijndael cipher;
            for (const Operation operation : row.road) {
                ASSERT_EQ(Perform(cipher, operation), kSuccess) << row.state;
            }
            EXPECT_EQ(Perform(cipher, step.operation), step.code)
                << row.state << ", operation " << static_cast<int>(step.operation);
        }
    }
}

TEST(Rijndael, initialize_refuses_bad_arguments) {
    const Bytes key(64, 0x11);
    const struct {
        const std::uint8_t* key;
        std::uint64_t keyLength;
        std::uint32_t mode;
        std::uint32_t code;
    } rows[] = {
        {key.data(), 16, kEcb, kSuccess},    {key.data(), 24, kCbc, kSuccess},
        {key.data(), 32, kCfb, kSuccess},    {nullptr, 16, kCbc, kBadData},
        {key.data(), 0, kCbc, kBadData},     {key.data(), 1, kCbc, kBadData},
        {key.data(), 15, kCbc, kBadData},    {key.data(), 17, kCbc, kBadData},
        {key.data(), 23, kCbc, kBadData},    {key.data(), 25, kCbc, kBadData},
        {key.data(), 31, kCbc, kBadData},    {key.data(), 33, kCbc, kBadData},
        {key.data(), 64, kCbc, kBadData},    {key.data(), UINT64_MAX, kCbc, kBadData},
        {key.data(), 16, 3, kBadMode},       {key.data(), 16, UINT32_MAX, kBadMode},
        {nullptr, 16, UINT32_MAX, kBadData},
    };
    for (const auto& row : rows) {
        Rijndael cipher;
        std::uint32_t error = 99;
        EXPECT_EQ(cipher.Initialize(kDecrypt, row.key, row.keyLength, row.mode, nullptr, 0, &error),
                  row.code == kSuccess);
        EXPECT_EQ(error, row.code) << row.keyLength << ", " << row.mode;
        // A refused cipher is as unset as before.
        EXPECT_EQ(cipher.Clear(&error), row.code == kSuccess);
        EXPECT_EQ(
            cipher.Initialize(kDecrypt, row.key, row.keyLength, row.mode, nullptr, 0, nullptr),
            row.code == kSuccess)
            << "without a place for the code";
    }
}

TEST(Rijndael, update_refuses_bad_arguments) {
    std::uint8_t out[64] = {};
    std::uint64_t written = 0;
    const struct {
        const char* what;
        const std::uint8_t* in;
        std::uint64_t inLength;
        std::uint8_t* out;
        std::uint64_t outLength;
        std::uint64_t* written;
        std::uint32_t code;
    } rows[] = {
        {"whole", kText.data(), 64, out, 64, &written, kSuccess},
        {"nothing to do", kText.data(), 0, out, 64, &written, kSuccess},
        {"less than a block needs no room", kText.data(), 15, out, 1, &written, kSuccess},
        {"no input", nullptr, 64, out, 64, &written, kBadData},
        {"no input of no size", nullptr, 0, out, 64, &written, kBadData},
        {"no output", kText.data(), 64, nullptr, 64, &written, kBadData},
        {"output of no size", kText.data(), 64, out, 0, &written, kBadData},
        {"output of no size for no input", kText.data(), 0, out, 0, &written, kBadData},
        {"no count", kText.data(), 64, out, 64, nullptr, kBadData},
        {"room for less than a block", kText.data(), 16, out, 15, &written, kNoRoom},
        {"room for a block too few", kText.data(), 64, out, 63, &written, kNoRoom},
    };
    for (const auto& row : rows) {
        for (const std::uint32_t direction : {kEncrypt, kDecrypt}) {
            Rijndael cipher;
            Set(cipher, direction, kCbc);
            std::uint32_t error = 99;
            // Deciphering holds the last block back: it is short of room one block later.
            const bool held = direction == kDecrypt && row.code == kNoRoom;
            const bool done =
                cipher.Update(row.in, row.inLength, row.out, row.outLength, row.written, &error);
            EXPECT_EQ(error, held ? kSuccess : row.code) << row.what;
            EXPECT_EQ(done, error == kSuccess) << row.what;
            EXPECT_FALSE(cipher.Initialize(kEncrypt, kKey.data(), 16, kCbc, nullptr, 0, &error))
                << "running since the call, whatever came of it";
            EXPECT_EQ(error, kWrongState);
        }
    }
}

TEST(Rijndael, block_without_room_waits_for_it) {
    for (const std::uint32_t direction : {kEncrypt, kDecrypt}) {
        const Bytes expected = Converted(direction, kCbc, kKey, {}, kText);
        Rijndael cipher;
        Set(cipher, direction, kCbc);
        Bytes out(64);
        std::uint64_t written = 99;
        std::uint32_t error = 0;
        EXPECT_FALSE(cipher.Update(kText.data(), 64, out.data(), 31, &written, &error));
        EXPECT_EQ(error, kNoRoom);
        EXPECT_EQ(written, 16U) << "what was processed is counted";
        EXPECT_FALSE(cipher.Final(out.data() + 16, 15, &written, &error));
        EXPECT_EQ(error, kNoRoom);
        EXPECT_EQ(written, 0U);
        EXPECT_TRUE(cipher.Final(out.data() + 16, 16, &written, &error));
        EXPECT_EQ(written, 16U);
        EXPECT_EQ(ToHex(out.data(), 32), ToHex(expected.data(), 32));
    }
}

TEST(Rijndael, final_refuses_bad_arguments_and_may_be_repeated) {
    for (const std::uint32_t direction : {kEncrypt, kDecrypt}) {
        Rijndael cipher;
        Set(cipher, direction, kCbc);
        std::uint8_t out[16] = {};
        std::uint64_t written = 0;
        std::uint32_t error = 0;
        ASSERT_TRUE(
            cipher.Update(kText.data(), direction == kEncrypt ? 5 : 16, out, 16, &written, &error));
        EXPECT_FALSE(cipher.Final(nullptr, 16, &written, &error));
        EXPECT_EQ(error, kBadData);
        EXPECT_FALSE(cipher.Final(out, 16, nullptr, &error));
        EXPECT_EQ(error, kBadData);
        for (const std::uint64_t room : {0U, 1U, 15U}) {
            EXPECT_FALSE(cipher.Final(out, room, &written, &error));
            EXPECT_EQ(error, kNoRoom) << room;
        }
        EXPECT_TRUE(cipher.Final(out, 16, &written, &error));
        EXPECT_EQ(error, kSuccess);
        const Bytes input(kText.begin(), kText.begin() + (direction == kEncrypt ? 5 : 16));
        EXPECT_EQ(ToHex(out, static_cast<std::size_t>(written)),
                  ToHex(Converted(direction, kCbc, kKey, {}, input)));
    }
}

TEST(Rijndael, final_without_input_fails) {
    for (const std::uint32_t direction : {kEncrypt, kDecrypt}) {
        for (const bool updated : {false, true}) {
            Rijndael cipher;
            Set(cipher, direction, kCbc);
            std::uint8_t out[16] = {};
            std::uint64_t written = 99;
            std::uint32_t error = 99;
            if (updated) {
                ASSERT_TRUE(cipher.Update(kText.data(), 0, out, 16, &written, &error));
                ASSERT_EQ(written, 0U);
            }
            EXPECT_FALSE(cipher.Final(out, 16, &written, &error));
            EXPECT_EQ(error, kWrongState) << direction << updated;
            EXPECT_EQ(written, 0U);
        }
    }
    // Nothing is left behind a whole number of blocks.
    Rijndael cipher;
    Set(cipher, kEncrypt, kCbc);
    std::uint8_t out[64] = {};
    std::uint64_t written = 0;
    std::uint32_t error = 99;
    ASSERT_TRUE(cipher.Convert(kText.data(), 64, out, 64, &written, &error));
    EXPECT_FALSE(cipher.Final(out, 16, &written, &error));
    EXPECT_EQ(error, kWrongState);
}

TEST(Rijndael, direction_that_is_none_is_not_supported) {
    for (const std::uint32_t direction : {Rijndael::kNoDirection, 3U, UINT32_MAX}) {
        for (const std::uint32_t mode : {kEcb, kCbc, kCfb}) {
            Rijndael cipher;
            Set(cipher, direction, mode);
            std::uint8_t out[64] = {};
            std::uint64_t written = 99;
            std::uint32_t error = 99;
            EXPECT_FALSE(cipher.Update(kText.data(), 64, out, 64, &written, &error));
            EXPECT_EQ(error, kUnsupported);
            EXPECT_EQ(written, 0U);
        }
    }
}

TEST(Rijndael, convert_works_in_place_and_passes_failures_on) {
    for (const std::size_t size : {1U, 16U, 17U, 48U, 63U}) {
        const Bytes text(kText.begin(), kText.begin() + static_cast<long>(size));
        Bytes buffer = text;
        buffer.resize(64);
        std::uint64_t written = 0;
        for (const std::uint32_t direction : {kEncrypt, kDecrypt}) {
            const std::uint64_t given = direction == kEncrypt ? size : written;
            Rijndael cipher;
            Set(cipher, direction, kCbc);
            ASSERT_TRUE(cipher.Convert(buffer.data(), given, buffer.data(), buffer.size(), &written,
                                       nullptr));
        }
        EXPECT_EQ(ToHex(buffer.data(), static_cast<std::size_t>(written)), ToHex(text));
    }
    Rijndael cipher;
    Set(cipher, kEncrypt, kCbc);
    std::uint8_t out[32] = {};
    std::uint64_t written = 0;
    std::uint32_t error = 99;
    EXPECT_FALSE(cipher.Convert(kText.data(), 17, out, 31, &written, &error)) << "in Final";
    EXPECT_EQ(error, kNoRoom);
    EXPECT_EQ(written, 16U);
    EXPECT_FALSE(cipher.Convert(nullptr, 17, out, 32, &written, &error)) << "in Update";
    EXPECT_EQ(error, kBadData);
    EXPECT_EQ(written, 0U);
}

bool Contains(const Rijndael& cipher, const Bytes& bytes) {
    std::array<std::uint8_t, sizeof(Rijndael)> image{};
    std::memcpy(image.data(), static_cast<const void*>(&cipher), image.size());
    return std::search(image.begin(), image.end(), bytes.begin(), bytes.end()) != image.end();
}

TEST(Rijndael, clear_wipes_and_lets_the_object_be_used_again) {
    Rijndael cipher;
    EXPECT_EQ(cipher.GetBlockSize(), 16U);
    EXPECT_EQ(cipher.GetKeyLength(), 0U);
    const Bytes expected = Converted(kEncrypt, kEcb, kKey, {}, kText);
    for (const std::size_t size : {16U, 24U, 32U}) {
        const Bytes key(kText.begin(), kText.begin() + static_cast<long>(size));
        const Bytes iv(16, 0x77);
        Set(cipher, kEncrypt, kCbc, key, iv);
        EXPECT_EQ(cipher.GetKeyLength(), size);
        std::uint8_t out[16] = {};
        std::uint64_t written = 0;
        const Bytes text(9, 0x5a);
        ASSERT_TRUE(cipher.Update(text.data(), text.size(), out, 16, &written, nullptr));
        EXPECT_TRUE(Contains(cipher, key));
        EXPECT_TRUE(Contains(cipher, iv));
        EXPECT_TRUE(Contains(cipher, text));

        std::uint32_t error = 99;
        EXPECT_TRUE(cipher.Clear(&error));
        EXPECT_EQ(error, kSuccess);
        EXPECT_FALSE(Contains(cipher, Bytes(key.begin(), key.begin() + 4)));
        EXPECT_FALSE(Contains(cipher, Bytes(iv.begin(), iv.begin() + 4)));
        EXPECT_FALSE(Contains(cipher, Bytes(text.begin(), text.begin() + 4)));
        EXPECT_EQ(cipher.GetKeyLength(), 0U);
        EXPECT_FALSE(cipher.Clear(&error));
        EXPECT_EQ(error, kWrongState);

        // Nothing of the former use shows in the next one.
        Set(cipher, kEncrypt, kEcb);
        Bytes again(64);
        ASSERT_TRUE(cipher.Convert(kText.data(), 64, again.data(), 64, &written, nullptr));
        EXPECT_EQ(ToHex(again), ToHex(expected));
        ASSERT_TRUE(cipher.Clear(nullptr));
    }
}

TEST(Rijndael, set_object_may_be_set_again) {
    Rijndael cipher;
    Set(cipher, kDecrypt, kCfb, Bytes(32, 1), Bytes(16, 2));
    Set(cipher, kEncrypt, kEcb);
    EXPECT_EQ(cipher.GetKeyLength(), 16U);
    Bytes out(64);
    std::uint64_t written = 0;
    ASSERT_TRUE(cipher.Convert(kText.data(), 64, out.data(), 64, &written, nullptr));
    EXPECT_EQ(ToHex(out), ToHex(Converted(kEncrypt, kEcb, kKey, {}, kText)));
}

TEST(Rijndael, is_used_through_its_base) {
    const std::unique_ptr<KrCommon::Cryptograph::SymmetricCipherBase> cipher =
        std::make_unique<Rijndael>();
    ASSERT_TRUE(cipher->Initialize(kEncrypt, kKey.data(), 16, kEcb, nullptr, 0, nullptr));
    Bytes out(64);
    std::uint64_t written = 0;
    ASSERT_TRUE(cipher->Update(kText.data(), 64, out.data(), 64, &written, nullptr));
    EXPECT_EQ(written, 64U);
    EXPECT_EQ(ToHex(out), ToHex(Converted(kEncrypt, kEcb, kKey, {}, kText)));
    EXPECT_TRUE(cipher->Clear(nullptr));
}

}  // namespace
