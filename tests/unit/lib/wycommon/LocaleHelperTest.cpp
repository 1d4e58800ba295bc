// The locale name of the user's language: mapping, cache, fall-back, lines.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Common/KrCommon/KrComn_Result.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "lib/wycommon/WyLocaleHelper.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

namespace {

using KrCommon::Result::kJsonDbNotRead;
using KrCommon::Result::kSuccess;
using test_support::LogRecorder;
using WyCommon::LocaleHelper;

constexpr std::uint32_t kInformation = 1;
constexpr std::uint32_t kError = 256;

std::uint32_t German() {
    return 0x407;
}

class LocaleInfo : public ::testing::Test {
protected:
    std::wstring Path() const { return m_File.wstring(); }
    void Write(const std::string& content) const {
        std::ofstream(m_File, std::ios::binary) << content;
    }

    test_support::TemporaryFolder m_Folder{L"wy locale"};
    std::filesystem::path m_File = m_Folder.Path() / L"localeInfo.json";
};

void ExpectLine(const LogRecorder& log, std::uint32_t level, const std::wstring& text) {
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].file, "WyLocaleHelper");
    EXPECT_EQ(lines[0].level, level);
    EXPECT_EQ(lines[0].text, text);
}

TEST_F(LocaleInfo, name_by_content) {
    const std::wstring unknown =
        L"WyCommon: [INFO] Get locale name, unsupport language, return en-us, lcid: 1031";
    const auto found = [](const std::wstring& name) {
        return L"WyCommon: [INFO] Get locale name, lcid: 1031, localeName: " + name;
    };
    const struct {
        const char* what;
        const char* content;
        std::wstring name;
        std::wstring line;
    } rows[] = {
        {"its row",
         R"({"localMapping":[{"lcid":1033,"localeName":"EN-US"},{"lcid":1031,"localeName":"DE-DE"}],
             "defaultLocal":"FR-FR"})",
         L"DE-DE", found(L"DE-DE")},
        {"the first of two rows",
         R"({"localMapping":[{"lcid":1031,"localeName":"A"},{"lcid":1031,"localeName":"B"}]})",
         L"A", found(L"A")},
        {"no row",
         R"({"localMapping":[{"lcid":1033,"localeName":"EN-US"}],"defaultLocal":"FR-FR"})",
         L"FR-FR", unknown},
        {"no mapping", R"({"defaultLocal":"FR-FR"})", L"FR-FR", unknown},
        {"an empty mapping", R"({"localMapping":[],"defaultLocal":"FR-FR"})", L"FR-FR", unknown},
        {"a mapping that is no array", R"({"localMapping":{"lcid":1031},"defaultLocal":"FR-FR"})",
         L"FR-FR", unknown},
        {"a mapping that is text", R"({"localMapping":"1031","defaultLocal":"FR-FR"})", L"FR-FR",
         unknown},
        {"rows that are no objects",
         R"({"localMapping":[1031,null,"1031",[1031]],"defaultLocal":"FR-FR"})", L"FR-FR", unknown},
        {"the number as text",
         R"({"localMapping":[{"lcid":"1031","localeName":"A"}],"defaultLocal":"FR-FR"})", L"FR-FR",
         unknown},
        {"a negative number",
         R"({"localMapping":[{"lcid":-1031,"localeName":"A"}],"defaultLocal":"FR-FR"})", L"FR-FR",
         unknown},
        {"a row without a number",
         R"({"localMapping":[{"localeName":"A"},{"lcid":1031,"localeName":"B"}]})", L"B",
         found(L"B")},
        {"a row without a name", R"({"localMapping":[{"lcid":1031}],"defaultLocal":"FR-FR"})", L"",
         found(L"")},
        {"neither key", R"({"a":1})", L"", unknown},
        {"no row and no default", R"({"localMapping":[{"lcid":1033,"localeName":"A"}]})", L"",
         unknown},
        {"an array", "[1]", L"", unknown},
        {"a default that is a number", R"({"defaultLocal":5})", L"5", unknown},
        {"an object for a default", R"({"defaultLocal":{"a":1}})", L"", unknown},
    };
    for (const auto& row : rows) {
        Write(row.content);
        LocaleHelper helper(German);
        LogRecorder log;
        std::wstring name = L"before";
        EXPECT_EQ(helper.GetLocaleName(name, Path()), kSuccess) << row.what;
        EXPECT_EQ(name, row.name) << row.what;
        ExpectLine(log, kInformation, row.line);
    }
}

