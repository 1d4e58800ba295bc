// What a process takes the running system for: told by Wine, or by a stand-in for the version
// call. Each row runs a process of its own, because the answers are kept for the life of it.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "support/ProgramOutput_win32.h"
#include "support/ReportedVersion_win32.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
namespace OsVersion = KrCommon::OsVersion;

using Numbers = std::set<unsigned>;

// What OsVersionProbe.exe has printed, by the first word of each line.
using Report = std::map<std::string, std::string>;

Report Probe(const fs::path& program, const std::string& words) {
    Report report;
    std::istringstream lines(test_support::ProgramOutput(program.wstring(), words));
    std::string line;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::size_t start = line.starts_with("again ") ? 6 : 0;
        const std::size_t blank = line.find(' ', start);
        report[line.substr(0, blank)] = blank != std::string::npos ? line.substr(blank + 1) : "";
    }
    return report;
}

Report Probe(const std::string& words) {
    return Probe(test_support::ProgramFolder() / "OsVersionProbe.exe", words);
}

Numbers NumbersIn(const std::string& text) {
    std::istringstream words(text);
    Numbers numbers;
    unsigned number = 0;
    while (words >> number)
        numbers.insert(number);
    return numbers;
}

bool SystemIs64Bit() {
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    return info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
}

// The numbers that hold, with the one for the processor: of a version whose row for both is n,
// n - 2 is the 32-bit and n - 1 the 64-bit one.
Numbers WithBits(const char* text, bool is64Bit) {
    Numbers numbers = NumbersIn(text);
    for (const unsigned both : {10U, 13U, 16U, 19U, 22U}) {
        if (numbers.contains(both))
            numbers.insert(is64Bit ? both - 1 : both - 2);
    }
    return numbers;
}

TEST(OsVersion, of_each_system_that_wine_can_appear_as) {
    if (!test_support::RunsUnderWine())
        GTEST_SKIP() << "only Wine appears to a program as another system";
    const struct {
        const wchar_t* version;  // Wine's name
        const char* conditions;
        const char* name;
    } rows[] = {
        {L"win98", "2", "0 [before]"},
        {L"winme", "1 2", "0 [before]"},
        {L"nt40", "101", "0 [before]"},
        {L"win2000", "3 101 102", "1 [Windows 2000 Professional]"},
        {L"winxp", "5 7 101 102 103 104 105", "1 [Windows XP Professional]"},
        {L"winxp64", "6 7 101 102 103 104 105", "1 [Windows XP Professional x64 Edition]"},
        {L"win2003", "4 101 102 103 104 105 114", "1 [Windows Server 2003, Standard x64 Edition]"},
        {L"vista", "10 101 102 103 104 105 106 107 108", "1 [Windows Vista ]"},
        {L"win2008", "10 101 102 103 104 105 106 107 108 114",
         "1 [Windows Server 2008 Standard Edition]"},
        {L"win2008r2", "13 101 102 103 104 105 106 107 108 109 110", "1 [Windows 7 ]"},
        {L"win7", "13 101 102 103 104 105 106 107 108 109 110 114",
         "1 [Windows Server 2008 R2 Standard Edition]"},
        {L"win8", "16 101 102 103 104 105 106 107 108 109 110 111", "1 [Windows 8 ]"},
        {L"win81", "19 101 102 103 104 105 106 107 108 109 110 111 112", "1 [Windows 8.1 ]"},
        {L"win10", "22 101 102 103 104 105 106 107 108 110 111 112 113", "1 [Windows 10.0 ]"},
    };
    const test_support::TemporaryFolder folder(L"wy_os");
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.version)));
        const std::wstring program = std::wstring(L"WyOsProbe_") + row.version + L".exe";
        fs::copy_file(test_support::ProgramFolder() / "OsVersionProbe.exe",
                      folder.Path() / program);
        const test_support::ReportedVersion reported(program, row.version);
        Report report = Probe(folder.Path() / program, "lookups");
        EXPECT_EQ(NumbersIn(report["conditions"]), WithBits(row.conditions, SystemIs64Bit()));
        EXPECT_EQ(report["name"], row.name);
        EXPECT_EQ(report["is64"], SystemIs64Bit() ? "1" : "0");
        EXPECT_EQ(report["error"], "0");
        EXPECT_EQ(report["loads"], "0") << "a look-up has left a module loaded";
    }
}

