// Tracking records and deliveries of the client manager, many threads, and its life.

#include <atomic>
#include <cstring>
#include <future>
#include <memory>
#include <set>
#include <thread>

#include "ManagerFixture.h"
#include "support/LogRecorder.h"

using namespace test_support;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;
using std::chrono::milliseconds;

namespace {

// ---- the tracking record of a command

TEST_F(RpcClientManager, command_without_a_callback_leaves_no_record) {
    ASSERT_EQ(Execute("id", nullptr), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, command_with_a_callback_leaves_a_record_until_it_is_erased) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, second_command_of_one_tracking_id_is_refused_before_it_is_sent) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    Service().TakeRequests();
    EXPECT_EQ(Execute("id", Callback), 0xe0ff001cU);
    EXPECT_TRUE(Service().TakeRequests().empty());
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, failed_send_leaves_no_record_so_that_the_id_can_be_used_again) {
    Service().PushReply(FailureReply(5));
    EXPECT_EQ(Execute("id", Callback), 0xe0010005U);
    Service().PushReply({});
    EXPECT_EQ(Execute("id", Callback), kMalformed);
    Service().PushReply(ResultReply(0xe0ff0007));
    EXPECT_EQ(Execute("id", Callback), 0xe0ff0007U);
    EXPECT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- deliveries

TEST_F(RpcClientManager, delivery_reaches_the_callback_and_its_answer_the_service) {
    int context = 0;
    ASSERT_EQ(Execute(golden::kTrackingId, Callback, &context), kSuccess);
    const LogRecorder log;
    const CommandResult answer = ResultOf(Deliver(Delivery(golden::kTrackingId, 77)));
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(m_Seen.trackingId, golden::kTrackingId);
    EXPECT_EQ(m_Seen.context, &context);
    EXPECT_EQ(m_Seen.code, 77U);
    EXPECT_EQ(m_Seen.report, L"{}");
    EXPECT_EQ(answer.iResult, 0x1234U);
    EXPECT_STREQ(answer.szTrackingID, "");
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] operator(iMsgID ) : 8200"));
    EXPECT_TRUE(
        log.Has(kInformation, L"utilRPC: [INFO] Tracking id = " +
                                  std::wstring(golden::kTrackingId, golden::kTrackingId + 36)));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] CRpcClientManager::ReplyResult"));
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] operator()"));
    EXPECT_EQ(CRpcClientManager::EraseTrackingID(golden::kTrackingId), kSuccess);
}

TEST_F(RpcClientManager, one_command_can_have_many_deliveries) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
        EXPECT_EQ(m_Seen.calls, i);
    }
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, delivery_under_an_unknown_id_is_answered_with_a_result_form) {
    EXPECT_EQ(ToHex(Deliver(golden::EventDelivery())), ToHex(golden::UnknownTrackingIdAnswer()));
}

TEST_F(RpcClientManager, delivery_under_another_message_id_is_processed_and_then_logged) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    const LogRecorder log;
    EXPECT_EQ(ResultOf(Deliver(Delivery("id", 0, 9999))).iResult, 0x1234U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_TRUE(log.Has(kWarning, L"utilRPC: [WARN] Received incorrect msg id: 9999"));
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, delivery_that_is_no_envelope_is_logged_and_answered_with_nothing) {
    const LogRecorder log;
    EXPECT_EQ(ToHex(Deliver(Words({IPC_MSG_COMMAND_RESULT}))), "");
    EXPECT_EQ(ToHex(Deliver(Words({IPC_MSG_COMMAND_RESULT, 0x7fffffff}))), "");
    EXPECT_EQ(log.CountContaining(L": [WARN] Got invalid input buffer!!! "), 2U);
}

TEST_F(RpcClientManager, delivery_of_an_empty_message_has_no_tracking_id) {
    EXPECT_EQ(ResultOf(Deliver(Words({IPC_MSG_COMMAND_RESULT, 0}))).iResult, 0xe0ff0018U);
}

