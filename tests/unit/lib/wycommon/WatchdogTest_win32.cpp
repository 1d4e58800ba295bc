// Starting and stopping the service host, by a service manager that follows a script.

#include "lib/wycommon/WyCommon_Watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>

#include "support/FakeServiceManager_win32.h"
#include "support/LogRecorder.h"
#include "utilMode/FrwkMode.h"

namespace {

using namespace WyCommon::Utility;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kWarning;
using test_support::FakeWatchdog;
using test_support::LogRecorder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kSuccess = 0x20ff0000;
const std::wstring kRound = L"Sleep 1000";
const std::wstring kOpenStart = L"OpenEvent Global\\WATCHDOG_EVENT_START_SERVICEWyvarion 2";
const std::wstring kOpenStop = L"OpenEvent Global\\WATCHDOG_EVENT_STOP_SERVICEWyvarion 2";
const std::wstring kConnect = L"OpenSCManager 80000000";
const std::wstring kOpen = L"OpenService Wyvarion Host Service 80000000";

// A call that fails, and what becomes of it.
struct Failure {
    const char* function;
    DWORD error;
    std::uint32_t result;
    const wchar_t* line;
    std::vector<std::wstring> calls;
};

class Watchdog : public ::testing::Test {
protected:
    void SetUp() override { Frwk::Mode::SetWyvarionId(L"Wyvarion"); }
    void TearDown() override {
        EXPECT_EQ(m_Manager.openHandles, 0);
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
    }

    // What went wrong: a code, and exactly one line of this level and text.
    void ExpectOneLine(std::uint32_t level, const std::wstring& text) {
        ASSERT_EQ(m_Log.Lines().size(), 1U);
        EXPECT_EQ(m_Log.Lines()[0].level, level);
        EXPECT_EQ(m_Log.Lines()[0].text, text);
    }

    // Runs something with each of the failures.
    void ExpectEach(std::span<const Failure> rows, std::uint32_t (*run)()) {
        for (const Failure& row : rows) {
            m_Manager.failures = {{row.function, row.error}};
            m_Manager.calls.clear();
            m_Log.Clear();
            EXPECT_EQ(run(), row.result) << row.function;
            EXPECT_EQ(m_Manager.calls, row.calls) << row.function;
            ExpectOneLine(kError, row.line);
        }
    }

    FakeWatchdog m_Manager;
    // The identity has debug lines of its own.
    LogRecorder m_Log{kError | kWarning | KrCommon::LogLevel::kInformation};
};

// ---- start

TEST_F(Watchdog, start_signals_the_event_and_waits_until_the_service_runs) {
    m_Manager.states = {SERVICE_STOPPED, SERVICE_START_PENDING, SERVICE_RUNNING};
    EXPECT_EQ(StartWatchdogService(120), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kOpenStart, L"SetEvent", kConnect, kOpen, L"Query", kRound, L"Query",
                            kRound, L"Query", L"Close service", L"Close manager", L"Close event"));
    EXPECT_THAT(m_Log.Lines(), IsEmpty());
}

TEST_F(Watchdog, start_of_a_running_service_signals_all_the_same_and_does_not_wait) {
    EXPECT_EQ(StartWatchdogService(120), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kOpenStart, L"SetEvent", kConnect, kOpen, L"Query",
                                             L"Close service", L"Close manager", L"Close event"));
}

TEST_F(Watchdog, names_carry_the_product_id) {
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    m_Manager.states = {SERVICE_RUNNING, SERVICE_STOPPED};
    EXPECT_EQ(StartWatchdogService(1), kSuccess);
    EXPECT_EQ(StopWatchdogService(1, 1), kSuccess);
    EXPECT_EQ(m_Manager.Count(L"OpenEvent Global\\WATCHDOG_EVENT_START_SERVICETavrenox 2"), 1U);
    EXPECT_EQ(m_Manager.Count(L"OpenEvent Global\\WATCHDOG_EVENT_STOP_SERVICETavrenox 2"), 1U);
    EXPECT_EQ(m_Manager.Count(L"OpenService Tavrenox Host Service 80000000"), 2U);
}

TEST_F(Watchdog, start_waits_for_a_watchdog_that_comes_three_seconds_late) {
    m_Manager.missedEvents = 3;
    EXPECT_EQ(StartWatchdogService(120), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kOpenStart, kRound, kOpenStart, kRound, kOpenStart, kRound, kOpenStart,
                            L"SetEvent", kConnect, kOpen, L"Query", L"Close service",
                            L"Close manager", L"Close event"));
    EXPECT_THAT(m_Log.Lines(), IsEmpty());
}

