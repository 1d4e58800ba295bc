// The commands that set what product and service need to know.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "ProgramFixture.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"

namespace {

using test_support::RegistryKey;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

using Line = std::vector<std::string>;

class Settings : public ProgramFixture {
protected:
    // One call of the library and no session.
    void ExpectCall(const Line& line, const std::string& call, const std::string& out) {
        SCOPED_TRACE(testing::PrintToString(line));
        EXPECT_EQ(Run(line), 0) << m_Terminal.err;
        EXPECT_THAT(FakeSdk::Get().calls, ElementsAre(call));
        EXPECT_EQ(m_Terminal.out, out);
    }
    void ExpectRefused(const Line& line, const std::string& why) {
        SCOPED_TRACE(testing::PrintToString(line));
        EXPECT_EQ(Run(line), 2);
        EXPECT_THAT(m_Terminal.err, HasSubstr(why));
        EXPECT_THAT(FakeSdk::Get().calls, IsEmpty());
    }
    std::string File(const std::string& text) const {
        std::ofstream(m_Folder.Path() / "file", std::ios::binary) << text;
        return (m_Folder.Path() / "file").string();
    }

    const test_support::TemporaryFolder m_Folder{L"settings"};
};

// ---- proxy

TEST_F(Settings, proxy_without_an_account_asks_for_nothing) {
    ExpectCall({"proxy", "set", "proxy.example", "8080"},
               "WySetProxy(proxy.example, 8080, , , true)",
               "proxy proxy.example:8080 stored, on\n");
    EXPECT_EQ(m_Terminal.prompt, "");
    EXPECT_EQ(m_Terminal.err, "");
    ExpectCall({"proxy", "set", "[::1]", "0x1", "--off"}, "WySetProxy([::1], 1, , , false)",
               "proxy [::1]:1 stored, off\n");
    ExpectCall({"proxy", "clear"}, "WySetProxy(, 0, , , false)", "no proxy stored, off\n");
}

TEST_F(Settings, proxy_password_is_asked_for_on_the_terminal) {
    m_Terminal.secret =
        "s\xc3\xa9"
        "cret";
    ExpectCall({"proxy", "set", "h", "1", "--user", "J\xc3\xb6rg"},
               "WySetProxy(h, 1, J\xc3\xb6rg, s\xc3\xa9"
               "cret, true)",
               "proxy h:1 stored, on\n");
    EXPECT_EQ(m_Terminal.prompt, "Password of J\xc3\xb6rg: ");
    EXPECT_EQ(m_Terminal.err,
              "note: a debug log that takes level info has this password in clear now\n");
    m_Terminal.secret = "";
    ExpectCall({"proxy", "set", "h", "1", "--user", "u"}, "WySetProxy(h, 1, u, , true)",
               "proxy h:1 stored, on\n");
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Settings, proxy_password_is_the_first_line_of_a_file) {
    const struct {
        const char* text;
        const char* password;
    } rows[] = {{"one", "one"}, {"one\n", "one"}, {"one\r\ntwo\r\n", "one"},
                {"", ""},       {"\nx", ""},      {" a b ", " a b "}};
    for (const auto& row : rows) {
        ExpectCall({"proxy", "set", "h", "1", "--user", "u", "--password-file", File(row.text)},
                   std::string("WySetProxy(h, 1, u, ") + row.password + ", true)",
                   "proxy h:1 stored, on\n");
    }
    EXPECT_EQ(m_Terminal.prompt, "");
}

TEST_F(Settings, proxy_password_that_cannot_be_had) {
    ExpectRefused({"proxy", "set", "h", "1", "--user", "u"}, "there is no terminal");
    EXPECT_EQ(Run({"proxy", "set", "h", "1", "--user", "u", "--password-file", "none"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot open none"));
    EXPECT_EQ(Run({"proxy", "set", "h", "1", "--user", "u", "--password-file",
                   File(std::string("qq\0zz", 5))}),
              1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("holds a NUL"));
    EXPECT_THAT(m_Terminal.err, Not(HasSubstr("qq")));
    ExpectRefused({"proxy", "set", "h", "1", "--password-file", File("p")}, "needs the --user");
    ExpectRefused({"proxy", "set", "h", "1", "--user", "u", "--password", "p"}, "wyctl --help");
}

TEST_F(Settings, proxy_server_and_port_are_judged_before_the_password) {
    m_Terminal.secret = "p";
    for (const char* port : {"0", "65536", "-1", "80x", "", "4294967376"}) {
        ExpectRefused({"proxy", "set", "--user", "u", "--", "h", port}, "is no port (1 to 65535)");
    }
    for (const char* host : {"", "a b", "http://h", "h:80", "u@h", "a/b", "[h", "[x::1]", "h\n"}) {
        ExpectRefused({"proxy", "set", host, "1", "--user", "u"},
                      "is no name or address of a host");
    }
    ExpectRefused({"proxy", "set", "h"}, "PORT is required");
    ExpectRefused({"proxy"}, "wyctl --help");
    EXPECT_EQ(m_Terminal.prompt, "");
}

TEST_F(Settings, proxy_that_is_not_stored_says_why) {
    FakeSdk::Get().codes["WySetProxy"] = 0xe0ff000c;
    m_Terminal.secret = "s3cret";
    EXPECT_EQ(Run({"proxy", "set", "h", "1", "--user", "u"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WySetProxy failed with 0xe0ff000c: settings could not"));
    EXPECT_THAT(m_Terminal.err + m_Terminal.out, Not(HasSubstr("s3cret")));
    FakeSdk::Get().hidden = {"WySetProxy"};
    EXPECT_EQ(Run({"proxy", "clear"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("has no export WySetProxy"));
}

TEST_F(Settings, proxy_is_shown_without_its_password) {
    EXPECT_EQ(Run({"proxy", "show"}), 0);
    EXPECT_EQ(m_Terminal.out,
              "HKLM\\SOFTWARE\\KorvexData\\Wyvarion\\Proxy\n"
              "  server    -\n  port      -\n  on        -\n  user      -\n  password  no\n");

    RegistryKey key(WyCommon::Utility::GetProductRegistryKey() + L"\\Proxy", KEY_WOW64_64KEY);
    std::wstring user;
    std::wstring password;
    ASSERT_TRUE(KrCommon::Cryptograph::EncryptStringW(user, L"J\u00f6rg"));
    ASSERT_TRUE(KrCommon::Cryptograph::EncryptStringW(password, L"s3cret"));
    ASSERT_TRUE(key.SetText(L"Server", L"proxy\tx"));
    ASSERT_TRUE(key.Set(L"Port", REG_DWORD, {0x90, 0x1f, 0, 0}));
    ASSERT_TRUE(key.Set(L"Enable", REG_DWORD, {1, 0, 0, 0}));
    ASSERT_TRUE(key.SetText(L"UserName", user));
    ASSERT_TRUE(key.SetText(L"Password", password));
    EXPECT_EQ(Run({"proxy", "show"}), 0);
    EXPECT_EQ(m_Terminal.out,
              "HKLM\\SOFTWARE\\KorvexData\\Wyvarion\\Proxy\n  server    proxy\\x09x\n"
              "  port      8080\n  on        yes\n  user      J\xc3\xb6rg\n  password  yes\n");
    EXPECT_EQ(Run({"proxy", "show", "--json"}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["server"].asString(), "proxy\tx");
    EXPECT_EQ(answer["port"].asUInt(), 8080U);
    EXPECT_EQ(answer["enabled"], Json::Value(true));
    EXPECT_EQ(answer["user"].asString(), "J\xc3\xb6rg");
    EXPECT_EQ(answer["hasPassword"], Json::Value(true));
    for (const std::string& secret : {std::string("s3cret"), KrCommon::String::ToUtf8(password)}) {
        EXPECT_THAT(m_Terminal.out, Not(HasSubstr(secret)));
    }
    ASSERT_TRUE(key.SetText(L"UserName", L"not hexadecimal"));
    ASSERT_TRUE(key.SetText(L"Password", L""));
    EXPECT_EQ(Run({"proxy", "show"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("  user      -\n  password  no\n"));
}

// ---- identifier, reamer

TEST_F(Settings, identifiers_by_their_number) {
    ExpectCall({"identifier", "set", "a", "b"}, "WySetIdentifierEx(a, b, , )",
               "2 identifiers stored\n");
    ExpectCall({"identifier", "set", "a", "b", "c"}, "WySetIdentifier(a, b, c)",
               "3 identifiers stored\n");
    ExpectCall({"identifier", "set", "a", "", ""}, "WySetIdentifier(a, , )",
               "3 identifiers stored\n");
    ExpectCall({"identifier", "set", "a", "b", "c", "d"}, "WySetIdentifierEx(a, b, c, d)",
               "4 identifiers stored\n");
    ExpectCall({"identifier", "set", "a", "b", "", "\xe2\x82\xac"},
               "WySetIdentifierEx(a, b, , \xe2\x82\xac)", "3 identifiers stored\n");
    ExpectRefused({"identifier", "set", "a"}, "SECOND is required");
    ExpectRefused({"identifier", "set", "a", "b", "c", "d", "e"}, "wyctl --help");
}

TEST_F(Settings, identifiers_that_are_not_stored_and_those_that_are) {
    FakeSdk::Get().codes["WySetIdentifier"] = 0xe0fe0005;
    EXPECT_EQ(Run({"identifier", "set", "a", "b", "c"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WySetIdentifier failed with 0xe0fe0005"));
    RegistryKey key(WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"SpnGuid", L"{guid}"));
    ASSERT_TRUE(key.SetText(L"SpnId4", L""));
    EXPECT_EQ(Run({"identifier", "show"}), 0);
    EXPECT_EQ(m_Terminal.out,
              "HKLM\\SOFTWARE\\KorvexData\\Wyvarion\n"
              "  SpnGuid   {guid}\n  SpnId2    -\n  SpnId3    -\n  SpnId4    \n");
    EXPECT_EQ(Run({"identifier", "show", "--json"}), 0);
    EXPECT_TRUE(OneJson()["SpnId3"].isNull());
    EXPECT_EQ(OneJson()["SpnId4"].asString(), "");
}

TEST_F(Settings, reamer_status_is_set_and_shown) {
    ExpectCall({"reamer", "set", "on"}, "WySetReamerStatus(1)",
               "reamer status 1 told to the service\n");
    ExpectCall({"reamer", "set", "off"}, "WySetReamerStatus(0)",
               "reamer status 0 told to the service\n");
    ExpectCall({"reamer", "set", "0xffffffff"}, "WySetReamerStatus(4294967295)",
               "reamer status 4294967295 told to the service\n");
    for (const char* status : {"", "yes", "4294967296", "1.0"}) {
        ExpectRefused({"reamer", "set", status}, "is no status");
    }
    RegistryKey key(WyCommon::Utility::GetProductRegistryKey() + L"\\Reamer", KEY_WOW64_64KEY);
    EXPECT_EQ(Run({"reamer", "show"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("  status    -\n"));
    ASSERT_TRUE(key.Set(L"Enable", REG_DWORD, {7, 0, 0, 0}));
    EXPECT_EQ(Run({"reamer", "show", "--json"}), 0);
    EXPECT_EQ(OneJson()["status"].asUInt(), 7U);
}

// ---- debuglog

TEST_F(Settings, debug_log_is_switched_by_the_library) {
    RegistryKey key(WyCommon::Utility::GetProductRegistryKey(), KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"ProductPath", m_Folder.Path().wstring()));
    std::ofstream(m_Folder.Path() / "krdbg.ini") << "[InteractiveSession]\nLevel=16\n";
    EXPECT_EQ(Run({"debuglog", "on", "info"}), 0) << m_Terminal.err;
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WySetDebugLog(true, 0x111)"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("ServiceSession      on   0x00000111 (info)\n"));
    EXPECT_EQ(Run({"debuglog", "off"}), 0) << m_Terminal.err;
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WySetDebugLog(false, 0x111)"));
    EXPECT_EQ(Run({"log", "level", "--on", "0x5"}), 0) << m_Terminal.err;
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WySetDebugLog(true, 0x5)"));
    EXPECT_EQ(Run({"debuglog", "show"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("krdbg.ini\nlogs lie in C:\\Folder\n"));
    EXPECT_THAT(FakeSdk::Get().calls, IsEmpty());
    EXPECT_EQ(Run({"debuglog", "show", "--json"}), 0);
    EXPECT_EQ(OneJson()["folder"].asString(), "C:\\Folder");
    EXPECT_EQ(OneJson()["sections"]["ServiceSession"]["level"].asUInt(), 5U);
    ExpectRefused({"debuglog", "on", "loud"}, "is no level");
    ExpectRefused({"debuglog", "maybe"}, "wyctl --help");
    FakeSdk::Get().codes["WySetDebugLog"] = 0xe0ff0013;
    EXPECT_EQ(Run({"debuglog", "on"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("WySetDebugLog failed with 0xe0ff0013"));
}

TEST_F(Settings, debug_log_without_a_product_is_not_switched) {
    EXPECT_EQ(Run({"debuglog", "on"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));
    EXPECT_EQ(Run({"log", "level", "--file", File(""), "--on"}), 0) << m_Terminal.err;
    EXPECT_THAT(FakeSdk::Get().calls, IsEmpty());
}

// ---- what the service keeps

TEST_F(Settings, language_by_name_or_number) {
    for (const char* language : {"de-DE", "DE-de", "1031", "0x407"}) {
        ExpectCall({"language", "set", language}, "WySetProductLcid(1031)",
                   "language 1031 (de-DE) told to the service\n");
    }
    for (const char* language : {"", "0", "xx-YY", "german", "0xfffff", "4294968327", "-1"}) {
        ExpectRefused({"language", "set", "--", language}, "is no language of this system");
    }
}

TEST_F(Settings, schedule_within_a_week_and_a_day) {
    ExpectCall({"schedule", "set", "0", "0"}, "WySetScheduleScanTime(0, 0)",
               "scan on day 0 at 00:00 told to the service\n");
    ExpectCall({"schedule", "set", "7", "23"}, "WySetScheduleScanTime(7, 23)",
               "scan on day 7 at 23:00 told to the service\n");
    ExpectRefused({"schedule", "set", "1", "24"}, "'24' is no hour (0 to 23)");
    ExpectRefused({"schedule", "set", "8", "1"}, "'8' is no day of the week (0 to 7)");
    ExpectRefused({"schedule", "set", "1", "256"}, "is no hour");
    ExpectRefused({"schedule", "set", "mon", "1"}, "is no day of the week");
    ExpectRefused({"schedule", "set", "1"}, "HOUR is required");
}

TEST_F(Settings, urls_are_addresses_of_servers) {
    for (const char* url : {"http://h", "https://a.example:8443/x?y=z", "https://[::1]:1/",
                            "http://1.2.3.4/", "https://\xc3\xa9.example"}) {
        ExpectCall({"urls", "set", url, "http://b"},
                   std::string("WySetInspectUrl(") + url + ", http://b)",
                   "addresses of both servers told to the service\n");
    }
    for (const char* url : {"", "h", "ftp://h", "http://", "http:///x", "http://h:0",
                            "http://h:65536", "http://h:", "http://a b", "http://u@h",
                            "http://h/a b", "http://h\n", "http://[h]", "https//h"}) {
        ExpectRefused({"urls", "set", "http://a", url}, "is no address of a server");
        ExpectRefused({"urls", "set", url, "http://a"}, "is no address of a server");
    }
    ExpectRefused({"urls", "set", "http://a"}, "REAMER is required");
}

TEST_F(Settings, answer_of_the_service_is_shown) {
    const struct {
        const char* function;
        Line line;
    } rows[] = {{"WySetProductLcid", {"language", "set", "1031"}},
                {"WySetScheduleScanTime", {"schedule", "set", "1", "2"}},
                {"WySetInspectUrl", {"urls", "set", "http://a", "http://b"}},
                {"WySetReamerStatus", {"reamer", "set", "on"}},
                {"WySetIdentifierEx", {"identifier", "set", "a", "b"}},
                {"WySetProxy", {"proxy", "clear"}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        Line json = row.line;
        json.push_back("--json");
        FakeSdk::Get().codes[row.function] = 0x20ff0777;
        EXPECT_EQ(Run(json), 0);
        EXPECT_EQ(OneJson()["function"].asString(), row.function);
        EXPECT_EQ(OneJson()["codeHex"].asString(), "0x20ff0777");
        FakeSdk::Get().codes[row.function] = 0xe00106ba;
        EXPECT_EQ(Run(row.line), 1);
        EXPECT_EQ(m_Terminal.out, "");
        EXPECT_THAT(m_Terminal.err,
                    StartsWith(std::string("wyctl: ") + row.function + " failed with 0xe00106ba"));
    }
}

TEST_F(Settings, call_and_list_point_to_the_commands) {
    EXPECT_EQ(Run({"call", "WySetProxy", "h", "1", "u", "p", "1"}), 2);
    EXPECT_THAT(m_Terminal.err, HasSubstr("see 'wyctl proxy --help'"));
    EXPECT_EQ(Run({"list"}), 0);
    EXPECT_THAT(m_Terminal.out,
                HasSubstr("WySetProxy                   -          does not go by the table, see "
                          "'wyctl proxy'\n"));
}

}  // namespace
