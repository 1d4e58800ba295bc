// Which machines the system check refuses, and in what words.

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "deploy/SetupConfig.h"
#include "deploy/SystemCheckHelper.h"
#include "support/LogRecorder.h"
#include "unit/deploy/FakeMachine.h"

namespace {

using deploy_test::FakeMachine;
using deploy_test::g_Machine;
using deploy_test::MachineOf;
using KrCommon::LogLevel::kError;
using test_support::LogRecorder;
using WyDeployHelper::SetupHelper::CSystemCheckHelper;
using WyDeployHelper::SetupHelper::g_SetupConfig;
using Texts = std::vector<std::wstring>;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kRefused = 0xe00e0012;
constexpr std::uint8_t kWorkstation = 1;
constexpr std::uint8_t kDomainController = 2;
constexpr std::uint8_t kServer = 3;

constexpr wchar_t kVersion[] = L"WyDeployHelper: [ERROR] Windows version is not support.";
constexpr wchar_t kPack[] = L"WyDeployHelper: [ERROR] Windows service pack required.";
constexpr wchar_t kBuild[] =
    L"WyDeployHelper: [ERROR] Windows build number not meet minimum requirement.";
constexpr wchar_t kNoServer[] = L"WyDeployHelper: [ERROR] Windows server version is not support.";
constexpr wchar_t kNoXp64[] = L"WyDeployHelper: [ERROR] Windows XP 64 version is not support.";
constexpr wchar_t kNoPack[] = L"WyDeployHelper: [ERROR] Can't get service pack...";
constexpr wchar_t kNoBuild[] = L"WyDeployHelper: [ERROR] Can't get build number...";

static_assert(std::has_virtual_destructor_v<CSystemCheckHelper>);

// A Setup.ini with the check switched on. The numbers stand in the sections of all systems.
struct Demand {
    const wchar_t* os = L"";
    const wchar_t* servicePack = L"0";
    const wchar_t* buildNumber = L"0";
};

// Puts the set-up onto a machine, with its file read.
void Prepare(const FakeMachine& machine, const Demand& demand) {
    g_Machine = machine;
    g_Machine.file[L"Check"] = {{L"CheckOS", L"1"}, {L"OS", demand.os}};
    for (const wchar_t* section : {L"CheckWinXP", L"CheckWinVista", L"CheckWin7", L"CheckWin8",
                                   L"CheckWin8.1", L"CheckWin10"})
        g_Machine.file[section] = {{L"ServicePack", demand.servicePack},
                                   {L"MinBuildNumber", demand.buildNumber}};
    ASSERT_TRUE(g_SetupConfig.ReadConfig(L"P:\\Setup.ini"));
    g_Machine.steps.clear();
}

// Checks the machine and returns the lines of the log, the result being what they say.
Texts LinesOfCheck() {
    CSystemCheckHelper checks;
    const LogRecorder log;
    const std::uint32_t result = checks.CheckOs();
    Texts lines = log.Texts();
    for (const std::wstring& line : lines)
        EXPECT_TRUE(log.Has(kError, line));
    const bool refused = !lines.empty() && lines.back() != kNoPack && lines.back() != kNoBuild;
    EXPECT_EQ(result, refused ? kRefused : kSuccess);
    return lines;
}

TEST(SystemCheck, lowest_system_of_the_file_against_each_version) {
    const wchar_t* const demands[] = {L"WinVista", L"Win7", L"Win8", L"Win8.1", L""};
    const struct {
        const char* what;
        std::uint32_t major;
        std::uint32_t minor;
        std::uint16_t servicePack;
        const char* accepted;  // one sign for each demand
    } rows[] = {
        {"NT 4", 4, 0, 6, "-----"},   {"2000", 5, 0, 4, "-----"},
        {"XP", 5, 1, 0, "-----"},     {"XP SP1", 5, 1, 1, "-----"},
        {"XP SP2", 5, 1, 2, "----+"}, {"XP SP3", 5, 1, 3, "----+"},
        {"Vista", 6, 0, 0, "+---+"},  {"7", 6, 1, 0, "++--+"},
        {"8", 6, 2, 0, "+++-+"},      {"8.1", 6, 3, 0, "+++++"},
        {"6.4", 6, 4, 0, "+++++"},    {"10", 10, 0, 0, "+-+++"},  // Win7 wants a minor number
        {"10.1", 10, 1, 0, "+++++"},  {"11.0", 11, 0, 0, "+-+++"},
    };
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < std::size(demands); ++i) {
            SCOPED_TRACE(std::string(row.what) + " against " +
                         testing::PrintToString(std::wstring(demands[i])));
            Prepare(MachineOf(row.major, row.minor, row.servicePack), {demands[i]});
            EXPECT_EQ(LinesOfCheck(), row.accepted[i] == '+' ? Texts{} : Texts{kVersion});
        }
    }
}