TEST_F(Watchdog, start_finds_a_watchdog_at_the_last_attempt) {
    m_Manager.missedEvents = 119;
    EXPECT_EQ(StartWatchdogService(120), kSuccess);
    EXPECT_EQ(m_Manager.Count(kRound), 119U);
}

TEST_F(Watchdog, start_gives_up_after_all_attempts_without_a_watchdog) {
    m_Manager.missedEvents = -1;
    // What comes after the attempt must not change the error.
    m_Manager.onSleep = [](DWORD) { SetLastError(77); };
    EXPECT_EQ(StartWatchdogService(120), 0xe0fe0002U);
    EXPECT_EQ(m_Manager.Count(kOpenStart), 120U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    EXPECT_EQ(m_Manager.calls.size(), 240U);
    EXPECT_EQ(m_Manager.calls.back(), kRound);
    ExpectOneLine(kError, L"OpenEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x00000002");
}

TEST_F(Watchdog, start_tries_again_whatever_the_error_was) {
    m_Manager.failures["OpenEventW"] = 5;
    EXPECT_EQ(StartWatchdogService(3), 0xe0fe0005U);
    EXPECT_EQ(m_Manager.Count(kOpenStart), 3U);
    ExpectOneLine(kError, L"OpenEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x00000005");
}

TEST_F(Watchdog, start_in_no_time_fails_with_the_last_error_of_the_thread) {
    SetLastError(0x1234a);
    EXPECT_EQ(StartWatchdogService(0), 0xe0fe234aU);
    EXPECT_THAT(m_Manager.calls, IsEmpty());
    ExpectOneLine(kError, L"OpenEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x0001234A");
}

TEST_F(Watchdog, start_counts_the_wait_for_the_service_apart) {
    m_Manager.missedEvents = 119;
    m_Manager.states.assign(119, SERVICE_START_PENDING);
    m_Manager.states.push_back(SERVICE_RUNNING);
    EXPECT_EQ(StartWatchdogService(120), kSuccess) << "it runs at the last question";
    EXPECT_EQ(m_Manager.Count(L"Query"), 120U);
    EXPECT_EQ(m_Manager.Count(kRound), 238U);
}

TEST_F(Watchdog, start_of_a_service_that_does_not_get_to_run_times_out) {
    m_Manager.states = {SERVICE_START_PENDING};
    EXPECT_EQ(StartWatchdogService(120), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(L"Query"), 120U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    ExpectOneLine(kError, L"KrCommon::Service::Base::WaitStatus() failed: 0x000005B4");
}

TEST_F(Watchdog, start_tells_each_step_that_fails) {
    const Failure rows[] = {
        {"SetEvent",
         6,
         0xe0fe0006,
         L"SetEvent for WATCHDOG_EVENT_START_SERVICE failed: 0x00000006",
         {kOpenStart, L"SetEvent", L"Close event"}},
        {"OpenSCManagerW",
         5,
         0xe0fe0005,
         L"KrCommon::Service::Base::Connect() failed: 0x00000005",
         {kOpenStart, L"SetEvent", kConnect, L"Close event"}},
        {"OpenServiceW",
         1060,
         0xe0fe0424,
         L"KrCommon::Service::Base::Open() failed: 0x00000424",
         {kOpenStart, L"SetEvent", kConnect, kOpen, L"Close manager", L"Close event"}},
        {"OpenServiceW",
         0xabcd0005,
         0xe0fe0005,
         L"KrCommon::Service::Base::Open() failed: 0xABCD0005",
         {kOpenStart, L"SetEvent", kConnect, kOpen, L"Close manager", L"Close event"}},
        {"QueryServiceStatus",
         1115,
         0xe0fe045b,
         L"KrCommon::Service::Base::WaitStatus() failed: 0x0000045B",
         {kOpenStart, L"SetEvent", kConnect, kOpen, L"Query", L"Close service", L"Close manager",
          L"Close event"}},
    };
    ExpectEach(rows, [] { return StartWatchdogService(120); });
}

// ---- stop

TEST_F(Watchdog, stop_signals_the_event_and_waits_until_the_service_is_stopped) {
    m_Manager.states = {SERVICE_RUNNING, SERVICE_STOP_PENDING, SERVICE_STOPPED};
    EXPECT_EQ(StopWatchdogService(1, 120), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kOpenStop, L"SetEvent", kConnect, kOpen, L"Query", kRound, L"Query",
                            kRound, L"Query", L"Close service", L"Close manager", L"Close event"));
    EXPECT_THAT(m_Log.Lines(), IsEmpty());
}

TEST_F(Watchdog, stop_does_the_same_for_every_reserved_value) {
    m_Manager.states = {SERVICE_STOPPED};
    EXPECT_EQ(StopWatchdogService(1, 2), kSuccess);
    const std::vector<std::wstring> calls = m_Manager.calls;
    for (const std::uint32_t reserved : {0U, 2U, 0xffffffffU}) {
        m_Manager.calls.clear();
        EXPECT_EQ(StopWatchdogService(reserved, 2), kSuccess);
        EXPECT_EQ(m_Manager.calls, calls);
    }
}

TEST_F(Watchdog, stop_without_a_watchdog_succeeds_with_a_warning) {
    m_Manager.missedEvents = -1;
    EXPECT_EQ(StopWatchdogService(1, 120), kSuccess);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kOpenStop));
    ExpectOneLine(kWarning, L"WyWatchDog is already exit...");
}

