// Service, shortcuts and autorun value together.

#include "deploy/DeployCommon_Startups.h"

#include <fstream>

#include "lib/wycommon/WyLocaleHelper.h"
#include "support/ProcessFigures.h"
#include "support/TemporaryFolder.h"
#include "unit/deploy/DeployFixture_win32.h"
#include "unit/deploy/FakeProcesses_win32.h"
#include "unit/deploy/FakeServiceEntry_win32.h"
#include "unit/deploy/FakeSignature_win32.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using deploy_test::kId;
using deploy_test::kRunKey;
using deploy_test::kSuccess;
using deploy_test::Lines;
using deploy_test::RegistryFaults;
using deploy_test::Value;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr DWORD kExists = ERROR_SERVICE_EXISTS;
constexpr DWORD kMarked = ERROR_SERVICE_MARKED_FOR_DELETE;
const std::wstring kEntered = L"256 [ERROR] CreateService failed, w/err=0x431";
const std::wstring kStillMarked = L"256 [ERROR] CreateService failed, w/err=0x430";
const std::wstring kInstallFailed = L"256 [ERROR] Install service failed...";

void PutFile(const std::filesystem::path& path, const char* text = "") {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

class DeployStartups : public deploy_test::DeployFixture {
protected:
    void TearDown() override {
        EXPECT_EQ(m_Manager.openHandles, 0);
        EXPECT_EQ(m_Signature.open, 0);
        RemoveAutoRun();
        DeployFixture::TearDown();
    }

    void PutShortcuts(const wchar_t* tool = L"Shortcut.exe") const {
        PutFile(m_Folder.Path() / tool);
        PutFile(Description());
    }
    std::filesystem::path Description() const {
        std::wstring locale;
        WyCommon::Utility::GetLocaleName(locale, m_Dir + L"\\no such file");
        return m_Folder.Path() / L"Configuration" / L"Shortcut" / locale / L"Shortcut.xml";
    }
    std::wstring ShortcutLine(const wchar_t* action, const wchar_t* tool = L"Shortcut.exe") const {
        return L"\"" + m_Dir + L"\\" + tool + L"\" " + action + L" \"" + m_Dir + L"\" \"" +
               Description().wstring() + L"\"";
    }
    std::size_t CountCreates() const {
        std::size_t count = 0;
        for (const std::wstring& call : m_Manager.calls)
            count += call.rfind(L"CreateService ", 0) == 0 ? 1 : 0;
        return count;
    }

    test_support::TemporaryFolder m_Folder{L"wy startups"};
    const std::wstring m_Dir = m_Folder.Path().wstring();
    deploy_test::FakeProcesses m_Processes;
    // Stands before the pauses of the processes.
    deploy_test::FakeServiceEntry m_Manager;
    deploy_test::FakeSignature m_Signature;
};

// ---- install

TEST_F(DeployStartups, install_enters_the_service_and_the_agent) {
    EXPECT_EQ(InstallWyStartups(m_Dir, false), kSuccess);
    EXPECT_EQ(CountCreates(), 1U);
    EXPECT_THAT(m_Signature.paths, IsEmpty()) << "nobody asks whose the program is";
    EXPECT_EQ(Value(kRunKey, kId), L"\"" + m_Dir + L"\\WySessionAgent.exe\" 1");
    EXPECT_THAT(m_Processes.starts, IsEmpty());
    EXPECT_THAT(Log(), ElementsAre(L"1 [INFO] Set execute to auto run. Info: \"" + m_Dir +
                                   L"\\WySessionAgent.exe\" 1"));
}

TEST_F(DeployStartups, install_goes_service_shortcuts_autorun) {
    PutShortcuts();
    EXPECT_EQ(InstallWyStartups(m_Dir, true), kSuccess);
    EXPECT_THAT(m_Processes.starts, ElementsAre(ShortcutLine(L"-Create") + L"|null|8000200"));
    EXPECT_THAT(Log(),
                ElementsAre(L"1 [INFO] Handle shortcuts. Commandline: " + ShortcutLine(L"-Create"),
                            testing::StartsWith(L"1 [INFO] Set execute to auto run.")));
}

TEST_F(DeployStartups, install_names_follow_the_identity) {
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    PutShortcuts(L"Shortcut_P.exe");
    m_Manager.createErrors = {kExists, 0};
    EXPECT_EQ(InstallWyStartups(m_Dir, true), kSuccess);
    EXPECT_THAT(m_Signature.paths, ElementsAre(m_Dir + L"\\WySvcHost_P.exe"));
    EXPECT_THAT(m_Processes.starts,
                ElementsAre(ShortcutLine(L"-Create", L"Shortcut_P.exe") + L"|null|8000200"));
    EXPECT_EQ(Value(kRunKey, L"Tavrenox"), L"\"" + m_Dir + L"\\WySessionAgent_P.exe\" 1");
    RemoveAutoRun();
}

TEST_F(DeployStartups, install_that_cannot_enter_the_service_ends_there) {
    PutShortcuts();
    m_Manager.createErrors = {ERROR_ACCESS_DENIED};
    EXPECT_EQ(InstallWyStartups(m_Dir, true), 0xe0fe0005U);
    EXPECT_EQ(CountCreates(), 1U);
    EXPECT_THAT(m_Processes.starts, IsEmpty());
    EXPECT_EQ(Value(kRunKey, kId), L"(none)");
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] CreateService failed, w/err=0x5", kInstallFailed));
}

