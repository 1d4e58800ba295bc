#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "Common/KrCommon/KrComn_String.h"
#include "ProgramFixture.h"
#include "support/RegistryKey_win32.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string Line(const char* label, const std::string& message) {
    return "14/11/2026 03:10:56.120 0a1c:0f20 " + std::string(label) + " <WySdk> " + message +
           " - Src(7)\r\n";
}

class LogCommands : public ProgramFixture {
protected:
    void SetUp() override { Write("", std::ios::trunc); }
    void TearDown() override {
        std::remove(m_strPath.c_str());
        std::remove(m_strOld.c_str());
    }

    void Write(const std::string& text, std::ios::openmode mode = std::ios::app) const {
        std::ofstream(m_strPath, std::ios::binary | mode) << text;
    }

    std::string m_strPath = ::testing::TempDir() + "wyctl-log.txt";
    std::string m_strOld = ::testing::TempDir() + "wyctl-log.old";
};

TEST_F(LogCommands, tail_shows_the_last_records_and_ends_when_told) {
    for (int i = 0; i < 15; ++i) {
        Write(Line(".w.", "record " + std::to_string(i)));
    }
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow"}), 0);
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr("record 4 ")));
    EXPECT_THAT(m_Terminal.out, HasSubstr("record 5 - Src(7)\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("record 14 - Src(7)\n"));
    EXPECT_EQ(m_Terminal.waits, 0U);
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow", "--lines", "1"}), 0);
    EXPECT_EQ(m_Terminal.out, "14/11/2026 03:10:56.120 0a1c:0f20 .w. <WySdk> record 14 - Src(7)\n");
}

TEST_F(LogCommands, tail_follows_a_log_that_grows_is_cut_and_is_replaced) {
    Write(Line(".w.", "first"));
    m_Terminal.onWait = [this](std::uint32_t wait) {
        switch (wait) {
            case 1:
                Write(Line(".w.", "grown") + Line("!!!", "and again").substr(0, 40));
                break;
            case 2:
                Write(Line("!!!", "and again").substr(40));
                break;
            case 3:
                Write(Line(".w.", "cut"), std::ios::trunc);
                break;
            case 4:
                Write(Line(".w.", "the last of the old one"));
                std::rename(m_strPath.c_str(), m_strOld.c_str());
                Write(Line(".w.", "new"));
                break;
            default:
                break;
        }
    };
    m_Terminal.interruptAtWait = 6;
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--json"}), 0);
    std::vector<std::string> messages;
    for (const Json::Value& record : JsonLines()) {
        EXPECT_EQ(record["ok"], Json::Value(true));
        messages.push_back(record["message"].asString());
    }
    EXPECT_THAT(messages, ::testing::ElementsAre("first", "grown", "and again", "cut",
                                                 "the last of the old one", "new"));
}

TEST_F(LogCommands, tail_ends_after_the_number_of_new_records) {
    Write(Line(".w.", "first"));
    m_Terminal.onWait = [this](std::uint32_t) { Write(Line(".w.", "next")); };
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--count", "3", "--json"}), 0);
    EXPECT_EQ(JsonLines().size(), 4U);
    EXPECT_EQ(m_Terminal.waits, 3U);
}

TEST_F(LogCommands, tail_filters_by_level) {
    Write(Line(".w.", "info") + Line("@@@", "warning") + Line("!!!", "error") +
          Line("???", "debug"));
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow", "--only", "errors", "--json"}), 0);
    EXPECT_EQ(OneJson()["severity"], Json::Value("error"));
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow", "--only", "warnings", "--json"}), 0);
    EXPECT_EQ(JsonLines().size(), 2U);
}

TEST_F(LogCommands, tail_colours_by_level_where_that_is_wanted) {
    Write(Line("!!!", "error"));
    const char* const colored = "\x1b[31m14/11/2026";
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow"}), 0);
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr(colored)));
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow", "--color", "always"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr(colored));
    EXPECT_THAT(m_Terminal.out, HasSubstr("Src(7)\x1b[0m\n"));
    m_Terminal.colors = true;
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr(colored));
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow", "--color", "never"}), 0);
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr(colored)));
}

