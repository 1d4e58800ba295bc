// wyctl service, on a machine without the service.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>

#include "Common/KrCommon/KrComn_Windows.h"
#include "ProgramFixture.h"
#include "wyctl/ServiceState.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kName = "Wyvarion Host Service";
constexpr std::uint32_t kNoService = 0xe00106ba;

// One of the watchdog's events, owned by the test.
class WatchdogEvent {
public:
    explicit WatchdogEvent(const wchar_t* name)
        : m_hEvent(CreateEventW(nullptr, FALSE, FALSE,
                                (L"Global\\" + std::wstring(name) + L"Wyvarion").c_str())) {}
    WatchdogEvent(const WatchdogEvent&) = delete;
    WatchdogEvent& operator=(const WatchdogEvent&) = delete;
    ~WatchdogEvent() { CloseHandle(m_hEvent); }

private:
    HANDLE m_hEvent;
};

class ServiceCommand : public ProgramFixture {
protected:
    // Keeps the call to the library busy until this wait of the command is over.
    void HoldCallUntilWait(std::uint32_t wait) {
        const auto go = std::make_shared<std::promise<void>>();
        FakeSdk::Get().duringServiceCall = [done = go->get_future().share()] { done.wait(); };
        m_Terminal.onWait = [go, wait](std::uint32_t count) {
            if (count == wait) {
                go->set_value();
            }
        };
    }
};

