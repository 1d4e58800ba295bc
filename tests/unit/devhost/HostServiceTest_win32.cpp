// The host's dealings with the service manager, by a service manager that follows a script.

#include "devhost/HostService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "devhost/HostOptions.h"
#include "support/IatPatch.h"

namespace {

using DevHost::HostService;
using test_support::IatPatch;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Runs the one service of the program at once, as the service manager would.
class FakeDispatcher {
public:
    FakeDispatcher() { s_pCurrent = this; }
    FakeDispatcher(const FakeDispatcher&) = delete;
    FakeDispatcher& operator=(const FakeDispatcher&) = delete;
    ~FakeDispatcher() { s_pCurrent = nullptr; }

    bool startedThisProcess = true;
    bool knowsTheService = true;
    std::wstring name;
    // "state accepted exit-code own-exit-code", and the check point of a pending state.
    std::vector<std::string> reports;

    DWORD Control(DWORD control) const { return m_pHandler(control, 0, nullptr, m_pContext); }

private:
    static BOOL WINAPI Dispatch(const SERVICE_TABLE_ENTRYW* table) {
        if (!s_pCurrent->startedThisProcess) {
            SetLastError(ERROR_FAILED_SERVICE_CONTROLLER_CONNECT);
            return FALSE;
        }
        EXPECT_EQ(table[1].lpServiceProc, nullptr);
        wchar_t* arguments[] = {table[0].lpServiceName};
        table[0].lpServiceProc(1, arguments);
        return TRUE;
    }
    static SERVICE_STATUS_HANDLE WINAPI Register(LPCWSTR name, LPHANDLER_FUNCTION_EX handler,
                                                 void* context) {
        FakeDispatcher& self = *s_pCurrent;
        self.name = name;
        self.m_pHandler = handler;
        self.m_pContext = context;
        return self.knowsTheService ? reinterpret_cast<SERVICE_STATUS_HANDLE>(&self) : nullptr;
    }
    static BOOL WINAPI SetStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status) {
        EXPECT_EQ(reinterpret_cast<FakeDispatcher*>(handle), s_pCurrent);
        EXPECT_EQ(status->dwServiceType, DWORD{SERVICE_WIN32_OWN_PROCESS});
        std::string report = std::to_string(status->dwCurrentState) + " " +
                             std::to_string(status->dwControlsAccepted) + " " +
                             std::to_string(status->dwWin32ExitCode) + " " +
                             std::to_string(status->dwServiceSpecificExitCode);
        if (status->dwCheckPoint != 0) {
            EXPECT_EQ(status->dwWaitHint, 10000U);
            report += " pending";
        }
        s_pCurrent->reports.push_back(report);
        return TRUE;
    }

    static inline FakeDispatcher* s_pCurrent = nullptr;

    LPHANDLER_FUNCTION_EX m_pHandler = nullptr;
    void* m_pContext = nullptr;
    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    IatPatch m_Dispatch{m_hProgram, "advapi32.dll", "StartServiceCtrlDispatcherW", Dispatch};
    IatPatch m_Register{m_hProgram, "advapi32.dll", "RegisterServiceCtrlHandlerExW", Register};
    IatPatch m_SetStatus{m_hProgram, "advapi32.dll", "SetServiceStatus", SetStatus};
};

constexpr const char* kStarting = "2 0 0 0 pending";
constexpr const char* kRunning = "4 5 0 0";
constexpr const char* kStopping = "3 0 0 0 pending";
constexpr const char* kStopped = "1 0 0 0";

class HostServiceStates : public ::testing::Test {
protected:
    // Runs a service with this work; its exit status.
    int Run(HostService::Body body) {
        HostService service(L"Some Service", std::move(body));
        int status = -1;
        EXPECT_TRUE(service.Run(status));
        return status;
    }

    FakeDispatcher m_Dispatcher;
};

TEST_F(HostServiceStates, go_from_start_to_stop_in_order) {
    EXPECT_EQ(Run([this](HostService& service) {
                  EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting));
                  service.ReportRunning([] { FAIL() << "nobody stops it"; });
                  service.ReportStopping();
                  return 0;
              }),
              0);
    EXPECT_EQ(m_Dispatcher.name, L"Some Service");
    EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting, kRunning, kStopping, kStopped));
}

TEST_F(HostServiceStates, stop_and_shutdown_end_it_and_are_reported_at_once) {
    for (const DWORD control : {SERVICE_CONTROL_STOP, SERVICE_CONTROL_SHUTDOWN}) {
        m_Dispatcher.reports.clear();
        int stops = 0;
        Run([&](HostService& service) {
            service.ReportRunning([&] {
                ++stops;
                EXPECT_EQ(m_Dispatcher.reports.back(), kStopping);
            });
            EXPECT_EQ(m_Dispatcher.Control(control), DWORD{NO_ERROR});
            EXPECT_EQ(m_Dispatcher.Control(control), DWORD{NO_ERROR}) << "again";
            service.ReportStopping();
            return 0;
        });
        EXPECT_EQ(stops, 1);
        EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting, kRunning, kStopping, kStopped));
    }
}

TEST_F(HostServiceStates, other_controls_change_nothing) {
    Run([this](HostService& service) {
        service.ReportRunning([] { FAIL() << "it was not asked to stop"; });
        EXPECT_EQ(m_Dispatcher.Control(SERVICE_CONTROL_INTERROGATE), DWORD{NO_ERROR});
        EXPECT_EQ(m_Dispatcher.Control(SERVICE_CONTROL_PAUSE), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
        EXPECT_EQ(m_Dispatcher.Control(200), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
        return 0;
    });
    EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting, kRunning, kStopped));
}

TEST_F(HostServiceStates, exit_status_becomes_the_service_s_own_exit_code) {
    EXPECT_EQ(Run([](HostService&) { return 3; }), 3);
    EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting, "1 0 1066 3"));
}

TEST_F(HostServiceStates, exception_is_a_failure) {
    EXPECT_EQ(Run([](HostService&) -> int { throw std::runtime_error("x"); }),
              DevHost::ExitStatus::kFailure);
    EXPECT_THAT(m_Dispatcher.reports, ElementsAre(kStarting, "1 0 1066 1"));
}

TEST_F(HostServiceStates, nothing_runs_that_the_service_manager_did_not_start) {
    m_Dispatcher.startedThisProcess = false;
    HostService service(L"x", [](HostService&) -> int { throw std::runtime_error("it runs"); });
    int status = -1;
    EXPECT_FALSE(service.Run(status));
    EXPECT_EQ(status, -1);
}

TEST_F(HostServiceStates, nothing_runs_without_a_way_to_report) {
    m_Dispatcher.knowsTheService = false;
    EXPECT_EQ(Run([](HostService&) -> int { throw std::logic_error("it runs"); }),
              DevHost::ExitStatus::kFailure);
    EXPECT_THAT(m_Dispatcher.reports, IsEmpty());
}

}  // namespace