TEST_F(DeployStartups, install_does_not_wait_for_an_entry_that_is_marked_from_the_start) {
    m_Manager.createErrors = {kMarked, 0};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe0fe0430U);
    EXPECT_EQ(CountCreates(), 1U);
    EXPECT_EQ(m_Manager.Count(L"Sleep 3000"), 0U);
    EXPECT_THAT(Log(), ElementsAre(kStillMarked, kInstallFailed));
}

TEST_F(DeployStartups, install_does_not_replace_the_service_of_someone_else) {
    m_Manager.createErrors = {kExists, 0};
    m_Signature.signer = L"Somebody";
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe0fe0431U);
    EXPECT_THAT(m_Signature.paths, ElementsAre(m_Dir + L"\\WySvcHost.exe"));
    EXPECT_EQ(m_Manager.Count(L"Delete"), 0U);
    EXPECT_EQ(CountCreates(), 1U);
    EXPECT_EQ(Value(kRunKey, kId), L"(none)");
    EXPECT_THAT(Log(), ElementsAre(kEntered, kInstallFailed));
}

TEST_F(DeployStartups, install_replaces_the_makers_own_service) {
    m_Manager.createErrors = {kExists, 0};
    m_Manager.failures["ControlService"] = ERROR_SERVICE_NOT_ACTIVE;
    EXPECT_EQ(InstallWyStartups(m_Dir, false), kSuccess);
    EXPECT_EQ(m_Manager.Count(L"Delete"), 1U);
    EXPECT_EQ(CountCreates(), 2U);
    EXPECT_EQ(m_Manager.Count(L"Sleep 3000"), 0U);
}

TEST_F(DeployStartups, install_fails_with_the_removal_of_the_former_service) {
    m_Manager.createErrors = {kExists, 0};
    m_Manager.failures = {{"ControlService", 5}, {"DeleteService", 5}};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe0fe0005U);
    EXPECT_EQ(CountCreates(), 1U);
    EXPECT_THAT(Log(), ElementsAre(kEntered, L"256 [ERROR] DeleteService failed, w/err=0x5",
                                   kInstallFailed));
}

TEST_F(DeployStartups, install_waits_for_the_former_entry_to_go) {
    m_Manager.createErrors = {kExists, kMarked, kMarked, kMarked, kMarked, 0};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), kSuccess);
    EXPECT_EQ(CountCreates(), 6U);
    EXPECT_EQ(m_Manager.Count(L"Sleep 3000"), 4U);
}

TEST_F(DeployStartups, install_gives_up_after_five_rounds) {
    m_Manager.createErrors = {kExists, kMarked, kMarked, kMarked, kMarked, kMarked, 0};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe0fe0430U);
    EXPECT_EQ(CountCreates(), 6U);
    EXPECT_EQ(m_Manager.Count(L"Sleep 3000"), 5U);
    EXPECT_THAT(Log(), ElementsAre(kEntered, kStillMarked, kStillMarked, kStillMarked, kStillMarked,
                                   kStillMarked, kInstallFailed));
}

