#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "abi/SdkLibrary.h"
#include "support/ServiceHost.h"

// Tests with a service and a session. All tests of a suite share them: each session opens an
// endpoint, and a process has room for some sixty.
class ServiceFixture : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_pHost = std::make_unique<test_support::ServiceHost>();
        s_pSession = std::make_unique<SdkSession>();
        ASSERT_EQ(WY_S_OK, s_pSession->Code());
    }
    static void TearDownTestSuite() {
        s_pSession.reset();
        s_pHost.reset();
    }

    static inline std::unique_ptr<test_support::ServiceHost> s_pHost;
    static inline std::unique_ptr<SdkSession> s_pSession;
};
