// What an application sees when the service dies: calls, session and events.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <thread>

#include "abi/EventInbox.h"
#include "abi/SdkLibrary.h"
#include "support/ProcessFigures.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ProcessFigures;
using test_support::ServiceHost;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kEvent = 7;
// The RPC runtime: the call failed, and it is not known whether it was executed.
constexpr std::uint32_t kCallFailed = 0xe00106be;

// The monitor of the session holds a handle on the service from the time when it watches it; the
// test itself holds one more. Nothing after half a minute.
std::optional<std::chrono::milliseconds> TimeUntilWatched(const ServiceHost& host) {
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < std::chrono::seconds(30)) {
        if (test_support::CountHandlesOn(host.Process()) > 1)
            return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
        Sleep(10);
    }
    return std::nullopt;
}

// Subscribes anew, publishes, and waits for what was published.
bool EventFlows() {
    EventInbox::Instance().Reset();
    return WY_SUCCEEDED(SDK(WySubscribeEvent)(kEvent, EventInbox::Take)) &&
           WY_SUCCEEDED(SDK(WyPublishEvent)(kEvent)) && EventInbox::Instance().WaitFor(1);
}

TEST(Death, call_that_the_service_does_not_survive_fails_and_later_hosts_are_reached) {
    std::uint32_t id = 0;
    {
        ServiceHost host(L"api:400013001 crash");
        EXPECT_EQ(kCallFailed, SDK(WyGetSysCpuUsage)(&id));
        EXPECT_EQ(86u, host.WaitForEnd(30000));
    }
    for (int i = 0; i < 5; ++i) {
        const ServiceHost host;
        EXPECT_EQ(WY_S_OK, SDK(WyGetSvchostPid)(&id)) << i;
        EXPECT_EQ(host.ProcessId(), id);
    }
}

TEST(Death, service_killed_while_idle_is_found_again) {
    auto host = std::make_unique<ServiceHost>();
    const SdkSession session;
    ASSERT_TRUE(TimeUntilWatched(*host).has_value());
    ASSERT_TRUE(EventFlows());
    host->Kill();
    host.reset();
    EXPECT_EQ(SdkCode::kNobodyListens, SDK(WyPublishEvent)(kEvent));
    host = std::make_unique<ServiceHost>();
    ASSERT_TRUE(TimeUntilWatched(*host).has_value());
    // The library has registered again and has not subscribed again.
    EventInbox::Instance().Reset();
    EXPECT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    EXPECT_FALSE(EventInbox::Instance().WaitFor(1, std::chrono::milliseconds(300)));
    EXPECT_TRUE(EventFlows());
}

TEST(Death, call_in_flight_comes_back_with_a_transport_code) {
    ServiceHost host(L"api:400013001 delay 60000");
    const SdkSession session;
    std::thread killer([&] {
        Sleep(500);
        host.Kill();
    });
    std::uint32_t load = 77;
    const std::uint32_t code = SDK(WyGetSysCpuUsage)(&load);
    killer.join();
    EXPECT_EQ(kCallFailed, code) << std::hex << code << " session " << session.Code();
    EXPECT_EQ(77u, load);
}

TEST(Death, service_killed_during_a_delivery_harms_nobody) {
    auto host = std::make_unique<ServiceHost>();
    const SdkSession session;
    ASSERT_TRUE(TimeUntilWatched(*host).has_value());
    std::atomic<bool> entered{false};
    std::atomic<bool> mayLeave{false};
    EventInbox::Instance().Reset([&](const EventInbox::Event&) {
        entered = true;
        while (!mayLeave)
            Sleep(1);
        return WY_S_OK;
    });
    ASSERT_EQ(WY_S_OK, SDK(WySubscribeEvent)(kEvent, EventInbox::Take));
    ASSERT_EQ(WY_S_OK, SDK(WyPublishEvent)(kEvent));
    while (!entered)
        Sleep(1);
    host->Kill();
    host = std::make_unique<ServiceHost>();
    mayLeave = true;
    EXPECT_TRUE(EventInbox::Instance().WaitFor(1));
    ASSERT_TRUE(TimeUntilWatched(*host).has_value());
    EXPECT_TRUE(EventFlows());
}

