// wyctl sets what product and service need to know, through the built library.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <filesystem>
#include <fstream>

#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "e2e/ServiceHost.h"
#include "support/RegistryKey_win32.h"
#include "support/RegistryValues_win32.h"

namespace {

using test_support::ReadRegistryValues;
using test_support::StoredNumber;
using test_support::StoredText;
using ::testing::HasSubstr;
using ::testing::Not;
using Line = std::vector<std::wstring>;

const std::wstring kKey = L"SOFTWARE\\KorvexData\\Wyvarion";

// Runs a line that must succeed, and gives its JSON object.
Json::Value Answer(Line line, const std::string& input = "") {
    line.push_back(L"--json");
    const ProgramResult result = Wyctl(line, input);
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    return OneJsonLine(result.out);
}

TEST(WyctlSettings, proxy_is_stored_and_shown_without_its_password) {
    const ProgramResult set = Wyctl({L"proxy", L"set", L"proxy.example", L"8080", L"--user",
                                     L"J\u00f6rg", L"--password-file", L"-"},
                                    "s3cret\r\nnot this line\n");
    EXPECT_EQ(set.exitCode, 0U) << set.err;
    EXPECT_EQ(set.out, "proxy proxy.example:8080 stored, on\n");
    EXPECT_THAT(set.err, HasSubstr("password in clear"));
    auto stored = ReadRegistryValues(kKey + L"\\Proxy", KEY_WOW64_64KEY);
    EXPECT_EQ(stored.size(), 5U);
    EXPECT_EQ(stored[L"Server"], StoredText(L"proxy.example"));
    EXPECT_EQ(stored[L"Port"], StoredNumber(8080));
    EXPECT_EQ(stored[L"Password"].bytes.size(), 33 * sizeof(wchar_t)) << "one block, and the NUL";

    const Json::Value shown = Answer({L"proxy", L"show"});
    EXPECT_EQ(shown["server"].asString(), "proxy.example");
    EXPECT_EQ(shown["user"].asString(), "J\xc3\xb6rg");
    EXPECT_EQ(shown["enabled"], Json::Value(true));
    EXPECT_EQ(shown["hasPassword"], Json::Value(true));
    EXPECT_THAT(shown.toStyledString(), Not(HasSubstr("s3cret")));

    Answer({L"proxy", L"clear"});
    const Json::Value cleared = Answer({L"proxy", L"show"});
    EXPECT_EQ(cleared["server"].asString(), "");
    EXPECT_EQ(cleared["enabled"], Json::Value(false));
    EXPECT_TRUE(cleared["user"].isNull());
    EXPECT_EQ(cleared["hasPassword"], Json::Value(false));
}

TEST(WyctlSettings, password_needs_a_file_where_there_is_no_terminal) {
    const ProgramResult set = Wyctl({L"proxy", L"set", L"h", L"1", L"--user", L"u"}, "s3cret\n");
    EXPECT_EQ(set.exitCode, 2U);
    EXPECT_THAT(set.err, HasSubstr("there is no terminal to ask for the password"));
}

TEST(WyctlSettings, identifiers_are_stored_and_shown) {
    Answer({L"identifier", L"set", L"{guid}", L"\u20ac", L"3", L"4"});
    Answer({L"identifier", L"set", L"{other}", L"2", L"", L""});
    const Json::Value shown = Answer({L"identifier", L"show"});
    EXPECT_EQ(shown["SpnGuid"].asString(), "{other}");
    EXPECT_EQ(shown["SpnId2"].asString(), "2");
    EXPECT_EQ(shown["SpnId3"].asString(), "3");
    EXPECT_EQ(shown["SpnId4"].asString(), "4");
}

TEST(WyctlSettings, debug_log_of_the_installed_product_is_switched) {
    const test_support::TemporaryFolder product(kTestFolder);
    std::filesystem::create_directories(product.Path() / "win32");
    for (const char* name : {"krdbg.ini", "win32/krdbg.ini"}) {
        std::ofstream(product.Path() / name) << "[ServiceSession]\nLogFolder=C:\\logs\n";
    }
    test_support::RegistryKey key(kKey, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"ProductPath", product.Path().wstring()));
    EXPECT_EQ(Answer({L"debuglog", L"on", L"info"})["sections"]["ServiceSession"]["level"].asUInt(),
              0x111U);
    EXPECT_THAT(ReadTextFile(product.Path() / "win32" / "krdbg.ini"),
                HasSubstr("Level=0x00000111"));
    const Json::Value shown = Answer({L"debuglog", L"show"});
    EXPECT_EQ(shown["folder"].asString(), "C:\\logs");
    EXPECT_EQ(shown["sections"]["InteractiveSession"]["enabled"], Json::Value(true));
}

TEST(WyctlSettings, what_the_service_keeps_needs_the_service) {
    const Line lines[] = {{L"reamer", L"set", L"on"},
                          {L"language", L"set", L"de-DE"},
                          {L"schedule", L"set", L"3", L"22"},
                          {L"urls", L"set", L"https://a.example/x", L"http://b:8080"}};
    for (const Line& line : lines) {
        const ProgramResult alone = Wyctl(line);
        EXPECT_EQ(alone.exitCode, 1U);
        EXPECT_THAT(alone.err, HasSubstr("no service listens"));
    }
    const test_support::TemporaryFolder folder(kTestFolder);
    const ServiceHost host(folder.Path());
    for (const Line& line : lines) {
        EXPECT_EQ(Answer(line)["codeHex"].asString(), "0x20ff0000");
    }
    EXPECT_EQ(Answer({L"reamer", L"show"})["status"].asUInt(), 1U);
    ChildProcess watcher(L"wyctl.exe", {L"events", L"--count", L"1"}, "",
                         ChildProcess::Console::Own);
    ASSERT_TRUE(watcher.WaitForOut("event  content"));
    Answer({L"reamer", L"set", L"0x10"});
    EXPECT_THAT(watcher.Wait().out, HasSubstr("\"param\":{\"status\":16}"));
}

}  // namespace
