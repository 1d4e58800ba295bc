// Folder tokens in texts: which there are, and what becomes of a text.

#include "lib/wycommon/WyCommon_CsidlTokens.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

namespace Csidl = WyCommon::Csidl;

struct Row {
    const wchar_t* name;
    int folder;
};

constexpr Row kTokens[] = {
    {L"CSIDL_APPDATA", 26},
    {L"CSIDL_BITBUCKET", 10},
    {L"CSIDL_COMMON_APPDATA", 35},
    {L"CSIDL_COMMON_DESKTOPDIRECTORY", 25},
    {L"CSIDL_COMMON_DOCUMENTS", 46},
    {L"CSIDL_COMMON_FAVORITES", 31},
    {L"CSIDL_COMMON_MUSIC", 53},
    {L"CSIDL_COMMON_PICTURES", 54},
    {L"CSIDL_COMMON_PROGRAMS", 23},
    {L"CSIDL_COMMON_STARTMENU", 22},
    {L"CSIDL_COMMON_STARTUP", 24},
    {L"CSIDL_COMMON_TEMPLATES", 45},
    {L"CSIDL_COMMON_VIDEO", 55},
    {L"CSIDL_COMPUTERSNEARME", 61},
    {L"CSIDL_COOKIES", 33},
    {L"CSIDL_DESKTOP", 0},
    {L"CSIDL_DESKTOPDIRECTORY", 16},
    {L"CSIDL_FAVORITES", 6},
    {L"CSIDL_HISTORY", 34},
    {L"CSIDL_INTERNET", 1},
    {L"CSIDL_INTERNET_CACHE", 32},
    {L"CSIDL_LOCAL_APPDATA", 28},
    {L"CSIDL_MYDOCUMENTS", 5},
    {L"CSIDL_MYMUSIC", 13},
    {L"CSIDL_MYPICTURES", 39},
    {L"CSIDL_MYVIDEO", 14},
    {L"CSIDL_PROFILE", 40},
    {L"CSIDL_PROGRAM_FILES", 38},
    {L"CSIDL_PROGRAM_FILESX86", 42},
    {L"CSIDL_PROGRAM_FILES_COMMON", 43},
    {L"CSIDL_PROGRAM_FILES_COMMONX86", 44},
    {L"CSIDL_PROGRAMS", 2},
    {L"CSIDL_RECENT", 8},
    {L"CSIDL_STARTMENU", 11},
    {L"CSIDL_STARTUP", 7},
    {L"CSIDL_SYSTEM", 37},
    {L"CSIDL_SYSTEMX86", 41},
    {L"CSIDL_WINDOWS", 36},
};

// Answers "<id>", so that a text shows what was asked.
std::optional<std::wstring> Number(int folder) {
    return L'<' + std::to_wstring(folder) + L'>';
}

TEST(CsidlTokens, thirty_eight_names_with_their_folders) {
    static_assert(std::size(kTokens) == 38);
    EXPECT_EQ(Csidl::Tokens().size(), 38U);
    for (const Row& row : kTokens) {
        EXPECT_EQ(Csidl::FindFolder(row.name), row.folder) << row.name;
        const std::wstring token = std::wstring(L"#") + row.name + L'#';
        EXPECT_EQ(Csidl::Expand(token, Number), Number(row.folder)) << row.name;
    }
}

TEST(CsidlTokens, other_names_are_unknown) {
    for (const wchar_t* name :
         {L"", L" ", L"CSIDL_", L"csidl_appdata", L"CSIDL_APPDATA ", L" CSIDL_APPDATA",
          L"CSIDL_APPDAT", L"CSIDL_APPDATAA", L"CSIDL_PERSONAL", L"CSIDL_FONTS", L"APPDATA",
          L"CSIDL_AAAA", L"CSIDL_ZZZZ", L"A", L"Z"}) {
        EXPECT_EQ(Csidl::FindFolder(name), std::nullopt) << name;
    }
}

