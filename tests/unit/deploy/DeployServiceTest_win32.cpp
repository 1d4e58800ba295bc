// The service's entry, by a service manager that follows a script and by the real one.

#include "deploy/DeployCommon_Service.h"

#include "support/ProcessFigures.h"
#include "unit/deploy/DeployFixture_win32.h"
#include "unit/deploy/FakeServiceEntry_win32.h"

namespace {

using namespace WyDeployHelper::DeployCommon;
using deploy_test::FakeServiceEntry;
using deploy_test::kSuccess;
using deploy_test::Lines;
using test_support::LogRecorder;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::wstring kConnectToCreate = L"OpenSCManager 3";
const std::wstring kConnect = L"OpenSCManager 1";
const std::wstring kCreate =
    L"CreateService \"DeployTest Host Service\" \"DeployTest Host Service\" f01ff 10 2 1 "
    L"\"C:\\Some where\\WySvcHost.exe\" null \"\" \"LocalSystem\" null";
const std::wstring kDescribe = L"Configure 1 Provides system optimization functionality";
const std::wstring kOpen = L"OpenService DeployTest Host Service 10024";
const std::wstring kCloseService = L"Close service";
const std::wstring kCloseManager = L"Close manager";

class DeployService : public deploy_test::DeployFixture {
protected:
    void TearDown() override {
        EXPECT_EQ(m_Manager.openHandles, 0);
        DeployFixture::TearDown();
    }

    FakeServiceEntry m_Manager;
    LogRecorder m_EventLog{0xffffffff, &g_pEventLog};
};

// A call that fails with an error, and what becomes of it.
struct Failure {
    const char* function;
    DWORD error;
    std::uint32_t result;
    Lines log;
    Lines calls;
};

TEST_F(DeployService, install_makes_the_entry_and_describes_it) {
    EXPECT_EQ(InstallWySvc(L"C:\\Some where"), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kConnectToCreate, kCreate, kDescribe, kCloseService, kCloseManager));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployService, names_follow_the_identity) {
    EXPECT_EQ(ServiceProgram(L"C:\\Dir"), L"C:\\Dir\\WySvcHost.exe");
    EXPECT_EQ(ServiceProgram(L"C:\\Dir\\"), L"C:\\Dir\\WySvcHost.exe");
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    EXPECT_EQ(ServiceProgram(L"C:\\Dir"), L"C:\\Dir\\WySvcHost_P.exe");
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_EQ(m_Manager.Count(L"OpenService Tavrenox Host Service 10024"), 1U);
}

TEST_F(DeployService, install_tells_each_step_that_fails) {
    const Failure rows[] = {
        {"OpenSCManagerW",
         5,
         0xe0fe0005,
         {L"256 [ERROR] OpenSCManager failed, w/err=0x5"},
         {kConnectToCreate}},
        {"ChangeServiceConfig2W",
         0x12345,
         0xe0fe2345,
         {L"256 [ERROR] ChangeServiceConfig2 for SERVICE_CONFIG_DESCRIPTION failed, w/err=0x12345"},
         {kConnectToCreate, kCreate, kDescribe, kCloseService, kCloseManager}},
    };
    for (const Failure& row : rows) {
        SCOPED_TRACE(row.function);
        m_Manager.failures = {{row.function, row.error}};
        m_Manager.calls.clear();
        m_Log.Clear();
        EXPECT_EQ(InstallWySvc(L"C:\\Some where"), row.result);
        EXPECT_THAT(Log(), ElementsAreArray(row.log));
        EXPECT_THAT(m_Manager.calls, ElementsAreArray(row.calls));
        EXPECT_EQ(m_Manager.openHandles, 0);
    }
}

TEST_F(DeployService, install_over_an_entry_gives_the_error_of_the_system) {
    m_Manager.createErrors = {ERROR_SERVICE_EXISTS, ERROR_SERVICE_MARKED_FOR_DELETE};
    EXPECT_EQ(InstallWySvc(L"C:\\Some where"), 0xe0fe0431U);
    EXPECT_EQ(InstallWySvc(L"C:\\Some where"), 0xe0fe0430U);
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] CreateService failed, w/err=0x431",
                                   L"256 [ERROR] CreateService failed, w/err=0x430"));
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnectToCreate, kCreate, kCloseManager,
                                             kConnectToCreate, kCreate, kCloseManager));
}

TEST_F(DeployService, uninstall_stops_waits_and_deletes) {
    m_Manager.states = {SERVICE_STOP_PENDING, SERVICE_STOP_PENDING, SERVICE_STOPPED};
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnect, kOpen, L"Control 1", L"Sleep 1000", L"Query",
                                             L"Sleep 1000", L"Query", L"Sleep 1000", L"Query",
                                             L"Delete", kCloseService, kCloseManager));
    EXPECT_THAT(Log(), ElementsAre(L"1 [INFO] SERVICE_STOPPED!"));
    EXPECT_TRUE(m_EventLog.Has(KrCommon::LogLevel::kForced, L": WyCommon SERVICE_STOPPED!"));
}

TEST_F(DeployService, uninstall_waits_without_a_limit_for_a_service_that_is_stopping) {
    m_Manager.states.assign(500, SERVICE_STOP_PENDING);
    m_Manager.states.push_back(SERVICE_STOPPED);
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_EQ(m_Manager.Count(L"Sleep 1000"), 501U);
}

