// Bringing the product to life, and bringing the former one back.

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "support/ProcessFigures.h"
#include "support/ProgramOutput_win32.h"
#include "support/ReportedVersion_win32.h"
#include "unit/deploy/SetupFixture_win32.h"

namespace {

using deploy_test::kProcessesStay;
using deploy_test::kProgramsKey;
using deploy_test::kRenameFailed;
using deploy_test::kRunKey;
using deploy_test::kSharedKey;
using deploy_test::kSuccess;
using deploy_test::kTavrenoxKey;
using deploy_test::Lines;
using deploy_test::PutValue;
using deploy_test::Value;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr std::uint32_t kNoAgent = 0xe00e0010;
const std::wstring kAutoRun = L"Store Tavrenox";
const std::wstring kInstalledMail = L"Mail {\"eventId\":6}";

std::wstring UsageMail(const std::wstring& category, const std::wstring& ec, const std::wstring& ea,
                       const wchar_t* ev) {
    return L"Mail {\"category\":\"" + category + L"\",\"eventId\":112,\"param\":{\"ea\":\"" + ea +
           L"\",\"ec\":\"" + ec + L"\",\"ev\":\"" + ev + L"\"}}";
}
std::wstring VersionMail(const wchar_t* version, const wchar_t* change) {
    return UsageMail(L"versionUsage", L"VersionUsage", version, change);
}

std::wstring Agent(int mode) {
    return L"Run \"@\\install\\WySessionAgent_P.exe\" " + std::to_wstring(mode);
}

class InstallerStart : public deploy_test::InstallerFixture {
protected:
    void SetUp() override {
        InstallerFixture::SetUp();
        // The service does not run, and then it does.
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
    }
    // As in the second phase: no package, and nothing known of a backup.
    void SetInstalled() {
        PutInstalled(L"3.0.7");
        std::wstring used;
        m_Installer.SetDirectory(m_Install.wstring(), L"", used);
        m_Machine.ClearSteps();
        m_Log.Clear();
    }
};

// ---- the second phase

TEST_F(InstallerStart, first_installation_starts_records_and_tells) {
    PutShortcuts(m_Install);
    SetDirectory();
    PutValue(kTavrenoxKey + L"\\Au\\Au7e", L"t3201", L"c11t1100v1.1.0l1p1r1o1");
    m_Machine.ClearSteps();
    m_Machine.mailResults = {0x20ff0123, 0xe0ff0001};
    EXPECT_EQ(m_Installer.PostInstall(3), 0x20ff0123U) << "the service's answer";
    EXPECT_THAT(Steps(),
                ElementsAre(L"CreateService",
                            L"Run \"@\\install\\Shortcut_P.exe\" -Create \"@\\install\" "
                            L"\"@\\install\\" +
                                Description() + L"\"",
                            kAutoRun, L"Store WorkingId", L"StartService", Agent(3),
                            L"Store ProductVersion", L"Store AgentVersion", L"Store DisplayVersion",
                            L"Store DisplayVersion", L"Store t3201", kInstalledMail,
                            UsageMail(L"freshInstall", L"FreshInstall", L"", L"0"),
                            VersionMail(L"3.1.1158", L"1"), L"Status 0"));
    EXPECT_THAT(InstallerLog(), IsEmpty());
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductVersion"), L"3.1.1158");
    EXPECT_EQ(Value(kTavrenoxKey, L"AgentVersion"), L"3.1.1158");
    EXPECT_EQ(Value(kTavrenoxKey + L"\\Au\\Au7e", L"t3201"), L"c11t1100v3.1.1158l1p1r1o1");
    EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"Tavrenox");
    EXPECT_EQ(Value(kRunKey, L"Tavrenox"),
              L"\"" + m_Install.wstring() + L"\\WySessionAgent_P.exe\" 1");
    EXPECT_EQ(Status(), 0);
}

TEST_F(InstallerStart, start_mode_goes_to_the_agent) {
    SetDirectory();
    EXPECT_EQ(m_Installer.PostInstall(7), kSuccess);
    EXPECT_TRUE(Did(Agent(7)));
}

