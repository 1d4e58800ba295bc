// wyctl.exe on files of the library: JSON databases in both forms.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class WyctlJsonDb : public ::testing::Test {
protected:
    std::wstring File(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }

    test_support::TemporaryFolder m_Folder{kTestFolder};
    const std::wstring m_strFile = File(L"data \u00fc\u20ac.json");
};

constexpr const char* kText = "{\"name\":\"\xc3\xa4\xe2\x82\xac\",\"list\":[1,2]}";

TEST_F(WyctlJsonDb, save_and_show_in_both_forms) {
    for (const bool encrypt : {false, true}) {
        std::vector<std::wstring> save = {L"jsondb", L"save", m_strFile};
        if (encrypt) {
            save.push_back(L"--encrypt");
        }
        const ProgramResult saved = Wyctl(save, kText);
        EXPECT_EQ(saved.exitCode, 0U) << saved.err;
        EXPECT_THAT(saved.out, HasSubstr(encrypt ? ": enciphered, " : ": plain, "));
        const std::string content = ReadTextFile(m_strFile);
        EXPECT_EQ(content.starts_with("WYJSONDB"), encrypt);
        EXPECT_EQ(content.find("list") == std::string::npos, encrypt);

        const ProgramResult shown = Wyctl({L"jsondb", L"show", m_strFile});
        EXPECT_EQ(shown.exitCode, 0U) << shown.err;
        EXPECT_THAT(shown.out, HasSubstr("\"name\" : \"\xc3\xa4\xe2\x82\xac\""));
        const Json::Value answer =
            OneJsonLine(Wyctl({L"jsondb", L"show", m_strFile, L"--json"}).out);
        EXPECT_EQ(answer["ok"], Json::Value(true));
        EXPECT_EQ(answer["enciphered"], Json::Value(encrypt));
        EXPECT_EQ(answer["document"]["list"][1].asInt(), 2);

        const ProgramResult checked = Wyctl({L"crypt", L"check", m_strFile});
        EXPECT_EQ(checked.exitCode, 0U);
        EXPECT_THAT(checked.out, StartsWith(encrypt ? "enciphered, " : "plain, "));
        EXPECT_THAT(checked.out, EndsWith(" bytes, parses\n"));
    }
}

TEST_F(WyctlJsonDb, save_takes_text_from_a_file) {
    const std::wstring source = File(L"source.json");
    WriteBytes(source, kText);
    const ProgramResult saved =
        Wyctl({L"jsondb", L"save", m_strFile, L"--from", source, L"--encrypt", L"--json"});
    EXPECT_EQ(saved.exitCode, 0U) << saved.err;
    const Json::Value answer = OneJsonLine(saved.out);
    EXPECT_EQ(answer["enciphered"], Json::Value(true));
    EXPECT_EQ(answer["size"].asUInt64(), ReadTextFile(m_strFile).size());
    // From one database into another one.
    const ProgramResult again = Wyctl({L"jsondb", L"save", File(L"b.json"), L"--from", L"-"},
                                      Wyctl({L"jsondb", L"show", m_strFile}).out);
    EXPECT_EQ(again.exitCode, 0U);
    EXPECT_THAT(ReadTextFile(File(L"b.json")), HasSubstr("\"list\" : [ 1, 2 ]"));
}