TEST_F(DeployService, uninstall_deletes_a_service_that_takes_the_stop_and_runs_on) {
    m_Manager.states = {SERVICE_RUNNING};
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnect, kOpen, L"Control 1", L"Sleep 1000", L"Query",
                                             L"Delete", kCloseService, kCloseManager));
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_THAT(m_EventLog.Lines(), IsEmpty());
}

TEST_F(DeployService, uninstall_of_a_service_that_is_not_running_does_not_wait) {
    m_Manager.failures["ControlService"] = ERROR_SERVICE_NOT_ACTIVE;
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnect, kOpen, L"Control 1", L"Delete",
                                             kCloseService, kCloseManager));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployService, uninstall_ends_the_wait_when_the_state_cannot_be_asked) {
    m_Manager.failures["QueryServiceStatus"] = 6;
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnect, kOpen, L"Control 1", L"Sleep 1000", L"Query",
                                             L"Delete", kCloseService, kCloseManager));
    EXPECT_THAT(Log(), ElementsAre(L"256 [ERROR] QueryServiceStatus failed, w/err=0x6"));
}

TEST_F(DeployService, uninstall_without_an_entry_succeeds_in_silence) {
    m_Manager.failures["OpenServiceW"] = ERROR_SERVICE_DOES_NOT_EXIST;
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnect, kOpen, kCloseManager));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(DeployService, uninstall_tells_each_step_that_fails) {
    const Lines deleting = {kConnect, kOpen,     L"Control 1",  L"Sleep 1000",
                            L"Query", L"Delete", kCloseService, kCloseManager};
    Lines marked = deleting;
    marked.emplace_back(L"Sleep 2000");
    const Failure rows[] = {
        {"OpenSCManagerW",
         5,
         0xe0fe0005,
         {L"256 [ERROR] OpenSCManager failed, w/err=0x5"},
         {kConnect}},
        {"OpenServiceW",
         5,
         0xe0fe0005,
         {L"256 [ERROR] OpenService failed, w/err=0x5"},
         {kConnect, kOpen, kCloseManager}},
        {"DeleteService",
         5,
         0xe0fe0005,
         {L"256 [ERROR] DeleteService failed, w/err=0x5"},
         deleting},
        // The handles are closed before the pause.
        {"DeleteService",
         1072,
         kSuccess,
         {L"16 [WARN] The specified service has been already marked for deletion."},
         marked},
    };
    for (const Failure& row : rows) {
        SCOPED_TRACE(std::string(row.function) + " " + std::to_string(row.error));
        m_Manager.failures = {{row.function, row.error}};
        m_Manager.calls.clear();
        m_Log.Clear();
        EXPECT_EQ(UninstallWySvc(), row.result);
        EXPECT_THAT(Log(), ElementsAreArray(row.log));
        EXPECT_THAT(m_Manager.calls, ElementsAreArray(row.calls));
        EXPECT_EQ(m_Manager.openHandles, 0);
    }
}

// ---- the real service manager

class DeployServiceReal : public deploy_test::DeployFixture {
protected:
    void TearDown() override {
        EXPECT_EQ(UninstallWySvc(), kSuccess);
        DeployFixture::TearDown();
    }

    // The entry's values, as the registry keeps them.
    static std::wstring Entry(const wchar_t* name) {
        return deploy_test::Value(L"SYSTEM\\CurrentControlSet\\Services\\DeployTest Host Service",
                                  name);
    }
};

TEST_F(DeployServiceReal, entry_is_made_found_and_deleted) {
    EXPECT_EQ(InstallWySvc(L"C:\\Some where"), kSuccess);
    EXPECT_EQ(Entry(L"ImagePath"), L"\"C:\\Some where\\WySvcHost.exe\"");
    EXPECT_EQ(Entry(L"DisplayName"), L"DeployTest Host Service");
    EXPECT_EQ(Entry(L"Description"), L"Provides system optimization functionality");
    EXPECT_EQ(Entry(L"ObjectName"), L"LocalSystem");
    EXPECT_EQ(InstallWySvc(L"C:\\Else where"), 0xe0fe0431U);
    EXPECT_EQ(Entry(L"ImagePath"), L"\"C:\\Some where\\WySvcHost.exe\"");
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_EQ(Entry(L"ImagePath"), L"(none)");
    EXPECT_EQ(UninstallWySvc(), kSuccess);
}

TEST_F(DeployServiceReal, entry_that_is_held_open_is_marked_until_it_is_let_go) {
    ASSERT_EQ(InstallWySvc(L"C:\\Dir"), kSuccess);
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE held = OpenServiceW(manager, L"DeployTest Host Service", SERVICE_QUERY_STATUS);
    ASSERT_NE(held, nullptr);
    EXPECT_EQ(UninstallWySvc(), kSuccess);
    EXPECT_EQ(InstallWySvc(L"C:\\Dir"), 0xe0fe0430U);
    CloseServiceHandle(held);
    CloseServiceHandle(manager);
    EXPECT_EQ(InstallWySvc(L"C:\\Dir"), kSuccess);
}

TEST_F(DeployServiceReal, repetition_leaves_no_handles) {
    ASSERT_EQ(InstallWySvc(L"C:\\Dir"), kSuccess);
    ASSERT_EQ(UninstallWySvc(), kSuccess);
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(InstallWySvc(L"C:\\Dir"), kSuccess);
        EXPECT_EQ(InstallWySvc(L"C:\\Dir"), 0xe0fe0431U);
        EXPECT_EQ(UninstallWySvc(), kSuccess);
    }
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

}  // namespace