TEST_F(RpcClientManager, delivery_without_a_report_reaches_the_callback_with_an_empty_handle) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    CommandResult result{};
    std::memcpy(result.szTrackingID, "id", 3);
    CRpcDataHandleWrapper message(RPC_MSG_MAIN);
    RpcMessages::EncodeResult(result, message);
    EXPECT_EQ(ResultOf(Deliver(Envelope(IPC_MSG_COMMAND_RESULT, message))).iResult, 0x1234U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(m_Seen.report, L"");
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, several_deliveries_of_one_id_run_at_the_same_time) {
    constexpr int kDeliveries = 4;
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    std::promise<void> all;
    std::shared_future<void> go = all.get_future().share();
    std::atomic<int> inside = 0;
    std::atomic<int> late = 0;
    m_Seen.work = [&] {
        if (++inside == kDeliveries) {
            all.set_value();
        }
        late += go.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? 0 : 1;
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kDeliveries; ++i) {
        threads.emplace_back([] { EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(late, 0);
    EXPECT_EQ(m_Seen.calls, kDeliveries);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

TEST_F(RpcClientManager, erase_during_a_delivery_lets_it_end_and_then_the_record_is_gone) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    std::promise<void> entered;
    std::promise<void> leave;
    m_Seen.work = [&] {
        entered.set_value();
        leave.get_future().wait();
    };
    std::thread delivery([] { EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U); });
    entered.get_future().wait();
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff0016U);
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0xe0ff0015U);
    leave.set_value();
    delivery.join();
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0xe0ff0018U);
    EXPECT_EQ(m_Seen.calls, 1);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, record_can_be_erased_by_its_own_callback) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    m_Seen.work = [] { EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff0016U); };
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
}

TEST_F(RpcClientManager, callback_can_send_a_command) {
    ASSERT_EQ(Execute("id", Callback), kSuccess);
    Service().SetReply(ResultReply(55));
    m_Seen.work = [] { EXPECT_EQ(Execute("other", nullptr), 55U); };
    EXPECT_EQ(ResultOf(Deliver(Delivery("id"))).iResult, 0x1234U);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- many threads

TEST_F(RpcClientManager, many_threads_can_send_at_the_same_time) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    Service().SetReply(ResultReply(4711));
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&wrong, i] {
            for (int call = 0; call < 25; ++call) {
                const std::string id = "thread " + std::to_string(i);
                const bool tracked = call % 2 == 0;
                wrong += Execute(id, tracked ? Callback : nullptr) == 4711 ? 0 : 1;
                if (tracked) {
                    wrong += CRpcClientManager::EraseTrackingID(id.c_str()) == kSuccess ? 0 : 1;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Service().TakeRequests().size(), 200U);
}

TEST_F(RpcClientManager, deliveries_and_erasures_of_many_threads_keep_the_table_whole) {
    std::atomic<bool> stop = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> services;
    for (int i = 0; i < 3; ++i) {
        services.emplace_back([&] {
            while (!stop) {
                const std::uint32_t code = ResultOf(Deliver(Delivery("id"))).iResult;
                const bool stated = code == 0x1234 || code == 0xe0ff0015 || code == 0xe0ff0018;
                wrong += stated ? 0 : 1;
            }
        });
    }
    for (int round = 0; round < 30; ++round) {
        const std::uint32_t code = Execute("id", Callback);
        wrong += code == kSuccess || code == 0xe0ff001cU ? 0 : 1;
        std::this_thread::sleep_for(milliseconds(2));
        CRpcClientManager::EraseTrackingID("id");
    }
    stop = true;
    for (std::thread& service : services) {
        service.join();
    }
    EXPECT_EQ(wrong, 0);
    CRpcClientManager::EraseTrackingID("id");
    EXPECT_EQ(Execute("id", Callback), kSuccess);
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), kSuccess);
}

// ---- the life of a manager

TEST(RpcClientManagerLife, construction_is_logged_with_the_plugin_pointer) {
    const LogRecorder log;
    const CRpcClientManager manager(nullptr, 1000);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] Constructor, PluginOrg : 0x0"));
    EXPECT_EQ(log.CountContaining(L": [ERROR] "), 0U);
}

