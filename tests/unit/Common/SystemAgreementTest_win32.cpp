// The portable helpers against the Windows functions that they stand for.

#include <gtest/gtest.h>

#include <cwchar>
#include <string>

#include "Common/KrCommon/KrComn_LogLine.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"

// Behind <windows.h>, which it needs.
#include <shlwapi.h>

namespace {

namespace String = KrCommon::String;

TEST(SystemAgreement, file_name_part_of_a_source_path) {
    for (const char* path : {"", "a.cpp", "d\\a.cpp", "/d/e/a.cpp", "c:a", "c:\\a", "d\\e/a", "d\\",
                             "d\\e\\", "d\\\\a", "\\\\s\\h\\a.b", "a b.c"}) {
        EXPECT_EQ(KrCommon::LogSourceName(path), PathFindFileNameA(path)) << path;
    }
}

TEST(SystemAgreement, extension_of_a_path) {
    for (const wchar_t* path : {L"", L"a.exe", L"c:\\d\\a.b.exe", L"c:\\d.e\\a", L"c:\\d\\",
                                L"c:\\d\\a.", L".profile", L"a.tar gz", L"a b.exe", L"\\"}) {
        EXPECT_EQ(String::GetExtension(path), PathFindExtensionW(path)) << path;
    }
}

TEST(SystemAgreement, comparison_without_case) {
    const wchar_t* texts[] = {L"", L"a", L"A", L"b", L"ab", L"Ab", L"[", L"_", L"z", L"Z", L"1"};
    const auto sign = [](int order) { return (order > 0) - (order < 0); };
    for (const wchar_t* a : texts) {
        for (const wchar_t* b : texts) {
            EXPECT_EQ(sign(String::CompareNoCase(a, b)), sign(_wcsicmp(a, b))) << a << ' ' << b;
        }
    }
}

TEST(SystemAgreement, every_character_of_the_basic_plane_as_utf8_and_back) {
    for (unsigned unit = 1; unit <= 0xffff; ++unit) {
        if (unit >= 0xd800 && unit <= 0xdfff) {
            continue;  // alone no character; old systems write it, newer ones replace it
        }
        const wchar_t wide = static_cast<wchar_t>(unit);
        char bytes[4];
        const int length =
            WideCharToMultiByte(CP_UTF8, 0, &wide, 1, bytes, sizeof(bytes), nullptr, nullptr);
        const std::string expected(bytes, static_cast<std::size_t>(length));
        ASSERT_EQ(String::ToUtf8({&wide, 1}), expected) << unit;
        ASSERT_EQ(String::FromUtf8(expected), std::wstring(1, wide)) << unit;
    }
}

TEST(SystemAgreement, surrogate_pairs_as_utf8) {
    for (const wchar_t* text : {L"\U00010000", L"\U0001f600", L"\U0010ffff"}) {
        char bytes[8];
        const int length =
            WideCharToMultiByte(CP_UTF8, 0, text, 2, bytes, sizeof(bytes), nullptr, nullptr);
        EXPECT_EQ(String::ToUtf8(text), std::string(bytes, static_cast<std::size_t>(length)));
    }
}

}  // namespace
