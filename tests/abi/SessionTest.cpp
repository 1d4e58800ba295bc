// Life of the library and of a session, with a service that comes and goes.

#include "abi/SdkLibrary.h"
#include "support/ProcessFigures.h"
#include "support/ServiceHost.h"

#include <cstdlib>
#include <memory>

namespace {

using test_support::ProcessFigures;
using test_support::ServiceHost;

constexpr const wchar_t* kName = L"abi-test";
// The status of a host that a fault script has ended.
constexpr std::uint32_t kEndedByScript = 86;
constexpr std::uint32_t kReconnectLimitMs = 20000;

std::uint32_t AskForLoad() {
    std::uint32_t load = 0;
    return SDK(WyGetSysCpuUsage)(&load);
}

TEST(Session, uninitialize_without_a_session_succeeds) {
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

TEST(Session, null_or_empty_name_is_refused) {
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, SDK(WyInitialize)(nullptr));
    EXPECT_EQ(WY_E_INVALID_ARGUMENT, SDK(WyInitialize)(L""));
}

TEST(Session, is_not_opened_while_nobody_listens_and_can_be_tried_again) {
    EXPECT_EQ(SdkCode::kNobodyListens, SDK(WyInitialize)(kName));
    EXPECT_EQ(SdkCode::kNobodyListens, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    const ServiceHost host;
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

TEST(Session, second_initialize_is_harmless_and_ignores_its_argument) {
    const ServiceHost host;
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(L"another name"));
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(nullptr));
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

TEST(Session, opens_again_after_it_was_closed) {
    const ServiceHost host;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(kName)) << round;
        EXPECT_EQ(WY_S_OK, AskForLoad()) << round;
        EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)()) << round;
    }
}

TEST(Session, is_not_needed_for_a_call) {
    const ServiceHost host;
    EXPECT_EQ(WY_S_OK, AskForLoad());
    {
        const SdkSession session;
        EXPECT_EQ(WY_S_OK, AskForLoad());
    }
    EXPECT_EQ(WY_S_OK, AskForLoad());
}

// A whole sweep goes beyond half a minute, the number that each helper is made with.
TEST(Session, call_waits_for_its_answer_as_long_as_the_service_takes) {
    const unsigned waitMs = std::getenv("WYSDK_TEST_FULL") != nullptr ? 40000 : 2000;
    const ServiceHost host(L"api:400013001 delay " + std::to_wstring(waitMs));
    const ULONGLONG before = GetTickCount64();
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_GE(GetTickCount64() - before, waitMs - 100);
}

TEST(Session, call_reaches_the_next_host_after_a_restart) {
    auto host = std::make_unique<ServiceHost>();
    EXPECT_EQ(WY_S_OK, AskForLoad());
    host->Kill();
    EXPECT_EQ(SdkCode::kNobodyListens, AskForLoad());
    host.reset();
    host = std::make_unique<ServiceHost>();
    EXPECT_EQ(WY_S_OK, AskForLoad());
}

TEST(Session, tells_the_process_id_of_the_service) {
    const ServiceHost host;
    std::uint32_t id = 0;
    EXPECT_EQ(WY_S_OK, SDK(WyGetSvchostPid)(&id));
    EXPECT_EQ(host.ProcessId(), id);
}

TEST(Session, refused_registration_is_the_result_of_initialize) {
    const ServiceHost host(L"cmd:8274 fail 0x1234");
    EXPECT_EQ(0xe0011234u, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

TEST(Session, unknown_client_is_registered_anew_without_a_word) {
    const ServiceHost host(L"cmd:8274 unknown-client; cmd:8273 skip 1 unknown-client");
    const SdkSession session;
    EXPECT_EQ(WY_S_OK, session.Code());
    EXPECT_EQ(WY_S_OK, AskForLoad());
    EXPECT_EQ(WY_S_OK, AskForLoad());
}

TEST(Session, client_that_stays_unknown_is_told) {
    const ServiceHost host(L"cmd:8274 x2 unknown-client");
    EXPECT_EQ(WY_E_UNKNOWN_CLIENT, SDK(WyInitialize)(kName));
}

TEST(Session, failed_uninitialize_gives_its_code_and_closes_all_the_same) {
    const ServiceHost host(L"cmd:8275 fail 0x1234");
    ASSERT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(0xe0011234u, SDK(WyUninitialize)());
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    EXPECT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
}

// The monitor holds a handle on the service from the time when it watches it; the test itself
// holds one more.
bool IsWatched(const ServiceHost& host) {
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (test_support::CountHandlesOn(host.Process()) > 1)
            return true;
        Sleep(100);
    }
    return false;
}

// The monitor registers the process again, for as long as it takes and more than once.
TEST(Session, is_registered_again_at_each_new_service) {
    auto host = std::make_unique<ServiceHost>();
    const SdkSession session;
    ASSERT_EQ(WY_S_OK, session.Code());
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(IsWatched(*host)) << round;
        EXPECT_EQ(WY_S_OK, AskForLoad()) << round;
        host->Kill();
        host.reset();
        EXPECT_EQ(SdkCode::kNobodyListens, AskForLoad()) << round;
        Sleep(1200);  // two attempts find nobody
        host = std::make_unique<ServiceHost>();
    }
    EXPECT_TRUE(IsWatched(*host));
}

TEST(Session, service_that_ends_during_the_new_registration_is_waited_for_as_well) {
    auto host = std::make_unique<ServiceHost>();
    const SdkSession session;
    ASSERT_TRUE(IsWatched(*host));
    host->Kill();
    host = std::make_unique<ServiceHost>(L"cmd:8274 crash");
    EXPECT_EQ(kEndedByScript, host->WaitForEnd(kReconnectLimitMs));
    host = std::make_unique<ServiceHost>();
    EXPECT_TRUE(IsWatched(*host));
}

TEST(Session, closing_ends_the_attempts_to_register_again) {
    auto host = std::make_unique<ServiceHost>();
    ASSERT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    ASSERT_TRUE(IsWatched(*host));
    host->Kill();
    Sleep(1200);
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    host = std::make_unique<ServiceHost>(L"cmd:8274 crash");
    EXPECT_FALSE(host->WaitForEnd(3000).has_value());
}

// Threads of the RPC runtime come and go by themselves; the monitor's must be gone in a while.
TEST(Session, monitor_thread_ends_with_the_session) {
    const ServiceHost host;
    AskForLoad();
    const std::int64_t before = ProcessFigures::Now().threads;
    ASSERT_EQ(WY_S_OK, SDK(WyInitialize)(kName));
    EXPECT_EQ(WY_S_OK, SDK(WyUninitialize)());
    std::int64_t after = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        after = ProcessFigures::Now().threads;
        if (after <= before)
            break;
        Sleep(100);
    }
    EXPECT_LE(after, before);
}

}  // namespace
