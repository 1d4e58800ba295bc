// wyctl service, with a real service and a watchdog.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Windows.h"
#include "e2e/ChildProcess.h"
#include "e2e/JsonOutput.h"
#include "support/WatchedService.h"

namespace {

using test_support::HostServiceEntry;
using test_support::WatchdogProcess;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

Json::Value Status() {
    const ProgramResult result = Wyctl({L"service", L"status", L"--json"});
    EXPECT_EQ(result.exitCode, 0U) << result.err;
    return OneJsonLine(result.out);
}

TEST(WyctlService, starts_shows_and_stops_it) {
    const HostServiceEntry service;
    const WatchdogProcess watchdog;
    Json::Value status = Status();
    EXPECT_EQ(status["service"]["state"], Json::Value("stopped"));
    EXPECT_EQ(status["watchdog"]["startEvent"], Json::Value(true));
    EXPECT_EQ(status["watchdog"]["stopEvent"], Json::Value(true));
    EXPECT_EQ(status["endpoint"]["answers"], Json::Value(false));

    const ProgramResult started = Wyctl({L"service", L"start"});
    EXPECT_EQ(started.exitCode, 0U) << started.err;
    const std::uint32_t process = service.Ask().processId;
    EXPECT_EQ(started.out,
              "Wyvarion Host Service: running, process " + std::to_string(process) + "\n");
    EXPECT_THAT(started.err, StartsWith("service start   0 %  "));
    EXPECT_THAT(started.err, EndsWith("service start 100 %  done\n"));

    status = Status();
    EXPECT_EQ(status["service"]["state"], Json::Value("running"));
    EXPECT_EQ(status["service"]["processId"].asUInt(), process);
    EXPECT_EQ(status["endpoint"]["answers"], Json::Value(true));
    EXPECT_EQ(status["endpoint"]["processId"].asUInt(), process);

    const ProgramResult stopped = Wyctl({L"service", L"stop"});
    EXPECT_EQ(stopped.exitCode, 0U) << stopped.err;
    EXPECT_EQ(stopped.out, "Wyvarion Host Service: stopped\n");
    EXPECT_THAT(stopped.err, HasSubstr(" %  stopped, its process ends\n"));
    EXPECT_EQ(service.Ask().state, DWORD{SERVICE_STOPPED});
    EXPECT_THAT(watchdog.Record(),
                ElementsAre("up", "asked start", "start 0", "asked stop", "stop 0"));
}

TEST(WyctlService, start_tells_that_there_is_none) {
    const WatchdogProcess watchdog;
    const ProgramResult started = Wyctl({L"service", L"start", L"--json"});
    EXPECT_EQ(started.exitCode, 1U);
    const Json::Value answer = OneJsonLine(started.out);
    EXPECT_EQ(answer["ok"], Json::Value(false));
    EXPECT_EQ(answer["function"], Json::Value("WyStartService"));
    EXPECT_EQ(answer["codeHex"], Json::Value("0xe0fe0424"));
    EXPECT_EQ(Status()["service"]["state"], Json::Value("not installed"));
}

}  // namespace