// Threads that call all the time, and what came of it.
class Callers {
public:
    Callers() {
        for (int i = 0; i < 4; ++i)
            m_vecThread.emplace_back([this] {
                Call([] {
                    std::uint32_t load = 0;
                    return SDK(WyGetSysCpuUsage)(&load);
                });
            });
        m_vecThread.emplace_back([this] { Call([] { return SDK(WyPublishEvent)(kEvent); }); });
    }
    Callers(const Callers&) = delete;
    Callers& operator=(const Callers&) = delete;
    ~Callers() { Stop(); }

    // Results and how often each one came.
    std::map<std::uint32_t, std::uint64_t> Stop() {
        m_bStop = true;
        for (std::thread& thread : m_vecThread)
            thread.join();
        m_vecThread.clear();
        return m_mapCode;
    }

private:
    template <class Function>
    void Call(Function function) {
        std::map<std::uint32_t, std::uint64_t> codes;
        while (!m_bStop) {
            ++codes[function()];
            Sleep(1);
        }
        const std::lock_guard lock(m_Mutex);
        for (const auto& [code, count] : codes)
            m_mapCode[code] += count;
    }

    std::atomic<bool> m_bStop{false};
    std::mutex m_Mutex;
    std::map<std::uint32_t, std::uint64_t> m_mapCode;
    std::vector<std::thread> m_vecThread;
};

// A service that dies while it answers may also leave an answer that cannot be read.
bool IsTransportCode(std::uint32_t code) {
    return code == WY_S_OK || WY_IS_REMOTE_ERROR(code) || code == WY_E_MALFORMED_REPLY;
}

void PrintFigures(std::vector<std::chrono::milliseconds> repairs,
                  const std::map<std::uint32_t, std::uint64_t>& codes,
                  const ProcessFigures& growth) {
    std::sort(repairs.begin(), repairs.end());
    if (!repairs.empty())
        std::printf("%zu kills; repaired after %d ms (median), %d ms (worst)\n", repairs.size(),
                    static_cast<int>(repairs[repairs.size() / 2].count()),
                    static_cast<int>(repairs.back().count()));
    for (const auto& [code, count] : codes)
        std::printf("  %08x %llu times\n", code, static_cast<unsigned long long>(count));
    std::printf("growth: %s, endpoints %d\n", ToText(growth).c_str(), SdkLibrary::OpenEndpoints());
}

TEST(Death, kills_at_random_moments_under_load_are_survived_and_repaired) {
    const int rounds = std::getenv("WYSDK_TEST_FULL") != nullptr ? 50 : 6;
    std::mt19937 random(20261121);
    std::uniform_int_distribution<DWORD> pause(0, 300);
    std::vector<std::chrono::milliseconds> repairs;

    auto host = std::make_unique<ServiceHost>();
    const SdkSession session;
    ASSERT_EQ(WY_S_OK, session.Code());
    ASSERT_TRUE(TimeUntilWatched(*host).has_value());
    ASSERT_TRUE(EventFlows());
    const ProcessFigures before = ProcessFigures::Now();
    std::map<std::uint32_t, std::uint64_t> codes;
    {
        Callers callers;
        for (int round = 0; round < rounds; ++round) {
            Sleep(pause(random));
            host->Kill();
            Sleep(pause(random));
            host = std::make_unique<ServiceHost>();
            const auto repaired = TimeUntilWatched(*host);
            EXPECT_TRUE(repaired.has_value()) << round;
            if (!repaired.has_value())
                break;
            repairs.push_back(*repaired);
            std::uint32_t load = 0;
            EXPECT_EQ(WY_S_OK, SDK(WyGetSysCpuUsage)(&load)) << round;
            EXPECT_TRUE(EventFlows()) << round;
        }
        codes = callers.Stop();
    }
    for (const auto& [code, count] : codes)
        EXPECT_TRUE(IsTransportCode(code)) << std::hex << code;
    Sleep(2000);
    const ProcessFigures growth = ProcessFigures::Now() - before;
    PrintFigures(repairs, codes, growth);
    EXPECT_LE(growth.threads, 4);
}

}  // namespace