TEST_F(DeployStartups, install_ends_its_rounds_at_another_failure) {
    m_Manager.createErrors = {kExists, kMarked, kExists, 0};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe0fe0431U);
    EXPECT_EQ(CountCreates(), 3U);
    EXPECT_EQ(m_Manager.Count(L"Sleep 3000"), 1U);
    EXPECT_EQ(Log().back(), kInstallFailed);
}

TEST_F(DeployStartups, install_fails_with_the_shortcuts_and_sets_no_autorun) {
    PutShortcuts();
    m_Processes.createError = 5;
    EXPECT_EQ(InstallWyStartups(m_Dir, true), 0xe00e0002U);
    EXPECT_EQ(Value(kRunKey, kId), L"(none)");
    EXPECT_EQ(Log().back(), L"256 [ERROR] Create shortcuts failed...");
}

TEST_F(DeployStartups, install_that_cannot_set_the_autorun_says_that_no_program_was_terminated) {
    RegistryFaults faults;
    faults.refused = {kRunKey};
    EXPECT_EQ(InstallWyStartups(m_Dir, false), 0xe00e0004U);
    EXPECT_THAT(
        Log(),
        ElementsAre(testing::StartsWith(L"1 [INFO] Set execute to auto run."),
                    L"256 [ERROR] KrCommon::Storage::Reg::StoreValueWithAllAccess failed... 0x5",
                    L"256 [ERROR] Terminate exe failed..."));
}

// ---- uninstall

TEST_F(DeployStartups, uninstall_takes_service_shortcuts_and_autorun) {
    PutShortcuts();
    SetAutoRun(L"line");
    m_Log.Clear();
    m_Manager.failures["ControlService"] = ERROR_SERVICE_NOT_ACTIVE;
    EXPECT_EQ(UninstallWyStartups(m_Dir, true), kSuccess);
    EXPECT_EQ(m_Manager.Count(L"Delete"), 1U);
    EXPECT_THAT(m_Processes.starts, ElementsAre(ShortcutLine(L"-Delete") + L"|null|8000200"));
    EXPECT_EQ(Value(kRunKey, kId), L"(none)");
}

TEST_F(DeployStartups, uninstall_leaves_shortcuts_when_asked_to) {
    PutShortcuts();
    EXPECT_EQ(UninstallWyStartups(m_Dir, false), kSuccess);
    EXPECT_THAT(m_Processes.starts, IsEmpty());
}

TEST_F(DeployStartups, uninstall_ends_at_the_first_failure) {
    PutShortcuts();
    SetAutoRun(L"line");
    m_Manager.failures = {{"OpenServiceW", 5}};
    EXPECT_EQ(UninstallWyStartups(m_Dir, true), 0xe0fe0005U);
    EXPECT_EQ(Log().back(), L"256 [ERROR] Remove service failed...");
    EXPECT_THAT(m_Processes.starts, IsEmpty());

    m_Manager.failures = {{"OpenServiceW", ERROR_SERVICE_DOES_NOT_EXIST}};
    m_Processes.createError = 5;
    EXPECT_EQ(UninstallWyStartups(m_Dir, true), 0xe00e0001U);
    EXPECT_EQ(Log().back(), L"256 [ERROR] Remove shortcuts failed...");
    EXPECT_EQ(Value(kRunKey, kId), L"line");

    m_Processes.createError = 0;
    RegistryFaults faults;
    faults.deleteError = ERROR_ACCESS_DENIED;
    m_Log.Clear();
    EXPECT_EQ(UninstallWyStartups(m_Dir, true), 0xe00e0005U);
    EXPECT_THAT(Log(), ElementsAre(testing::StartsWith(L"1 [INFO] Handle shortcuts."),
                                   L"256 [ERROR] KrCommon::Storage::Reg::DeleteEntry() failed: 0x5",
                                   L"256 [ERROR] Delete run key failed..."));
}

// ---- autorun

