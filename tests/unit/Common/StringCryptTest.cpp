// The two text forms of the cipher, with their limits, lines and failures of memory.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>

#include "Common/KrCommon/KrComn_Base64.h"
#include "Common/KrCommon/KrComn_Rijndael.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_StringCryptKey.h"
#include "support/AllocationFaults.h"
#include "support/HexBytes.h"
#include "support/LogRecorder.h"

namespace {

using namespace KrCommon::Cryptograph;
using test_support::Bytes;
using test_support::FailAllocations;
using test_support::FromHex;
using test_support::LogRecorder;

using Texts = std::vector<std::wstring>;

constexpr std::uint32_t kWarning = 16;
constexpr std::uint32_t kError = 256;

// What the cipher itself gives under one of the two keys, without any text form around it.
Bytes Bare(std::uint32_t direction, StringCryptKey::Form form, const Bytes& in) {
    const StringCryptKey key(form);
    Rijndael cipher;
    EXPECT_TRUE(cipher.Initialize(direction, key.Bytes(), StringCryptKey::kSize, Rijndael::kCbc,
                                  nullptr, 0, nullptr));
    Bytes out(in.size() + 16);
    std::uint64_t written = 0;
    EXPECT_TRUE(cipher.Convert(in.data(), in.size(), out.data(), out.size(), &written, nullptr));
    out.resize(static_cast<std::size_t>(written));
    return out;
}

std::string Digits(const Bytes& bytes) {
    std::string digits;
    for (const char c : test_support::ToHex(bytes)) {
        if (c != ' ' && c != '\n') {
            digits += c;
        }
    }
    return digits;
}

// Text without a pattern of the cipher's block.
std::wstring TextOf(std::size_t length) {
    std::wstring text;
    for (std::size_t i = 0; i < length; ++i) {
        text += static_cast<wchar_t>(L'!' + i * 7 % 90);
    }
    return text;
}

std::wstring Enciphered(const std::wstring& text) {
    std::wstring cipher = text;
    EXPECT_TRUE(EncryptString(cipher));
    return cipher;
}

TEST(Base64, agrees_with_rfc_4648_and_reads_what_is_malformed) {
    const struct {
        const char* bytes;
        const char* text;
    } rows[] = {
        {"", ""},
        {"66", "Zg=="},
        {"666f", "Zm8="},
        {"666f6f", "Zm9v"},
        {"666f6f62", "Zm9vYg=="},
        {"666f6f6261", "Zm9vYmE="},
        {"666f6f626172", "Zm9vYmFy"},
        {"fbefff", "++//"},
    };
    for (const auto& row : rows) {
        const Bytes bytes = FromHex(row.bytes);
        std::string text(Base64::EncodedSize(bytes.size()), '?');
        Base64::Encode(bytes.data(), bytes.size(), text.data());
        EXPECT_EQ(text, row.text);
        Bytes back(64);
        back.resize(Base64::Decode(text, 64, back.data()));
        EXPECT_EQ(back, bytes) << row.text;
    }
    const struct {
        const char* text;
        std::size_t limit;
        const char* bytes;
    } malformed[] = {
        {"Zm9v\r\nYmFy", 64, "666f6f626172"},  // foreign characters are skipped
        {" Z-m_9.v\x80\xff", 64, "666f6f"},
        {"Zm9vYmFy", 7, "666f6f"},    // a group that the limit cuts gives nothing
        {"\r\nZm9v", 5, ""},          // and what is skipped counts
        {"Zm9vYm", 64, "666f6f"},     // nor does one that the text cuts
        {"Zm9v=YmFy", 64, "666f6f"},  // nothing behind the end
        {"=Zm9v", 64, ""},
        {"Z=", 64, ""},  // six bits are no byte
        {"Zg=", 64, "66"},
        {"Zm8===", 64, "666f"},
        {"Zm9v", 0, ""},
    };
    for (const auto& row : malformed) {
        Bytes back(64);
        back.resize(Base64::Decode(row.text, row.limit, back.data()));
        EXPECT_EQ(back, FromHex(row.bytes)) << row.text;
    }
}

TEST(StringCryptKey, keys_differ_and_do_not_stand_in_the_program) {
    const StringCryptKey fixed(StringCryptKey::Form::Fixed);
    const StringCryptKey hexadecimal(StringCryptKey::Form::Hexadecimal);
    const std::string first(reinterpret_cast<const char*>(fixed.Bytes()), StringCryptKey::kSize);
    const std::string second(reinterpret_cast<const char*>(hexadecimal.Bytes()),
                             StringCryptKey::kSize);
    EXPECT_TRUE(first != second);
    std::ifstream file(::testing::internal::GetArgvs().at(0), std::ios::binary);
    const std::string image{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    ASSERT_GT(image.size(), 100000U) << "the program's own file";
    EXPECT_EQ(image.find(first), std::string::npos);
    EXPECT_EQ(image.find(second), std::string::npos);
}

TEST(EncryptString, gives_344_characters_whatever_the_length) {
    for (const std::size_t length : {1U, 15U, 16U, 17U, 100U, 191U, 192U, 253U, 254U}) {
        const std::wstring plain = TextOf(length);
        LogRecorder log;
        const std::wstring cipher = Enciphered(plain);
        EXPECT_EQ(cipher.size(), 344U) << length;
        EXPECT_EQ(cipher.substr(342), L"==");
        EXPECT_EQ(cipher.find_first_not_of(L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                           L"0123456789+/="),
                  std::wstring::npos);
        EXPECT_EQ(log.Texts(), Texts{L"nLenConverted: 256"});
        EXPECT_EQ(log.Lines()[0].level, kWarning);
        EXPECT_EQ(log.Lines()[0].file, "KrComn_StringCrypt");

        // 255 bytes and one of padding.
        Bytes buffer(plain.begin(), plain.end());
        buffer.resize(255);
        const Bytes expected = Bare(Rijndael::kEncrypt, StringCryptKey::Form::Fixed, buffer);
        std::string text(Base64::EncodedSize(expected.size()), '?');
        Base64::Encode(expected.data(), expected.size(), text.data());
        EXPECT_EQ(cipher, std::wstring(text.begin(), text.end())) << length;
    }
}

TEST(EncryptString, refuses_what_is_empty_or_too_long) {
    for (const std::size_t length : {0U, 255U, 256U, 257U, 1000U, 100000U}) {
        const std::wstring plain = TextOf(length);
        std::wstring text = plain;
        LogRecorder log;
        EXPECT_FALSE(EncryptString(text)) << length;
        EXPECT_TRUE(text == plain);
        EXPECT_TRUE(log.Lines().empty());
    }
    // The limit is one of bytes.
    std::wstring foreign(254, L'\u00e4');
    EXPECT_TRUE(EncryptString(foreign));
}

TEST(DecryptString, gives_text_of_up_to_191_bytes_back_whole) {
    for (const std::size_t length : {1U, 15U, 16U, 17U, 31U, 32U, 100U, 176U, 190U, 191U}) {
        const std::wstring plain = TextOf(length);
        std::wstring text = Enciphered(plain);
        LogRecorder log;
        EXPECT_TRUE(DecryptString(text));
        EXPECT_EQ(text, plain);
        ASSERT_EQ(log.Lines().size(), 1U);
        EXPECT_EQ(log.Lines()[0].level, kWarning);
        EXPECT_EQ(log.Lines()[0].text.substr(0, 15), L"nLenConverted: ");
    }
    std::wstring foreign = Enciphered(L"Gr\u00fc\u00dfe \u4e2d");
    EXPECT_TRUE(DecryptString(foreign));
    EXPECT_EQ(foreign, L"Gr\u00fc\u00dfe ?") << "what the code page does not have";
}

TEST(DecryptString, damages_the_tail_of_longer_text) {
    for (const std::size_t length : {192U, 193U, 200U, 240U, 253U, 254U}) {
        const std::wstring plain = TextOf(length);
        std::wstring text = Enciphered(plain);
        EXPECT_TRUE(DecryptString(text)) << length;
        ASSERT_GE(text.size(), 192U) << length;
        EXPECT_EQ(text.substr(0, 192), plain.substr(0, 192)) << length;
        EXPECT_TRUE(text != plain) << length;
        EXPECT_LE(text.size(), 256U);
    }
}

TEST(DecryptString, reads_268_characters_of_the_cipher) {
    const std::wstring plain = TextOf(180);
    const std::wstring cipher = Enciphered(plain);
    const auto deciphered = [](std::wstring text) {
        EXPECT_TRUE(DecryptString(text));
        return text;
    };
    // Whole groups of four within the first 271 characters.
    EXPECT_EQ(deciphered(cipher.substr(0, 268)), plain);
    EXPECT_EQ(deciphered(cipher.substr(0, 268) + L"!!!!????"), plain);
    EXPECT_EQ(deciphered(cipher.substr(0, 271) + L"="), plain);
    // The block of the text's end is in the first 256 of them.
    EXPECT_EQ(deciphered(cipher.substr(0, 256)), plain);
    EXPECT_TRUE(deciphered(cipher.substr(0, 252)) != plain);
    // What is skipped counts as read: 15 of them leave 256, 16 leave 252.
    EXPECT_EQ(deciphered(std::wstring(15, L'\n') + cipher), plain);
    EXPECT_TRUE(deciphered(std::wstring(16, L'\n') + cipher) != plain);
    std::wstring spread = cipher;
    for (std::size_t i = 15; i > 0; --i) {
        spread.insert(i * 10, 1, L'-');
    }
    EXPECT_EQ(deciphered(spread), plain);
}

TEST(DecryptString, refuses_what_holds_no_byte) {
    const struct {
        const wchar_t* text;
        const wchar_t* line;
    } rows[] = {
        {L"", nullptr},
        {L"=", L"FromBase64 return <= 0"},
        {L"====", L"FromBase64 return <= 0"},
        {L"A", L"FromBase64 return <= 0"},
        {L"AAA", L"FromBase64 return <= 0"},
        {L"A=AAAA", L"FromBase64 return <= 0"},
        {L" \t\r\n-_.", L"FromBase64 return <= 0"},
        {L"\u4e2d\u00e4", L"FromBase64 return <= 0"},
    };
    for (const auto& row : rows) {
        std::wstring text = row.text;
        LogRecorder log;
        EXPECT_FALSE(DecryptString(text));
        EXPECT_EQ(text, row.text);
        EXPECT_EQ(log.Texts(), row.line != nullptr ? Texts{row.line} : Texts{});
        EXPECT_TRUE(row.line == nullptr || log.Lines()[0].level == kError);
    }
    std::wstring behindTheLimit = std::wstring(271, L'-') + L"AAAA";
    EXPECT_FALSE(DecryptString(behindTheLimit));
}

TEST(DecryptString, gives_noise_for_what_was_never_enciphered) {
    for (const wchar_t* const given : {L"AAAA", L"QQ==", L"hello world, this is no cipher"}) {
        std::wstring text = given;
        EXPECT_TRUE(DecryptString(text));
        EXPECT_NE(text, given);
        EXPECT_LE(text.size(), 256U);
    }
}

TEST(GetEncryptByteSizeA, is_twice_the_next_block) {
    const struct {
        std::size_t length;
        std::size_t size;
    } rows[] = {{1, 32}, {15, 32}, {16, 64}, {17, 64}, {31, 64}, {32, 96}, {100, 224}};
    for (const auto& row : rows) {
        std::size_t size = 0;
        EXPECT_TRUE(GetEncryptByteSizeA(std::string(row.length, 'x'), size));
        EXPECT_EQ(size, row.size) << row.length;
    }
    LogRecorder log;
    std::size_t size = 7;
    EXPECT_FALSE(GetEncryptByteSizeA("", size));
    EXPECT_EQ(log.Texts(), Texts{L"*** KrCommon::Cryptograph::GetEncryptByteSizeA() - "
                                 L"_refszPlainStr was zero length."});
    EXPECT_EQ(log.Lines()[0].level, kError);
}

TEST(EncryptStringA, gives_32_digits_for_each_block) {
    const struct {
        std::string plain;
        std::size_t digits;
    } rows[] = {
        {"abc", 32},
        {std::string(15, 'x'), 32},
        {std::string(16, 'x'), 32},
        {std::string(17, 'x'), 64},
        {std::string(32, 'x'), 64},
        {std::string("a\0b\xff\x80", 5), 32},
        {std::string(1000, '\0'), 2016},
    };
    for (const auto& row : rows) {
        std::string out;
        LogRecorder log;
        EXPECT_TRUE(EncryptStringA(out, row.plain));
        EXPECT_TRUE(log.Lines().empty());
        EXPECT_EQ(out.size(), row.digits) << row.plain.size();
        EXPECT_EQ(out.find_first_not_of("0123456789abcdef"), std::string::npos);
        const Bytes plain(row.plain.begin(), row.plain.end());
        EXPECT_EQ(out, Digits(Bare(Rijndael::kEncrypt, StringCryptKey::Form::Hexadecimal, plain)));
        std::string back;
        EXPECT_TRUE(DecryptStringA_Sub(back, out, out.size() / 2));
        EXPECT_TRUE(back == row.plain) << row.plain.size();
    }
    // 3 bytes and 13 of padding.
    std::string padded;
    std::string plain;
    ASSERT_TRUE(EncryptStringA(plain, "abc"));
    ASSERT_TRUE(EncryptStringA(padded, "abc" + std::string(13, '\x0d')));
    EXPECT_EQ(plain, padded);
    // Digits are appended.
    EXPECT_TRUE(EncryptStringA(padded, "abc"));
    EXPECT_EQ(padded, plain + plain);
}

TEST(EncryptStringA, refuses_an_empty_text_and_a_size_too_small) {
    std::string out = "before";
    {
        LogRecorder log;
        EXPECT_FALSE(EncryptStringA(out, ""));
        EXPECT_EQ(log.Texts(),
                  (Texts{L"*** KrCommon::Cryptograph::GetEncryptByteSizeA() - _refszPlainStr was "
                         L"zero length.",
                         L"*** KrCommon::Cryptograph::EncryptStringA() - GetEncryptByteSizeA() was "
                         L"failed."}));
        EXPECT_EQ(log.Lines()[1].level, kError);
    }
    LogRecorder log;
    EXPECT_FALSE(EncryptStringA_Sub(out, std::string(33, 'x'), 0));
    EXPECT_EQ(log.Texts(), Texts{L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - "
                                 L"cRijndael.Convert() was failed. [8]"});
    EXPECT_EQ(log.Lines()[0].level, kError);
    EXPECT_EQ(out, "before");
}

TEST(EncryptStringW, enciphers_utf8) {
    std::wstring out = L"before";
    EXPECT_TRUE(EncryptStringW(out, L"\u00e4\u20ac"));
    std::string narrow;
    ASSERT_TRUE(EncryptStringA(narrow, "\xc3\xa4\xe2\x82\xac"));
    EXPECT_EQ(out, std::wstring(narrow.begin(), narrow.end()));

    LogRecorder log;
    EXPECT_FALSE(EncryptStringW(out, L""));
    EXPECT_EQ(out, std::wstring(narrow.begin(), narrow.end()));
    ASSERT_EQ(log.Lines().size(), 3U);
    EXPECT_EQ(log.Texts()[2],
              L"*** KrCommon::Cryptograph::EncryptStringW() - EncryptStringA() was failed");
    EXPECT_EQ(log.Lines()[2].level, kError);
}

TEST(DecryptStringA, takes_digits_in_pairs) {
    const std::string plain = "sixteen letters!, and a tail";
    std::string digits;
    ASSERT_TRUE(EncryptStringA(digits, plain));
    ASSERT_EQ(digits.size(), 64U);
    std::string upper = digits;
    for (char& c : upper) {
        c = static_cast<char>(c >= 'a' ? c - 'a' + 'A' : c);
    }
    const std::string half = plain.substr(0, 16);
    const struct {
        const char* what;
        std::string text;
        std::size_t byteCount;
        std::string plain;
    } rows[] = {
        {"as it was written", digits, 32, plain},
        {"an odd digit is ignored", digits + "7", 32, plain},
        {"its count rounded down, too", digits + "7", 65 / 2, plain},
        {"upper case", upper, 32, plain},
        {"more digits than were asked for", digits + digits, 32, plain},
        {"a block and a part are a block", digits.substr(0, 62), 31, half},
        {"the first block alone", digits.substr(0, 32), 16, half},
    };
    for (const auto& row : rows) {
        std::string out = "before";
        LogRecorder log;
        EXPECT_TRUE(DecryptStringA_Sub(out, row.text, row.byteCount)) << row.what;
        EXPECT_EQ(out, row.plain) << row.what;
        EXPECT_TRUE(log.Lines().empty());
    }
}

TEST(DecryptStringA, reads_what_is_no_digit_as_the_c_library_does) {
    const struct {
        std::string pair;
        std::uint8_t value;
    } rows[] = {{"0x", 0},
                {"zz", 0},
                {"1z", 1},
                {"z1", 0},
                {" 1", 1},
                {"+f", 15},
                {"-1", 0xff},
                {"  ", 0},
                {"fG", 15},
                {"\x80"
                 "1",
                 0},
                {std::string("1\0", 2), 1},
                {std::string("\0"
                             "1",
                             2),
                 0},
                {"aF", 0xaf}};
    for (const auto& row : rows) {
        const Bytes cipher(32, row.value);
        const Bytes plain = Bare(Rijndael::kDecrypt, StringCryptKey::Form::Hexadecimal, cipher);
        std::string digits;
        for (int i = 0; i < 32; ++i) {
            digits += row.pair;
        }
        std::string out;
        EXPECT_TRUE(DecryptStringA_Sub(out, digits, 32));
        EXPECT_TRUE(out == std::string(plain.begin(), plain.end())) << row.pair;
    }
    // Pairs that are missing are zeros.
    const Bytes zeros = Bare(Rijndael::kDecrypt, StringCryptKey::Form::Hexadecimal, Bytes(32));
    std::string out;
    EXPECT_TRUE(DecryptStringA_Sub(out, "", 32));
    EXPECT_TRUE(out == std::string(zeros.begin(), zeros.end()));
}

TEST(DecryptStringA, shortens_text_that_ends_like_padding) {
    const struct {
        std::string plain;
        std::size_t kept;
    } rows[] = {
        {"fifteen letters\x01", 15},
        {std::string("0123456789abcde") + "\x02", 16},
        {"fourteen chars\x02\x02", 14},
        {std::string(16, '\x10'), 0},
        {std::string(32, '\x10'), 16},
        {"15 bytes only!\x01", 15},  // this one has real padding behind
    };
    for (const auto& row : rows) {
        std::string digits;
        ASSERT_TRUE(EncryptStringA(digits, row.plain));
        std::string out = "before";
        EXPECT_TRUE(DecryptStringA_Sub(out, digits, digits.size() / 2));
        EXPECT_EQ(out, row.plain.substr(0, row.kept));
    }
}

TEST(DecryptStringA, refuses_less_than_a_block) {
    const struct {
        std::string text;
        std::size_t byteCount;
        const wchar_t* line;
    } rows[] = {
        {"", 0,
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [13]"},
        {"a", 0,
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [13]"},
        {"ab", 1,
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [1]"},
        {std::string(30, 'a'), 15,
         L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - cRijndael.Convert() was failed. [1]"},
    };
    for (const auto& row : rows) {
        std::string out = "before";
        LogRecorder log;
        EXPECT_FALSE(DecryptStringA_Sub(out, row.text, row.byteCount));
        EXPECT_EQ(out, "before");
        EXPECT_EQ(log.Texts(), Texts{row.line});
        EXPECT_EQ(log.Lines()[0].level, kError);
    }
}

// Runs an operation with each of its allocations failing in turn and collects the lines it leaves.
std::vector<Texts> LinesOfEachFailure(const std::function<bool()>& operation) {
    std::vector<Texts> all;
    for (std::size_t passed = 0; passed < 100; ++passed) {
        bool done = false;
        bool happened = false;
        // Formats nothing, so that the operation's own allocations alone are counted.
        LogRecorder log(kError);
        {
            const FailAllocations fault(passed, FailAllocations::Mode::kOnce);
            done = operation();
            happened = fault.Happened();
        }
        if (!happened) {
            EXPECT_TRUE(done);
            return all;
        }
        EXPECT_FALSE(done) << passed;
        all.push_back(log.Texts());
    }
    ADD_FAILURE() << "the operation never gets through";
    return all;
}

TEST(StringCryptMemory, each_failure_is_told_and_changes_nothing) {
    const std::string plain(40, 'x');
    std::string out = "before";
    const std::wstring sub =
        L"*** KrCommon::Cryptograph::EncryptStringA() - EncryptStringA_Sub() was failed.";
    const std::wstring noPlain =
        L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - ui8TextPlain was NULL. [0x00000008]";
    const std::wstring noCipher =
        L"*** KrCommon::Cryptograph::EncryptStringA_Sub() - ui8TextCipher was NULL. [0x00000008]";
    EXPECT_EQ(LinesOfEachFailure([&] {
                  const bool done = EncryptStringA(out, plain);
                  EXPECT_EQ(out == "before", !done);
                  return done;
              }),
              (std::vector<Texts>{{noPlain, sub}, {noCipher, sub}, {noCipher, sub}}));

    std::string digits;
    ASSERT_TRUE(EncryptStringA(digits, plain));
    const std::wstring noDigits =
        L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - ui8TextCipher was NULL. [0x00000008]";
    const std::wstring noText =
        L"*** KrCommon::Cryptograph::DecryptStringA_Sub() - ui8TextDecoded was NULL. [0x00000008]";
    std::string text = "before";
    EXPECT_EQ(LinesOfEachFailure([&] {
                  const bool done = DecryptStringA_Sub(text, digits, digits.size() / 2);
                  EXPECT_EQ(text == "before", !done);
                  return done;
              }),
              (std::vector<Texts>{{noDigits}, {noText}, {noText}}));
}

TEST(StringCryptMemory, fixed_form_and_wide_form_fail_without_a_change) {
    const std::wstring plain = TextOf(100);
    const std::wstring cipher = Enciphered(plain);
    std::wstring text;
    const auto run = [&text](bool (*convert)(std::wstring&), const std::wstring& given) {
        return LinesOfEachFailure([&text, convert, &given] {
            text = given;
            const bool done = convert(text);
            EXPECT_EQ(text == given, !done);
            return done;
        });
    };
    // The copy into `text` needs no memory: it has been that long before.
    text.reserve(cipher.size());
    for (const auto& lines : {run(EncryptString, plain), run(DecryptString, cipher)}) {
        EXPECT_GE(lines.size(), 2U);
        for (const Texts& texts : lines) {
            EXPECT_EQ(texts, Texts{L"Failed to secure buffer"});
        }
    }

    std::wstring out = L"before";
    const auto lines = LinesOfEachFailure([&out, &plain] {
        const bool done = EncryptStringW(out, plain);
        EXPECT_EQ(out == L"before", !done);
        return done;
    });
    EXPECT_GE(lines.size(), 5U);
    for (const Texts& texts : lines) {
        ASSERT_FALSE(texts.empty());
        EXPECT_EQ(texts.back(),
                  L"*** KrCommon::Cryptograph::EncryptStringW() - EncryptStringA() was failed");
    }
}

}  // namespace
