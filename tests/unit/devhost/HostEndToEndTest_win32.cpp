// The host as a process, spoken to by the product's own client helper over the RPC runtime.

#include <gtest/gtest.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "devhost/HostOptions.h"
#include "unit/devhost/HostRunner.h"

namespace {

constexpr std::uint32_t kSuccess = KrCommon::Result::kSuccess;
constexpr std::uint32_t kGetSysCpuUsage = 400013001;

TEST(HostProcess, cpu_usage_is_answered_end_to_end) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    CallResult call = HostClient::Call(kGetSysCpuUsage);
    EXPECT_EQ(call.result, kSuccess);
    EXPECT_EQ(call.retCode, kSuccess);
    EXPECT_LE(call.Data()["cpuUsage"].AsUInt32(), 100U);
    EXPECT_TRUE(call.Data().isMember("cpuUsage"));
}

TEST(HostProcess, nobody_listens_before_and_after) {
    EXPECT_EQ(HostClient::Call(kGetSysCpuUsage).result, 0xe00106baU);
    {
        HostRunner host;
        ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
        EXPECT_EQ(HostClient::Call(kGetSysCpuUsage).result, kSuccess);
        host.RequestStop();
        EXPECT_EQ(host.WaitForEnd(), DevHost::ExitStatus::kClean);
        EXPECT_EQ(host.Output(), "ready\r\n");
    }
    EXPECT_EQ(HostClient::Call(kGetSysCpuUsage).result, 0xe00106baU);
}

TEST(HostProcess, second_host_of_the_same_mode_is_refused) {
    HostRunner host;
    ASSERT_TRUE(host.WaitUntilReady()) << host.Output();
    HostRunner second;
    EXPECT_EQ(second.WaitForEnd(), DevHost::ExitStatus::kAlreadyRunning);
    EXPECT_NE(second.Output().find("another host of mode 0 runs already"), std::string::npos)
        << second.Output();
    HostRunner otherMode({}, 1);
    EXPECT_TRUE(otherMode.WaitUntilReady()) << otherMode.Output();
}

}  // namespace
