// The process's server, its helpers and the routine behind the interface; over the in-process
// transport natively and over the RPC runtime under Wine.

#include "utilRPC/rpc_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "RpcServing.h"
#include "support/LogRecorder.h"
#include "utilRPC/IdlServerHelper.h"
#include "utilRPC/rpc_EndpointMap.h"

using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using std::chrono::milliseconds;
using test_support::AnyIdHandler;
using test_support::Bytes;
using test_support::Call;
using test_support::CallEndpoint;
using test_support::Id;
using test_support::IsFailure;
using test_support::kEcho77;
using test_support::LogRecorder;
using test_support::Serving;
using test_support::ToHex;
using test_support::Words;

namespace {

const CRPCServerParameter kLocal(L"ncalrpc");

// Names that no other program of this machine uses.
std::wstring Unique(const wchar_t* name) {
    static const std::wstring prefix = L"RpcServerTest" + std::to_wstring(std::rand()) + L"_" +
                                       std::to_wstring(reinterpret_cast<std::uintptr_t>(&kLocal));
    return prefix + name;
}

// One request to the routine behind the interface, as the runtime makes it.
struct Served {
    std::int32_t size = 0;
    std::string bytes;
    bool hasBlock = false;
};

Served Serve(const Bytes& request, std::int32_t claimedSize) {
    Served served;
    std::uint8_t* block = nullptr;
    IdlServerHelper::ServeRequest(claimedSize, request.data(), &served.size, &block);
    served.hasBlock = block != nullptr;
    if (block != nullptr) {
        served.bytes = ToHex(block, static_cast<std::size_t>(served.size));
    }
    std::free(block);
    return served;
}

Served Serve(const Bytes& request) {
    return Serve(request, static_cast<std::int32_t>(request.size()));
}

// ---- one server for all

TEST(RpcServer, first_component_makes_the_server) {
    ASSERT_EQ(DefaultServer(), nullptr);
    CRPCServer* server = CreateServer(Id(Unique(L"first")), kLocal);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(DefaultServer(), server);
    EXPECT_EQ(std::wstring(server->GetComponent().GetName()), Unique(L"first"));
    EXPECT_EQ(server->GetProtocol(), L"ncalrpc");
    server->Start();
    DestroyServer(server, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
}

TEST(RpcServer, request_reaches_the_handler_and_its_answer_the_caller) {
    const Serving serving(Unique(L"echo"));
    EXPECT_EQ(Call(Unique(L"echo")), kEcho77);
}

TEST(RpcServer, same_component_shares_the_server_which_serves_until_the_last_helper_goes) {
    const std::wstring name = Unique(L"shared");
    const LogRecorder log;
    Serving serving(name);
    {
        const CRPCServerHelper second(Id(name), 1000, kLocal);
        EXPECT_EQ(log.CountContaining(L"CreateServer, return default server: 0x"), 1U);
        EXPECT_EQ(Call(name), kEcho77);
    }
    EXPECT_EQ(log.CountContaining(L": [INFO] delete RPC server: 0x"), 1U);
    EXPECT_EQ(log.CountContaining(L", count: 1"), 1U);
    EXPECT_NE(DefaultServer(), nullptr);
    EXPECT_EQ(Call(name), kEcho77);
}

TEST(RpcServer, component_and_protocol_compare_without_regard_to_case) {
    CRPCServer* server = CreateServer(Id(Unique(L"case")), kLocal);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(CreateServer(Id(Unique(L"CASE")), CRPCServerParameter(L"NCALRPC")), server);
    DestroyServer(server, 1000);
    EXPECT_EQ(DefaultServer(), server);
    DestroyServer(server, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
}

TEST(RpcServer, same_component_under_another_protocol_is_refused_and_the_count_stays) {
    const std::wstring name = Unique(L"protocol");
    CRPCServer* server = CreateServer(Id(name), kLocal);
    ASSERT_NE(server, nullptr);
    const LogRecorder log;
    EXPECT_EQ(CreateServer(Id(name), CRPCServerParameter(L"ncacn_np")), nullptr);
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CreateServer, ProtocolSequence is inconsistency,"
                        L"ncalrpc,ncacn_np"));
    EXPECT_EQ(CreateServer(Id(name), CRPCServerParameter(L"ncalrpc2")), nullptr);
    DestroyServer(server, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
}

TEST(RpcServer, other_component_adds_an_endpoint_that_reaches_the_same_handlers) {
    const std::wstring first = Unique(L"one");
    const std::wstring second = Unique(L"two");
    const LogRecorder log;
    const Serving serving(first);
    {
        const CRPCServerHelper helper(Id(second), 1000, kLocal);
        EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CreateServer, Add new endpoint:" +
                                              second + L", and always use protocol:ncalrpc"));
        EXPECT_EQ(Call(first), kEcho77);
        EXPECT_EQ(Call(second), kEcho77);
    }
    // The platform has no call to close an endpoint.
    EXPECT_EQ(Call(second), kEcho77);
}