TEST_F(WyctlJsonDb, check_by_content) {
    const struct {
        const char* content;
        std::uint32_t exitCode;
        bool enciphered;
        const char* problem;
    } rows[] = {
        {"[1]", 0, false, nullptr},
        {"", 1, false, "the text is no JSON"},
        {"{\"a\":", 1, false, "the text is no JSON"},
        {"wyjsondb00", 1, false, "the text is no JSON"},
        {"WYJSONDB", 1, true, "there is nothing behind the magic"},
        {"WYJSONDBabc", 1, true, "3 digit(s) are no whole number of blocks of 32; 3 are left over"},
        {"WYJSONDBxy345678901234567890123456789012", 1, true,
         "2 character(s) are no hexadecimal digits"},
        {"WYJSONDB00000000000000000000000000000000", 1, true, "made with another key"},
    };
    for (const auto& row : rows) {
        WriteBytes(m_strFile, row.content);
        const ProgramResult text = Wyctl({L"crypt", L"check", m_strFile});
        EXPECT_EQ(text.exitCode, row.exitCode) << row.content;
        const ProgramResult json = Wyctl({L"crypt", L"check", m_strFile, L"--json"});
        EXPECT_EQ(json.exitCode, row.exitCode) << row.content;
        const Json::Value answer = OneJsonLine(json.out);
        EXPECT_EQ(answer["parses"], Json::Value(row.exitCode == 0)) << row.content;
        EXPECT_EQ(answer["ok"], answer["parses"]);
        EXPECT_EQ(answer["enciphered"], Json::Value(row.enciphered)) << row.content;
        if (row.problem != nullptr) {
            EXPECT_THAT(text.out, HasSubstr(row.problem));
            EXPECT_THAT(answer["problems"][0].asString(), HasSubstr(row.problem));
            EXPECT_THAT(text.err, HasSubstr("no JSON"));
            EXPECT_EQ(Wyctl({L"jsondb", L"show", m_strFile}).exitCode, 1U);
        }
    }
}

TEST_F(WyctlJsonDb, failures_are_named_and_change_nothing) {
    WriteBytes(m_strFile, "[1]");
    const struct {
        std::vector<std::wstring> arguments;
        std::uint32_t exitCode;
        const char* words;
    } rows[] = {
        {{L"jsondb"}, 2, "subcommand"},
        {{L"crypt"}, 2, "subcommand"},
        {{L"jsondb", L"show"}, 2, "FILE"},
        {{L"jsondb", L"save"}, 2, "FILE"},
        {{L"crypt", L"check"}, 2, "FILE"},
        {{L"jsondb", L"show", File(L"none.json")}, 1, "none.json (system error 2)"},
        {{L"crypt", L"check", File(L"none.json")}, 1, "none.json (system error 2)"},
        {{L"jsondb", L"save", m_strFile, L"--from", File(L"none.json")}, 1, "(system error 2)"},
        {{L"jsondb", L"save", m_strFile}, 1, "standard input holds no JSON document"},
        {{L"jsondb", L"save", File(L"none\\x.json"), L"--from", m_strFile},
         1,
         "cannot be opened for writing (0xe0ff0011)"},
    };
    for (const auto& row : rows) {
        const ProgramResult text = Wyctl(row.arguments, "[1] and more");
        EXPECT_EQ(text.exitCode, row.exitCode) << row.words;
        EXPECT_EQ(text.out, "") << row.words;
        EXPECT_THAT(text.err, HasSubstr(row.words));
        auto arguments = row.arguments;
        arguments.insert(arguments.begin(), L"--json");
        const ProgramResult json = Wyctl(arguments, "[1] and more");
        EXPECT_EQ(json.exitCode, row.exitCode) << row.words;
        EXPECT_EQ(OneJsonLine(json.out)["error"],
                  Json::Value(row.exitCode == 2 ? "usage" : "failure"));
    }
    EXPECT_EQ(ReadTextFile(m_strFile), "[1]");
    EXPECT_FALSE(std::filesystem::exists(m_Folder.Path() / L"none"));
}

TEST(Wyctl, help_names_the_commands_for_files) {
    const ProgramResult result = Wyctl({L"--help"});
    for (const char* command : {"jsondb", "crypt"}) {
        EXPECT_THAT(result.out, HasSubstr(std::string("\n  ") + command + " "));
    }
    EXPECT_THAT(Wyctl({L"jsondb", L"--help"}).out, Not(HasSubstr("check")));
}

}  // namespace
