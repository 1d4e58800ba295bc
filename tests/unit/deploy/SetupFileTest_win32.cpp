// Setup.ini as it may lie on a disk, whole or broken, read through the system.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/ReportedVersion_win32.h"
#include "unit/deploy/SetupProbe.h"

namespace {

using deploy_test::Answer;
using deploy_test::SetupFiles;

// The section of this system is CheckWin7.
constexpr char kSystem[] = "version=2,6,1,7601,1,1";
constexpr char kDefaults[] = "1 0 [] 0 0 [1] [1]";

// The bytes of a text in UTF-16, with what stands before them.
std::string Utf16(const std::string& before, const std::string& text, bool bigEndian) {
    std::string bytes = before;
    for (const char c : text)
        bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

const std::string s_strWhole =
    "[Check]\r\nCheckOS=1\r\nOS=Win7\r\n[CheckWin7]\r\nServicePack=1\r\nMinBuildNumber=7600\r\n"
    "[MsiConfig]\r\nShowWyEula=0\r\nUpdateRegistry=0\r\n";
constexpr char kWhole[] = "1 1 [Win7] 1 7600 [0] [0]";

TEST(SetupFile, forms_of_a_file) {
    std::string unixEnds = s_strWhole;
    std::erase(unixEnds, '\r');
    const std::string many(2000, 'k');
    std::string sections;
    for (int i = 0; i < 1000; ++i)
        sections += "[Other" + std::to_string(i) + "]\r\nCheckOS=1\r\n";
    // Windows takes the three bytes for the beginning of the first line, which is no section then.
    const std::string utf8Mark = test_support::RunsUnderWine() ? kWhole : "1 0 [] 1 7600 [0] [0]";
    const struct {
        const char* what;
        std::string content;
        std::string read;
    } rows[] = {
        {"whole", s_strWhole, kWhole},
        {"empty", "", kDefaults},
        {"blank lines alone", "\r\n\r\n  \r\n", kDefaults},
        {"line feeds alone", unixEnds, kWhole},
        {"no end of the last line", s_strWhole.substr(0, s_strWhole.size() - 2), kWhole},
        {"UTF-16", Utf16("\xff\xfe", s_strWhole, false), kWhole},
        {"mark of UTF-16 alone", "\xff\xfe", kDefaults},
        {"mark of UTF-8", "\xef\xbb\xbf" + s_strWhole, utf8Mark},
        {"mark of UTF-8 before an empty line", "\xef\xbb\xbf\r\n" + s_strWhole, kWhole},
        {"names in other letters",
         "[CHECK]\r\ncheckos=1\r\nos=Win7\r\n[checkwin7]\r\nSERVICEPACK=1\r\nminbuildnumber="
         "7600\r\n"
         "[msiconfig]\r\nshowwyeula=0\r\nUPDATEREGISTRY=0\r\n",
         kWhole},
        {"blanks around everything", "  [Check]  \r\n  CheckOS  =  1  \r\n\tOS\t=\tWin7\t\r\n",
         "1 1 [Win7] 0 0 [1] [1]"},
        {"quotes", "[Check]\r\nCheckOS=\"1\"\r\nOS='Win7'\r\n", "1 1 [Win7] 0 0 [1] [1]"},
        {"comment lines", "; [Check]\r\n[Check]\r\n;CheckOS=0\r\nCheckOS=1\r\n",
         "1 1 [] 0 0 [1] [1]"},
        {"comment behind a value", "[Check]\r\nCheckOS=1 ; on\r\n", kDefaults},
        {"keys before any section", "CheckOS=1\r\nOS=Win7\r\n", kDefaults},
        {"keys in another section", "[MsiConfig]\r\nCheckOS=1\r\n[Check]\r\nUpdateRegistry=0\r\n",
         kDefaults},
        {"first of two keys", "[Check]\r\nCheckOS=1\r\nCheckOS=0\r\n", "1 1 [] 0 0 [1] [1]"},
        {"key without a value", "[Check]\r\nCheckOS\r\nOS=\r\n[MsiConfig]\r\nShowWyEula=\r\n",
         "1 0 [] 0 0 [] [1]"},
        {"value with an equals sign", "[Check]\r\nOS=a=b\r\n", "1 0 [a=b] 0 0 [1] [1]"},
        {"line of letters alone", "[Check]\r\n" + many + "\r\nCheckOS=1\r\n", "1 1 [] 0 0 [1] [1]"},
        {"long key", "[Check]\r\n" + many + "=x\r\nCheckOS=1\r\n", "1 1 [] 0 0 [1] [1]"},
        {"1000 other sections before", sections + s_strWhole, kWhole},
        {"section of a system that is later", "[CheckWin10]\r\nServicePack=9\r\n", kDefaults},
        {"section with a point", "[CheckWin8.1]\r\nServicePack=9\r\n", kDefaults},
        {"lines of another kind", "<xml/>\r\n{}\r\n\x01\x02\x03\r\n" + s_strWhole, kWhole},
    };
    SetupFiles files;
    for (const auto& row : rows)
        files.Add(row.content);
    const std::vector<Answer> answers = files.Probe(kSystem);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].read, rows[i].read) << rows[i].what;
        EXPECT_EQ(answers[i].Verdict(), '+') << rows[i].what;
    }
}

