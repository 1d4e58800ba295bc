// Memory that runs out at any one allocation of the callback server's life: each place says so in
// the log with its own words, and nothing is left behind.

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

#include "RpcServing.h"
#include "support/AllocationFaults.h"
#include "support/LogRecorder.h"
#include "utilRPC/RpcClientManager.h"

using KrCommon::LogLevel::kError;
using test_support::Call;
using test_support::FailAllocations;
using test_support::Id;
using test_support::kEcho77;
using test_support::LogRecorder;
using test_support::Serving;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kNoCallbackServer = 0xe0ff0003;

TEST(RpcServerMemory, server_without_memory_is_logged_and_none) {
    const CComponentID component = Id(L"NoMemory");
    const CRPCServerParameter parameter(L"ncalrpc");
    const LogRecorder log;
    {
        const FailAllocations failure(0, FailAllocations::Mode::kOnce);
        EXPECT_EQ(CreateServer(component, parameter), nullptr);
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_EQ(DefaultServer(), nullptr);
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] CreateServer() fail "));
    const Serving serving(L"NoMemory");
    EXPECT_EQ(Call(L"NoMemory"), kEcho77);
}

TEST(RpcClientManagerMemory, ids_without_memory_are_refused_and_logged) {
    CRpcClientManager manager(nullptr, 1000);
    const LogRecorder log;
    std::uint32_t* ids = nullptr;
    std::uint32_t count = 77;
    {
        const FailAllocations failure(0, FailAllocations::Mode::kOnce);
        EXPECT_FALSE(manager.GetMsgID(&ids, &count));
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_TRUE(log.Has(kError, L"utilRPC: [ERROR] GetMsgID() new failed "));
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(count, 77U);
}

TEST(RpcClientManagerMemory, start_of_the_server_gives_a_stated_code_at_each_allocation) {
    CRpcClientManager manager(nullptr, 1000);
    const LogRecorder log;
    bool refused = true;
    std::size_t granted = 0;
    std::size_t failed = 0;
    for (; refused; ++granted) {
        ASSERT_LT(granted, 500U);
        ASSERT_EQ(manager.StopRPCServer(), kSuccess);
        ASSERT_EQ(DefaultServer(), nullptr) << granted;
        std::uint32_t code = 0;
        {
            const FailAllocations failure(granted, FailAllocations::Mode::kOnce);
            try {
                code = manager.StartRPCServer();
            } catch (const std::bad_alloc&) {
                code = kNoCallbackServer;
            }
            refused = failure.Happened();
        }
        EXPECT_TRUE(code == kSuccess || code == kNoCallbackServer) << std::hex << code;
        failed += code == kNoCallbackServer ? 1U : 0U;
    }
    EXPECT_GT(failed, 0U);
    EXPECT_GT(log.CountContaining(L"utilRPC: [ERROR] Cannot new CRPCServerHelper"), 0U);
    // A handler that could not give its id is not in the table, and is not taken out of it.
    EXPECT_GT(log.CountContaining(L"utilRPC: [ERROR] GetMsgID() new failed "), 0U);
}

}  // namespace
