#include "Common/KrCommon/KrComn_String.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;
namespace String = KrCommon::String;

constexpr bool kWideIsUtf16 = sizeof(wchar_t) == 2;

TEST(Utf8, round_trip_at_every_length_boundary) {
    const struct {
        std::wstring_view wide;
        std::string_view narrow;
    } rows[] = {
        {L""sv, ""sv},
        {L"abc"sv, "abc"sv},
        {L"a\0b"sv, "a\0b"sv},
        {L"\x7f"sv, "\x7f"sv},
        {L"\x80"sv, "\xc2\x80"sv},
        {L"\x7ff"sv, "\xdf\xbf"sv},
        {L"\x800"sv, "\xe0\xa0\x80"sv},
        {L"\xd7ff"sv, "\xed\x9f\xbf"sv},
        {L"\xe000"sv, "\xee\x80\x80"sv},
        {L"\xfffd"sv, "\xef\xbf\xbd"sv},
        {L"\xffff"sv, "\xef\xbf\xbf"sv},
        {L"\U00010000"sv, "\xf0\x90\x80\x80"sv},
        {L"\U0001f600"sv, "\xf0\x9f\x98\x80"sv},
        {L"\U0010ffff"sv, "\xf4\x8f\xbf\xbf"sv},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(String::ToUtf8(row.wide), row.narrow);
        EXPECT_EQ(String::FromUtf8(row.narrow), row.wide) << row.narrow;
    }
}

TEST(Utf8, malformed_bytes_become_replacement_characters) {
    const struct {
        const char* what;
        std::string_view narrow;
        std::wstring_view wide;
    } rows[] = {
        {"lone continuation", "a\x80z"sv, L"a\xfffdz"sv},
        {"two lone continuations", "\x80\xbf"sv, L"\xfffd\xfffd"sv},
        {"overlong slash, two bytes", "\xc0\xaf"sv, L"\xfffd\xfffd"sv},
        {"overlong, c1", "\xc1\x81"sv, L"\xfffd\xfffd"sv},
        {"overlong slash, three bytes", "\xe0\x80\xaf"sv, L"\xfffd\xfffd\xfffd"sv},
        {"overlong slash, four bytes", "\xf0\x80\x80\xaf"sv, L"\xfffd\xfffd\xfffd\xfffd"sv},
        {"beyond the last character", "\xf4\x90\x80\x80"sv, L"\xfffd\xfffd\xfffd\xfffd"sv},
        {"f5", "\xf5\x80"sv, L"\xfffd\xfffd"sv},
        {"fe ff", "\xfe\xff"sv, L"\xfffd\xfffd"sv},
        {"two bytes cut at the end", "a\xc3"sv, L"a\xfffd"sv},
        {"three bytes cut after one", "\xe2"sv, L"\xfffd"sv},
        {"three bytes cut after two", "\xe2\x82"sv, L"\xfffd"sv},
        {"four bytes cut after three", "\xf0\x9f\x98"sv, L"\xfffd"sv},
        {"sequence broken by a letter", "\xe2\x82z"sv, L"\xfffdz"sv},
        {"sequence broken by a sequence", "\xf0\x9f\xc3\xa9"sv, L"\xfffd\xe9"sv},
        {"broken second byte is read anew", "\xc3\x28"sv, L"\xfffd("sv},
        {"high surrogate in three bytes", "\xed\xa0\xbd"sv, L"\xfffd"sv},
        {"low surrogate in three bytes", "\xed\xb8\x80"sv, L"\xfffd"sv},
        {"surrogate pair in six bytes", "\xed\xa0\xbd\xed\xb8\x80"sv, L"\xfffd\xfffd"sv},
    };
    for (const auto& row : rows)
        EXPECT_EQ(String::FromUtf8(row.narrow), row.wide) << row.what;
}

TEST(Utf8, every_pair_of_bytes_converts_to_characters_that_convert_back) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
            const std::wstring wide = String::FromUtf8({bytes, 2});
            ASSERT_FALSE(wide.empty());
            ASSERT_EQ(String::FromUtf8(String::ToUtf8(wide)), wide);
        }
    }
}

TEST(Utf8, unpaired_surrogates_become_replacement_characters) {
    const wchar_t high = static_cast<wchar_t>(0xd83d);
    const wchar_t low = static_cast<wchar_t>(0xde00);
    const std::string bad = "\xef\xbf\xbd";
    EXPECT_EQ(String::ToUtf8(std::wstring{high}), bad);
    EXPECT_EQ(String::ToUtf8(std::wstring{low}), bad);
    EXPECT_EQ(String::ToUtf8(std::wstring{L'a', high, L'b'}), "a" + bad + "b");
    EXPECT_EQ(String::ToUtf8(std::wstring{low, high}), bad + bad);
    EXPECT_EQ(String::ToUtf8(std::wstring{high, high, L'x'}), bad + bad + "x");
}