TEST_F(DeployStartups, autorun_is_set_replaced_and_removed) {
    EXPECT_TRUE(SetAutoRun(L"first"));
    EXPECT_TRUE(SetAutoRun(L"\"C:\\100 %\\a.exe\" 1"));
    EXPECT_EQ(Value(kRunKey, kId), L"\"C:\\100 %\\a.exe\" 1");
    EXPECT_EQ(Log().back(), L"1 [INFO] Set execute to auto run. Info: \"C:\\100 %\\a.exe\" 1");
    m_Log.Clear();
    EXPECT_TRUE(RemoveAutoRun());
    EXPECT_EQ(Value(kRunKey, kId), L"(none)");
    EXPECT_TRUE(RemoveAutoRun()) << "a missing value is a success";
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployStartups, autorun_key_that_is_missing_is_a_success) {
    RegistryFaults faults;
    faults.openError = ERROR_FILE_NOT_FOUND;
    EXPECT_TRUE(RemoveAutoRun());
    faults.openError = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(RemoveAutoRun());
    EXPECT_THAT(Log(),
                ElementsAre(L"256 [ERROR] KrCommon::Storage::Reg::DeleteEntry() failed: 0x5"));
}

// ---- shortcuts

TEST_F(DeployStartups, shortcut_tool_runs_hidden_to_its_end) {
    PutShortcuts();
    m_Processes.exitCode = 77;
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Create")) << "the exit code plays no part";
    EXPECT_THAT(m_Processes.waits, ElementsAre(INFINITE));
    m_Processes.ExpectHidden();
}

TEST_F(DeployStartups, shortcuts_without_tool_or_description_are_nothing_to_do) {
    const std::wstring warning = L"16 [WARN] Shortcuts related files do not exist...";
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Create"));
    PutFile(m_Folder.Path() / L"Shortcut.exe");
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Create"));
    PutFile(Description());
    std::filesystem::remove(m_Folder.Path() / L"Shortcut.exe");
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Delete"));
    EXPECT_THAT(Log(), ElementsAre(warning, warning, warning));
    EXPECT_THAT(m_Processes.starts, IsEmpty());
}

TEST_F(DeployStartups, shortcut_tool_that_cannot_be_run_is_told) {
    PutShortcuts();
    m_Processes.createError = 193;
    EXPECT_FALSE(ShortcutsConfig(m_Dir, L"-Create"));
    m_Processes.createError = 0;
    m_Processes.exitCodeError = 5;
    EXPECT_FALSE(ShortcutsConfig(m_Dir, L"-Create"));
    m_Processes.exitCodeError = 0;
    m_Processes.waitResult = WAIT_FAILED;
    m_Processes.waitError = 6;
    EXPECT_FALSE(ShortcutsConfig(m_Dir, L"-Create"));
    const std::wstring failed =
        L"256 [ERROR] KrCommon::Process::InvokeProcessSynchForConsole() failed. ExitCode=0x0 "
        L"ErrorCode=0x";
    const Lines log = Log();
    ASSERT_EQ(log.size(), 6U);
    EXPECT_EQ(log[1], failed + L"c1");
    EXPECT_EQ(log[3], failed + L"5");
    EXPECT_EQ(log[5], failed + L"6");
}

TEST_F(DeployStartups, repetition_leaves_no_handles) {
    PutShortcuts();
    InstallWyStartups(m_Dir, true);
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(InstallWyStartups(m_Dir, true), kSuccess);
        EXPECT_EQ(UninstallWyStartups(m_Dir, true), kSuccess);
    }
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

// The name of the locale is kept for the life of the process.
TEST_F(DeployStartups, shortcut_description_is_that_of_the_users_language) {
    PutShortcuts();
    PutFile(m_Folder.Path() / L"Configuration" / L"localeInfo.json",
            "{\"localMapping\":[],\"defaultLocal\":\"XX-YY\"}");
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Create"));
    PutFile(Description());
    EXPECT_TRUE(ShortcutsConfig(m_Dir, L"-Create"));
    EXPECT_THAT(m_Processes.starts.back(),
                testing::HasSubstr(L"\\Configuration\\Shortcut\\XX-YY\\Shortcut.xml\"|null"));
}

}  // namespace
