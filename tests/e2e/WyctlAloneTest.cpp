// wyctl.exe where no service listens.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"

namespace {

using ::testing::HasSubstr;

TEST(WyctlAlone, call_fails_with_code_and_meaning) {
    const ProgramResult text = Wyctl({L"call", L"WyGetSysCpuUsage"});
    EXPECT_EQ(text.exitCode, 1U);
    EXPECT_EQ(text.out, "");
    EXPECT_THAT(text.err, HasSubstr("WyGetSysCpuUsage failed with 0xe00106ba: no service listens"));

    const ProgramResult json = Wyctl({L"call", L"WyScan", L"1", L"", L"--json"});
    EXPECT_EQ(json.exitCode, 1U);
    const Json::Value answer = OneJsonLine(json.out);
    EXPECT_EQ(answer["ok"], Json::Value(false));
    EXPECT_EQ(answer["code"].asUInt(), 0xe00106baU);
    EXPECT_THAT(answer["meaning"].asString(), HasSubstr("no service listens"));
    EXPECT_TRUE(answer["outputs"]["sessionId"].isNull());

    const ProgramResult publish = Wyctl({L"publish", L"7", L"{}"});
    EXPECT_EQ(publish.exitCode, 1U);
    EXPECT_EQ(publish.out, "");
    EXPECT_THAT(publish.err, HasSubstr("WyPublishEventEx failed with 0xe00106ba: no service"));
}

TEST(WyctlAlone, commands_that_need_a_session_say_that_it_cannot_be_opened) {
    for (const wchar_t* command :
         {L"scan", L"bigfiles", L"duplicates", L"usage", L"monitor", L"events"}) {
        const ProgramResult result = Wyctl({command, L"--json"});
        EXPECT_EQ(result.exitCode, 1U);
        const Json::Value answer = OneJsonLine(result.out);
        EXPECT_EQ(answer["function"], Json::Value("WyInitialize"));
        EXPECT_EQ(answer["codeHex"], Json::Value("0xe00106ba"));
        EXPECT_THAT(result.err, HasSubstr("WyInitialize failed with 0xe00106ba"));
    }
    const ProgramResult batch = Wyctl({L"batch"}, "call WyGetSysCpuUsage\n");
    EXPECT_EQ(batch.exitCode, 1U);
    EXPECT_EQ(batch.out, "");
}

TEST(WyctlAlone, wrong_command_lines_are_refused_before_anything_is_called) {
    const struct {
        std::vector<std::wstring> arguments;
        const char* words;
    } rows[] = {
        {{}, "subcommand"},
        {{L"dance"}, "there is no command 'dance'"},
        {{L"call", L"WyNothing"}, "there is no function WyNothing"},
        {{L"call", L"Wy\u00dcbung\u20ac"},
         "there is no function Wy\xc3\x9c"
         "bung\xe2\x82\xac"},
        {{L"call", L"WyScan", L"1"}, "WyScan takes 2 argument(s), 1 given"},
        {{L"call", L"WyScan", L"one", L"a"}, "'one' is no uint32"},
        {{L"call", L"WyFix", L"s", L"i"}, "does not export it"},
        {{L"call", L"WySubscribeEvent", L"1", L"x"}, "needs a callback"},
        {{L"monitor", L"--interval", L"soon"}, "interval"},
        {{L"events", L"seven"}, "'seven' is no number of an event"},
        {{L"publish", L"7", L"{percent:5}"}, "the parameter of an event must be JSON"},
    };
    for (const auto& row : rows) {
        const ProgramResult text = Wyctl(row.arguments);
        EXPECT_EQ(text.exitCode, 2U) << row.words;
        EXPECT_EQ(text.out, "") << row.words;
        EXPECT_THAT(text.err, HasSubstr(row.words));

        auto arguments = row.arguments;
        arguments.insert(arguments.begin(), L"--json");
        const ProgramResult json = Wyctl(arguments);
        EXPECT_EQ(json.exitCode, 2U) << row.words;
        EXPECT_EQ(OneJsonLine(json.out)["error"], Json::Value("usage")) << row.words;
    }
}

TEST(WyctlAlone, list_marks_what_the_library_exports) {
    const ProgramResult result = Wyctl({L"list", L"--json"});
    EXPECT_EQ(result.exitCode, 0U);
    const Json::Value functions = OneJsonLine(result.out)["functions"];
    ASSERT_EQ(functions.size(), 85U);
    int callable = 0;
    for (const Json::Value& function : functions) {
        callable += function["exported"].asBool() && function["callable"].asBool() ? 1 : 0;
    }
    // 57 functions of the table without two that have no export and two that need a callback,
    // and 15 exports without a row; 13 others have commands of their own.
    EXPECT_EQ(callable, 53 + 15);
}

TEST(WyctlAlone, library_that_is_missing_is_named) {
    const ProgramResult result =
        Wyctl({L"--library", L"C:\\no\\WySdk.dll", L"call", L"WyGetSysCpuUsage"});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_THAT(result.err, HasSubstr("cannot load C:\\no\\WySdk.dll (system error "));
    const ProgramResult list = Wyctl({L"--library", L"C:\\no\\WySdk.dll", L"list"});
    EXPECT_EQ(list.exitCode, 0U);
    EXPECT_THAT(list.err, HasSubstr("cannot be loaded"));
}

TEST(WyctlAlone, help_goes_to_stdout) {
    const ProgramResult result = Wyctl({L"--help"});
    EXPECT_EQ(result.exitCode, 0U);
    EXPECT_EQ(result.err, "");
    for (const char* command : {"call", "list", "scan", "bigfiles", "duplicates", "usage",
                                "monitor", "decode", "batch"}) {
        EXPECT_THAT(result.out, HasSubstr(std::string("\n  ") + command + " "));
    }
}

class WyctlDecode : public ::testing::Test {
protected:
    ProgramResult Decode(const std::string& bytes, std::vector<std::wstring> options = {}) {
        const std::filesystem::path file = m_Folder.Path() / L"capture \u20ac.bin";
        WriteBytes(file, bytes);
        options.insert(options.begin(), {L"decode", file.wstring()});
        return Wyctl(options);
    }