TEST(Utf8, surrogate_pair_is_one_character_where_units_have_16_bits) {
    const std::wstring pair{static_cast<wchar_t>(0xd83d), static_cast<wchar_t>(0xde00)};
    EXPECT_EQ(String::ToUtf8(pair), kWideIsUtf16 ? "\xf0\x9f\x98\x80" : "\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(String::FromUtf8("\xf0\x9f\x98\x80").size(), kWideIsUtf16 ? 2U : 1U);
}

TEST(Utf8, numbers_beyond_unicode_become_replacement_characters) {
    if constexpr (kWideIsUtf16) {
        // A 16-bit unit cannot hold such a number; its highest value is an ordinary character.
        EXPECT_EQ(String::ToUtf8(std::wstring{static_cast<wchar_t>(0xffff)}), "\xef\xbf\xbf");
    } else {
        EXPECT_EQ(String::ToUtf8(std::wstring{static_cast<wchar_t>(0x110000)}), "\xef\xbf\xbd");
        EXPECT_EQ(String::ToUtf8(std::wstring{static_cast<wchar_t>(0xffffffff)}), "\xef\xbf\xbd");
    }
}

TEST(Utf8, non_raising_forms_give_the_same_text) {
    std::string narrow;
    std::wstring wide;
    EXPECT_TRUE(String::ToUtf8(L"\x20ac", narrow));
    EXPECT_TRUE(String::FromUtf8("\xe2\x82\xac", wide));
    EXPECT_EQ(narrow, "\xe2\x82\xac");
    EXPECT_EQ(wide, L"\x20ac");
}

TEST(CompareNoCase, orders_and_equals) {
    const struct {
        std::wstring_view a;
        std::wstring_view b;
        int order;
    } rows[] = {{L"", L"", 0},
                {L"abc", L"ABC", 0},
                {L"ncacn_np", L"NCACN_NP", 0},
                {L"ncacn", L"ncacn_np", -1},
                {L"ncacn_np2", L"ncacn_np", 1},
                {L"", L"a", -1},
                {L"a", L"B", -1},
                {L"B", L"a", 1},
                {L"z", L"_", 1},
                {L"[", L"a", -1},
                {L"\xe9", L"\xc9", 1},
                {L"a\0b"sv, L"a\0c"sv, -1},
                {L"\xffff", L"a", 1}};
    for (const auto& row : rows) {
        const int order = String::CompareNoCase(row.a, row.b);
        EXPECT_EQ((order > 0) - (order < 0), row.order) << &row - rows;
        EXPECT_EQ(String::EqualNoCase(row.a, row.b), row.order == 0) << &row - rows;
    }
}

TEST(ReplaceAll, goes_left_to_right_without_scanning_replacements) {
    EXPECT_EQ(String::ReplaceAll(L"aaa", L"aa", L"b"), L"ba");
    EXPECT_EQ(String::ReplaceAll(L"a.exe.exe", L".exe", L"_P.exe"), L"a_P.exe_P.exe");
    EXPECT_EQ(String::ReplaceAll(L"a", L"a", L"aa"), L"aa");
    EXPECT_EQ(String::ReplaceAll(L"abc", L"x", L"y"), L"abc");
    EXPECT_EQ(String::ReplaceAll(L"abc", L"", L"y"), L"abc");
    EXPECT_EQ(String::ReplaceAll(L"", L"x", L"y"), L"");
    EXPECT_EQ(String::ReplaceAll(L"abc", L"b", L""), L"ac");
}

TEST(Path, separator_is_appended_once_and_never_to_nothing) {
    const struct {
        const wchar_t* path;
        const wchar_t* result;
    } rows[] = {{L"", L""}, {L"a", L"a\\"}, {L"a\\", L"a\\"}, {L"\\", L"\\"}};
    for (const auto& row : rows) {
        std::wstring path = row.path;
        String::AppendSeparator(path);
        EXPECT_EQ(path, row.result);
    }
}

TEST(Path, parts) {
    const struct {
        const wchar_t* path;
        const wchar_t* folder;
        const wchar_t* name;
        const wchar_t* extension;
    } rows[] = {
        {L"", L"", L"", L""},
        {L"a.exe", L"", L"a.exe", L".exe"},
        {L"c:\\d\\a.b.exe", L"c:\\d", L"a.b.exe", L".exe"},
        {L"c:\\d.e\\a", L"c:\\d.e", L"a", L""},
        {L"c:\\d\\", L"c:\\d", L"d", L""},
        {L"\\", L"", L"", L""},
        {L"c:\\d\\a.", L"c:\\d", L"a.", L"."},
        {L".profile", L"", L".profile", L".profile"},
        {L"a.tar gz", L"", L"a.tar gz", L""},
        {L"a b.exe", L"", L"a b.exe", L".exe"},
        {L"d/a.exe", L"", L"d/a.exe", L".exe"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(String::RemoveFileName(row.path), row.folder) << &row - rows;
        EXPECT_EQ(String::GetFileName(row.path), row.name) << &row - rows;
        EXPECT_EQ(String::GetExtension(row.path), row.extension) << &row - rows;
    }
}

}  // namespace
