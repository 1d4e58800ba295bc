// Stub data of the interface's procedure: what a request is, and that nothing which a peer claims
// is believed before the bytes are there.

#include "utilRPC/IdlStubData.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>

#include "support/HexBytes.h"

using IdlStubData::Answer;
using IdlStubData::IsRequestWellFormed;
using IdlStubData::ReadAnswer;
using test_support::Append;
using test_support::Bytes;
using test_support::FromHex;
using test_support::Hex;
using test_support::ToHex;
using test_support::Words;

namespace {

// Data representation labels as the runtime hands them up: integers, characters, floating point.
constexpr std::uint32_t kLittleEndian = 0x10;
constexpr std::uint32_t kBigEndian = 0x00;

constexpr std::uint32_t kReferent = 0x00020000;
constexpr std::size_t kArrayOffset = 12;

constexpr std::uint32_t kHugeNumbers[] = {0x7fffffff, 0x80000000, 0xffffffff};

// lOutSize, the pointer, the array's count, the array.
Bytes AnswerOf(std::uint32_t size, std::uint32_t count, const Bytes& array) {
    Bytes stubData = Words({size, kReferent, count});
    Append(stubData, array);
    return stubData;
}

// Stub data in a heap block of exactly its size, so that a sanitizer sees the first byte behind it.
class Exact {
public:
    explicit Exact(const Bytes& bytes)
        : m_pBytes(new std::uint8_t[bytes.size()]), m_uiSize(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), m_pBytes.get());
    }
    std::span<const std::uint8_t> Span() const { return {m_pBytes.get(), m_uiSize}; }

private:
    std::unique_ptr<std::uint8_t[]> m_pBytes;
    std::size_t m_uiSize;
};

bool IsRefused(const Bytes& stubData, std::uint32_t representation = kLittleEndian) {
    const Exact exact(stubData);
    return !ReadAnswer(exact.Span(), representation);
}

// "SIZE: BYTES", "SIZE: none" without a block, "refused".
std::string Read(const Bytes& stubData, std::uint32_t representation = kLittleEndian) {
    const Exact exact(stubData);
    const std::optional<Answer> answer = ReadAnswer(exact.Span(), representation);
    if (!answer)
        return "refused";
    std::string text = std::to_string(answer->lSize) + ": ";
    if (answer->pBlock == nullptr)
        return text + "none";
    EXPECT_EQ(exact.Span().data() + kArrayOffset, answer->pBlock);
    return text + ToHex(answer->pBlock, static_cast<std::size_t>(answer->lSize));
}

// ---- requests as they are written

TEST(IdlStubData, request_is_size_count_and_bytes) {
    const Bytes bytes = {1, 2, 3, 4, 5};
    Bytes stubData(IdlStubData::kRequestHead + bytes.size(), 0xee);
    std::uint8_t* const end = IdlStubData::WriteRequest(stubData.data(), bytes.data(), 5);
    EXPECT_EQ(Hex("05000000 05000000 0102030405"), ToHex(stubData));
    EXPECT_EQ(stubData.data() + stubData.size(), end);
}

TEST(IdlStubData, request_of_no_bytes_is_size_and_count) {
    Bytes stubData(IdlStubData::kRequestHead, 0xee);
    std::uint8_t* const end = IdlStubData::WriteRequest(stubData.data(), nullptr, 0);
    EXPECT_EQ(Hex("00000000 00000000"), ToHex(stubData));
    EXPECT_EQ(stubData.data() + stubData.size(), end);
}

TEST(IdlStubData, request_numbers_are_little_endian) {
    const Bytes bytes(0x010203, 7);
    Bytes stubData(IdlStubData::kRequestHead + bytes.size());
    IdlStubData::WriteRequest(stubData.data(), bytes.data(), 0x010203);
    EXPECT_EQ(Hex("03020100 03020100 07"), ToHex(stubData.data(), 9));
    EXPECT_EQ(7, stubData.back());
}

// ---- requests as they are checked

