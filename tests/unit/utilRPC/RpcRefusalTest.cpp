// What client, server and client manager do when an operation of the platform raises. The
// in-process transport does so when it is told to; the RPC runtime's own calls never raise.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "RpcServing.h"
#include "support/LogRecorder.h"
#include "support/loopback/LoopbackTransport.h"
#include "utilRPC/RpcClientManager.h"
#include "utilRPC/rpc_client.h"

using KrCommon::LogLevel::kError;
using Loopback::Operation;
using Loopback::Refusal;
using test_support::Call;
using test_support::Id;
using test_support::kEcho77;
using test_support::LogRecorder;
using test_support::Serving;
using test_support::ToHex;

namespace {

constexpr std::uint32_t kSuccess = 0x20ff0000;
const CRPCServerParameter kLocal(L"ncalrpc");

// ---- the client

TEST(RpcClientRefusal, creation_that_raises_is_logged_and_shows_at_the_first_request) {
    const Serving serving(L"RefusedClient");
    const LogRecorder log;
    std::unique_ptr<CRPCClientHelper> client;
    {
        const Refusal refusal(Operation::kClientCreate, 1734);
        EXPECT_NO_THROW(client = std::make_unique<CRPCClientHelper>(Id(L"RefusedClient")));
    }
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRPCClientHelper::CRPCClientHelper(),1734, (1734), "
                        L"[platform.cpp|7]"));
    CIPCMsgBuffer in(CIPCMsgBuffer::kBlockSize, false);
    CIPCMsgBuffer out(CIPCMsgBuffer::kBlockSize, false);
    in << 77U;
    client->SendRequest(in, out);
    EXPECT_EQ(ToHex(out.GetData(), 8), "02 00 00 00 a6 06 00 00");
}

TEST(RpcClientRefusal, destruction_that_raises_is_logged_and_goes_no_further) {
    const LogRecorder log;
    auto client = std::make_unique<CRPCClientHelper>(Id(L"nobody"));
    const Refusal refusal(Operation::kClientDestroy, 5);
    client.reset();
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRPCClientHelper::~CRPCClientHelper(),5, (5), "
                        L"[platform.cpp|7]"));
}

// ---- the server

TEST(RpcServerRefusal, creation_that_raises_leaves_no_server_and_the_next_one_works) {
    {
        const Refusal refusal(Operation::kServerCreate, 14);
        const LogRecorder log;
        EXPECT_EQ(CreateServer(Id(L"RefusedServer"), kLocal), nullptr);
        EXPECT_EQ(DefaultServer(), nullptr);
        EXPECT_TRUE(log.Has(kError,
                            L"utilRPC: [ERROR] CRpcServer::CreateServer() fail, 14, (14), "
                            L"[platform.cpp|7]"));
    }
    const Serving serving(L"RefusedServer");
    EXPECT_EQ(Call(L"RefusedServer"), kEcho77);
}

TEST(RpcServerRefusal, endpoint_that_raises_gives_no_server_and_the_count_stays) {
    CRPCServer* server = CreateServer(Id(L"First"), kLocal);
    ASSERT_NE(server, nullptr);
    {
        const Refusal refusal(Operation::kServerEndpoint, 14);
        const LogRecorder log;
        EXPECT_EQ(CreateServer(Id(L"Second"), kLocal), nullptr);
        EXPECT_TRUE(log.Has(kError,
                            L"utilRPC: [ERROR] CRpcServer::CreateServer() fail, 14, (14), "
                            L"[platform.cpp|7]"));
        EXPECT_EQ(log.CountContaining(L"Add new endpoint"), 0U);
    }
    EXPECT_EQ(DefaultServer(), server);
    DestroyServer(server, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
}

TEST(RpcServerRefusal, shutdown_that_raises_is_logged_and_the_server_goes_all_the_same) {
    CRPCServer* server = CreateServer(Id(L"First"), kLocal);
    ASSERT_NE(server, nullptr);
    const LogRecorder log;
    {
        const Refusal refusal(Operation::kServerShutdown, 0x6d9);
        EXPECT_NO_THROW(DestroyServer(server, 1000));
    }
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRpcServer::DestroyServer() fail, error code: 0x6d9, "
                        L"error msg:1753"));
    EXPECT_EQ(DefaultServer(), nullptr);
}

// ---- the client manager's callback server

TEST(RpcClientManagerRefusal, manager_hears_nothing_of_a_server_that_could_not_be_made) {
    const Refusal refusal(Operation::kServerCreate, 14);
    CRpcClientManager manager(nullptr, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
    EXPECT_EQ(manager.StopRPCServer(), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(manager.StartRPCServer(), kSuccess);
    EXPECT_EQ(log.CountContaining(L"Cannot new CRPCServerHelper"), 0U);
    EXPECT_EQ(std::string(manager.GetClientSessionKey()).size(), 36U);
}

}  // namespace