TEST_F(Watchdog, stop_times_out_when_the_service_stays) {
    EXPECT_EQ(StopWatchdogService(1, 120), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(L"Query"), 120U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    ExpectOneLine(kError, L"KrCommon::Service::Base::WaitStatus() failed: 0x000005B4");
}

TEST_F(Watchdog, stop_in_no_time_asks_nothing_and_times_out) {
    m_Manager.states = {SERVICE_STOPPED};
    EXPECT_EQ(StopWatchdogService(1, 0), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(L"SetEvent"), 1U);
    EXPECT_EQ(m_Manager.Count(L"Query"), 0U);
}

TEST_F(Watchdog, stop_tells_each_step_that_fails) {
    const Failure rows[] = {
        {"OpenEventW",
         0xab,
         0xe0fe00ab,
         L"OpenEvent for WATCHDOG_EVENT_STOP_SERVICE failed: 0x000000ab",
         {kOpenStop}},
        {"SetEvent",
         6,
         0xe0fe0006,
         L"SetEvent for WATCHDOG_EVENT_STOP_SERVICE failed: 0x00000006",
         {kOpenStop, L"SetEvent", L"Close event"}},
        {"OpenSCManagerW",
         5,
         0xe0fe0005,
         L"KrCommon::Service::Base::Connect() failed: 0x00000005",
         {kOpenStop, L"SetEvent", kConnect, L"Close event"}},
        {"OpenServiceW",
         1060,
         0xe0fe0424,
         L"KrCommon::Service::Base::Open() failed: 0x00000424",
         {kOpenStop, L"SetEvent", kConnect, kOpen, L"Close manager", L"Close event"}},
        {"QueryServiceStatus",
         1115,
         0xe0fe045b,
         L"KrCommon::Service::Base::WaitStatus() failed: 0x0000045B",
         {kOpenStop, L"SetEvent", kConnect, kOpen, L"Query", L"Close service", L"Close manager",
          L"Close event"}},
    };
    ExpectEach(rows, [] { return StopWatchdogService(1, 120); });
}

// ---- a service by its name

const std::wstring kConnectToStart = L"OpenSCManager 20000000";
const std::wstring kOpenX = L"OpenService x a0000000";

TEST_F(Watchdog, named_service_is_started_and_waited_for) {
    m_Manager.states = {SERVICE_STOPPED, SERVICE_START_PENDING, SERVICE_RUNNING};
    EXPECT_EQ(StartServiceByName(L"x"), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kConnectToStart, kOpenX, L"Query", L"StartService 0", L"Query", kRound,
                            L"Query", L"Close service", L"Close manager"));
    EXPECT_THAT(m_Log.Lines(), IsEmpty());
}

TEST_F(Watchdog, named_service_in_any_other_state_is_started) {
    for (const DWORD state : {SERVICE_PAUSED, SERVICE_PAUSE_PENDING, SERVICE_CONTINUE_PENDING}) {
        m_Manager.states = {state, SERVICE_RUNNING};
        m_Manager.calls.clear();
        EXPECT_EQ(StartServiceByName(L"x"), kSuccess);
        EXPECT_EQ(m_Manager.Count(L"StartService 0"), 1U) << state;
    }
}

TEST_F(Watchdog, named_service_that_runs_is_left_alone_with_a_warning) {
    EXPECT_EQ(StartServiceByName(L"x"), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kConnectToStart, kOpenX, L"Query", L"Close service", L"Close manager"));
    ExpectOneLine(kWarning, L"Service is already running...");
}

TEST_F(Watchdog, named_service_on_its_way_up_is_waited_for_and_not_started) {
    m_Manager.states.assign(120, SERVICE_START_PENDING);
    m_Manager.states.push_back(SERVICE_RUNNING);
    EXPECT_EQ(StartServiceByName(L"x"), kSuccess) << "it runs at the last question";
    EXPECT_EQ(m_Manager.Count(L"Query"), 121U);
    EXPECT_EQ(m_Manager.Count(kRound), 119U);
    EXPECT_EQ(m_Manager.Count(L"StartService 0"), 0U);
    EXPECT_THAT(m_Log.Lines(), IsEmpty());
}