TEST(RpcServer, name_that_is_longer_is_another_component) {
    const std::wstring name = Unique(L"long");
    const LogRecorder log;
    const Serving serving(name);
    const CRPCServerHelper helper(Id(name + L"er"), 1000, kLocal);
    EXPECT_EQ(log.CountContaining(L"Add new endpoint:" + name + L"er"), 1U);
    EXPECT_EQ(Call(name + L"er"), kEcho77);
}

TEST(RpcServer, protocol_of_another_component_is_not_looked_at) {
    const Serving serving(Unique(L"mine"));
    const LogRecorder log;
    CRPCServer* server = CreateServer(Id(Unique(L"yours")), CRPCServerParameter(L"ncacn_np"));
    EXPECT_EQ(server, DefaultServer());
    EXPECT_EQ(log.CountContaining(L"and always use protocol:ncalrpc"), 1U);
    EXPECT_EQ(log.CountContaining(L": [ERROR] "), 0U);
    EXPECT_EQ(Call(Unique(L"yours")), kEcho77);
    DestroyServer(server, 1000);
}

TEST(RpcServer, last_helper_shuts_the_server_down) {
    const std::wstring name = Unique(L"down");
    const LogRecorder log;
    { const Serving serving(name); }
    EXPECT_EQ(DefaultServer(), nullptr);
    EXPECT_EQ(log.CountContaining(L": [INFO] delete RPC server: 0x"), 1U);
    EXPECT_EQ(log.CountContaining(L", count: "), 0U);
    EXPECT_TRUE(IsFailure(Call(name)));
}

TEST(RpcServer, next_server_serves_the_same_endpoint_again) {
    const std::wstring name = Unique(L"again");
    for (int i = 0; i < 3; ++i) {
        const Serving serving(name);
        EXPECT_EQ(Call(name), kEcho77);
    }
}

TEST(RpcServer, end_of_no_server_is_nothing) {
    const LogRecorder log;
    DestroyServer(nullptr, 1000);
    EXPECT_TRUE(log.Lines().empty());
}

TEST(RpcServer, end_of_an_unknown_server_is_warned_of_and_deletes_it) {
    const LogRecorder log;
    CRPCServer* server = new CRPCServer;
    DestroyServer(server, 1000);
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].level, kWarning);
    EXPECT_EQ(log.Lines()[0].text.find(L"utilRPC: [WARN] unknown RPC server: 0x"), 0U);
}

TEST(RpcServer, shutdown_waits_for_the_running_call) {
    const std::wstring name = Unique(L"drain");
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left = false;
    AnyIdHandler handler([&](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
        entered.set_value();
        leave.get_future().wait();
        left = true;
        out << 5U;
    });
    auto helper = std::make_unique<CRPCServerHelper>(Id(name), 1000, kLocal);
    helper->RegisterHandler(&handler);
    std::thread call([&name] { EXPECT_EQ(Call(name), "05 00 00 00"); });
    entered.get_future().wait();
    std::atomic<bool> leftBeforeTheEnd = false;
    std::thread end([&] {
        helper.reset();
        leftBeforeTheEnd = left.load();
    });
    std::this_thread::sleep_for(milliseconds(100));
    leave.set_value();
    end.join();
    call.join();
    EXPECT_TRUE(leftBeforeTheEnd);
}