TEST_F(LogCommands, record_cannot_steer_the_terminal) {
    Write(Line(".w.", "evil \x1b[2J\x07 text"));
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--no-follow"}), 0);
    EXPECT_THAT(m_Terminal.out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(m_Terminal.out, HasSubstr("[2J"));
}

TEST_F(LogCommands, explain_tells_step_code_and_meaning) {
    Write(Line("@@@", "[INFO],[WySdk], ==> WyInstall") +
          Line("!!!", "*** ::CreateDirectory(C:\\a) failed. [0x00000005]") +
          Line("!!!", "WySdk: [ERROR] Install error, retCode = 0xe0fe0005"));
    EXPECT_EQ(Run({"log", "explain", m_strPath}), 0);
    EXPECT_EQ(m_Terminal.out,
              "14/11/2026 03:10:56.120  process 2588, thread 3872\n"
              "  step:     *** ::CreateDirectory(C:\\a) failed. [0x00000005]\n"
              "  function: WyInstall\n"
              "  source:   Src(7)\n"
              "  code:     5 (access denied)\n"
              "  passed on by: WySdk: [ERROR] Install error, retCode = 0xe0fe0005\n"
              "3 record(s), 1 failure(s)\n");
    EXPECT_EQ(Run({"log", "explain", m_strPath, "--json"}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["records"].asUInt(), 3U);
    ASSERT_EQ(answer["failures"].size(), 1U);
    EXPECT_EQ(answer["failures"][0]["meaning"], Json::Value("access denied"));
    EXPECT_EQ(answer["failures"][0]["function"], Json::Value("WyInstall"));
    EXPECT_EQ(answer["failures"][0]["passedOn"].size(), 1U);
}

TEST_F(LogCommands, explain_of_a_good_log_finds_nothing_and_of_another_file_refuses) {
    EXPECT_EQ(Run({"log", "explain", m_strPath}), 0);
    EXPECT_EQ(m_Terminal.out, "0 record(s), 0 failure(s)\n");
    Write("a letter\n");
    EXPECT_EQ(Run({"log", "explain", m_strPath}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("is no debug log"));
}

TEST_F(LogCommands, level_shows_what_a_file_says) {
    Write("[ServiceSession]\r\nEnable=1\r\nLevel=0x00001111\r\n");
    EXPECT_EQ(Run({"log", "level", "--file", m_strPath, "--json"}), 0);
    const Json::Value sections = OneJson()["sections"];
    EXPECT_EQ(sections["ServiceSession"]["enabled"], Json::Value(true));
    EXPECT_EQ(sections["ServiceSession"]["level"].asUInt(), 0x1111U);
    EXPECT_EQ(sections["InteractiveSession"]["enabled"], Json::Value(false));
    EXPECT_EQ(sections["InteractiveSession"]["level"].asUInt(), 256U);
    EXPECT_EQ(Run({"log", "level", "--file", m_strPath}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("ServiceSession      on   0x00001111 (debug)\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("InteractiveSession  off  0x00000100 (error)\n"));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(LogCommands, level_changes_both_sections_and_keeps_what_is_not_named) {
    Write("[InteractiveSession]\r\nEnable=1\r\nLogPrefix=abc\r\n");
    const struct {
        std::vector<std::string> arguments;
        bool enabled;
        std::uint32_t level;
    } rows[] = {
        {{"info"}, true, 273},  {{"--off"}, false, 273},          {{"0x10", "--on"}, true, 16},
        {{"4097"}, true, 4097}, {{"error", "--off"}, false, 256}, {{"warning"}, false, 272}};
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"log", "level", "--file", m_strPath, "--json"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(Run(arguments), 0) << row.arguments[0];
        for (const char* name : {"ServiceSession", "InteractiveSession"}) {
            const Json::Value section = OneJson()["sections"][name];
            EXPECT_EQ(section["enabled"], Json::Value(row.enabled)) << row.arguments[0];
            EXPECT_EQ(section["level"].asUInt(), row.level) << row.arguments[0];
        }
        EXPECT_THAT(m_Terminal.err, HasSubstr("until they start anew"));
    }
    std::ifstream file(m_strPath, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_THAT(text, HasSubstr("LogPrefix=abc"));
    EXPECT_THAT(text, HasSubstr("Level=0x00000110"));
}

TEST_F(LogCommands, level_of_no_file_and_of_no_level_are_refused) {
    EXPECT_EQ(Run({"log", "level", "--file", "no-such-file", "info"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot open no-such-file"));
    for (const char* level : {"loud", "-1", "0x100000000", "1.5"}) {
        EXPECT_EQ(Run({"log", "level", "--file", m_strPath, "--", level}), 2) << level;
        EXPECT_THAT(m_Terminal.err, HasSubstr("is no level")) << level;
    }
    EXPECT_EQ(Run({"log", "level", "--file", m_strPath, "--on", "--off"}), 2);
}

TEST_F(LogCommands, without_a_file_the_installed_product_is_meant) {
    EXPECT_EQ(Run({"log", "level"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));
    EXPECT_EQ(Run({"log", "tail", "--no-follow"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("no product is installed"));

    test_support::RegistryKey key(L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY);
    const std::string folder = ::testing::TempDir();
    ASSERT_TRUE(key.SetText(L"ProductPath", KrCommon::String::FromUtf8(folder)));
    std::ofstream(folder + "krdbg.ini") << "[ServiceSession]\nLogFolder=" << folder
                                        << "\nLogPrefix=abc\nLogExtension=txt\nLevel=16\n";
    std::ofstream(folder + "abc_WySdk.txt", std::ios::binary) << Line(".w.", "found");
    EXPECT_EQ(Run({"log", "tail", "--no-follow"}), 0) << m_Terminal.err;
    EXPECT_THAT(m_Terminal.out, HasSubstr("found"));
    EXPECT_EQ(Run({"log", "level", "--json", "info"}), 0) << m_Terminal.err;
    EXPECT_EQ(OneJson()["sections"]["ServiceSession"]["level"].asUInt(), 273U);
    std::remove((folder + "abc_WySdk.txt").c_str());
    std::remove((folder + "krdbg.ini").c_str());
}

TEST_F(LogCommands, wrong_lines_are_refused) {
    EXPECT_EQ(Run({"log"}), 2);
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--only", "some"}), 2);
    EXPECT_EQ(Run({"log", "tail", m_strPath, "--lines", "-1"}), 2);
    EXPECT_EQ(Run({"log", "explain"}), 2);
    EXPECT_EQ(Run({"log", "tail", "no-such-file", "--no-follow"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot open no-such-file"));
    EXPECT_EQ(Run({"log", "explain", "no-such-file"}), 1);
}

}  // namespace