TEST_F(InstallerStart, reinstall_tells_of_both_versions_and_deletes_its_own_backup) {
    PutPackage();
    SetReinstall(L"3.0.7");
    Prepare();
    m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
    EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
    EXPECT_FALSE(Exists(m_Backup));
    const auto steps = Steps();
    ASSERT_GE(steps.size(), 5U);
    EXPECT_THAT(
        Lines(steps.end() - 5, steps.end()),
        ElementsAre(kInstalledMail, VersionMail(L"3.1.1158", L"1"), VersionMail(L"3.0.7", L"-1"),
                    L"Remove @\\WyvarionBackup", L"Status 0"));
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductVersion"), L"3.1.1158");
}

TEST_F(InstallerStart, backup_that_cannot_be_deleted_is_no_failure) {
    PutPackage();
    SetReinstall();
    Prepare();
    m_Machine.failures = {{L"Remove @\\WyvarionBackup", {ERROR_SHARING_VIOLATION}}};
    EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
    EXPECT_EQ(Status(), 0);
}

// The backup is known to the object that made it alone.
TEST_F(InstallerStart, second_phase_of_its_own_leaves_the_backup_and_an_error_line) {
    PutFile(m_Backup / L"older.txt");
    SetInstalled();
    EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
    EXPECT_TRUE(Exists(m_Backup / L"older.txt"));
    EXPECT_THAT(Log("DeployCommon_Folders"),
                ElementsAre(L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed... "
                            L"ErrorCode=0xa0"));
    EXPECT_EQ(Status(), 0);
}

TEST_F(InstallerStart, other_identity_has_no_shortcuts_no_working_id_and_no_usage_events) {
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    PutFile(m_Install / L"Shortcut.exe");
    PutFile(m_Install / Description());
    CWyInstaller installer(L"1", L"2");
    std::wstring used;
    installer.SetDirectory(m_Install.wstring(), L"", used);
    m_Machine.ClearSteps();
    EXPECT_EQ(installer.PostInstall(3), kSuccess);
    EXPECT_THAT(Steps(),
                ElementsAre(L"CreateService", L"Store Wyvarion", L"StartService",
                            L"Run \"@\\install\\WySessionAgent.exe\" 3", L"Store ProductVersion",
                            L"Store AgentVersion", L"Store t3201", kInstalledMail, L"Status 0"));
}

