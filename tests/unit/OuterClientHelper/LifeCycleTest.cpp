// The life of the client manager under its helpers.

#include <atomic>
#include <thread>

#include "HelperFixture.h"
#include "support/LogRecorder.h"

using namespace test_support;
using KrCommon::LogLevel::kError;
using KrCommon::LogLevel::kInformation;
using KrCommon::LogLevel::kWarning;

namespace {

constexpr std::uint32_t kFailure = 0xe0ff0001;
constexpr std::uint32_t kInvalid = 0xe0ff0007;

class LifeCycle : public HelperTest {
protected:
    static std::uint32_t Send(Helper& helper) {
        JsonDocument output;
        return helper.SendMail2ProductPlugin(MailDestination::kApiCall, 5, Document(L"{}"), output,
                                             false);
    }
    static std::uint32_t Init(Helper& helper) {
        return helper.InitProduct(ProductIdentity::kProductNumber,
                                  ProductIdentity::kProductIdString);
    }
};

TEST_F(LifeCycle, manager_lives_as_long_as_one_of_its_helpers) {
    ASSERT_EQ(g_pRpcClientManager.load(), nullptr);
    auto first = std::make_unique<Helper>();
    CRpcClientManager* manager = g_pRpcClientManager;
    ASSERT_NE(manager, nullptr);
    auto second = std::make_unique<Helper>();
    EXPECT_EQ(g_pRpcClientManager.load(), manager);
    first.reset();
    EXPECT_EQ(g_pRpcClientManager.load(), manager);
    EXPECT_EQ(Send(*second), kSuccess);
    second.reset();
    EXPECT_EQ(g_pRpcClientManager.load(), nullptr);
}

TEST_F(LifeCycle, without_a_session_each_call_has_a_manager_of_its_own) {
    for (int i = 0; i < 2; ++i) {
        Helper helper;
        EXPECT_EQ(Send(helper), kSuccess);
    }
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_NE(requests[0].sessionKey, requests[1].sessionKey);
}

TEST_F(LifeCycle, second_initialisation_is_warned_of_and_keeps_the_manager) {
    Helper helper;
    CRpcClientManager* manager = g_pRpcClientManager;
    const LogRecorder log;
    EXPECT_EQ(Init(helper), 0xe0ff000aU);
    EXPECT_EQ(g_pRpcClientManager.load(), manager);
    EXPECT_TRUE(
        log.Has(kWarning, L"OuterClientHelper: [WARN] The Product helper is already initialized"));
}

TEST_F(LifeCycle, end_of_one_of_two_keeps_the_manager_and_is_logged) {
    Helper first;
    Helper second;
    const LogRecorder log;
    EXPECT_EQ(first.UninitProduct(), kSuccess);
    EXPECT_NE(g_pRpcClientManager.load(), nullptr);
    EXPECT_TRUE(log.Has(kInformation,
                        L"OuterClientHelper: [INFO] There are another instances still been held, "
                        L"m_uiRefCnt=1"));
}

TEST_F(LifeCycle, end_of_the_last_reports_the_context_that_was_never_filled) {
    Helper helper;
    const LogRecorder log;
    EXPECT_EQ(helper.UninitProduct(), kInvalid);
    EXPECT_EQ(g_pRpcClientManager.load(), nullptr);
    EXPECT_TRUE(log.Has(kError, L"OuterClientHelper: [ERROR] DestroyContext fail, err=0xe0ff0007"));
    EXPECT_TRUE(log.Has(kError, L"OuterClientHelper: [ERROR] UninitProduct fail, err=0xe0ff0007"));
    EXPECT_TRUE(Requests().empty());
}

TEST_F(LifeCycle, end_after_the_end_is_warned_of_and_a_success) {
    Helper helper;
    helper.UninitProduct();
    const LogRecorder log;
    EXPECT_EQ(helper.UninitProduct(), kSuccess);
    EXPECT_TRUE(
        log.Has(kWarning, L"OuterClientHelper: [WARN] The Product helper is not initialized"));
}

TEST_F(LifeCycle, first_initialisation_that_worked_reports_a_failure_that_nobody_reads) {
    Helper helper;
    helper.UninitProduct();
    EXPECT_EQ(Init(helper), kFailure);
    EXPECT_NE(g_pRpcClientManager.load(), nullptr);
    EXPECT_EQ(Send(helper), kSuccess);
}

TEST_F(LifeCycle, mail_without_a_manager_fails) {
    Helper helper;
    helper.UninitProduct();
    EXPECT_EQ(Send(helper), kFailure);
    EXPECT_TRUE(Requests().empty());
}

// ---- the service that has lost this client

TEST_F(LifeCycle, unknown_client_is_made_known_by_a_new_manager_and_one_repetition) {
    Helper helper;
    const std::string key = SessionKey();
    LoseClientOnce();
    Service().PushReply(MailReply{.verdict = 77}.Encode());
    const LogRecorder log;
    EXPECT_EQ(Send(helper), 77U);
    EXPECT_NE(SessionKey(), key);
    EXPECT_TRUE(log.Has(kWarning,
                        L"OuterClientHelper: [WARN] not register yet. register this client helper "
                        L"to service now. nProductID=0"));
    const std::vector<Request> requests = Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].sessionKey, key);
    EXPECT_EQ(requests[1].sessionKey, SessionKey());
    EXPECT_EQ(requests[0].trackingId, requests[1].trackingId);
    EXPECT_EQ(requests[0].json, requests[1].json);
}

TEST_F(LifeCycle, unknown_client_twice_is_the_result) {
    Helper helper;
    LoseClientOnce();
    Service().PushReply(golden::UnknownClientEnvelope());
    EXPECT_EQ(Send(helper), 0xe0010803U);
    EXPECT_EQ(Requests().size(), 2U);
}

TEST_F(LifeCycle, failure_of_the_repetition_is_the_result) {
    Helper helper;
    LoseClientOnce();
    Service().PushReply(FailureReply(5));
    EXPECT_EQ(Send(helper), 0xe0010005U);
}

TEST_F(LifeCycle, other_failures_are_not_repeated) {
    Helper helper;
    Service().SetReply(FailureReply(0x802));
    EXPECT_EQ(Send(helper), 0xe0010802U);
    EXPECT_EQ(Requests().size(), 1U);
}

TEST_F(LifeCycle, calls_of_many_threads_without_a_session_all_get_their_answer) {
    Service().SetReply(MailReply{.verdict = 4711}.Encode());
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&wrong] {
            for (int call = 0; call < 3; ++call) {
                Helper helper;
                wrong += Send(helper) == 4711 ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(g_pRpcClientManager.load(), nullptr);
}

}  // namespace
