#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"

namespace {

using namespace std::string_view_literals;
namespace String = KrCommon::String;
using Pieces = std::vector<std::wstring>;

TEST(Format, conversions) {
    std::wstring out = L"before";
    String::Format(out, L"plain");
    EXPECT_EQ(out, L"plain");
    String::Format(out, L"%d %u %ls", -1, 4294967295U, L"text");
    EXPECT_EQ(out, L"-1 4294967295 text");
    String::Format(out, L"[0x%08x] %02d %c %%", 0x1fU, 7, 'c');
    EXPECT_EQ(out, L"[0x0000001f] 07 c %");
    String::Format(out, L"%ls|%ls", L"", L"\x20ac");
    EXPECT_EQ(out, L"|\x20ac");
}

TEST(Format, empty_result_is_an_empty_text) {
    std::wstring out = L"before";
    String::Format(out, L"");
    EXPECT_EQ(out, L"");
    out = L"before";
    String::Format(out, L"%ls", L"");
    EXPECT_EQ(out, L"");
}

TEST(Format, texts_of_every_length_around_the_buffer_come_whole) {
    for (const std::size_t length :
         {1U, 254U, 255U, 256U, 257U, 300U, 510U, 511U, 512U, 513U, 1024U, 100000U}) {
        const std::wstring text(length - 1, L'x');
        std::wstring out;
        String::Format(out, L"%ls.", text.c_str());
        EXPECT_EQ(out, text + L".") << length;
    }
}

TEST(Format, the_output_may_be_an_argument) {
    std::wstring out(300, L'o');
    String::Format(out, L"<%ls>", out.c_str());
    EXPECT_EQ(out, L"<" + std::wstring(300, L'o') + L">");
}

void FormatFrom(std::wstring& out, std::size_t size, const wchar_t* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    String::FormatV(out, size, format, arguments);
    va_end(arguments);
}

TEST(FormatV, any_first_size_gives_the_same) {
    const std::wstring text(700, L'x');
    for (const std::size_t size : {0U, 1U, 2U, 699U, 700U, 701U, 702U, 5000U}) {
        std::wstring out = L"before";
        FormatFrom(out, size, L"%ls%d", text.c_str(), 5);
        EXPECT_EQ(out, text + L"5") << size;
        FormatFrom(out, size, L"");
        EXPECT_EQ(out, L"") << size;
    }
}

TEST(Split, pieces) {
    const struct {
        const char* what;
        std::wstring_view text;
        std::wstring_view delimiter;
        Pieces kept;     // with empty ones
        Pieces dropped;  // without
    } rows[] = {
        {"one piece", L"a", L";", {L"a"}, {L"a"}},
        {"two", L"a;b", L";", {L"a", L"b"}, {L"a", L"b"}},
        {"nothing is the blank", L"", L";", {L""}, {L""}},
        {"blank", L" ", L";", {L""}, {L""}},
        {"at the end the blank is a piece", L"a;", L";", {L"a", L""}, {L"a", L""}},
        {"at the front", L";a", L";", {L"", L"a"}, {L"a"}},
        {"in the middle", L"a;;b", L";", {L"a", L"", L"b"}, {L"a", L"b"}},
        {"delimiter alone", L";", L";", {L"", L""}, {L""}},
        {"only delimiters", L";;;", L";", {L"", L"", L"", L""}, {L""}},
        {"white space is no empty piece", L"a; ;b", L";", {L"a", L"", L"b"}, {L"a", L"", L"b"}},
        {"trimmed at both ends", L"\t a b \n; c\r", L";", {L"a b", L"c"}, {L"a b", L"c"}},
        {"all white space", L"\v\f\r\n\t a", L";", {L"a"}, {L"a"}},
        {"longer delimiter", L"a::b:c::d", L"::", {L"a", L"b:c", L"d"}, {L"a", L"b:c", L"d"}},
        {"half a delimiter", L"a:", L"::", {L"a:"}, {L"a:"}},
        {"found from the left", L"aaab", L"aa", {L"", L"ab"}, {L"ab"}},
        {"blank as the delimiter", L"a b", L" ", {L"a", L"b", L""}, {L"a", L"b"}},
        {"delimiter that the blank completes", L"a;", L"; ", {L"a", L""}, {L"a"}},
        {"line ends", L"a\r\nb\r\n", L"\r\n", {L"a", L"b", L""}, {L"a", L"b", L""}},
        {"no delimiter", L" a;b ", L"", {L"a;b"}, {L"a;b"}},
        {"NUL is a character",
         L"a\0b;c"sv,
         L";",
         {std::wstring(L"a\0b"sv), L"c"},
         {std::wstring(L"a\0b"sv), L"c"}},
        {"NUL as the delimiter", L"a\0b"sv, L"\0"sv, {L"a", L"b"}, {L"a", L"b"}},
    };
    for (const auto& row : rows) {
        Pieces list;
        String::Split(list, row.text, row.delimiter, true);
        EXPECT_EQ(list, row.kept) << row.what;
        list.clear();
        String::Split(list, row.text, row.delimiter, false);
        EXPECT_EQ(list, row.dropped) << row.what;
    }
}

TEST(Split, pieces_are_appended_to_the_list) {
    Pieces list = {L"before"};
    String::Split(list, L"a,b", L",", false);
    EXPECT_EQ(list, (Pieces{L"before", L"a", L"b"}));
}

TEST(Path, one_separator_is_removed_from_the_end) {
    const struct {
        const wchar_t* path;
        const wchar_t* result;
    } rows[] = {{L"", L""},         {L"a", L"a"},   {L"a\\", L"a"},
                {L"a\\\\", L"a\\"}, {L"\\", L""},   {L"c:\\", L"c:"},
                {L"a\\b", L"a\\b"}, {L"a/", L"a/"}, {L"\\a", L"\\a"}};
    for (const auto& row : rows) {
        std::wstring path = row.path;
        String::RemoveSeparator(path);
        EXPECT_EQ(path, row.result) << &row - rows;
    }
}

}  // namespace