TEST_F(InstallerStart, second_phase_ends_at_the_step_that_fails) {
    const std::wstring startups =
        L"256 [ERROR] WyDeployHelper::DeployCommon::InstallWyStartups failed... RetCode = ";
    const struct {
        const char* what;
        std::map<std::string, DWORD> service;  // failures of the service manager
        DWORD createError;
        std::wstring call;
        std::uint32_t mail;
        std::uint32_t result;
        std::wstring line;
        Lines steps;
    } rows[] = {
        {"service entry",
         {},
         ERROR_ACCESS_DENIED,
         L"",
         kSuccess,
         0xe0fe0005,
         startups + L"0xe0fe0005",
         {L"CreateService", L"Store WorkingId"}},
        {"autorun value",
         {},
         0,
         kAutoRun,
         kSuccess,
         0xe00e0004,
         startups + L"0xe00e0004",
         {L"CreateService", kAutoRun, L"Store WorkingId"}},
        {"service",
         {{"StartServiceW", ERROR_SERVICE_LOGON_FAILED}},
         0,
         L"",
         kSuccess,
         0xe0fe042d,
         L"256 [ERROR] Start service failed, error = 0xe0fe042d",
         {L"CreateService", kAutoRun, L"Store WorkingId", L"StartService"}},
        {"agent",
         {},
         0,
         Agent(3),
         kSuccess,
         kNoAgent,
         L"256 [ERROR] WyDeployHelper::DeployCommon::StartWySessionAgent failed... RetCode = "
         L"0xe00e0010",
         {L"CreateService", kAutoRun, L"Store WorkingId", L"StartService", Agent(3)}},
        {"event",
         {},
         0,
         L"",
         0xe00106ba,
         0xe0fe06ba,
         L"256 [ERROR] WyPublishEvent failed... RetCode = 0xe0fe06ba",
         {L"CreateService", kAutoRun, L"Store WorkingId", L"StartService", Agent(3),
          L"Store ProductVersion", L"Store AgentVersion", L"Store DisplayVersion",
          L"Store DisplayVersion", L"Store t3201", kInstalledMail}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Clear();
        SetDirectory();
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
        m_Machine.manager.failures = row.service;
        m_Machine.manager.createErrors = {row.createError};
        m_Machine.failures = {{row.call, {ERROR_ACCESS_DENIED}}};
        m_Machine.mailResults = {row.mail};
        EXPECT_EQ(m_Installer.PostInstall(3), row.result);
        EXPECT_THAT(InstallerLog(), ElementsAre(row.line));
        EXPECT_THAT(Steps(), ElementsAreArray(row.steps));
        EXPECT_EQ(Status(), -1) << "not complete";
    }
}

TEST_F(InstallerStart, event_that_fails_leaves_the_backup_of_a_reinstall) {
    PutPackage();
    SetReinstall();
    Prepare();
    m_Machine.mailResults = {0x80000000};
    EXPECT_EQ(m_Installer.PostInstall(3), 0x80000000U);
    EXPECT_TRUE(Exists(m_Backup / L"old.txt"));
    EXPECT_EQ(Status(), 1);
}

TEST_F(InstallerStart, versions_that_cannot_be_recorded_are_told_and_no_more) {
    const std::wstring version = L"256 [ERROR] Update WY version info failed...";
    const std::wstring update = L"256 [ERROR] Update the version info in AU7E failed...";
    const struct {
        const wchar_t* value;
        std::wstring line;
    } rows[] = {{L"ProductVersion", version},
                {L"AgentVersion", version},
                {L"DisplayVersion", version},
                {L"t3201", update}};
    for (const auto& row : rows) {
        Clear();
        SetDirectory();
        m_Machine.failures = {{std::wstring(L"Store ") + row.value, {ERROR_ACCESS_DENIED}}};
        EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
        EXPECT_THAT(InstallerLog(), ElementsAre(row.line));
        EXPECT_EQ(Status(), 0);
    }
}

TEST_F(InstallerStart, version_before_is_read_before_it_is_overwritten_also_when_that_fails) {
    SetInstalled();
    m_Machine.failures = {{L"Store ProductVersion", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
    EXPECT_THAT(Steps(), Contains(VersionMail(L"3.0.7", L"-1")));
}

// ---- the session

TEST_F(InstallerStart, agent_is_started_for_the_user_from_the_session_of_the_system) {
    // Before Windows Vista session 0 is a user's, too.
    const bool own = KrCommon::OsVersion::Is(KrCommon::OsVersion::Condition::kNt60OrLater);
    const Lines running{L"4096 [DEBUG] Running in system session..."};
    const struct {
        DWORD session;
        DWORD error;
        bool forUser;
        Lines lines;
    } rows[] = {
        {0, 0, own, own ? running : Lines{}},
        {1, 0, false, {}},
        {5, 0, false, {}},
        {0,
         ERROR_ACCESS_DENIED,
         false,
         {L"16 [WARN] KrCommon::Process::GetProcessSessionId failed... Error: 0x5"}},
    };
    for (const auto& row : rows) {
        SetDirectory();
        m_Machine.processes.starts.clear();
        m_Machine.session = row.session;
        m_Machine.failures = {{L"Session", {row.error}}};
        EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
        EXPECT_EQ(InstallerLog(), row.lines);
        ASSERT_EQ(m_Machine.processes.starts.size(), 1U);
        EXPECT_EQ(m_Machine.processes.starts[0].ends_with(L"|as user"), row.forUser);
    }
}

// The version of the system is asked once in a process: there has to be another one.
TEST_F(InstallerStart, system_before_vista_has_no_session_of_its_own_and_no_task) {
    if (!test_support::RunsUnderWine())
        GTEST_SKIP() << "only Wine appears to a program as another system";
    const std::wstring name = L"WyInstallerOnXp.exe";
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::filesystem::copy_file(self, m_Folder.Path() / name);
    const test_support::ReportedVersion xp(name, L"winxp");
    m_Machine.processes.real = true;
    const std::string output = test_support::ProgramOutput(
        (m_Folder.Path() / name).wstring(),
        "--gtest_filter=InstallerStart.agent_is_*:Remover.first_part_*:Remover.failure_of_*");
    EXPECT_NE(output.find("[  PASSED  ] 3 tests."), std::string::npos) << output;
}

// ---- rollback

TEST_F(InstallerStart, rollback_of_a_first_installation_leaves_everything) {
    PutPackage();
    SetDirectory();
    Prepare();
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    m_Machine.ClearSteps();
    EXPECT_EQ(m_Installer.RollbackWy(), kSuccess);
    EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
    EXPECT_EQ(Status(), 1);
}

TEST_F(InstallerStart, rollback_brings_the_former_version_back_and_starts_it) {
    PutPackage();
    SetReinstall();
    Prepare();
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    m_Machine.ClearSteps();
    m_Log.Clear();
    m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
    EXPECT_EQ(m_Installer.RollbackWy(), kSuccess);
    EXPECT_THAT(Steps(),
                ElementsAre(L"StopWatchdog", L"Remove @\\install",
                            L"Rename @\\WyvarionBackup -> @\\install", L"CreateService", kAutoRun,
                            L"Store WorkingId", L"StartService", Agent(2), L"Status 2"));
    EXPECT_EQ(Content(m_Install / L"old.txt"), "old");
    EXPECT_FALSE(Exists(m_Install / L"new.txt"));
    EXPECT_FALSE(Exists(m_Backup));
    EXPECT_EQ(Value(kTavrenoxKey, L"Deployed"), L"new") << "the registry is not brought back";
    EXPECT_EQ(Status(), 2);
    EXPECT_THAT(InstallerLog(), IsEmpty());
}

TEST_F(InstallerStart, rollback_ends_at_the_step_that_fails) {
    const std::wstring rename = L"Rename @\\WyvarionBackup -> @\\install";
    const struct {
        const char* what;
        DWORD watchdogError;
        std::wstring call;
        DWORD error;
        std::uint32_t result;
        bool installThere;
        bool backupThere;
        Lines lines;
        Lines steps;
    } rows[] = {
        {"processes",
         ERROR_ACCESS_DENIED,
         L"",
         0,
         kProcessesStay,
         true,
         true,
         {L"256 [ERROR] Terminate exe failed..."},
         {L"StopWatchdog", L"Status 3"}},
        {"new folder",
         ERROR_FILE_NOT_FOUND,
         L"Find @\\install\\*",
         ERROR_ACCESS_DENIED,
         0xe0fe0005,
         true,
         true,
         {},
         {L"StopWatchdog", L"Status 3"}},
        {"backup",
         ERROR_FILE_NOT_FOUND,
         rename,
         EACCES,
         kRenameFailed,
         false,
         true,
         {L"256 [ERROR] _wrename failed... error code: 0xffffffffOld name: @\\WyvarionBackup, New "
          L"name: @\\install"},
         {L"StopWatchdog", L"Remove @\\install", rename, L"Status 3"}},
        {"start",
         ERROR_FILE_NOT_FOUND,
         Agent(2),
         ERROR_FILE_NOT_FOUND,
         kNoAgent,
         true,
         false,
         {L"256 [ERROR] WyDeployHelper::DeployCommon::StartWySessionAgent failed... RetCode = "
          L"0xe00e0010"},
         {L"StopWatchdog", L"Remove @\\install", rename, L"CreateService", kAutoRun,
          L"Store WorkingId", L"StartService", Agent(2), L"Status 3"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        m_Machine.failures.clear();
        m_Machine.watchdogError = ERROR_FILE_NOT_FOUND;
        Clear();
        PutPackage();
        SetReinstall();
        Prepare();
        m_Machine.watchdogError = row.watchdogError;
        m_Machine.failures = {{row.call, {row.error}}};
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
        EXPECT_EQ(m_Installer.RollbackWy(), row.result);
        EXPECT_EQ(Status(), 3);
        EXPECT_EQ(Exists(m_Install), row.installThere);
        EXPECT_EQ(Exists(m_Backup), row.backupThere);
        EXPECT_EQ(InstallerLog(), row.lines);
        EXPECT_EQ(Steps(), row.steps);
    }
}

// There is no backup of this object, and the installed product goes all the same.
TEST_F(InstallerStart, rollback_before_the_backup_deletes_the_installed_product) {
    const struct {
        const char* what;
        bool restartPending;
        const wchar_t* version;
        DWORD watchdogError;
        std::uint32_t result;
    } rows[] = {
        {"later version", false, L"3.1.1159", ERROR_FILE_NOT_FOUND, 0xe00e000c},
        {"restart pending", true, L"3.1.1158", ERROR_FILE_NOT_FOUND, 0xe00e000a},
        {"processes", false, L"3.1.1158", ERROR_ACCESS_DENIED, kProcessesStay},
    };
    const std::filesystem::path marker =
        m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PutPackage();
        std::filesystem::remove(marker);
        if (row.restartPending)
            PutFile(marker);
        SetReinstall(row.version);
        m_Machine.watchdogError = row.watchdogError;
        EXPECT_EQ(m_Installer.PreInstall(), row.result);
        m_Machine.watchdogError = ERROR_FILE_NOT_FOUND;
        m_Machine.ClearSteps();
        m_Log.Clear();
        EXPECT_EQ(m_Installer.RollbackWy(), kRenameFailed);
        EXPECT_THAT(Steps(), ElementsAre(L"StopWatchdog", L"Remove @\\install",
                                         L"Rename  -> @\\install", L"Status 3"));
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(L"256 [ERROR] _wrename failed... error code: 0xffffffffOld name: "
                                L", New name: @\\install"));
        EXPECT_FALSE(Exists(m_Install));
        EXPECT_EQ(Status(), 3);
    }
}

TEST_F(InstallerStart, rollback_behind_a_backup_that_failed_loses_both) {
    PutPackage();
    PutFile(m_Backup / L"older.txt");
    SetReinstall();
    m_Machine.failures = {{L"Rename @\\install -> @\\WyvarionBackup", {EACCES}}};
    EXPECT_EQ(m_Installer.PreInstall(), kRenameFailed);
    EXPECT_EQ(Status(), 4);
    EXPECT_EQ(m_Installer.RollbackWy(), kRenameFailed);
    EXPECT_FALSE(Exists(m_Install));
    EXPECT_FALSE(Exists(m_Backup));
    EXPECT_EQ(Status(), 3);
}

TEST_F(InstallerStart, rollback_of_the_second_phase_deletes_the_product_and_leaves_the_backup) {
    PutFile(m_Backup / L"older.txt");
    SetInstalled();
    m_Machine.mailResults = {0xe0ff0001};
    EXPECT_EQ(m_Installer.PostInstall(3), 0xe0ff0001U);
    EXPECT_EQ(m_Installer.RollbackWy(), kRenameFailed);
    EXPECT_FALSE(Exists(m_Install));
    EXPECT_TRUE(Exists(m_Backup / L"older.txt"));
    EXPECT_EQ(Status(), 3);
}

TEST_F(InstallerStart, repetition_leaves_no_handles) {
    PutPackage();
    const auto round = [this] {
        SetReinstall();
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
        EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
        EXPECT_EQ(m_Installer.Install(), kSuccess);
        EXPECT_EQ(m_Installer.PostInstall(3), kSuccess);
        SetReinstall();
        EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
        EXPECT_EQ(m_Installer.RollbackWy(), kSuccess);
    };
    round();
    const auto before = test_support::ProcessFigures::Now();
    for (int i = 0; i < 5; ++i)
        round();
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

}  // namespace