TEST(IdlStubData, requests_that_agree_with_themselves_are_well_formed) {
    for (const char* hex : {"00000000 00000000", "01000000 01000000 aa",
                            "05000000 05000000 0102030405", "05000000 05000000 0102030405 ff"}) {
        const Exact exact(FromHex(hex));
        EXPECT_TRUE(IsRequestWellFormed(exact.Span(), kLittleEndian)) << hex;
    }
}

TEST(IdlStubData, request_cut_short_at_every_byte_is_not_well_formed) {
    const Bytes whole = FromHex("05000000 05000000 0102030405");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Exact exact(Bytes(whole.data(), whole.data() + size));
        EXPECT_FALSE(IsRequestWellFormed(exact.Span(), kLittleEndian)) << size << " bytes";
    }
}

TEST(IdlStubData, requests_whose_numbers_lie_are_not_well_formed) {
    for (const char* hex : {"05000000 04000000 0102030405", "04000000 05000000 0102030405",
                            "06000000 06000000 0102030405", "ffffff7f ffffff7f 0102030405",
                            "00000080 00000080 0102030405", "ffffffff ffffffff 0102030405",
                            "ffffffff 05000000 0102030405", "00000000 05000000 0102030405",
                            "05000000 00000000 0102030405", "05000000 ffffffff 0102030405"}) {
        const Exact exact(FromHex(hex));
        EXPECT_FALSE(IsRequestWellFormed(exact.Span(), kLittleEndian)) << hex;
    }
}

TEST(IdlStubData, request_of_more_than_a_signed_size_is_not_well_formed) {
    // Only the two numbers are read: the span may tell of bytes that no test has.
    const Bytes head = Words({0x80000000, 0x80000000});
    EXPECT_FALSE(IsRequestWellFormed({head.data(), 0xfffffff0}, kLittleEndian));
}

TEST(IdlStubData, request_with_big_endian_integers_is_not_well_formed) {
    const Exact exact(FromHex("00000005 00000005 0102030405"));
    EXPECT_FALSE(IsRequestWellFormed(exact.Span(), kBigEndian));
    const Exact empty(FromHex("00000000 00000000"));
    EXPECT_FALSE(IsRequestWellFormed(empty.Span(), kBigEndian));
    EXPECT_TRUE(IsRequestWellFormed(empty.Span(), kLittleEndian));
}

// ---- answers

TEST(IdlStubData, answer_is_its_size_and_the_array_in_place) {
    EXPECT_EQ("3: aa bb cc", Read(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc})));
    EXPECT_EQ("1: aa", Read(AnswerOf(1, 1, {0xaa})));
}

TEST(IdlStubData, answer_with_an_empty_array_has_size_zero) {
    EXPECT_EQ("0: ", Read(AnswerOf(0, 0, {})));
}

TEST(IdlStubData, answer_of_any_referent_but_zero_has_a_block) {
    for (const std::uint32_t referent : {1U, 0x80000000U, 0xffffffffU})
        EXPECT_EQ("1: aa", Read(FromHex(ToHex(Words({1, referent, 1})) + " aa"))) << referent;
}

TEST(IdlStubData, answer_cut_short_at_every_byte_is_refused) {
    const Bytes whole = AnswerOf(3, 3, {0xaa, 0xbb, 0xcc});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_TRUE(IsRefused(Bytes(whole.data(), whole.data() + size))) << size << " bytes";
}

TEST(IdlStubData, answer_without_a_block_cut_short_at_every_byte_is_refused) {
    const Bytes whole = Words({0, 0});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_TRUE(IsRefused(Bytes(whole.data(), whole.data() + size))) << size << " bytes";
}

TEST(IdlStubData, bytes_behind_the_answer_are_ignored) {
    EXPECT_EQ("3: aa bb cc", Read(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc, 0xdd})));
    EXPECT_EQ("3: aa bb cc", Read(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc, 1, 2, 3, 4, 5, 6, 7, 8, 9})));
    EXPECT_EQ("0: ", Read(AnswerOf(0, 0, {0xaa})));
    EXPECT_EQ("0: none", Read(FromHex("00000000 00000000 ff")));
    EXPECT_EQ("0: none", Read(FromHex("00000000 00000000 03000000 aabbcc")));
}