TEST(OsVersion, of_systems_that_only_a_stand_in_appears_as) {
    const struct {
        const char* words;
        bool is64Bit;
        const char* conditions;
        const char* name;
    } rows[] = {
        // Windows 98, on a machine of its time
        {"version=1,4,10,0,0,0 native=missing", false, "2", "0 [before]"},
        // Windows 2000 Server SP4, Advanced and Datacenter Server
        {"version=2,5,0,4,3,0 native=missing", false, "3 101 102 114", "1 [Windows 2000 Server]"},
        {"version=2,5,0,4,3,2 native=missing", false, "3 101 102 114",
         "1 [Windows 2000 Advanced Server]"},
        {"version=2,5,0,4,3,130 native=missing", false, "3 101 102 114",
         "1 [Windows 2000 Datacenter Server]"},
        // XP Home, without a service pack and with each
        {"version=2,5,1,0,1,768 architecture=0", false, "5 7 101 102 103",
         "1 [Windows XP Home Edition]"},
        {"version=2,5,1,1,1,768 architecture=0", false, "5 7 101 102 103",
         "1 [Windows XP Home Edition]"},
        {"version=2,5,1,2,1,256 architecture=0", false, "5 7 101 102 103 104",
         "1 [Windows XP Professional]"},
        {"version=2,5,1,3,1,256 architecture=0", false, "5 7 101 102 103 104 105",
         "1 [Windows XP Professional]"},
        // 2003: Standard, R2 Enterprise, Itanium, a domain controller
        {"version=2,5,2,1,3,0 architecture=0", false, "4 101 102 103 104 105 114",
         "1 [Windows Server 2003, Standard Edition]"},
        {"version=2,5,2,2,3,2 architecture=9 r2=1", true, "4 101 102 103 104 105 114",
         "1 [Windows Server 2003 R2, Enterprise x64 Edition]"},
        {"version=2,5,2,2,3,128 architecture=6", false, "4 101 102 103 104 105 114",
         "1 [Windows Server 2003, Datacenter Edition for Itanium-based Systems]"},
        {"version=2,5,2,2,2,0 architecture=0", false, "101 102 103 104 105",
         "1 [Windows Server 2003, Standard Edition]"},
        // 5.2 where only GetSystemInfo tells the processor, which is then Itanium
        {"version=2,5,2,0,3,2 native=missing", false, "4 101 102 103 104 105 114",
         "1 [Windows Server 2003, Enterprise Edition for Itanium-based Systems]"},
        // Vista with its service packs, and with each answer about the product
        {"version=2,6,0,0,1,0 architecture=0 product=3", false, "10 101 102 103 104 105 106",
         "1 [Windows Vista Home Premium Edition]"},
        {"version=2,6,0,1,1,0 architecture=9 product=1", true, "10 101 102 103 104 105 106 107",
         "1 [Windows Vista Ultimate Edition]"},
        {"version=2,6,0,2,1,0 architecture=9 product=fail", true,
         "10 101 102 103 104 105 106 107 108", "1 [Windows Vista ]"},
        {"version=2,6,0,2,1,0 architecture=9 product=missing", true,
         "10 101 102 103 104 105 106 107 108", "1 [Windows Vista ]"},
        // Servers that are later than those above
        {"version=2,6,1,0,3,0 architecture=9 product=8", true,
         "13 101 102 103 104 105 106 107 108 109 114",
         "1 [Windows Server 2008 R2 Datacenter Edition]"},
        {"version=2,6,2,0,3,0 architecture=9 product=7", true,
         "16 101 102 103 104 105 106 107 108 109 110 111 114",
         "1 [Windows Server 2008 R2 Standard Edition]"},
        {"version=2,6,3,0,3,0 architecture=9 product=7", true,
         "19 101 102 103 104 105 106 107 108 109 110 111 112 114",
         "1 [Windows Server 2008 R2 Standard Edition]"},
        {"version=2,10,0,0,3,0 architecture=9 product=7", true,
         "22 101 102 103 104 105 106 107 108 110 111 112 113 114", "1 [Standard Edition]"},
        // 32-bit systems, and one for another processor
        {"version=2,6,1,1,1,0 architecture=0 product=48", false,
         "13 101 102 103 104 105 106 107 108 109 110", "1 [Windows 7 Professional]"},
        {"version=2,10,0,0,1,0 architecture=0 product=48", false,
         "22 101 102 103 104 105 106 107 108 110 111 112 113", "1 [Windows 10.0 Professional]"},
        {"version=2,10,0,0,1,0 architecture=12 product=48", false,
         "22 101 102 103 104 105 106 107 108 110 111 112 113", "1 [Windows 10.0 Professional]"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words);
        Report report = Probe(row.words);
        EXPECT_EQ(NumbersIn(report["conditions"]), WithBits(row.conditions, row.is64Bit));
        EXPECT_EQ(report["name"], row.name);
        EXPECT_EQ(report["is64"], row.is64Bit ? "1" : "0");
    }
}