TEST_F(Watchdog, named_service_stuck_on_its_way_up_times_out) {
    m_Manager.states = {SERVICE_START_PENDING};
    EXPECT_EQ(StartServiceByName(L"x"), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(L"Query"), 121U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    ExpectOneLine(kError,
                  L"KrCommon::Service::Base::WaitStatus(SERVICE_RUNNING) failed: 0x000005B4");
}

TEST_F(Watchdog, named_service_on_its_way_down_is_started_a_second_after_it_stopped) {
    m_Manager.states = {SERVICE_STOP_PENDING, SERVICE_STOP_PENDING, SERVICE_STOPPED,
                        SERVICE_RUNNING};
    EXPECT_EQ(StartServiceByName(L"x"), kSuccess);
    EXPECT_THAT(m_Manager.calls,
                ElementsAre(kConnectToStart, kOpenX, L"Query", L"Query", kRound, L"Query", kRound,
                            L"StartService 0", L"Query", L"Close service", L"Close manager"));
}

TEST_F(Watchdog, named_service_stuck_on_its_way_down_times_out) {
    m_Manager.states = {SERVICE_STOP_PENDING};
    EXPECT_EQ(StartServiceByName(L"x"), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(L"Query"), 121U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    EXPECT_EQ(m_Manager.Count(L"StartService 0"), 0U);
    ExpectOneLine(kError,
                  L"KrCommon::Service::Base::WaitStatus(SERVICE_STOPPED) failed: 0x000005B4");
}

TEST_F(Watchdog, named_service_that_does_not_get_to_run_times_out) {
    m_Manager.states = {SERVICE_STOPPED};
    EXPECT_EQ(StartServiceByName(L"x"), 0xe0fe05b4U);
    EXPECT_EQ(m_Manager.Count(kRound), 120U);
    ExpectOneLine(kError,
                  L"KrCommon::Service::Base::WaitStatus(SERVICE_RUNNING) failed: 0x000005B4");
}

TEST_F(Watchdog, empty_name_is_refused_behind_the_connection) {
    EXPECT_EQ(StartServiceByName(L""), 0xe0fe00a0U);
    EXPECT_THAT(m_Manager.calls, ElementsAre(kConnectToStart, L"Close manager"));
    ExpectOneLine(kError, L"KrCommon::Service::Base::Open() failed: 0x000000A0");
}

TEST_F(Watchdog, named_start_tells_each_step_that_fails) {
    m_Manager.states = {SERVICE_STOPPED};
    const Failure rows[] = {
        {"OpenSCManagerW",
         5,
         0xe0fe0005,
         L"KrCommon::Service::Base::Connect() failed: 0x00000005",
         {kConnectToStart}},
        {"OpenServiceW",
         1060,
         0xe0fe0424,
         L"KrCommon::Service::Base::Open() failed: 0x00000424",
         {kConnectToStart, kOpenX, L"Close manager"}},
        {"QueryServiceStatus",
         1115,
         0xe0fe045b,
         L"KrCommon::Service::Base::QueryState() failed: 0x0000045B",
         {kConnectToStart, kOpenX, L"Query", L"Close service", L"Close manager"}},
        {"StartServiceW",
         1058,
         0xe0fe0422,
         L"KrCommon::Service::Base::Start() failed: 0x00000422",
         {kConnectToStart, kOpenX, L"Query", L"StartService 0", L"Close service",
          L"Close manager"}},
    };
    ExpectEach(rows, [] { return StartServiceByName(L"x"); });
}

TEST_F(Watchdog, question_that_fails_during_a_wait_is_told_with_its_own_error) {
    const struct {
        DWORD first;
        const wchar_t* line;
    } rows[] = {
        {SERVICE_START_PENDING,
         L"KrCommon::Service::Base::WaitStatus(SERVICE_RUNNING) failed: 0x0000045B"},
        {SERVICE_STOP_PENDING,
         L"KrCommon::Service::Base::WaitStatus(SERVICE_STOPPED) failed: 0x0000045B"},
    };
    for (const auto& row : rows) {
        m_Manager.failures.clear();
        m_Manager.states = {row.first};
        m_Log.Clear();
        m_Manager.onSleep = [this](DWORD) { m_Manager.failures = {{"QueryServiceStatus", 1115}}; };
        EXPECT_EQ(StartServiceByName(L"x"), 0xe0fe045bU);
        ExpectOneLine(kError, row.line);
    }
}

}  // namespace