TEST(SystemCheck, names_of_systems_are_exact_and_anything_else_means_xp_with_its_pack) {
    for (const wchar_t* os : {L"", L"winvista", L"WINVISTA", L"win7", L"win8", L"win8.1", L"Win8.",
                              L"Win8.10", L"Win9", L"Win10", L"WinXP", L" Win8", L"Win8 ", L"1"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(os)));
        Prepare(MachineOf(5, 1, 2), {os});
        EXPECT_EQ(LinesOfCheck(), Texts{});
        Prepare(MachineOf(5, 1, 1), {os});
        EXPECT_EQ(LinesOfCheck(), Texts{kVersion});
        Prepare(MachineOf(10, 0), {os});
        EXPECT_EQ(LinesOfCheck(), Texts{});
    }
}

TEST(SystemCheck, a_system_that_is_no_nt_is_refused) {
    for (const wchar_t* os : {L"", L"WinVista", L"Win7", L"Win8", L"Win8.1"}) {
        FakeMachine machine = MachineOf(6, 3, 9);
        machine.system.platformId = KrCommon::OsVersion::Platform::kWindows;
        Prepare(machine, {os});
        EXPECT_EQ(LinesOfCheck(), Texts{kVersion});
    }
}

TEST(SystemCheck, service_pack_and_build_number_from_the_demanded_ones_upwards) {
    const struct {
        const char* what;
        const wchar_t* demandedPack;
        const wchar_t* demandedBuild;
        std::uint16_t pack;
        std::uint32_t build;
        Texts lines;
        std::size_t questions;
    } rows[] = {
        {"nothing demanded", L"0", L"0", 0, 0, {}, 0},
        {"pack below", L"2", L"0", 1, 0, {kPack}, 1},
        {"pack equal", L"2", L"0", 2, 0, {}, 1},
        {"pack above", L"2", L"0", 3, 0, {}, 1},
        {"no pack", L"1", L"0", 0, 0, {kPack}, 1},
        {"pack -1, unsigned", L"4294967295", L"0", 65535, 0, {kPack}, 1},
        {"pack 0x80000000, unsigned", L"2147483648", L"0", 1, 0, {kPack}, 1},
        {"build below", L"0", L"7601", 0, 7600, {kBuild}, 1},
        {"build equal", L"0", L"7601", 0, 7601, {}, 1},
        {"build above", L"0", L"7601", 0, 7602, {}, 1},
        {"build -1, unsigned", L"0", L"4294967295", 0, 4294967294, {kBuild}, 1},
        {"build -1 reached", L"0", L"4294967295", 0, 4294967295, {}, 1},
        {"build of the system above the signed range", L"0", L"1", 0, 0x80000000, {}, 1},
        {"both reached", L"1", L"7601", 1, 7601, {}, 2},
        {"pack reached, build below", L"1", L"7601", 1, 7600, {kBuild}, 2},
        {"pack below, build reached", L"1", L"7601", 0, 7601, {kPack}, 1},
        {"both below: the pack is told", L"1", L"7601", 0, 7600, {kPack}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        FakeMachine machine = MachineOf(6, 1, row.pack);
        machine.buildNumber = row.build;
        Prepare(machine, {L"Win7", row.demandedPack, row.demandedBuild});
        EXPECT_EQ(LinesOfCheck(), row.lines);
        EXPECT_EQ(g_Machine.steps, Texts(row.questions, L"version"));
    }
}

TEST(SystemCheck, numbers_that_the_system_does_not_tell_are_no_refusal) {
    const struct {
        const char* what;
        const wchar_t* demandedPack;
        const wchar_t* demandedBuild;
        int answers;
        Texts lines;
    } rows[] = {
        {"pack", L"9", L"0", 0, {kNoPack}},
        {"build", L"0", L"9999", 0, {kNoBuild}},
        {"both", L"9", L"9999", 0, {kNoPack, kNoBuild}},
        {"the build alone, asked for second", L"1", L"9999", 1, {kNoBuild}},
        {"the build alone, after a pack below", L"9", L"9999", 1, {kPack}},
        {"nothing demanded, nothing asked", L"0", L"0", 0, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        FakeMachine machine = MachineOf(6, 1, 1);
        machine.versionAnswers = row.answers;
        Prepare(machine, {L"Win7", row.demandedPack, row.demandedBuild});
        EXPECT_EQ(LinesOfCheck(), row.lines);
    }
}

// After numbers that are not told the rest is still checked.
TEST(SystemCheck, a_server_is_refused_also_when_its_numbers_are_not_told) {
    FakeMachine machine = MachineOf(6, 1, 1, kServer);
    machine.versionAnswers = 0;
    Prepare(machine, {L"Win7", L"9", L"9999"});
    EXPECT_EQ(LinesOfCheck(), (Texts{kNoPack, kNoBuild, kNoServer}));
}

TEST(SystemCheck, the_small_form_of_the_version_has_no_service_pack) {
    FakeMachine machine = MachineOf(6, 1, 1);
    machine.smallFormOnly = true;
    machine.buildNumber = 7601;
    Prepare(machine, {L"Win7", L"1", L"7601"});
    EXPECT_EQ(LinesOfCheck(), Texts{kPack});
    Prepare(machine, {L"Win7", L"0", L"7601"});
    EXPECT_EQ(LinesOfCheck(), Texts{});
}

TEST(SystemCheck, editions_and_the_order_of_the_reasons) {
    const struct {
        const char* what;
        std::uint32_t major;
        std::uint32_t minor;
        std::uint8_t type;
        Demand demand;
        Texts lines;
    } rows[] = {
        {"XP x64", 5, 2, kWorkstation, {}, {kNoXp64}},
        {"Server 2003", 5, 2, kServer, {}, {kNoServer}},
        {"2003, domain controller", 5, 2, kDomainController, {}, {}},
        {"Server 2008", 6, 0, kServer, {L"WinVista"}, {kNoServer}},
        {"Server 2008 R2", 6, 1, kServer, {L"Win7", L"1", L"7601"}, {kNoServer}},
        {"Server 2012", 6, 2, kServer, {L"Win8"}, {kNoServer}},
        {"Server 2012 R2", 6, 3, kServer, {L"Win8.1"}, {kNoServer}},
        {"Server 2016", 10, 0, kServer, {L"WinVista"}, {kNoServer}},
        {"Server 2016, domain controller", 10, 0, kDomainController, {L"WinVista"}, {}},
        {"7", 6, 1, kWorkstation, {L"Win7", L"1", L"7601"}, {}},
        {"server, version too low", 5, 2, kServer, {L"Win7"}, {kVersion}},
        {"server, pack too low", 6, 1, kServer, {L"Win7", L"2"}, {kPack}},
        {"server, build too low", 6, 1, kServer, {L"Win7", L"0", L"9000"}, {kBuild}},
        {"XP x64, version too low", 5, 2, kWorkstation, {L"WinVista"}, {kVersion}},
        {"XP x64, pack too low", 5, 2, kWorkstation, {L"", L"2"}, {kPack}},
        {"XP x64, build too low", 5, 2, kWorkstation, {L"", L"1", L"9000"}, {kBuild}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        FakeMachine machine = MachineOf(row.major, row.minor, 1, row.type);
        machine.buildNumber = 7601;
        Prepare(machine, row.demand);
        EXPECT_EQ(LinesOfCheck(), row.lines);
    }
}

// ---- the list

std::vector<int> s_Called;

// A helper with checks of the test's own.
class Checks : public CSystemCheckHelper {
public:
    template <int number, std::uint32_t result>
    std::uint32_t Check() noexcept {
        s_Called.push_back(number);
        return result;
    }
    template <int number, std::uint32_t result>
    void Add() {
        m_listCheckFunctions.push_back(static_cast<CheckFunction>(&Checks::Check<number, result>));
    }
    std::size_t Size() const { return m_listCheckFunctions.size(); }
};

TEST(SystemCheckList, has_the_check_of_the_system_when_the_file_switches_it_on) {
    Checks none;
    g_Machine = MachineOf(5, 0);  // which the check would refuse
    ASSERT_TRUE(g_SetupConfig.ReadConfig(L"P:\\Setup.ini"));
    none.InitCheckFunction();
    EXPECT_EQ(none.Size(), 0U);
    const LogRecorder log;
    EXPECT_EQ(none.CheckAllSystemItems(), kSuccess);
    EXPECT_TRUE(log.Lines().empty());

    Checks one;
    Prepare(MachineOf(5, 0), {});
    one.InitCheckFunction();
    EXPECT_EQ(one.Size(), 1U);
    EXPECT_EQ(one.CheckAllSystemItems(), kRefused);
    one.InitCheckFunction();
    EXPECT_EQ(one.Size(), 2U);
}

TEST(SystemCheckList, is_empty_before_it_is_filled) {
    Prepare(MachineOf(5, 0), {});
    CSystemCheckHelper checks;
    EXPECT_EQ(checks.CheckAllSystemItems(), kSuccess);
}

TEST(SystemCheckList, refusal_is_told_with_its_code) {
    Prepare(MachineOf(5, 0, 4), {});  // Windows 2000, no lowest system named
    CSystemCheckHelper checks;
    checks.InitCheckFunction();
    const LogRecorder log;
    EXPECT_EQ(checks.CheckAllSystemItems(), kRefused);
    const std::wstring line =
        L"WyDeployHelper: [ERROR] Check system items failed...retCode=0xe00e0012";
    EXPECT_EQ(log.Texts(), (Texts{kVersion, line}));
    EXPECT_TRUE(log.Has(kError, line));
}

TEST(SystemCheckList, accepted_machine_leaves_no_line) {
    Prepare(MachineOf(6, 1, 1), {L"Win7", L"1"});
    CSystemCheckHelper checks;
    checks.InitCheckFunction();
    const LogRecorder log;
    EXPECT_EQ(checks.CheckAllSystemItems(), kSuccess);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(SystemCheckList, first_negative_result_ends_the_run) {
    s_Called.clear();
    Checks checks;
    checks.Add<1, kSuccess>();
    checks.Add<2, 0x80000001>();
    checks.Add<3, kRefused>();
    const LogRecorder log;
    EXPECT_EQ(checks.CheckAllSystemItems(), 0x80000001U);
    EXPECT_EQ(s_Called, (std::vector<int>{1, 2}));
    EXPECT_EQ(log.Texts(),
              Texts{L"WyDeployHelper: [ERROR] Check system items failed...retCode=0x80000001"});
}

TEST(SystemCheckList, last_result_is_that_of_the_run) {
    s_Called.clear();
    Checks checks;
    checks.Add<1, kSuccess>();
    checks.Add<2, 0>();
    checks.Add<3, 0x7fffffff>();
    const LogRecorder log;
    EXPECT_EQ(checks.CheckAllSystemItems(), 0x7fffffffU);
    EXPECT_EQ(s_Called, (std::vector<int>{1, 2, 3}));
    EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
