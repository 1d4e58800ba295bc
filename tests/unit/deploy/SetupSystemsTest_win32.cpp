// The check of the system on every version of Windows: those that Wine can appear as, and stand-ins
// for the version call for the others. Each row is a process of its own.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/ReportedVersion_win32.h"
#include "unit/deploy/SetupProbe.h"

namespace {

using deploy_test::Answer;
using deploy_test::SetupFiles;

constexpr const char* kLowestSystems[] = {"WinVista", "Win7", "Win8", "Win8.1", ""};
constexpr const char* kSections[] = {"CheckWinXP", "CheckWinVista", "CheckWin7",
                                     "CheckWin8",  "CheckWin8.1",   "CheckWin10"};

// A file with the check on, and with numbers in the sections of all systems.
std::string Demanding(const std::string& os, unsigned pack, unsigned build) {
    std::string text = "[Check]\r\nCheckOS=1\r\nOS=" + os + "\r\n";
    for (const char* section : kSections)
        text += std::string("[") + section + "]\r\nServicePack=" + std::to_string(pack) +
                "\r\nMinBuildNumber=" + std::to_string(build) + "\r\n";
    return text;
}

// A file with the check off, in which each section has its own name's place as a number.
std::string NumberedSections() {
    std::string text;
    unsigned number = 0;
    for (const char* section : kSections)
        text += std::string("[") + section + "]\r\nServicePack=" + std::to_string(number++) +
                "\r\nMinBuildNumber=5\r\n";
    return text;
}

// What a system is expected to be told.
struct System {
    const char* verdicts;  // for each of kLowestSystems, in the letters of Answer::Verdict()
    const char* section;
    unsigned build;
    unsigned pack;
};

// Asks a system everything. `program` is the probe or a copy of it.
void ExpectSystem(const System& system, const std::string& words, const std::wstring& program) {
    SetupFiles files;
    for (const char* os : kLowestSystems)
        files.Add(Demanding(os, 0, 0));
    files.Add(Demanding("", 0, system.build));
    files.Add(Demanding("", 0, system.build + 1));
    files.Add(Demanding("", system.pack, 0));
    files.Add(Demanding("", system.pack + 1, 0));
    files.Add(NumberedSections());
    const std::vector<Answer> answers = files.Probe(words, program);

    std::string verdicts;
    for (std::size_t i = 0; i + 1 < answers.size(); ++i)
        verdicts += answers[i].Verdict();
    const char any = system.verdicts[4];
    std::string expected = system.verdicts;
    expected += {any, any == 'v' ? 'v' : 'b', any, any == 'v' ? 'v' : 'p'};
    EXPECT_EQ(verdicts, expected);

    unsigned number = 0;
    while (std::string(kSections[number]) != system.section)
        ++number;
    EXPECT_EQ(answers.back().read, "1 0 [] " + std::to_string(number) + " 5 [1] [1]");
    EXPECT_EQ(answers.back().Verdict(), '+') << "nothing is checked";
}

TEST(SetupSystems, each_system_that_wine_can_appear_as) {
    if (!test_support::RunsUnderWine())
        GTEST_SKIP() << "only Wine appears to a program as another system";
    const struct {
        const wchar_t* version;  // Wine's name
        System system;
    } rows[] = {
        {L"win20", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"win30", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"win31", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"win95", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"win98", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"winme", {"vvvvv", "CheckWinXP", 0, 0}},
        {L"nt351", {"vvvvv", "CheckWinXP", 1057, 5}},
        {L"nt40", {"vvvvv", "CheckWinXP", 1381, 6}},
        {L"win2000", {"vvvvv", "CheckWinXP", 2195, 4}},
        {L"winxp", {"vvvv+", "CheckWinXP", 2600, 3}},
        {L"winxp64", {"vvvvx", "CheckWinXP", 3790, 2}},
        {L"win2003", {"vvvvs", "CheckWinXP", 3790, 2}},
        {L"vista", {"+vvv+", "CheckWinVista", 6002, 2}},
        {L"win2008", {"svvvs", "CheckWinVista", 6002, 2}},
        {L"win2008r2", {"++vv+", "CheckWin7", 7601, 1}},  // Windows 7
        {L"win7", {"ssvvs", "CheckWin7", 7601, 1}},       // its server
        {L"win8", {"+++v+", "CheckWin8", 9200, 0}},
        {L"win81", {"+++++", "CheckWin8.1", 9600, 0}},
        {L"win10", {"+v+++", "CheckWin10", 18362, 0}},
    };
    const test_support::TemporaryFolder folder(L"wy_systems");
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.version)));
        const std::wstring name = std::wstring(L"WySetupProbe_") + row.version + L".exe";
        const std::filesystem::path program = folder.Path() / name;
        std::filesystem::copy_file(test_support::ProgramFolder() / "SetupProbe.exe", program);
        const test_support::ReportedVersion reported(name, row.version);
        ExpectSystem(row.system, "", program.wstring());
    }
}