TEST(OsVersion, first_answer_is_kept_for_the_conditions_but_not_for_the_name) {
    Report report = Probe("version=2,5,1,2,1,0 architecture=0 again");
    EXPECT_EQ(NumbersIn(report["conditions"]), (Numbers{5, 7, 101, 102, 103, 104}));
    EXPECT_EQ(NumbersIn(report["again conditions"]), NumbersIn(report["conditions"]));
    EXPECT_EQ(report["again is64"], "0");
    EXPECT_EQ(report["name"], "1 [Windows XP Professional]");
    EXPECT_NE(report["again name"], report["name"]);
    EXPECT_EQ(report["again error"], "0");
}

TEST(OsVersion, failing_version_call_is_kept_and_meets_no_condition) {
    const struct {
        const char* words;
        const char* error;
    } rows[] = {
        {"fail=all again", "1150"},     // ERROR_OLD_WIN_VERSION
        {"fail=silent again", "1150"},  // no code of the system's own
        {"fail=small again", "1150"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words);
        Report report = Probe(row.words);
        EXPECT_EQ(report["conditions"], "");
        EXPECT_EQ(report["error"], row.error);
        EXPECT_EQ(report["again conditions"], "");
        EXPECT_EQ(report["again error"], row.error);
    }
    EXPECT_EQ(Probe("fail=all again")["name"], "0 [before]");
    EXPECT_EQ(Probe("fail=all again")["again name"].substr(0, 1), "1");
}

// As Windows 98 and NT 4 before its service pack 6.
TEST(OsVersion, system_without_the_extended_form_answers_what_needs_none) {
    Report report = Probe("version=1,4,90,0,0,0 fail=extended");
    EXPECT_EQ(NumbersIn(report["conditions"]), (Numbers{1, 2}));
    EXPECT_EQ(report["error"], "1150");
    EXPECT_EQ(report["name"], "0 [before]");
    report = Probe("version=2,6,1,1,3,0 architecture=9 fail=extended");
    EXPECT_EQ(NumbersIn(report["conditions"]), (Numbers{12, 13, 101, 102, 103, 106, 109}));
}

TEST(OsVersion, missing_native_information_is_asked_for_again) {
    Report report = Probe("version=2,6,1,1,1,0 native=missing again");
    EXPECT_EQ(report["is64"], "0");
    EXPECT_TRUE(NumbersIn(report["conditions"]).contains(11));
    EXPECT_EQ(report["again is64"], SystemIs64Bit() ? "1" : "0");
    EXPECT_TRUE(NumbersIn(report["again conditions"]).contains(SystemIs64Bit() ? 12 : 11));
}

TEST(OsVersion, threads_that_ask_first_together_get_the_same_answers) {
    for (int round = 0; round < 3; ++round) {
        Report report = Probe("version=2,5,1,2,1,0 architecture=0 threads");
        EXPECT_EQ(report["threads"], "1");
        EXPECT_EQ(NumbersIn(report["conditions"]), (Numbers{5, 7, 101, 102, 103, 104}));
    }
}

TEST(OsVersion, bits_are_those_of_the_system) {
    EXPECT_EQ(OsVersion::Is64Bit(), SystemIs64Bit());
    EXPECT_EQ(OsVersion::Is64Bit(), SystemIs64Bit());
    // A 64-bit program runs on 64-bit systems alone.
    if (sizeof(void*) == 8) {
        EXPECT_TRUE(OsVersion::Is64Bit());
    }
}

}  // namespace