TEST_F(ServiceCommand, status_tells_what_is_there_and_what_is_not) {
    EXPECT_EQ(Run({"service", "status"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("state                  not installed\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("process                -\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("watchdog, start event  absent\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("watchdog, stop event   absent\n"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("endpoint               answers, process 4711\n"));
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyGetSvchostPid()"));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(ServiceCommand, status_as_json) {
    const WatchdogEvent start(L"WATCHDOG_EVENT_START_SERVICE");
    EXPECT_EQ(Run({"service", "status", "--json"}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["ok"], Json::Value(true));
    EXPECT_EQ(answer["service"]["name"], Json::Value(kName));
    EXPECT_EQ(answer["service"]["state"], Json::Value("not installed"));
    EXPECT_EQ(answer["service"]["systemError"].asUInt(), 1060U);
    EXPECT_EQ(answer["service"]["processId"], Json::Value(Json::nullValue));
    EXPECT_EQ(answer["watchdog"]["startEvent"], Json::Value(true));
    EXPECT_EQ(answer["watchdog"]["stopEvent"], Json::Value(false));
    EXPECT_EQ(answer["endpoint"]["answers"], Json::Value(true));
    EXPECT_EQ(answer["endpoint"]["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(answer["endpoint"]["processId"].asUInt(), 4711U);
}

TEST_F(ServiceCommand, status_tells_a_failing_answer_from_none) {
    FakeSdk::Get().codes["WyGetSvchostPid"] = kNoService;
    EXPECT_EQ(Run({"service", "status"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("does not answer: no service listens"));
    EXPECT_EQ(Run({"service", "status", "--json"}), 0);
    EXPECT_EQ(OneJson()["endpoint"]["answers"], Json::Value(false));
    EXPECT_FALSE(OneJson()["endpoint"].isMember("processId"));
    for (const std::uint32_t code : {0xe0ff000eU, 0xe0010803U}) {
        FakeSdk::Get().codes["WyGetSvchostPid"] = code;
        EXPECT_EQ(Run({"service", "status"}), 0);
        EXPECT_THAT(m_Terminal.out, HasSubstr("answers with a failure: "));
        EXPECT_EQ(Run({"service", "status", "--json"}), 0);
        EXPECT_EQ(OneJson()["endpoint"]["answers"], Json::Value(true));
    }
}

TEST_F(ServiceCommand, status_without_the_library_tells_the_rest) {
    FakeSdk::Get().missing = true;
    EXPECT_EQ(Run({"service", "status"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("endpoint               unknown\n"));
    EXPECT_EQ(m_Terminal.err, "note: without WySdk.dll the endpoint cannot be asked\n");
    EXPECT_EQ(Run({"service", "status", "--json"}), 0);
    EXPECT_EQ(OneJson()["endpoint"], Json::Value(Json::nullValue));
}

TEST_F(ServiceCommand, start_shows_what_it_waits_for_and_then_the_service) {
    HoldCallUntilWait(3);
    EXPECT_EQ(Run({"service", "start"}), 0);
    EXPECT_THAT(FakeSdk::Get().calls, ElementsAre("WyStartService()"));
    EXPECT_EQ(m_Terminal.err,
              "service start   0 %  waiting for the watchdog\nservice start 100 %  done\n");
    EXPECT_EQ(m_Terminal.out, std::string(kName) + ": not installed\n");
}

TEST_F(ServiceCommand, start_shows_the_state_once_the_watchdog_is_there) {
    const WatchdogEvent start(L"WATCHDOG_EVENT_START_SERVICE");
    HoldCallUntilWait(1);
    EXPECT_EQ(Run({"service", "start"}), 0);
    EXPECT_EQ(m_Terminal.err, "service start   0 %  not installed\nservice start 100 %  done\n");
}

TEST_F(ServiceCommand, stop_as_json_shows_no_progress) {
    const WatchdogEvent stop(L"WATCHDOG_EVENT_STOP_SERVICE");
    EXPECT_EQ(Run({"service", "stop", "--json"}), 0);
    const Json::Value answer = OneJson();
    EXPECT_EQ(answer["ok"], Json::Value(true));
    EXPECT_EQ(answer["function"], Json::Value("WyStopService"));
    EXPECT_EQ(answer["codeHex"], Json::Value("0x20ff0000"));
    EXPECT_EQ(answer["service"]["state"], Json::Value("not installed"));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(ServiceCommand, stop_without_a_watchdog_says_that_nobody_was_asked) {
    EXPECT_EQ(Run({"service", "stop", "--progress", "none"}), 0);
    EXPECT_EQ(m_Terminal.err, "note: there is no watchdog; nobody was asked to stop the service\n");
}

TEST_F(ServiceCommand, failure_of_the_call_is_that_of_the_command) {
    FakeSdk::Get().codes["WyStartService"] = 0xe0fe05b4;
    EXPECT_EQ(Run({"service", "start"}), 1);
    EXPECT_THAT(
        m_Terminal.err,
        AllOf(
            HasSubstr("service start: failed\n"),
            HasSubstr("WyStartService failed with 0xe0fe05b4: a system call failed, error 1460")));
    EXPECT_EQ(m_Terminal.out, "");
    EXPECT_EQ(Run({"service", "start", "--json"}), 1);
    EXPECT_EQ(OneJson()["error"], Json::Value("call"));
    EXPECT_EQ(OneJson()["function"], Json::Value("WyStartService"));
}

TEST_F(ServiceCommand, interrupt_leaves_the_call_alone) {
    HoldCallUntilWait(2);
    m_Terminal.interruptAtWait = 2;
    EXPECT_EQ(Run({"service", "stop"}), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("service stop: left\n"));
    EXPECT_THAT(m_Terminal.err, HasSubstr("what the watchdog was asked stays asked"));
}

TEST_F(ServiceCommand, library_without_the_function_is_a_failure) {
    FakeSdk::Get().hidden = {"WyStartService"};
    EXPECT_EQ(Run({"service", "start"}), 1);
    EXPECT_EQ(m_Terminal.err, "wyctl: WySdk.dll has no export WyStartService\n");
    FakeSdk::Get().missing = true;
    EXPECT_EQ(Run({"service", "stop"}), 1);
    EXPECT_THAT(FakeSdk::Get().calls, IsEmpty());
}

TEST_F(ServiceCommand, needs_to_know_what_to_do) {
    EXPECT_EQ(Run({"service"}), 2);
    EXPECT_EQ(Run({"service", "restart"}), 2);
    EXPECT_EQ(Run({"service", "status", "now"}), 2);
}

TEST(ServiceState, is_told_in_words) {
    const struct {
        std::uint32_t state;
        std::uint32_t error;
        const char* text;
    } rows[] = {
        {SERVICE_STOPPED, 0, "stopped"},
        {SERVICE_START_PENDING, 0, "start pending"},
        {SERVICE_STOP_PENDING, 0, "stop pending"},
        {SERVICE_RUNNING, 0, "running"},
        {SERVICE_CONTINUE_PENDING, 0, "continue pending"},
        {SERVICE_PAUSE_PENDING, 0, "pause pending"},
        {SERVICE_PAUSED, 0, "paused"},
        {8, 0, "state 8"},
        {0, 1060, "not installed"},
        {0, 5, "unknown (system error 5)"},
    };
    for (const auto& row : rows) {
        WyCtl::ServiceState state;
        state.state = row.state;
        state.error = row.error;
        EXPECT_EQ(state.Text(), row.text);
    }
}

}  // namespace
