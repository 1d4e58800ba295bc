// The development host, run by the service manager.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "Common/KrCommon/KrComn_Windows.h"
#include "HostRunner.h"
#include "support/TemporaryFolder.h"
#include "support/WatchedService.h"

namespace {

using test_support::HostServiceEntry;
using ::testing::HasSubstr;

TEST(HostAsService, listens_while_it_runs_and_stops_when_it_is_told) {
    HostServiceEntry service;
    ASSERT_EQ(service.Start(), 0U);
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    const HostServiceEntry::Status running = service.Ask();
    EXPECT_EQ(running.accepted, DWORD{SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN});
    CallResult answer = HostClient::Call(400012012);
    EXPECT_EQ(answer.Data()["currentPid"].AsUInt32(), running.processId);
    EXPECT_EQ(service.Control(SERVICE_CONTROL_STOP), 0U);
    ASSERT_TRUE(service.WaitFor(SERVICE_STOPPED));
    EXPECT_EQ(service.Ask().exitCode, 0U);
}

TEST(HostAsService, takes_the_options_of_its_command_line) {
    const test_support::TemporaryFolder folder(L"wy service");
    const std::filesystem::path log = folder.Path() / L"host.log";
    HostServiceEntry service(L"--mode 1 --log \"" + log.wstring() + L"\"", L"Tavrenox");
    ASSERT_EQ(service.Start(), 0U);
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    EXPECT_EQ(service.Control(SERVICE_CONTROL_STOP), 0U);
    ASSERT_TRUE(service.WaitFor(SERVICE_STOPPED));
    std::ifstream file(log, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, HasSubstr("stop, reason"));
}

TEST(HostAsService, tells_the_service_manager_why_it_does_not_start) {
    HostRunner other;
    ASSERT_TRUE(other.WaitUntilReady());
    {
        HostServiceEntry service;
        service.Start();
        ASSERT_TRUE(service.WaitFor(SERVICE_STOPPED));
        EXPECT_EQ(service.Ask().exitCode, DWORD{ERROR_SERVICE_SPECIFIC_ERROR});
        EXPECT_EQ(service.Ask().ownExitCode, 3U) << "another host runs";
        other.RequestStop();
        EXPECT_EQ(other.WaitForEnd(), 0U);
    }
}

TEST(HostAsService, ends_as_failed_where_a_fault_script_wants_a_restart) {
    HostServiceEntry service(L"--fault \"any x1 restart\"");
    ASSERT_EQ(service.Start(), 0U);
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    HostClient::CallApart(400013001);
    ASSERT_TRUE(service.WaitFor(SERVICE_STOPPED));
    EXPECT_EQ(service.Ask().ownExitCode, 1U);
}

TEST(HostAsService, is_refused_where_the_service_manager_did_not_start_it) {
    HostRunner host({L"--service"});
    EXPECT_EQ(host.WaitForEnd(), 2U);
    EXPECT_THAT(host.Output(), HasSubstr("--service is for the service manager"));
}

}  // namespace
