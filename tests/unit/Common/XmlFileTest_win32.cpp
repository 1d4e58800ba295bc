// What Windows adds to reading files: sharing, and a code page for text.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "Common/KrCommon/KrComn_FileBase.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "XmlTestSupport.h"

namespace {

using KrCommon::Storage::FileBase;
using KrCommon::Storage::XmlElement;
using KrCommon::Storage::XmlParser;
using xml_test::DocumentFile;
using xml_test::Open;
using xml_test::Outcome;
using xml_test::OutcomeOf;

// The code with which the file cannot be deleted; then it is still there.
int DeleteFailure(const DocumentFile& document) {
    std::error_code failure;
    std::filesystem::remove(document.Path(), failure);
    return failure.value();
}

TEST(FileBase, missing_folder_gives_path_not_found) {
    const DocumentFile document("abc");
    const std::wstring path =
        (document.Path().parent_path() / "missing" / "document.xml").wstring();
    FileBase file;
    std::uint32_t error = 0;
    EXPECT_FALSE(file.OpenForRead(path.c_str(), &error));
    EXPECT_EQ(error, 3U);
}

TEST(FileBase, open_file_can_be_read_by_others_but_not_deleted_until_it_goes) {
    const DocumentFile document("abc");
    {
        FileBase file;
        FileBase other;
        ASSERT_TRUE(file.OpenForRead(document.Path().c_str(), nullptr));
        EXPECT_TRUE(other.OpenForRead(document.Path().c_str(), nullptr));
        EXPECT_EQ(DeleteFailure(document), ERROR_SHARING_VIOLATION);
    }
    EXPECT_EQ(DeleteFailure(document), 0);
}

TEST(FileBase, file_that_others_write_is_refused) {
    const DocumentFile document("abc");
    const HANDLE writer = CreateFileW(document.Path().c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(writer, INVALID_HANDLE_VALUE);
    FileBase file;
    std::uint32_t error = 0;
    EXPECT_FALSE(file.OpenForRead(document.Path().c_str(), &error));
    EXPECT_EQ(error, 32U);
    XmlParser parser;
    const Outcome outcome = OutcomeOf([&] { Open(parser, document); });
    EXPECT_TRUE(outcome.isXml);
    EXPECT_EQ(outcome.code, 32U);
    CloseHandle(writer);
}

TEST(XmlParser, file_stays_open_until_close) {
    const DocumentFile document("<a/>");
    XmlParser parser;
    Open(parser, document);
    EXPECT_EQ(DeleteFailure(document), ERROR_SHARING_VIOLATION);
    parser.Close();
    EXPECT_EQ(DeleteFailure(document), 0);
}

TEST(XmlParser, failed_open_closes_the_file) {
    struct Row {
        const char* document;
        const wchar_t* rootPath;
        const wchar_t* folderOfDll;
        const wchar_t* encoding;
    };
    const Row rows[] = {
        {"<a>", L"/", L".", L"UTF8"},
        {"<a/>", L"/b", L".", L"UTF8"},
        {"<a/>", L"a", L".", L"UTF8"},
        {"<a/>", L"/", L"data\\missing", L"UTF8"},
        {"<a/>", L"/", L"data\\old-expat", L"UTF8"},
        {"<a/>", L"/", L".", L"EBCDIC"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.document);
        const DocumentFile document(row.document);
        XmlParser parser;
        EXPECT_NE(OutcomeOf([&] {
                      parser.SetOption(L"PathOfDll", row.folderOfDll);
                      parser.SetOption(L"Encoding", row.encoding);
                      parser.Open(document.Path().c_str(), row.rootPath);
                  }).code,
                  0U);
        EXPECT_EQ(DeleteFailure(document), 0);
    }
}

TEST(XmlParser, characters_beyond_ascii_come_as_the_code_page_reads_their_utf8) {
    // "Größe" and the euro sign in UTF-8; the thread's code page is 1252 here.
    ASSERT_EQ(GetACP(), 1252U);
    const std::wstring tree = xml_test::Read("<Gr\xc3\xb6\xc3\x9f\x65 n=\"\xe2\x82\xac\"/>");
    EXPECT_EQ(tree, L"(Gr\u00c3\u00b6\u00c3\u0178e{n=\u00e2\u201a\u00ac})");
}

TEST(XmlParser, library_is_not_loaded_any_more_behind_open) {
    const DocumentFile document("<a/>");
    XmlParser parser;
    Open(parser, document);
    EXPECT_EQ(GetModuleHandleW(L"libexpat.dll"), nullptr);
}

}  // namespace