TEST(RpcServer, creation_waits_while_a_shutdown_drains) {
    const std::wstring name = Unique(L"busy");
    std::promise<void> entered;
    std::promise<void> leave;
    AnyIdHandler handler([&](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {
        entered.set_value();
        leave.get_future().wait();
    });
    auto helper = std::make_unique<CRPCServerHelper>(Id(name), 1000, kLocal);
    helper->RegisterHandler(&handler);
    std::thread call([&name] { Call(name); });
    entered.get_future().wait();
    std::thread end([&] { helper.reset(); });
    std::this_thread::sleep_for(milliseconds(100));
    std::atomic<CRPCServer*> next = nullptr;
    std::thread creation([&] { next = CreateServer(Id(name), kLocal); });
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(next.load(), nullptr);
    leave.set_value();
    creation.join();
    end.join();
    call.join();
    ASSERT_NE(next.load(), nullptr);
    // It is a server of its own, not a share of the one that went.
    EXPECT_EQ(DefaultServer(), next.load());
    DestroyServer(next, 1000);
    EXPECT_EQ(DefaultServer(), nullptr);
}

TEST(RpcServer, calls_of_many_threads_run_at_the_same_time) {
    constexpr int kCalls = 8;
    const std::wstring name = Unique(L"parallel");
    std::promise<void> all;
    std::shared_future<void> go = all.get_future().share();
    std::atomic<int> inside = 0;
    std::atomic<int> late = 0;
    const Serving serving(name, [&](std::uint32_t id, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
        if (++inside == kCalls) {
            all.set_value();
        }
        late += go.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? 0 : 1;
        out << id;
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < kCalls; ++i) {
        threads.emplace_back([&name] { EXPECT_EQ(Call(name), kEcho77); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(late, 0);
}

// ---- a helper without a server

TEST(RpcServerHelper, without_a_server_handlers_are_not_registered_and_nothing_happens) {
    const std::wstring name = Unique(L"none");
    const Serving serving(name);
    const LogRecorder log;
    {
        // The same component under another protocol: refused.
        CRPCServerHelper helper(Id(name), 1000, CRPCServerParameter(L"ncacn_np"));
        AnyIdHandler handler;
        helper.RegisterHandler(&handler);
        helper.UnRegisterHandler(&handler);
    }
    EXPECT_EQ(log.CountContaining(L"ProtocolSequence is inconsistency"), 1U);
    EXPECT_EQ(log.CountContaining(L"Register duplicate message id"), 0U);
    EXPECT_EQ(log.CountContaining(L"delete RPC server"), 0U);
    EXPECT_EQ(Call(name), kEcho77);
}

// Raises when it is asked for its ids, and serves none.
class RaisingHandler : public CIPCServerRequestCallback {
public:
    bool GetMsgID(std::uint32_t**, std::uint32_t*) override {
        throw OS::CException(0x803, L"handler.cpp", 1);
    }
    void operator()(std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) override {}
    void FreeMsgID(std::uint32_t*) override {}
};

TEST(RpcServerHelper, handler_that_raises_is_logged_and_goes_no_further) {
    CRPCServerHelper helper(Id(Unique(L"raisinghandler")), 1000, kLocal);
    RaisingHandler handler;
    const LogRecorder log;
    EXPECT_NO_THROW(helper.RegisterHandler(&handler));
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRPCServerHelper::RegisterHandler(), error code: 0x803, "
                        L"error msg:2051"));
    EXPECT_NO_THROW(helper.UnRegisterHandler(&handler));
    EXPECT_TRUE(log.Has(kError,
                        L"utilRPC: [ERROR] CRPCServerHelper::UnRegisterHandler(), error code: "
                        L"0x803, error msg:2051"));
}

// ---- the routine behind the interface

TEST(ServerRoutine, request_without_a_server_gets_an_empty_reply) {
    ASSERT_EQ(DefaultServer(), nullptr);
    const LogRecorder log;
    const Served served = Serve(Words({77}));
    EXPECT_EQ(served.size, 0);
    EXPECT_FALSE(served.hasBlock);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequest(), inSize: 4"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequest(), outSize: 0"));
}

TEST(ServerRoutine, request_is_logged_with_its_sizes) {
    const Serving serving(Unique(L"sizes"), [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
        out << 1U << 2U;
    });
    const LogRecorder log;
    EXPECT_EQ(Serve(Words({77, 1, 2})).bytes, "01 00 00 00 02 00 00 00");
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequest(), inSize: 12"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] SendRequest(), outSize: 8"));
}