TEST(IdlStubData, null_pointer_keeps_the_size_that_was_sent) {
    EXPECT_EQ("0: none", Read(Words({0, 0})));
    EXPECT_EQ("7: none", Read(Words({7, 0})));
    EXPECT_EQ("2147483647: none", Read(Words({0x7fffffff, 0})));
    EXPECT_EQ("-2147483648: none", Read(Words({0x80000000, 0})));
    EXPECT_EQ("-1: none", Read(Words({0xffffffff, 0})));
}

TEST(IdlStubData, size_below_the_count_takes_the_first_bytes) {
    EXPECT_EQ("2: aa bb", Read(AnswerOf(2, 3, {0xaa, 0xbb, 0xcc})));
    EXPECT_EQ("0: ", Read(AnswerOf(0, 3, {0xaa, 0xbb, 0xcc})));
}

TEST(IdlStubData, size_above_the_count_is_refused) {
    EXPECT_TRUE(IsRefused(AnswerOf(1, 0, {})));
    EXPECT_TRUE(IsRefused(AnswerOf(4, 3, {0xaa, 0xbb, 0xcc})));
    // Even where the bytes behind the array would do.
    EXPECT_TRUE(IsRefused(AnswerOf(4, 3, {0xaa, 0xbb, 0xcc, 0xdd})));
    for (const std::uint32_t size : kHugeNumbers)
        EXPECT_TRUE(IsRefused(AnswerOf(size, 3, {0xaa, 0xbb, 0xcc}))) << size;
}

TEST(IdlStubData, count_above_the_bytes_is_refused_whatever_the_size) {
    for (const std::uint32_t size : {0U, 3U}) {
        EXPECT_TRUE(IsRefused(AnswerOf(size, 4, {0xaa, 0xbb, 0xcc}))) << size;
        for (const std::uint32_t count : kHugeNumbers)
            EXPECT_TRUE(IsRefused(AnswerOf(size, count, {0xaa, 0xbb, 0xcc}))) << size << count;
    }
    EXPECT_TRUE(IsRefused(AnswerOf(0, 1, {})));
}

TEST(IdlStubData, huge_size_and_count_that_agree_are_refused) {
    for (const std::uint32_t claim : kHugeNumbers) {
        EXPECT_TRUE(IsRefused(AnswerOf(claim, claim, {0xaa, 0xbb, 0xcc}))) << claim;
        EXPECT_TRUE(IsRefused(AnswerOf(claim, claim, {}))) << claim;
    }
}

TEST(IdlStubData, largest_signed_size_is_the_largest_block) {
    // Only the three numbers are read: the span may tell of bytes that no test has.
    constexpr std::size_t kWhole = std::numeric_limits<std::uint32_t>::max();
    const Bytes largest = Words({0x7fffffff, kReferent, 0x80000000});
    const std::optional<Answer> answer = ReadAnswer({largest.data(), kWhole}, kLittleEndian);
    ASSERT_TRUE(answer);
    EXPECT_EQ(0x7fffffff, answer->lSize);
    const Bytes above = Words({0x80000000, kReferent, 0x80000000});
    EXPECT_FALSE(ReadAnswer({above.data(), kWhole}, kLittleEndian));
}

TEST(IdlStubData, big_endian_integers_are_refused) {
    EXPECT_TRUE(IsRefused(FromHex("00000003 00020000 00000003 aabbcc"), kBigEndian));
    EXPECT_TRUE(IsRefused(Words({0, 0}), kBigEndian));
    EXPECT_TRUE(IsRefused(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc}), kBigEndian));
}

TEST(IdlStubData, representation_of_characters_and_floats_does_not_matter) {
    for (const std::uint32_t representation : {0x11U, 0x0110U, 0xffffff1fU})
        EXPECT_EQ("1: aa", Read(AnswerOf(1, 1, {0xaa}), representation)) << representation;
    EXPECT_TRUE(IsRefused(AnswerOf(1, 1, {0xaa}), 0x0001));
    EXPECT_TRUE(IsRefused(AnswerOf(1, 1, {0xaa}), 0x1000));
}

}  // namespace
