#include <WySdk/WySdk.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <vector>

#include "WySdk/EventBus.h"
#include "WySdk/SdkState.h"
#include "support/FakeClientHelper.h"
#include "support/FakeMail.h"
#include "support/LogRecorder.h"

namespace {

using test_support::FakeClientHelper;
using test_support::FakeMail;
using test_support::LogRecorder;
using Calls = std::vector<std::string>;

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInfo = 1;
constexpr std::uint32_t kWarning = 16;
constexpr std::uint32_t kError = 256;
constexpr char kConstruct[] = "construct 78 c11t1100v1.1.0l1p1r1o1 0 0 30";

std::uint32_t WYAPI Callback(std::uint32_t, const wchar_t*) {
    return 0;
}

class Session : public testing::Test {
protected:
    Session() {
        g_strProductId.clear();
        g_EventCallbacks.clear();
    }
    ~Session() override {
        g_EventCallbacks.clear();
        WyUninitialize();
    }

    FakeMail mail;
    FakeClientHelper helpers;
    LogRecorder log;
};

TEST_F(Session, initialize_makes_a_helper_and_registers_the_process) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(helpers.calls, (Calls{kConstruct, "register app"}));
    EXPECT_EQ(helpers.eventEntry, WyEventCallBack);
    EXPECT_NE(g_pClientHelper, nullptr);
    EXPECT_EQ(g_strProductId, L"app");
    EXPECT_EQ(log.Lines().size(), 0U);
}

TEST_F(Session, initialize_returns_the_services_positive_code) {
    helpers.registerResult = 5;
    EXPECT_EQ(WyInitialize(L"app"), 5U);
    EXPECT_NE(g_pClientHelper, nullptr);
}

TEST_F(Session, initialize_again_is_harmless_and_ignores_its_argument) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(WyInitialize(L"other"), kSuccess);
    EXPECT_EQ(WyInitialize(nullptr), kSuccess);
    EXPECT_EQ(helpers.calls.size(), 2U);
    EXPECT_EQ(g_strProductId, L"app");
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] WySdk is already initialized"));
}

TEST_F(Session, initialize_without_a_name_is_refused) {
    EXPECT_EQ(WyInitialize(nullptr), 0xe0ff0007U);
    EXPECT_EQ(WyInitialize(L""), 0xe0ff0007U);
    EXPECT_TRUE(helpers.calls.empty());
    EXPECT_EQ(g_pClientHelper, nullptr);
    EXPECT_EQ(log.CountContaining(L"Null product ID!"), 2U);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] Null product ID!"));
}

TEST_F(Session, initialize_without_memory_is_refused) {
    helpers.outOfMemory = true;
    EXPECT_EQ(WyInitialize(L"app"), 0xe0ff001eU);
    EXPECT_EQ(g_pClientHelper, nullptr);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] failed to allocate memory!"));
    helpers.outOfMemory = false;
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
}

TEST_F(Session, initialize_that_the_service_refuses_leaves_no_session) {
    helpers.registerResult = 0xe00106ba;
    EXPECT_EQ(WyInitialize(L"app"), 0xe00106baU);
    EXPECT_EQ(helpers.calls, (Calls{kConstruct, "register app", "destroy"}));
    EXPECT_EQ(g_pClientHelper, nullptr);
    EXPECT_TRUE(log.Has(kError, L"WySdk: [ERROR] RegisterProcess fail, retCode = 0xe00106ba"));
    // The name that was refused stays.
    EXPECT_EQ(g_strProductId, L"app");
}

TEST_F(Session, the_name_is_that_of_the_last_call_that_got_to_register) {
    helpers.registerResult = 0xe00106ba;
    EXPECT_EQ(WyInitialize(L"first"), 0xe00106baU);
    EXPECT_EQ(WyInitialize(L"second"), 0xe00106baU);
    EXPECT_EQ(g_strProductId, L"second");
    EXPECT_EQ(WyInitialize(L""), 0xe0ff0007U);
    EXPECT_EQ(WyInitialize(nullptr), 0xe0ff0007U);
    helpers.outOfMemory = true;
    EXPECT_EQ(WyInitialize(L"third"), 0xe0ff001eU);
    EXPECT_EQ(g_strProductId, L"second");
}

TEST_F(Session, initialize_may_be_repeated_after_a_failure) {
    helpers.registerResult = 0xe00106ba;
    EXPECT_EQ(WyInitialize(L"app"), 0xe00106baU);
    helpers.calls.clear();
    helpers.registerResult = kSuccess;
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(helpers.calls, (Calls{kConstruct, "register app"}));
}

TEST_F(Session, uninitialize_ends_the_registration) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    helpers.calls.clear();
    helpers.unregisterResult = 6;
    EXPECT_EQ(WyUninitialize(), 6U);
    EXPECT_EQ(helpers.calls, (Calls{"unregister", "destroy"}));
    EXPECT_EQ(g_pClientHelper, nullptr);
    EXPECT_EQ(g_strProductId, L"app");
    EXPECT_EQ(mail.Count(), 0U);
    EXPECT_TRUE(log.Has(kInfo, L"WySdk: [INFO] WyUninitialize"));
}

