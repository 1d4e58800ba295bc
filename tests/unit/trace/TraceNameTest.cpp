#include "trace/TraceName.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::wstring Stem(const wchar_t* prefix, const std::wstring& name,
                  const wchar_t* executable = L"") {
    return Trace::FileStem({prefix, name, executable, L""});
}

TEST(TraceFileStem, joins_what_is_there_and_cleans_each_part) {
    const struct {
        const wchar_t* prefix;
        const wchar_t* name;
        const wchar_t* executable;
        const wchar_t* stem;
    } rows[] = {
        {L"qrn", L"WySdk", L"", L"qrn_WySdk"},
        {L"qrn", L"WySdk", L"WySvcHost", L"qrn_WySdk_WySvcHost"},
        {L"", L"WySdk", L"", L"WySdk"},
        {L"qrn", L"", L"", L"qrn"},
        {L"", L"", L"host", L"host"},
        {L"", L"", L"", L"trace"},
        {L"..", L"..", L"", L"trace"},
        {L"..\\..\\x", L"a/b", L"", L".._.._x_a_b"},
        {L"C:\\windows", L"x", L"", L"C__windows_x"},
        {L"a:stream", L"b", L"", L"a_stream_b"},
        {L"a<b>c\"d|e?f*g", L"h", L"", L"a_b_c_d_e_f_g_h"},
        {L"a\tb\x01", L"c\x7f", L"", L"a_b__c_"},
        {L"a. . .", L"b ", L"", L"a_b"},
        {L"", L"con", L"", L"_con"},
        {L"", L"CON", L"", L"_CON"},
        {L"", L"con.txt", L"", L"_con.txt"},
        {L"", L"con .txt", L"", L"_con .txt"},
        {L"", L"nul", L"", L"_nul"},
        {L"", L"prn", L"", L"_prn"},
        {L"", L"aux", L"", L"_aux"},
        {L"", L"COM1", L"", L"_COM1"},
        {L"", L"lpt9.x", L"", L"_lpt9.x"},
        {L"", L"com\xb2", L"", L"_com\xb2"},
        {L"", L"conin$", L"", L"_conin$"},
        {L"", L"com10", L"", L"com10"},
        {L"", L"com", L"", L"com"},
        {L"", L"co", L"", L"co"},
        {L"", L"console", L"", L"console"},
        {L"con.", L"x", L"", L"con_x"},
        {L"con.a", L"x", L"", L"_con.a_x"},
        {L"\x20ac", L"\xe4", L"", L"\x20ac_\xe4"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Stem(row.prefix, row.name, row.executable), row.stem);
    }
}

TEST(TraceFileStem, is_cut_and_leaves_no_half_of_a_character) {
    EXPECT_EQ(Stem(L"p", std::wstring(1000, L'x')), L"p_" + std::wstring(98, L'x'));
    EXPECT_EQ(Stem(L"p", std::wstring(97, L'x') + static_cast<wchar_t>(0xd83d) +
                             static_cast<wchar_t>(0xde00)),
              L"p_" + std::wstring(97, L'x'));
    EXPECT_EQ(Stem(L"p", std::wstring(95, L'x') + L"...yyyyy"), L"p_" + std::wstring(95, L'x'));
}

TEST(TraceFileExtension, has_one_dot_or_is_empty) {
    const struct {
        const wchar_t* given;
        const wchar_t* shown;
    } rows[] = {{L"log", L".log"},
                {L".log", L".log"},
                {L"..log", L".log"},
                {L"", L""},
                {L".", L""},
                {L" . ", L""},
                {L"a/b:c", L".a_b_c"},
                {L"log. ", L".log"},
                {L"tar.gz", L".tar.gz"},
                {L"abcdefghijklmnopqrstuvwxyz", L".abcdefghijklmnopqrst"}};
    for (const auto& row : rows) {
        EXPECT_EQ(Trace::FileExtension(row.given), row.shown) << row.given;
    }
}

TEST(TraceFolder, is_absolute_and_without_dots_or_refused) {
    const struct {
        const wchar_t* given;
        const wchar_t* folder;  // null: refused
    } rows[] = {
        {L"", L"D:\\data\\Log"},
        {L"C:\\logs", L"C:\\logs"},
        {L"C:\\logs\\", L"C:\\logs"},
        {L"C:/logs//x/", L"C:\\logs\\x"},
        {L"c:\\", L"c:"},
        {L"%commonappdata%\\x", L"D:\\data\\x"},
        {L"%CommonAppData%\\x", L"D:\\data\\x"},
        {L"%commonappdata%", L"D:\\data"},
        {L"%commonappdata", L"D:\\data\\Log\\%commonappdata"},
        {L"C:\\%commonappdata%", nullptr},  // a drive in the middle
        {L"sub", L"D:\\data\\Log\\sub"},
        {L"..\\..\\..\\..\\x", L"D:\\x"},
        {L"C:\\a\\..\\b", L"C:\\b"},
        {L"C:\\..\\..\\b", L"C:\\b"},
        {L"C:\\a\\.\\b", L"C:\\a\\b"},
        {L"\\logs", L"\\logs"},
        {L"/logs/x", L"\\logs\\x"},
        {L"\\\\server\\share\\x", L"\\\\server\\share\\x"},
        {L"\\\\server\\share\\..\\..\\x", L"\\\\server\\share\\x"},
        {L"\\\\server\\share", L"\\\\server\\share"},
        {L"\\\\server", nullptr},
        {L"\\\\", nullptr},
        {L"\\\\..\\share\\x", nullptr},
        {L"\\\\server\\..\\x", nullptr},
        {L"\\\\server\\a:b\\x", nullptr},
        {L"\\\\.\\pipe\\x", nullptr},
        {L"\\\\?\\C:\\x", nullptr},
        {L"//./PhysicalDrive0", nullptr},
        {L"C:logs", nullptr},
        {L"C:", nullptr},
        {L"C:\\a:stream", nullptr},
        {L"a:stream\\x", nullptr},
    };
    for (const auto& row : rows) {
        const auto folder = Trace::ResolveFolder(row.given, L"D:\\data", L"D:\\data\\Log");
        EXPECT_EQ(folder.has_value(), row.folder != nullptr) << row.given;
        if (folder.has_value() && row.folder != nullptr) {
            EXPECT_EQ(*folder, row.folder) << row.given;
        }
    }
}

TEST(TraceRecordText, ends_at_its_nul_or_with_its_field) {
    const char16_t ended[] = {u'a', u'b', 0, u'c'};
    EXPECT_EQ(Trace::RecordText(ended, 4), L"ab");
    EXPECT_EQ(Trace::RecordText(ended, 2), L"ab") << "no NUL";
    EXPECT_EQ(Trace::RecordText(ended, 0), L"");
    EXPECT_EQ(Trace::RecordText(u"\U0001f600x", 3), L"\U0001f600x");
}

}  // namespace
