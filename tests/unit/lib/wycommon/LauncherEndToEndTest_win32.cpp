// The launcher's stand-in, really started: what reaches it, and what it does with that.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Launcher.h"
#include "support/LogRecorder.h"
#include "support/ProcessFigures.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

namespace Launcher = WyCommon::Launcher;
using KrCommon::String::ToUtf8;

using Lines = std::vector<std::string>;

Lines LinesOf(const std::filesystem::path& file) {
    std::ifstream stream(file);
    Lines lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The launcher leaves the program running: its file is there, and free to be read, after a while.
Lines LinesWhenThere(const std::filesystem::path& file) {
    constexpr int kPatience = 1000;
    Lines lines = LinesOf(file);
    for (int i = 0; i < kPatience && lines.empty(); ++i) {
        Sleep(10);
        lines = LinesOf(file);
    }
    return lines;
}

// What stands between the name and the directory, from the second line of the stand-in's file on.
Lines AskedOf(const std::filesystem::path& launcher) {
    Lines lines = LinesOf(launcher.wstring() + L".asked.txt");
    if (!lines.empty())
        lines.erase(lines.begin());
    return lines;
}

class LaunchedForReal : public testing::Test {
protected:
    LaunchedForReal() : m_Launcher(Copy("LauncherStandin.exe", L"My Launcher.exe")) {}

    std::filesystem::path Copy(const char* program, const wchar_t* name) {
        const std::filesystem::path copy = m_Folder.Path() / name;
        std::filesystem::copy_file(test_support::ProgramFolder() / program, copy);
        return copy;
    }

    const test_support::TemporaryFolder m_Folder{L"WyLaunched"};
    const std::filesystem::path m_Launcher;
    const std::string m_Null = std::string(sizeof(void*) * 2, '0');
};

TEST_F(LaunchedForReal, impersonate_starts_a_program_with_parameters_in_its_directory) {
    const std::filesystem::path program = Copy("LauncherProbe.exe", L"\u00e4 program.exe");
    const std::filesystem::path report = m_Folder.Path() / "report.txt";
    const std::filesystem::path directory = m_Folder.Path() / L"w\u65e5 w";
    std::filesystem::create_directory(directory);
    const std::wstring params = L"record " + report.wstring() + L" \"two words\" \u0416";
    test_support::LogRecorder log(KrCommon::LogLevel::kError);
    EXPECT_EQ(Launcher::Impersonate(L"open", program.wstring(), params, &log, 5,
                                    directory.wstring(), m_Launcher.wstring()),
              0x20ff0000U);
    // The call waits for the launcher: its report is complete.
    EXPECT_EQ(AskedOf(m_Launcher),
              (Lines{"show 1 0", ToUtf8(program.wstring()), "open", ToUtf8(params), m_Null, "0",
                     ToUtf8(directory.wstring())}));
    EXPECT_EQ(LinesWhenThere(report), (Lines{ToUtf8(L"\"" + program.wstring() + L"\" " + params),
                                             ToUtf8(directory.wstring())}));
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(LaunchedForReal, command_line_shows_all_fields_but_the_first) {
    EXPECT_EQ(Launcher::Impersonate(L"none", L"C:\\secret.exe", L"p", nullptr, 0, L"d",
                                    m_Launcher.wstring()),
              0x20ff0000U);
    std::wstring cipher = L"C:\\secret.exe";
    ASSERT_TRUE(KrCommon::Cryptograph::EncryptString(cipher));
    const Lines lines = LinesOf(m_Launcher.wstring() + L".asked.txt");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "\"" + ToUtf8(m_Launcher.wstring()) + "\" " + ToUtf8(cipher) + ",none,p," +
                            m_Null + ",0,d");
}

TEST_F(LaunchedForReal, comma_in_the_parameters_shifts_the_fields) {
    EXPECT_EQ(Launcher::Impersonate(L"none", L"C:\\a.exe", L"1,2", nullptr, 0, L"C:\\w",
                                    m_Launcher.wstring()),
              0x20ff0000U);
    EXPECT_EQ(AskedOf(m_Launcher),
              (Lines{"show 1 0", "C:\\a.exe", "none", "1", "2", m_Null, "0", "C:\\w"}));
}

TEST_F(LaunchedForReal, name_of_more_than_191_bytes_comes_damaged) {
    const std::wstring whole(191, L'x');
    Launcher::RunDll(whole, L"F", L"", m_Launcher.wstring());
    EXPECT_EQ(AskedOf(m_Launcher).at(1), ToUtf8(whole));
    const std::wstring tooLong(193, L'x');
    Launcher::RunDll(tooLong, L"F", L"", m_Launcher.wstring());
    EXPECT_NE(AskedOf(m_Launcher).at(1), ToUtf8(tooLong));
}

TEST_F(LaunchedForReal, rundll_calls_a_function_of_a_library) {
    const std::filesystem::path library = Copy("CustomActionStandin.dll", L"Custom Act.dll");
    const test_support::ProcessFigures before = test_support::ProcessFigures::Now();
    EXPECT_EQ(Launcher::RunDll(library.wstring(), L"ForceKillProcessWrapper", L"setup \u00fc.exe",
                               m_Launcher.wstring()),
              0x20ff0000U);
    EXPECT_EQ((test_support::ProcessFigures::Now() - before).handles, 0);
    EXPECT_EQ(AskedOf(m_Launcher), (Lines{"show 1 0", ToUtf8(library.wstring()),
                                          "ForceKillProcessWrapper", ToUtf8(L"setup \u00fc.exe")}));
    EXPECT_EQ(LinesOf(m_Folder.Path() / "called.txt"), Lines{ToUtf8(L"setup \u00fc.exe")});
}

TEST_F(LaunchedForReal, exit_code_of_the_launcher_is_not_judged) {
    EXPECT_EQ(Launcher::RunDll(L"C:\\no such library.dll", L"F", L"", m_Launcher.wstring()),
              0x20ff0000U);
    EXPECT_EQ(AskedOf(m_Launcher).at(1), "C:\\no such library.dll");
}

TEST_F(LaunchedForReal, launcher_that_is_missing_is_a_failure) {
    test_support::LogRecorder log(KrCommon::LogLevel::kError);
    EXPECT_EQ(Launcher::RunDll(L"a.dll", L"F", L"", L"C:\\no such launcher.exe"), 0xe0fe0002U);
    EXPECT_EQ(log.Lines().size(), 1U);
}

}  // namespace