    test_support::TemporaryFolder m_Folder{kTestFolder};
};

// A failure envelope: 2, the code 0x803, and the text "no" with its length in bytes.
const std::string kFailureReply("\x02\0\0\0\x03\x08\0\0\x06\0\0\0n\0o\0\0\0", 18);

TEST_F(WyctlDecode, reply_is_shown_field_by_field) {
    const ProgramResult text = Decode(kFailureReply);
    EXPECT_EQ(text.exitCode, 0U);
    EXPECT_THAT(text.out, HasSubstr("reply, 18 bytes\n000000  marker  uint32  2  (failure)\n"));
    EXPECT_THAT(text.out, HasSubstr("00000c  text  wide string  \"no\"\n"));
    const Json::Value answer = OneJsonLine(Decode(kFailureReply, {L"--json"}).out);
    EXPECT_EQ(answer["ok"], Json::Value(true));
    EXPECT_EQ(answer["fields"][1]["value"].asUInt(), 0x803U);
    EXPECT_THAT(answer["file"].asString(), HasSubstr("capture \xe2\x82\xac.bin"));
}

TEST_F(WyctlDecode, garbage_is_located_and_fails) {
    for (const std::string& bytes :
         {std::string(), std::string("\x02"), std::string("garbage, not a message at all"),
          kFailureReply.substr(0, 13), kFailureReply + "x", std::string(5000, '\xff'),
          std::string(5000, '\0')}) {
        const ProgramResult text = Decode(bytes);
        EXPECT_EQ(text.exitCode, 1U) << bytes.size();
        EXPECT_THAT(text.out, HasSubstr("malformed at 0"));
        EXPECT_THAT(text.err, HasSubstr("malformed part(s)"));
        const ProgramResult json = Decode(bytes, {L"--json"});
        EXPECT_EQ(json.exitCode, 1U);
        EXPECT_GT(OneJsonLine(json.out)["problems"].size(), 0U);
    }
}

TEST_F(WyctlDecode, missing_file_is_named) {
    const ProgramResult result = Wyctl({L"decode", (m_Folder.Path() / L"none.bin").wstring()});
    EXPECT_EQ(result.exitCode, 1U);
    EXPECT_THAT(result.err, HasSubstr("none.bin (system error 2)"));
    EXPECT_EQ(Wyctl({L"decode", m_Folder.Path().wstring()}).exitCode, 1U) << "a folder";
}

}  // namespace