TEST(ServerRoutine, reply_of_no_bytes_has_no_block) {
    const Serving serving(Unique(L"mute"), [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&) {});
    const Served served = Serve(Words({77}));
    EXPECT_EQ(served.size, 0);
    EXPECT_FALSE(served.hasBlock);
    EXPECT_EQ(Call(Unique(L"mute")), "");
}

TEST(ServerRoutine, request_shorter_than_an_id_gets_an_empty_reply_and_is_logged) {
    const Serving serving(Unique(L"short"));
    const LogRecorder log;
    const Served served = Serve({1, 2, 3});
    EXPECT_EQ(served.size, 0);
    EXPECT_FALSE(served.hasBlock);
    EXPECT_EQ(log.CountContaining(L"SendRequest(), error = Out of range, (0), [ipc_msg_buffer|"),
              1U);
    EXPECT_EQ(Call(Unique(L"short"), {1, 2, 3}), "");
}

TEST(ServerRoutine, request_of_no_or_negative_size_gets_an_empty_reply_and_is_logged) {
    const Serving serving(Unique(L"negative"));
    for (const std::int32_t size : {0, -1, static_cast<std::int32_t>(0x80000000)}) {
        const LogRecorder log;
        EXPECT_EQ(Serve(Words({77}), size).size, 0);
        EXPECT_EQ(log.CountContaining(L"SendRequest(), error = Invalid buffer, (1), ["), 1U)
            << size;
    }
}

TEST(ServerRoutine, id_without_a_handler_gets_an_empty_reply) {
    CRPCServer* server = CreateServer(Id(Unique(L"nohandler")), kLocal);
    ASSERT_NE(server, nullptr);
    const LogRecorder log;
    EXPECT_EQ(Serve(Words({77})).size, 0);
    EXPECT_EQ(log.CountContaining(L"The message id: 77not found"), 1U);
    DestroyServer(server, 1000);
}

TEST(ServerRoutine, handler_that_raises_leaves_the_reply_as_written_so_far) {
    const Serving serving(Unique(L"raise"), [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
        out << 9U;
        throw OS::CException(1234, nullptr, 0);
    });
    EXPECT_EQ(Call(Unique(L"raise")), "09 00 00 00");
}

TEST(ServerRoutine, foreign_exception_of_a_handler_gives_an_empty_reply_and_goes_no_further) {
    const Serving serving(Unique(L"foreign"),
                          [](std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer& out) {
                              out << 9U;
                              throw std::runtime_error("foreign");
                          });
    const LogRecorder log;
    EXPECT_EQ(Call(Unique(L"foreign")), "");
    EXPECT_EQ(log.CountContaining(L"SendRequest(), error = foreign"), 1U);
}

TEST(ServerRoutine, large_request_and_reply_arrive_whole) {
    const std::wstring name = Unique(L"large");
    const Serving serving(name, [](std::uint32_t, CIPCMsgBuffer& in, CIPCMsgBuffer& out) {
        out.WriteBytes(in.GetReadPtr(), in.GetRemaining());
    });
    Bytes request(4 + 1000003);
    for (std::size_t i = 4; i < request.size(); ++i) {
        request[i] = static_cast<std::uint8_t>(i * 31 + i / 255);
    }
    const Bytes reply = CallEndpoint(name, request);
    EXPECT_TRUE(reply == Bytes(request.begin() + 4, request.end()));
}

}  // namespace