TEST_F(LocaleInfo, enciphered_file_is_read) {
    JsonDocument document;
    ASSERT_EQ(document.Parse(L"{\"localMapping\":[{\"lcid\":1031,\"localeName\":\"DE-DE\"}]}"), 0U);
    ASSERT_EQ(WyCommon::JsonDb::Save(Path(), document, true), kSuccess);
    LocaleHelper helper(German);
    std::wstring name;
    EXPECT_EQ(helper.GetLocaleName(name, Path()), kSuccess);
    EXPECT_EQ(name, L"DE-DE");
}

TEST_F(LocaleInfo, name_is_kept_and_another_path_not_read) {
    Write(R"({"defaultLocal":"FR-FR"})");
    LocaleHelper helper(German);
    std::wstring name;
    ASSERT_EQ(helper.GetLocaleName(name, Path()), kSuccess);
    LogRecorder log;
    std::wstring again;
    EXPECT_EQ(helper.GetLocaleName(again, Path() + L".none"), kSuccess);
    EXPECT_EQ(again, L"FR-FR");
    ExpectLine(log, kInformation, L"WyCommon: [INFO] m_localName exist, just return it");
}

TEST_F(LocaleInfo, failed_call_is_told_and_the_next_one_reads_again) {
    LocaleHelper helper(German);
    std::wstring name = L"before";
    {
        LogRecorder log;
        EXPECT_EQ(helper.GetLocaleName(name, Path()), kJsonDbNotRead);
        EXPECT_EQ(name, L"before");
        const auto lines = log.Lines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].file, "WyCommon_JsonDb");
        EXPECT_EQ(lines[1].text, L"WyCommon: [ERROR] Parse localMapping file error: 0xe0ff0012");
        EXPECT_EQ(lines[1].level, kError);
    }
    for (const char* const content : {"", "no JSON", "null", "WYJSONDB no digits"}) {
        Write(content);
        LogRecorder log;
        EXPECT_EQ(helper.GetLocaleName(name, Path()), kSuccess) << content;
        EXPECT_EQ(name, L"before");
        EXPECT_EQ(log.Lines().back().text,
                  L"WyCommon: [ERROR] Parse localMapping file error: 0x20ff0000");
    }
    // An empty name is none: the file is read again.
    Write(R"({"a":1})");
    EXPECT_EQ(helper.GetLocaleName(name, Path()), kSuccess);
    EXPECT_EQ(name, L"");
    Write(R"({"localMapping":[{"lcid":1031,"localeName":"DE-DE"}]})");
    EXPECT_EQ(helper.GetLocaleName(name, Path()), kSuccess);
    EXPECT_EQ(name, L"DE-DE");
}

// The object of the process keeps its name: one test walks the whole way.
TEST_F(LocaleInfo, callers_get_a_name_in_every_case) {
    namespace Utility = WyCommon::Utility;
    std::wstring name = L"before";
    EXPECT_EQ(Utility::GetLocaleName(name, Path()), kJsonDbNotRead);
    EXPECT_EQ(name, L"EN-US");
    for (const char* const content : {"no JSON", R"({"a":1})"}) {
        Write(content);
        name = L"before";
        EXPECT_EQ(Utility::GetLocaleName(name, Path()), kSuccess) << content;
        EXPECT_EQ(name, L"EN-US");
    }
    Write(R"({"defaultLocal":"FR-FR"})");
    EXPECT_EQ(Utility::GetLocaleName(name, Path()), kSuccess);
    EXPECT_EQ(name, L"FR-FR");
    EXPECT_EQ(Utility::GetLocaleName(name, L"none"), kSuccess);
    EXPECT_EQ(name, L"FR-FR");
}

}  // namespace