TEST(RpcClientManagerLife, manager_with_a_plugin_origin_sends_nothing) {
    ScriptedService service;
    service.SetReply(ResultReply(kSuccess));
    const LogRecorder log;
    CRpcClientManager manager(reinterpret_cast<void*>(std::uintptr_t{0x1234}), 1000);
    EXPECT_TRUE(log.Has(kInformation, L"utilRPC: [INFO] Constructor, PluginOrg : 0x1234"));
    g_pRpcClientManager = &manager;
    CommandContext context{};
    std::memcpy(context.szTrackingID, "id", 3);
    CommandResult result{};
    EXPECT_EQ(CRpcClientManager::ExecuteCommand(&context, Callback, &result), kMalformed);
    // Like any failed send it leaves no record.
    EXPECT_EQ(CRpcClientManager::EraseTrackingID("id"), 0xe0ff000eU);
    EXPECT_EQ(CRpcClientManager::DestroyContext(&context.client), kMalformed);
    g_pRpcClientManager = nullptr;
    EXPECT_TRUE(service.TakeRequests().empty());
}

TEST(RpcClientManagerLife, server_that_was_stopped_can_be_started_under_a_new_key) {
    ScriptedService service;
    CRpcClientManager manager(nullptr, 1000);
    const std::string key = manager.GetClientSessionKey();
    EXPECT_EQ(manager.StopRPCServer(), kSuccess);
    EXPECT_EQ(DefaultServer(), nullptr);
    EXPECT_EQ(manager.StopRPCServer(), kSuccess);
    EXPECT_EQ(manager.StartRPCServer(), kSuccess);
    EXPECT_NE(manager.GetClientSessionKey(), key);
    const Bytes answer = service.Deliver(manager.GetClientSessionKey(), Delivery("id"));
    EXPECT_EQ(ResultOf(answer).iResult, 0xe0ff0018U);
}

TEST(RpcClientManagerLife, destruction_waits_for_the_running_delivery) {
    ScriptedService service;
    service.SetReply(ResultReply(kSuccess));
    Seen seen;
    s_pSeen = &seen;
    auto manager = std::make_unique<CRpcClientManager>(nullptr, 1000);
    g_pRpcClientManager = manager.get();
    const std::string key = manager->GetClientSessionKey();
    CommandContext context{};
    std::memcpy(context.szTrackingID, "id", 3);
    CommandResult result{};
    ASSERT_EQ(CRpcClientManager::ExecuteCommand(&context, Callback, &result), kSuccess);
    CRpcClientManager::DestroyReport(&result.pReport);
    std::promise<void> entered;
    std::promise<void> leave;
    std::atomic<bool> left = false;
    seen.work = [&] {
        entered.set_value();
        leave.get_future().wait();
        left = true;
    };
    std::thread delivery(
        [&] { EXPECT_EQ(ResultOf(service.Deliver(key, Delivery("id"))).iResult, 0x1234U); });
    entered.get_future().wait();
    std::atomic<bool> leftBeforeTheEnd = false;
    std::thread end([&] {
        g_pRpcClientManager = nullptr;
        manager.reset();
        leftBeforeTheEnd = left.load();
    });
    std::this_thread::sleep_for(milliseconds(250));
    leave.set_value();
    end.join();
    delivery.join();
    EXPECT_TRUE(leftBeforeTheEnd);
}

TEST(RpcClientManagerLife, after_its_end_nobody_takes_a_delivery) {
    ScriptedService service;
    std::string key;
    {
        const CRpcClientManager manager(nullptr, 1000);
        key = manager.GetClientSessionKey();
        EXPECT_EQ(ResultOf(service.Deliver(key, Delivery("id"))).iResult, 0xe0ff0018U);
    }
    const Bytes answer = service.Deliver(key, Delivery("id"));
    ASSERT_GE(answer.size(), 4U);
    EXPECT_EQ(ToHex(answer.data(), 4), "02 00 00 00");
}

TEST(RpcClientManagerLife, next_manager_has_a_key_and_an_endpoint_of_its_own) {
    ScriptedService service;
    std::set<std::string> keys;
    for (int i = 0; i < 3; ++i) {
        const CRpcClientManager manager(nullptr, 1000);
        EXPECT_TRUE(keys.insert(manager.GetClientSessionKey()).second);
        const Bytes answer = service.Deliver(manager.GetClientSessionKey(), Delivery("id"));
        EXPECT_EQ(ResultOf(answer).iResult, 0xe0ff0018U);
    }
}

}  // namespace
