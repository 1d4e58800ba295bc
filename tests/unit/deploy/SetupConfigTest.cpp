// Setup.ini as the set-up reads it: what is asked of the store, and what is kept of it.

#include "deploy/SetupConfig.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "unit/deploy/FakeMachine.h"
#include "unit/deploy/SetupFields.h"

namespace {

using deploy_test::FakeMachine;
using deploy_test::Fields;
using deploy_test::g_Machine;
using deploy_test::MachineOf;
using KrCommon::LogLevel::kError;
using test_support::FailAllocations;
using test_support::LogRecorder;
using WyDeployHelper::SetupHelper::CSetupConfig;
using WyDeployHelper::SetupHelper::g_SetupConfig;
using Texts = std::vector<std::wstring>;

constexpr wchar_t kPath[] = L"P:\\Setup.ini";

static_assert(std::has_virtual_destructor_v<CSetupConfig>);
static_assert(noexcept(g_SetupConfig.ReadConfig(std::declval<const std::wstring&>())));
static_assert(std::is_same_v<decltype(g_SetupConfig.GetUpdateRegistry()), std::wstring>);

// The fields of the process's object before any test.
std::wstring s_strAtLoad;

class AtLoad : public testing::Environment {
    void SetUp() override { s_strAtLoad = Fields(g_SetupConfig); }
};
const testing::Environment* const s_pAtLoad = testing::AddGlobalTestEnvironment(new AtLoad);

TEST(SetupConfig, holds_nothing_before_the_first_read) {
    ASSERT_NE(s_pAtLoad, nullptr);
    EXPECT_EQ(s_strAtLoad, L"0 [] 0 0 [] []");
    EXPECT_EQ(Fields(CSetupConfig()), L"0 [] 0 0 [] []");
}

TEST(SetupConfig, reads_three_sections_one_at_a_time_with_these_defaults) {
    g_Machine = MachineOf(6, 1);
    CSetupConfig config;
    const LogRecorder log;
    EXPECT_TRUE(config.ReadConfig(kPath));
    EXPECT_EQ(g_Machine.steps, (Texts{
                                   L"exists P:\\Setup.ini",
                                   L"store",
                                   L"open [Check] of P:\\Setup.ini",
                                   L"text CheckOS ()",
                                   L"text OS ()",
                                   L"close",
                                   L"open [CheckWin7] of P:\\Setup.ini",
                                   L"number ServicePack (0)",
                                   L"number MinBuildNumber (0)",
                                   L"close",
                                   L"open [MsiConfig] of P:\\Setup.ini",
                                   L"text ShowWyEula (1)",
                                   L"text UpdateRegistry (1)",
                                   L"close",
                               }));
    EXPECT_EQ(Fields(config), L"0 [] 0 0 [1] [1]");
    EXPECT_TRUE(log.Lines().empty());
}

TEST(SetupConfig, keeps_what_each_key_says) {
    const struct {
        const wchar_t* section;
        const wchar_t* key;
        const wchar_t* value;
        const wchar_t* fields;
    } rows[] = {
        {L"Check", L"CheckOS", L"1", L"1 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"0", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"2", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"01", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"11", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"yes", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"CheckOS", L"true", L"0 [] 0 0 [1] [1]"},
        {L"Check", L"OS", L"Win8.1", L"0 [Win8.1] 0 0 [1] [1]"},
        {L"Check", L"OS", L"anything", L"0 [anything] 0 0 [1] [1]"},
        {L"CheckWin7", L"ServicePack", L"1", L"0 [] 1 0 [1] [1]"},
        {L"CheckWin7", L"ServicePack", L"4294967295", L"0 [] 4294967295 0 [1] [1]"},
        {L"CheckWin7", L"MinBuildNumber", L"7601", L"0 [] 0 7601 [1] [1]"},
        {L"CheckWin7", L"MinBuildNumber", L"4294967295", L"0 [] 0 4294967295 [1] [1]"},
        {L"CheckWin8", L"ServicePack", L"1", L"0 [] 0 0 [1] [1]"},  // another system's
        {L"Check", L"ServicePack", L"1", L"0 [] 0 0 [1] [1]"},      // not there
        {L"MsiConfig", L"ShowWyEula", L"0", L"0 [] 0 0 [0] [1]"},
        {L"MsiConfig", L"ShowWyEula", L"", L"0 [] 0 0 [] [1]"},
        {L"MsiConfig", L"UpdateRegistry", L"0", L"0 [] 0 0 [1] [0]"},
        {L"MsiConfig", L"UpdateRegistry", L"no", L"0 [] 0 0 [1] [no]"},
        {L"Check", L"UpdateRegistry", L"0", L"0 [] 0 0 [1] [1]"},  // not there
    };
    for (const auto& row : rows) {
        g_Machine = MachineOf(6, 1);
        g_Machine.file[row.section][row.key] = row.value;
        CSetupConfig config;
        EXPECT_TRUE(config.ReadConfig(kPath));
        EXPECT_EQ(Fields(config), row.fields) << testing::PrintToString(std::wstring(row.key));
    }
}

TEST(SetupConfig, the_running_system_chooses_the_section) {
    const struct {
        std::uint32_t major;
        std::uint32_t minor;
        const wchar_t* section;
    } rows[] = {
        {4, 0, L"CheckWinXP"},  {5, 0, L"CheckWinXP"},    {5, 1, L"CheckWinXP"},
        {5, 2, L"CheckWinXP"},  {6, 0, L"CheckWinVista"}, {6, 1, L"CheckWin7"},
        {6, 2, L"CheckWin8"},   {6, 3, L"CheckWin8.1"},   {6, 4, L"CheckWinXP"},
        {7, 0, L"CheckWinXP"},  {9, 0, L"CheckWinXP"},    {10, 0, L"CheckWin10"},
        {10, 1, L"CheckWinXP"}, {11, 0, L"CheckWinXP"},
    };
    for (const auto& row : rows) {
        for (std::uint8_t type = 1; type <= 3; ++type) {
            g_Machine = MachineOf(row.major, row.minor, 0, type);
            g_Machine.file[row.section] = {{L"ServicePack", L"3"}, {L"MinBuildNumber", L"44"}};
            CSetupConfig config;
            EXPECT_TRUE(config.ReadConfig(kPath));
            EXPECT_EQ(Fields(config), L"0 [] 3 44 [1] [1]") << row.major << '.' << row.minor;
        }
    }
}

// The same numbers mean another system there.
TEST(SetupConfig, a_system_that_is_no_nt_takes_the_section_of_xp) {
    for (const std::uint32_t platform : {0U, 1U, 3U}) {
        g_Machine = MachineOf(6, 1);
        g_Machine.system.platformId = platform;
        CSetupConfig config;
        EXPECT_TRUE(config.ReadConfig(kPath));
        EXPECT_EQ(g_Machine.steps.at(6), L"open [CheckWinXP] of P:\\Setup.ini") << platform;
    }
}

FakeMachine MachineWithOldFile() {
    FakeMachine machine = MachineOf(10, 0);
    machine.file = {
        {L"Check", {{L"CheckOS", L"1"}, {L"OS", L"old"}}},
        {L"CheckWin10", {{L"ServicePack", L"1"}, {L"MinBuildNumber", L"2"}}},
        {L"MsiConfig", {{L"ShowWyEula", L"old"}, {L"UpdateRegistry", L"old"}}},
    };
    return machine;
}

TEST(SetupConfig, a_second_read_replaces_all) {
    g_Machine = MachineWithOldFile();
    CSetupConfig config;
    EXPECT_TRUE(config.ReadConfig(kPath));
    EXPECT_EQ(Fields(config), L"1 [old] 1 2 [old] [old]");
    g_Machine = MachineOf(10, 0);
    EXPECT_TRUE(config.ReadConfig(kPath));
    EXPECT_EQ(Fields(config), L"0 [] 0 0 [1] [1]");
}

TEST(SetupConfig, a_missing_file_is_told_and_changes_nothing) {
    g_Machine = MachineWithOldFile();
    CSetupConfig config;
    EXPECT_TRUE(config.ReadConfig(kPath));
    const struct {
        const wchar_t* path;
        const wchar_t* line;
    } rows[] = {
        {kPath, L"WyDeployHelper: [ERROR] Config file does not exist. Path: P:\\Setup.ini"},
        {L"100%d", L"WyDeployHelper: [ERROR] Config file does not exist. Path: 100%d"},
        {L"", L"WyDeployHelper: [ERROR] Config file does not exist. Path: "},
    };
    for (const auto& row : rows) {
        g_Machine = MachineOf(10, 0);
        g_Machine.exists = false;
        const LogRecorder log;
        EXPECT_FALSE(config.ReadConfig(row.path));
        EXPECT_EQ(log.Texts(), Texts{row.line});
        EXPECT_TRUE(log.Has(kError, row.line));
        EXPECT_EQ(g_Machine.steps, Texts{L"exists " + std::wstring(row.path)});
        EXPECT_EQ(Fields(config), L"1 [old] 1 2 [old] [old]");
    }
}

TEST(SetupConfig, a_store_that_raises_ends_the_read_and_keeps_what_came_before) {
    const struct {
        int working;  // operations of the store
        const wchar_t* fields;
    } rows[] = {
        {0, L"1 [old] 1 2 [old] [old]"},   // opening [Check]
        {1, L"1 [old] 1 2 [old] [old]"},   // CheckOS
        {2, L"0 [old] 1 2 [old] [old]"},   // OS
        {3, L"0 [new] 1 2 [old] [old]"},   // closing it
        {4, L"0 [new] 1 2 [old] [old]"},   // opening [CheckWin10]
        {5, L"0 [new] 1 2 [old] [old]"},   // ServicePack
        {6, L"0 [new] 30 2 [old] [old]"},  // MinBuildNumber
        {7, L"0 [new] 30 40 [old] [old]"},
        {8, L"0 [new] 30 40 [old] [old]"},   // opening [MsiConfig]
        {9, L"0 [new] 30 40 [old] [old]"},   // ShowWyEula
        {10, L"0 [new] 30 40 [new] [old]"},  // UpdateRegistry
        {11, L"0 [new] 30 40 [new] [new]"},  // closing it
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.working);
        g_Machine = MachineWithOldFile();
        CSetupConfig config;
        EXPECT_TRUE(config.ReadConfig(kPath));
        g_Machine = MachineOf(10, 0);
        g_Machine.file = {
            {L"Check", {{L"CheckOS", L"0"}, {L"OS", L"new"}}},
            {L"CheckWin10", {{L"ServicePack", L"30"}, {L"MinBuildNumber", L"40"}}},
            {L"MsiConfig", {{L"ShowWyEula", L"new"}, {L"UpdateRegistry", L"new"}}},
        };
        g_Machine.storeAnswers = row.working;
        const LogRecorder log;
        EXPECT_FALSE(config.ReadConfig(kPath));
        EXPECT_EQ(Fields(config), row.fields);
        // The line 7 and the code 0x10 follow the text, which is no format.
        const std::wstring line =
            L"WyDeployHelper: [ERROR] KrCommon::Storage::Exception - ln(%u), er(0x%08X)716";
        EXPECT_EQ(log.Texts(), Texts{line});
        EXPECT_TRUE(log.Has(kError, line));
    }
}

TEST(SetupConfig, a_lack_of_memory_ends_the_read_like_a_store_that_raises) {
    const std::wstring path = kPath;
    const std::wstring longText(100, L'x');
    for (std::size_t passed = 0;; ++passed) {
        ASSERT_LT(passed, 200U);
        g_Machine = MachineOf(10, 0);
        g_Machine.file[L"Check"] = {{L"CheckOS", L"1"}, {L"OS", longText}};
        g_Machine.file[L"MsiConfig"] = {{L"UpdateRegistry", longText}};
        CSetupConfig config;
        LogRecorder log;
        bool read = true;
        bool happened = false;
        {
            const FailAllocations fail(passed, FailAllocations::Mode::kOnce);
            read = config.ReadConfig(path);
            happened = fail.Happened();
        }
        if (!happened) {
            EXPECT_TRUE(read);
            EXPECT_GT(passed, 10U);
            return;
        }
        EXPECT_FALSE(read) << passed;
        ASSERT_EQ(log.Texts().size(), 1U) << passed;
        // Some line of the source, and code 6.
        const std::wstring text = log.Texts()[0];
        EXPECT_EQ(text.find(L"WyDeployHelper: [ERROR] KrCommon::Storage::Exception - ln(%u), "
                            L"er(0x%08X)"),
                  0U);
        EXPECT_EQ(text.back(), L'6');
    }
}

}  // namespace