TEST(SetupFile, numbers) {
    const struct {
        const char* text;
        const char* number;
    } rows[] = {
        {"0", "0"},
        {"1", "1"},
        {"007", "7"},
        {"  42  ", "42"},
        {"\"7\"", "7"},
        {"+5", "5"},
        {"-1", "4294967295"},
        {"4294967295", "4294967295"},
        {"4294967296", "0"},
        {"4294967297", "1"},
        {"12abc", "12"},
        {"1.9", "1"},
        {"1 2", "1"},
        {"abc", "0"},
        {"", "0"},
        {"-", "0"},
        {"--1", "0"},
        {"Win7", "0"},
    };
    SetupFiles files;
    for (const auto& row : rows)
        files.Add(std::string("[CheckWin7]\r\nServicePack=") + row.text +
                  "\r\nMinBuildNumber=" + row.text + "\r\n");
    const std::vector<Answer> answers = files.Probe(kSystem);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].read,
                  std::string("1 0 [] ") + rows[i].number + " " + rows[i].number + " [1] [1]")
            << rows[i].text;
    }
}

TEST(SetupFile, switch_of_the_check) {
    const struct {
        const char* text;
        bool on;
    } rows[] = {
        {"1", true},    {" 1 ", true},   {"\"1\"", true}, {"'1'", true},     {"0", false},
        {"", false},    {"01", false},   {"1.0", false},  {"+1", false},     {"2", false},
        {"yes", false}, {"True", false}, {"11", false},   {"\"1 \"", false}, {"0x1", false},
    };
    SetupFiles files;
    for (const auto& row : rows)
        files.Add(std::string("[Check]\r\nOS=Win7\r\nCheckOS=") + row.text + "\r\n");
    const std::vector<Answer> answers = files.Probe("version=2,6,0,6002,2,1");
    for (std::size_t i = 0; i < answers.size(); ++i)
        EXPECT_EQ(answers[i].Verdict(), rows[i].on ? 'v' : '+') << rows[i].text;
}

TEST(SetupFile, texts_of_any_length_come_whole) {
    SetupFiles files;
    const std::size_t lengths[] = {254, 255, 256, 511, 512, 5000, 60000};
    for (const std::size_t length : lengths)
        files.Add("[Check]\r\nCheckOS=1\r\nOS=<" + std::string(length - 2, 'x') + ">\r\n");
    const std::vector<Answer> answers = files.Probe(kSystem);
    for (std::size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].read, "1 1 [<" + std::string(lengths[i] - 2, 'x') + ">] 0 0 [1] [1]");
        EXPECT_EQ(answers[i].Verdict(), '+') << "no system has this name";
    }
}

TEST(SetupFile, texts_that_are_not_ascii) {
    SetupFiles files;
    files.Add("[Check]\r\nOS=\xe4\r\n");
    // U+00E4 and U+1F3AC
    files.Add(Utf16("\xff\xfe", "[Check]\r\nOS=", false) +
              std::string("\xe4\x00\x3c\xd8\xac\xdf\r\0\n\0", 10));
    const std::vector<Answer> answers = files.Probe(kSystem);
    EXPECT_EQ(answers[0].read, "1 0 [\\u00e4] 0 0 [1] [1]");
    EXPECT_EQ(answers[1].read, "1 0 [\\u00e4\\ud83c\\udfac] 0 0 [1] [1]");
}

TEST(SetupFile, missing_file_is_told_and_leaves_what_was_read_before) {
    SetupFiles files;
    files.Add(s_strWhole);
    files.AddPath("Z:\\no such folder\\Setup.ini");
    files.AddPath("?");
    const std::vector<Answer> answers = files.Probe(kSystem);
    const std::string line = "256 WyDeployHelper: [ERROR] Config file does not exist. Path: ";
    const std::string before = std::string("0") + (kWhole + 1);
    EXPECT_EQ(answers[1].read, before);
    EXPECT_EQ(answers[1].log, std::vector{line + "Z:\\no such folder\\Setup.ini"});
    EXPECT_EQ(answers[2].read, before);
    EXPECT_EQ(answers[2].log, std::vector{line});
}

// It exists, and nothing can be read from it: every key is missing, the check is off.
TEST(SetupFile, file_that_cannot_be_read_counts_as_empty) {
    SetupFiles files;
    files.AddPath(files.Folder());
    files.Add(s_strWhole);
    const HANDLE lock = CreateFileW((files.Folder() / "Setup1.ini").c_str(), GENERIC_READ, 0,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    const std::vector<Answer> locked = files.Probe(kSystem);
    CloseHandle(lock);
    for (const Answer& answer : locked) {
        EXPECT_EQ(answer.read, kDefaults);
        EXPECT_TRUE(answer.log.empty());
    }
    EXPECT_EQ(files.Probe(kSystem)[1].read, kWhole);
}

// It is found in the current folder and read from the system's.
TEST(SetupFile, bare_name_is_looked_for_in_two_places) {
    SetupFiles files;
    files.Add(s_strWhole);
    SetupFiles bare;
    bare.AddPath("Setup0.ini");
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(files.Folder());
    const std::vector<Answer> answers = bare.Probe(kSystem);
    std::filesystem::current_path(former);
    EXPECT_EQ(answers[0].read, kDefaults);
}

}  // namespace
