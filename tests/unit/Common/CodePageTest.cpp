#include "Common/KrCommon/KrComn_CodePage.h"

#include <gtest/gtest.h>

#include <string>

using KrCommon::String::FromCodePage;
using KrCommon::String::kThreadCodePage;
using KrCommon::String::kUtf8CodePage;
using KrCommon::String::NarrowToAnsi;
using KrCommon::String::ToCodePage;

namespace {

const std::wstring kHighByte(1, wchar_t{0xe9});  // small e with acute, in Latin-1 and page 1252

struct Row {
    const char* what;
    std::wstring wide;
    std::uint32_t codePage;
    std::string narrow;
};

const Row kRows[] = {
    {"nothing", L"", kThreadCodePage, ""},
    {"ASCII", L"Setup.ini", kThreadCodePage, "Setup.ini"},
    {"embedded NUL", std::wstring(L"a\0b", 3), kThreadCodePage, std::string("a\0b", 3)},
    {"byte above ASCII", kHighByte, kThreadCodePage, "\xe9"},
    {"the same as UTF-8", kHighByte, kUtf8CodePage, "\xc3\xa9"},
};

}  // namespace

TEST(CodePage, each_text_goes_there_and_back) {
    for (const Row& row : kRows) {
        std::string narrow = "before";
        EXPECT_TRUE(ToCodePage(row.wide, narrow, row.codePage)) << row.what;
        EXPECT_EQ(narrow, row.narrow) << row.what;
        std::wstring wide = L"before";
        EXPECT_TRUE(FromCodePage(row.narrow, wide, row.codePage)) << row.what;
        EXPECT_EQ(wide, row.wide) << row.what;
    }
}

TEST(CodePage, character_the_page_does_not_have_becomes_question_mark) {
    std::string narrow;
    EXPECT_TRUE(ToCodePage(std::wstring(1, wchar_t{0x4e2d}), narrow, kThreadCodePage));
    EXPECT_EQ(narrow, "?");
}

TEST(NarrowToAnsi, text_that_fits_with_its_nul_is_written) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(NarrowToAnsi(buffer, L"abc", sizeof(buffer), kThreadCodePage), buffer);
    EXPECT_STREQ(buffer, "abc");
}

TEST(NarrowToAnsi, failures_give_null) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(NarrowToAnsi(nullptr, L"abc", 4, kThreadCodePage), nullptr);
    EXPECT_EQ(NarrowToAnsi(buffer, L"abc", 0, kThreadCodePage), nullptr);
    EXPECT_EQ(buffer[0], 'x') << "a buffer of no size is not touched";
    EXPECT_EQ(NarrowToAnsi(buffer, nullptr, sizeof(buffer), kThreadCodePage), nullptr);
    EXPECT_EQ(NarrowToAnsi(buffer, L"abcd", sizeof(buffer), kThreadCodePage), nullptr);
}

TEST(NarrowToAnsi, empty_text_clears_the_first_byte) {
    char buffer[2] = {'x', 'x'};
    EXPECT_EQ(NarrowToAnsi(buffer, L"", sizeof(buffer), kThreadCodePage), buffer);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'x');
}
