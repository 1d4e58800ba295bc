// What an application sees when the service dies: calls, session and events.

#include <gtest/gtest.h>

#include "abi/SdkLibrary.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ServiceHost;

TEST(Death, call_that_the_service_does_not_survive_fails_and_later_hosts_are_reached) {
    std::uint32_t id = 0;
    {
        ServiceHost host(L"api:400013001 crash");
        EXPECT_EQ(0xe00106beu, SDK(WyGetSysCpuUsage)(&id));
        EXPECT_EQ(86u, host.WaitForEnd(30000));
    }
    for (int i = 0; i < 5; ++i) {
        const ServiceHost host;
        EXPECT_EQ(WY_S_OK, SDK(WyGetSvchostPid)(&id)) << i;
        EXPECT_EQ(host.ProcessId(), id);
    }
}

}  // namespace