TEST(SetupSystems, systems_that_only_a_stand_in_appears_as) {
    const struct {
        const char* what;
        const char* words;  // PLATFORM,MAJOR,MINOR,BUILD,PACK,TYPE
        System system;
    } rows[] = {
        {"2000 Server", "2,5,0,2195,4,3", {"vvvvv", "CheckWinXP", 2195, 4}},
        {"XP", "2,5,1,2600,0,1", {"vvvvv", "CheckWinXP", 2600, 0}},
        {"XP SP1", "2,5,1,2600,1,1", {"vvvvv", "CheckWinXP", 2600, 1}},
        {"XP SP2", "2,5,1,2600,2,1", {"vvvv+", "CheckWinXP", 2600, 2}},
        {"2003 domain controller", "2,5,2,3790,1,2", {"vvvv+", "CheckWinXP", 3790, 1}},
        {"Vista", "2,6,0,6000,0,1", {"+vvv+", "CheckWinVista", 6000, 0}},
        {"7 without a pack", "2,6,1,7600,0,1", {"++vv+", "CheckWin7", 7600, 0}},
        {"2012", "2,6,2,9200,0,3", {"sssvs", "CheckWin8", 9200, 0}},
        {"2012 R2", "2,6,3,9600,0,3", {"sssss", "CheckWin8.1", 9600, 0}},
        {"2012 R2 domain controller", "2,6,3,9600,0,2", {"+++++", "CheckWin8.1", 9600, 0}},
        {"6.4", "2,6,4,9841,0,1", {"+++++", "CheckWinXP", 9841, 0}},
        {"10", "2,10,0,10240,0,1", {"+v+++", "CheckWin10", 10240, 0}},
        {"11", "2,10,0,22000,0,1", {"+v+++", "CheckWin10", 22000, 0}},
        {"2016", "2,10,0,14393,0,3", {"svsss", "CheckWin10", 14393, 0}},
        {"11.0", "2,11,0,30000,0,1", {"+v+++", "CheckWinXP", 30000, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ExpectSystem(row.system, std::string("version=") + row.words, {});
    }
}

constexpr char kNoPack[] = "256 WyDeployHelper: [ERROR] Can't get service pack...";
constexpr char kNoBuild[] = "256 WyDeployHelper: [ERROR] Can't get build number...";

TEST(SetupSystems, version_in_its_small_form_alone_has_a_build_and_no_service_pack) {
    SetupFiles files;
    files.Add(Demanding("Win7", 0, 7601));
    files.Add(Demanding("Win7", 0, 7602));
    files.Add(Demanding("Win7", 1, 0));
    const std::vector<Answer> answers = files.Probe("version=2,6,1,7601,1,1 fail=extended");
    EXPECT_EQ(answers[0].Verdict(), '+');
    EXPECT_EQ(answers[1].Verdict(), 'b');
    EXPECT_EQ(answers[2].Verdict(), 'p');
}

TEST(SetupSystems, version_that_is_not_told_is_no_refusal_by_its_numbers) {
    const struct {
        unsigned pack;
        unsigned build;
        std::vector<std::string> log;
    } rows[] = {
        {9, 0, {kNoPack}},
        {0, 9999, {kNoBuild}},
        {9, 9999, {kNoPack, kNoBuild}},
        {0, 0, {}},
    };
    SetupFiles files;
    for (const auto& row : rows)
        files.Add(Demanding("Win7", row.pack, row.build));
    const std::vector<Answer> answers = files.Probe("version=2,6,1,7601,1,1 fail=all");
    for (std::size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].result, "0x20ff0000") << i;
        EXPECT_EQ(answers[i].log, rows[i].log) << i;
    }
}

// The conditions know nothing then, and so none of them is met.
TEST(SetupSystems, version_that_is_never_told_meets_no_demand_for_a_system) {
    SetupFiles files;
    files.Add(Demanding("", 0, 0));
    files.Add(Demanding("WinVista", 0, 0));
    files.Add(NumberedSections());
    const std::vector<Answer> answers = files.Probe("fail=first");
    EXPECT_EQ(answers[0].Verdict(), 'v');
    EXPECT_EQ(answers[1].Verdict(), 'v');
    EXPECT_EQ(answers[2].Verdict(), '+');
    EXPECT_EQ(answers[2].read, "1 0 [] 0 5 [1] [1]") << "the section of XP";
}

}  // namespace