TEST(CsidlTokens, texts) {
    const struct {
        const wchar_t* text;
        const wchar_t* expanded;
    } rows[] = {
        {L"", L""},
        {L"no token", L"no token"},
        {L"#", L"#"},
        {L"##", L"##"},
        {L"###", L"###"},
        {L"one # sign", L"one # sign"},
        {L"#CSIDL_SYSTEM", L"#CSIDL_SYSTEM"},
        {L"CSIDL_SYSTEM#", L"CSIDL_SYSTEM#"},
        {L"CSIDL_SYSTEM", L"CSIDL_SYSTEM"},
        {L"#CSIDL_SYSTEM#", L"<37>"},
        {L"#CSIDL_SYSTEM#\\a\\b.txt", L"<37>\\a\\b.txt"},
        {L"#CSIDL_SYSTEM#a", L"<37>a"},
        {L"before #CSIDL_SYSTEM# behind", L"before <37> behind"},
        {L"#CSIDL_SYSTEM##CSIDL_WINDOWS#", L"<37>#CSIDL_WINDOWS#"},
        {L"#CSIDL_WINDOWS#\\#CSIDL_SYSTEM#", L"<36>\\#CSIDL_SYSTEM#"},
        {L"#CSIDL_UNKNOWN#", L"#CSIDL_UNKNOWN#"},
        {L"#CSIDL_UNKNOWN#CSIDL_SYSTEM#", L"#CSIDL_UNKNOWN#CSIDL_SYSTEM#"},
        {L"##CSIDL_SYSTEM#", L"##CSIDL_SYSTEM#"},
        {L"a#b#CSIDL_SYSTEM#", L"a#b#CSIDL_SYSTEM#"},
        {L"#csidl_system#", L"#csidl_system#"},
        {L"# CSIDL_SYSTEM #", L"# CSIDL_SYSTEM #"},
        {L"#CSIDL_SYSTEM#\\caf\x00e9#", L"<37>\\caf\x00e9#"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Csidl::Expand(row.text, Number), row.expanded) << row.text;
}

TEST(CsidlTokens, text_with_a_nul_inside_stays_whole) {
    const std::wstring nul(1, L'\0');
    EXPECT_EQ(Csidl::Expand(L"a" + nul + L"#CSIDL_SYSTEM#" + nul, Number),
              L"a" + nul + L"<37>" + nul);
    EXPECT_EQ(Csidl::Expand(L"#CSIDL_SYSTEM" + nul + L"#", Number), L"#CSIDL_SYSTEM" + nul + L"#");
}

TEST(CsidlTokens, folder_that_is_not_told_leaves_the_text) {
    std::vector<int> asked;
    const auto nothing = [&](int folder) -> std::optional<std::wstring> {
        asked.push_back(folder);
        return std::nullopt;
    };
    EXPECT_EQ(Csidl::Expand(L"a#CSIDL_SYSTEM#b#CSIDL_WINDOWS#", nothing),
              L"a#CSIDL_SYSTEM#b#CSIDL_WINDOWS#");
    EXPECT_EQ(asked, std::vector<int>{37});
    EXPECT_EQ(Csidl::Expand(L"#CSIDL_UNKNOWN#", nothing), L"#CSIDL_UNKNOWN#");
    EXPECT_EQ(asked.size(), 1U);
}

TEST(CsidlTokens, folder_may_be_empty_or_hold_signs) {
    EXPECT_EQ(Csidl::Expand(L"a#CSIDL_SYSTEM#b", [](int) { return std::optional(std::wstring()); }),
              L"ab");
    EXPECT_EQ(Csidl::Expand(L"#CSIDL_SYSTEM#b",
                            [](int) { return std::optional<std::wstring>(L"#CSIDL_WINDOWS#"); }),
              L"#CSIDL_WINDOWS#b");
}

}  // namespace