TEST_F(Session, uninitialize_that_the_service_refuses_leaves_no_session) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    helpers.calls.clear();
    helpers.unregisterResult = 0xe00106ba;
    EXPECT_EQ(WyUninitialize(), 0xe00106baU);
    EXPECT_EQ(helpers.calls, (Calls{"unregister", "destroy"}));
    EXPECT_EQ(g_pClientHelper, nullptr);
    EXPECT_TRUE(
        log.Has(kError, L"WySdk: [ERROR] WyUninitialize execute fail, retCode = 0xe00106ba"));
}

TEST_F(Session, uninitialize_without_a_session_succeeds_and_sends_nothing) {
    EXPECT_EQ(WyUninitialize(), kSuccess);
    EXPECT_TRUE(helpers.calls.empty());
    EXPECT_EQ(mail.Count(), 0U);
    EXPECT_EQ(log.Texts(),
              (std::vector<std::wstring>{L"WySdk: [INFO] WyUninitialize",
                                         L"WySdk: [INFO] WySdk is not initialized yet"}));
}

TEST_F(Session, uninitialize_takes_the_subscriptions_back_in_order) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(9, Callback), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(3, Callback), kSuccess);
    mail.Clear();
    EXPECT_EQ(WyUninitialize(), kSuccess);
    ASSERT_EQ(mail.Count(), 2U);
    EXPECT_EQ(mail.Mails()[0].mailId, 400012007U);
    EXPECT_EQ(mail.Mails()[0].request, L"{\"eventId\":3,\"productProcessName\":\"app\"}\n");
    EXPECT_EQ(mail.Mails()[1].request, L"{\"eventId\":9,\"productProcessName\":\"app\"}\n");
    EXPECT_TRUE(g_EventCallbacks.empty());
}

TEST_F(Session, uninitialize_keeps_subscriptions_whose_removal_fails) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(3, Callback), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(4, Callback), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(5, Callback), kSuccess);
    mail.PushAnswer(L"{}");
    mail.PushAnswer(L"{\"retCode\":3774808065}");
    mail.PushAnswer(L"{}");
    EXPECT_EQ(WyUninitialize(), kSuccess);
    EXPECT_EQ(g_EventCallbacks, (decltype(g_EventCallbacks){{4, Callback}}));
    EXPECT_TRUE(log.Has(
        kWarning, L"WySdk: [WARN] WyUnsubscribeEvent fail, eventId = 4. retCode = 0xe0ff0001"));
    EXPECT_EQ(log.CountContaining(L"WyUnsubscribeEvent fail"), 1U);
    EXPECT_EQ(g_pClientHelper, nullptr);
}

TEST_F(Session, uninitialize_without_a_session_takes_the_subscriptions_back_as_well) {
    EXPECT_EQ(EventBus::Subscribe(3, Callback), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(4, Callback), kSuccess);
    mail.Clear();
    mail.PushAnswer(L"{\"retCode\":3774808065}");
    log.Clear();
    EXPECT_EQ(WyUninitialize(), kSuccess);
    EXPECT_EQ(mail.Count(), 2U);
    EXPECT_EQ(g_EventCallbacks, (decltype(g_EventCallbacks){{3, Callback}}));
    // The refusal comes first, then what the call itself says.
    std::vector<std::wstring> lines = log.Texts();
    std::erase_if(lines, [](const std::wstring& line) {
        return line.find(L"WyUn") == std::wstring::npos &&
               line.find(L"initialized") == std::wstring::npos;
    });
    std::erase_if(lines, [](const std::wstring& line) {
        return line.find(L"Function name") != std::wstring::npos;
    });
    EXPECT_EQ(lines, (std::vector<std::wstring>{
                         L"WySdk: [WARN] WyUnsubscribeEvent fail, eventId = 3. retCode = "
                         L"0xe0ff0001",
                         L"WySdk: [INFO] WyUninitialize",
                         L"WySdk: [INFO] WySdk is not initialized yet",
                     }));
    // What stayed is tried again the next time.
    mail.Clear();
    EXPECT_EQ(WyUninitialize(), kSuccess);
    EXPECT_EQ(mail.Count(), 1U);
    EXPECT_TRUE(g_EventCallbacks.empty());
}

TEST_F(Session, opening_and_closing_wait_for_no_lock) {
    boost::mutex::scoped_lock held(g_ApiMutex);
    auto session = std::async(std::launch::async, [] {
        const std::uint32_t opened = WyInitialize(L"app");
        return opened == kSuccess ? WyUninitialize() : opened;
    });
    EXPECT_EQ(session.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    held.unlock();
    EXPECT_EQ(session.get(), kSuccess);
}

TEST_F(Session, uninitialize_goes_on_after_an_exception) {
    EXPECT_EQ(WyInitialize(L"app"), kSuccess);
    EXPECT_EQ(EventBus::Subscribe(3, Callback), kSuccess);
    helpers.calls.clear();
    mail.SetHook([] { throw std::runtime_error("x"); });
    EXPECT_EQ(WyUninitialize(), kSuccess);
    EXPECT_EQ(helpers.calls, (Calls{"unregister", "destroy"}));
    EXPECT_TRUE(g_EventCallbacks.contains(3));
}

TEST_F(Session, may_be_opened_and_closed_any_number_of_times) {
    for (int i = 0; i < 5; ++i) {
        helpers.calls.clear();
        EXPECT_EQ(WyInitialize(L"app"), kSuccess);
        EXPECT_EQ(WyUninitialize(), kSuccess);
        EXPECT_EQ(helpers.calls, (Calls{kConstruct, "register app", "unregister", "destroy"}));
    }
}

}  // namespace
