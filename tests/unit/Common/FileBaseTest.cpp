// The file that is open for reading.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "Common/KrCommon/KrComn_FileBase.h"
#include "XmlTestSupport.h"

namespace {

using KrCommon::Storage::FileBase;
using xml_test::DocumentFile;

constexpr std::uint32_t kUntouched = 0xeeeeeeee;

std::wstring PathOf(const DocumentFile& file) {
    return file.Path().wstring();
}

// Each row reads from a file that holds "abcdefgh", after so many bytes were read before.
TEST(FileBase, read_exact_gives_the_code_of_the_table) {
    struct Row {
        std::uint32_t before;
        bool withBuffer;
        std::uint32_t length;
        bool result;
        std::uint32_t error;
        std::uint32_t bytesRead;
        const char* buffer;  // its first eight bytes, "." for a zero
    };
    const Row rows[] = {
        {0, true, 4, true, 0, 4, "abcd~~~~"},     {0, true, 8, true, 0, 8, "abcdefgh"},
        {4, true, 4, true, 0, 4, "efgh~~~~"},     {6, true, 4, false, 13, 2, "gh..~~~~"},
        {8, true, 4, false, 38, 0, "....~~~~"},   {0, true, 0, false, 38, 0, "~~~~~~~~"},
        {0, false, 4, false, 160, 0, "~~~~~~~~"},
    };
    const DocumentFile document("abcdefgh");
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "after " << row.before << ", length " << row.length);
        FileBase file;
        ASSERT_TRUE(file.OpenForRead(PathOf(document).c_str(), nullptr));
        std::string buffer(16, '~');
        ASSERT_TRUE(file.Read(buffer.data(), row.before, nullptr, nullptr));
        buffer.assign(16, '~');
        std::uint32_t bytesRead = kUntouched;
        std::uint32_t error = kUntouched;
        EXPECT_EQ(file.ReadExact(row.withBuffer ? buffer.data() : nullptr, row.length, &bytesRead,
                                 &error),
                  row.result);
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(bytesRead, row.bytesRead);
        std::replace(buffer.begin(), buffer.end(), '\0', '.');
        EXPECT_EQ(buffer.substr(0, 8), row.buffer);
    }
}

TEST(FileBase, read_exact_without_a_file_stores_nothing) {
    FileBase file;
    char buffer[] = "~~~~";
    std::uint32_t bytesRead = kUntouched;
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(file.ReadExact(buffer, 4, &bytesRead, &error));
    EXPECT_FALSE(file.ReadExact(nullptr, 4, &bytesRead, &error));
    EXPECT_STREQ(buffer, "~~~~");
    EXPECT_EQ(bytesRead, kUntouched);
    EXPECT_EQ(error, kUntouched);
}

TEST(FileBase, read_exact_works_without_out_parameters) {
    const DocumentFile document("ab");
    FileBase file;
    ASSERT_TRUE(file.OpenForRead(PathOf(document).c_str(), nullptr));
    char buffer[2] = {};
    EXPECT_TRUE(file.ReadExact(buffer, 2, nullptr, nullptr));
    EXPECT_EQ(std::string(buffer, 2), "ab");
    EXPECT_FALSE(file.ReadExact(buffer, 2, nullptr, nullptr));
}

TEST(FileBase, read_gives_what_is_left_and_nothing_at_the_end) {
    const DocumentFile document("abc");
    FileBase file;
    ASSERT_TRUE(file.OpenForRead(PathOf(document).c_str(), nullptr));
    char buffer[8] = "~~~~~~~";
    std::uint32_t bytesRead = 0;
    std::uint32_t error = kUntouched;
    EXPECT_TRUE(file.Read(buffer, sizeof(buffer), &bytesRead, &error));
    EXPECT_EQ(bytesRead, 3U);
    EXPECT_EQ(error, 0U);
    EXPECT_STREQ(buffer, "abc~~~~");
    EXPECT_TRUE(file.Read(buffer, sizeof(buffer), &bytesRead, &error));
    EXPECT_EQ(bytesRead, 0U);
    EXPECT_FALSE(file.Read(nullptr, 1, &bytesRead, &error));
    EXPECT_EQ(error, 160U);
    file.Close();
    EXPECT_FALSE(file.Read(buffer, 1, &bytesRead, &error));
    EXPECT_EQ(error, 6U);
}

TEST(FileBase, open_gives_the_code_of_each_failure) {
    const DocumentFile document("abc");
    const std::wstring folder = document.Path().parent_path().wstring();
    struct Row {
        const char* what;
        std::wstring path;
        bool null;
        std::uint32_t error;
    };
    const Row rows[] = {
        {"null", L"", true, 160},
        {"empty", L"", false, 160},
        {"missing", folder + L"/missing.xml", false, 2},
        {"folder", folder, false, 5},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        FileBase file;
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(file.OpenForRead(row.null ? nullptr : row.path.c_str(), &error));
        EXPECT_EQ(error, row.error);
        EXPECT_FALSE(file.IsOpen());
    }
}

TEST(FileBase, second_open_is_refused_and_keeps_the_first_file) {
    const DocumentFile document("abc");
    FileBase file;
    std::uint32_t error = kUntouched;
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.OpenForRead(PathOf(document).c_str(), &error));
    EXPECT_EQ(error, 0U);
    EXPECT_FALSE(file.OpenForRead(PathOf(document).c_str(), &error));
    EXPECT_EQ(error, 5010U);
    char buffer[3] = {};
    EXPECT_TRUE(file.ReadExact(buffer, 3, nullptr, nullptr));
    file.Close();
    file.Close();
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(file.OpenForRead(PathOf(document).c_str(), nullptr));
}

}  // namespace
