// Starting and stopping the service by the library: a real service, and a watchdog of its own.
//
// The library's pauses are recorded and made short; nothing else of it is changed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <thread>

#include "abi/SdkLibrary.h"
#include "support/IatPatch.h"
#include "support/ProcessFigures.h"
#include "support/WatchedService.h"

namespace {

using test_support::HostServiceEntry;
using test_support::IatPatch;
using test_support::ProcessFigures;
using test_support::WatchdogProcess;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kFileNotFound = 0xe0fe0002;
constexpr std::uint32_t kAccessDenied = 0xe0fe0005;
constexpr std::uint32_t kTimeout = 0xe0fe05b4;
constexpr std::uint32_t kNoSuchService = 0xe0fe0424;

// The pauses of the thread that made this object.
class Pauses {
public:
    Pauses() { s_pCurrent = this; }
    Pauses(const Pauses&) = delete;
    Pauses& operator=(const Pauses&) = delete;
    ~Pauses() { s_pCurrent = nullptr; }

    // What a second of a pause lasts.
    DWORD secondMs = 100;
    // What happens in a pause; they count from 1.
    std::function<void(std::size_t count, DWORD milliseconds)> during;
    std::vector<DWORD> made;

private:
    static void WINAPI Pause(DWORD milliseconds) {
        Pauses* const self = s_pCurrent;
        if (self == nullptr || self->m_uiThread != GetCurrentThreadId()) {
            Sleep(milliseconds);
            return;
        }
        self->made.push_back(milliseconds);
        if (self->during)
            self->during(self->made.size(), milliseconds);
        Sleep(milliseconds * self->secondMs / 1000);
    }

    static inline Pauses* s_pCurrent = nullptr;

    const DWORD m_uiThread = GetCurrentThreadId();
    IatPatch m_Patch{SdkLibrary::Module(), "kernel32.dll", "Sleep", Pause};
};

class ServiceControl : public testing::Test {
protected:
    Pauses m_Pauses;
};

// The states that the library sees, each once.
std::vector<DWORD> g_States;
decltype(&QueryServiceStatus) g_pQuery = nullptr;

BOOL WINAPI RecordState(SC_HANDLE service, SERVICE_STATUS* status) {
    const BOOL done = g_pQuery(service, status);
    if (done != 0 && (g_States.empty() || g_States.back() != status->dwCurrentState))
        g_States.push_back(status->dwCurrentState);
    return done;
}

class SeenStates {
public:
    SeenStates() {
        g_States.clear();
        g_pQuery = m_Patch.Original<decltype(QueryServiceStatus)>();
    }

private:
    IatPatch m_Patch{SdkLibrary::Module(), "advapi32.dll", "QueryServiceStatus", RecordState};
};

TEST_F(ServiceControl, start_returns_when_the_service_runs_and_stop_when_it_is_stopped) {
    const HostServiceEntry service;
    const WatchdogProcess watchdog;
    ASSERT_EQ(WY_S_OK, SDK(WyStartService)());
    const HostServiceEntry::Status running = service.Ask();
    EXPECT_EQ(DWORD{SERVICE_RUNNING}, running.state);
    std::uint32_t process = 0;
    EXPECT_EQ(WY_S_OK, SDK(WyGetSvchostPid)(&process)) << "it listens, too";
    EXPECT_EQ(running.processId, process);
    EXPECT_THAT(m_Pauses.made, Each(1000U));
    EXPECT_TRUE(watchdog.WaitForRecord("start 0"));

    m_Pauses.made.clear();
    ASSERT_EQ(WY_S_OK, SDK(WyStopService)());
    EXPECT_EQ(DWORD{SERVICE_STOPPED}, service.Ask().state);
    ASSERT_FALSE(m_Pauses.made.empty());
    EXPECT_EQ(2000U, m_Pauses.made.back());
    m_Pauses.made.pop_back();
    EXPECT_THAT(m_Pauses.made, Each(1000U));
    EXPECT_TRUE(watchdog.WaitForRecord("stop 0"));
    EXPECT_THAT(watchdog.Record(),
                ElementsAre("up", "asked start", "start 0", "asked stop", "stop 0"));
}

TEST_F(ServiceControl, start_of_a_running_service_returns_at_once) {
    HostServiceEntry service;
    const WatchdogProcess watchdog;
    ASSERT_EQ(0U, service.Start());
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    EXPECT_EQ(WY_S_OK, SDK(WyStartService)());
    EXPECT_THAT(m_Pauses.made, IsEmpty());
    EXPECT_TRUE(watchdog.WaitForRecord("start 1056")) << "it is asked all the same";
}

TEST_F(ServiceControl, stop_of_a_stopped_service_returns_after_the_pause) {
    const HostServiceEntry service;
    const WatchdogProcess watchdog;
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
    EXPECT_THAT(m_Pauses.made, ElementsAre(2000U));
    EXPECT_TRUE(watchdog.WaitForRecord("stop 1062"));
}

TEST_F(ServiceControl, start_waits_through_the_pending_state) {
    const HostServiceEntry service(L"--absence 400");
    const WatchdogProcess watchdog;
    const SeenStates states;
    EXPECT_EQ(WY_S_OK, SDK(WyStartService)());
    EXPECT_THAT(g_States,
                testing::AnyOf(ElementsAre(SERVICE_STOPPED, SERVICE_START_PENDING, SERVICE_RUNNING),
                               ElementsAre(SERVICE_START_PENDING, SERVICE_RUNNING)));
    EXPECT_THAT(m_Pauses.made, testing::Not(IsEmpty()));
}

TEST_F(ServiceControl, stop_waits_through_the_pending_state) {
    HostServiceEntry service;
    const WatchdogProcess watchdog(L"--slow 200");
    ASSERT_EQ(0U, service.Start());
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    const SeenStates states;
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
    ASSERT_FALSE(g_States.empty());
    EXPECT_EQ(DWORD{SERVICE_RUNNING}, g_States.front());
    EXPECT_EQ(DWORD{SERVICE_STOPPED}, g_States.back());
}

TEST_F(ServiceControl, start_finds_a_watchdog_that_comes_three_seconds_late) {
    const HostServiceEntry service;
    std::optional<WatchdogProcess> watchdog;
    m_Pauses.during = [&watchdog](std::size_t count, DWORD) {
        if (count == 3)
            watchdog.emplace();
    };
    EXPECT_EQ(WY_S_OK, SDK(WyStartService)());
    ASSERT_TRUE(watchdog.has_value());
    EXPECT_EQ(DWORD{SERVICE_RUNNING}, service.Ask().state);
    EXPECT_EQ("asked start", watchdog->Record().at(1));
}

TEST_F(ServiceControl, start_gives_up_after_two_minutes_without_a_watchdog) {
    const HostServiceEntry service;
    m_Pauses.secondMs = 0;
    EXPECT_EQ(kFileNotFound, SDK(WyStartService)());
    EXPECT_EQ(std::vector<DWORD>(120, 1000), m_Pauses.made);
    EXPECT_EQ(DWORD{SERVICE_STOPPED}, service.Ask().state);
}

TEST_F(ServiceControl, stop_without_a_watchdog_succeeds_after_the_pause) {
    HostServiceEntry service;
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
    EXPECT_THAT(m_Pauses.made, ElementsAre(2000U));
    const WatchdogProcess watchdog(L"--without-stop");
    ASSERT_EQ(0U, service.Start());
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
    EXPECT_TRUE(service.WaitFor(SERVICE_RUNNING)) << "nobody was asked";
}

TEST_F(ServiceControl, watchdog_that_does_nothing_is_a_timeout_of_both) {
    HostServiceEntry service;
    const WatchdogProcess watchdog(L"--deaf");
    m_Pauses.secondMs = 0;
    EXPECT_EQ(kTimeout, SDK(WyStartService)());
    EXPECT_EQ(std::vector<DWORD>(120, 1000), m_Pauses.made);
    EXPECT_TRUE(watchdog.WaitForRecord("asked start"));
    ASSERT_EQ(0U, service.Start());
    ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
    m_Pauses.made.clear();
    EXPECT_EQ(kTimeout, SDK(WyStopService)());
    std::vector<DWORD> pauses(120, 1000);
    pauses.push_back(2000);
    EXPECT_EQ(pauses, m_Pauses.made);
    EXPECT_TRUE(watchdog.WaitForRecord("asked stop"));
}

TEST_F(ServiceControl, events_that_are_closed_to_us_are_told) {
    const HostServiceEntry service;
    const WatchdogProcess watchdog(L"--closed");
    m_Pauses.secondMs = 0;
    EXPECT_EQ(kAccessDenied, SDK(WyStartService)());
    EXPECT_EQ(120U, m_Pauses.made.size());
    m_Pauses.made.clear();
    EXPECT_EQ(kAccessDenied, SDK(WyStopService)());
    EXPECT_THAT(m_Pauses.made, ElementsAre(2000U));
}

TEST_F(ServiceControl, service_that_is_not_installed_is_told) {
    const WatchdogProcess watchdog;
    EXPECT_EQ(kNoSuchService, SDK(WyStartService)());
    EXPECT_THAT(m_Pauses.made, IsEmpty());
    EXPECT_EQ(kNoSuchService, SDK(WyStopService)());
    EXPECT_THAT(m_Pauses.made, ElementsAre(2000U));
    EXPECT_TRUE(watchdog.WaitForRecord("stop 1060"));
}

TEST_F(ServiceControl, every_outcome_leaves_no_handle) {
    HostServiceEntry service;
    m_Pauses.secondMs = 0;
    const auto rounds = [](int count) {
        for (int i = 0; i < count; ++i) {
            SDK(WyStartService)();
            SDK(WyStopService)();
        }
        return ProcessFigures::Now().handles;
    };
    const auto expectNone = [&](const char* what) {
        const std::int64_t before = rounds(1);
        EXPECT_EQ(before, rounds(3)) << what;
    };
    expectNone("no watchdog");
    {
        const WatchdogProcess watchdog(L"--closed");
        expectNone("closed events");
    }
    {
        const WatchdogProcess watchdog(L"--deaf");
        expectNone("the start times out");
        ASSERT_EQ(0U, service.Start());
        ASSERT_TRUE(service.WaitFor(SERVICE_RUNNING));
        expectNone("the stop times out");
    }
}

// ---- the lock

// What happened, in order.
class Sequence {
public:
    void Note(const std::string& what) {
        const std::scoped_lock lock(m_Mutex);
        m_Steps.push_back(what);
    }
    std::vector<std::string> Steps() const {
        const std::scoped_lock lock(m_Mutex);
        return m_Steps;
    }

private:
    mutable std::mutex m_Mutex;
    std::vector<std::string> m_Steps;
};

// A subscription on a thread of its own. The first thing that it needs is the lock.
class Subscription {
public:
    explicit Subscription(Sequence& sequence) : m_Sequence(sequence) { s_pCurrent = this; }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() {
        Join();
        s_pCurrent = nullptr;
        CloseHandle(m_hNews);
    }

    // Returns when it waits for something, or is through.
    void Begin() {
        m_Thread = std::thread([this] {
            m_uiThread = GetCurrentThreadId();
            m_uiResult = SDK(WySubscribeEvent)(7, nullptr);
            m_Sequence.Note("the subscription returns");
            SetEvent(m_hNews);
        });
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(m_hNews, 30000));
    }
    void Join() {
        if (m_Thread.joinable())
            m_Thread.join();
    }
    std::uint32_t Result() const { return m_uiResult; }

private:
    static DWORD WINAPI Wait(HANDLE handle, DWORD milliseconds, BOOL alertable) {
        Subscription& self = *s_pCurrent;
        if (GetCurrentThreadId() == self.m_uiThread && !self.m_bWaited.exchange(true)) {
            self.m_Sequence.Note("the subscription waits");
            SetEvent(self.m_hNews);
        }
        return WaitForSingleObjectEx(handle, milliseconds, alertable);
    }

    static inline Subscription* s_pCurrent = nullptr;

    Sequence& m_Sequence;
    HANDLE m_hNews = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<DWORD> m_uiThread{0};
    std::atomic<bool> m_bWaited{false};
    std::atomic<std::uint32_t> m_uiResult{0};
    std::thread m_Thread;
    IatPatch m_Patch{SdkLibrary::Module(), "kernel32.dll", "WaitForSingleObjectEx", Wait};
};

TEST_F(ServiceControl, subscription_waits_until_the_pause_of_the_stop_is_over) {
    Sequence sequence;
    Subscription subscription(sequence);
    m_Pauses.secondMs = 0;
    m_Pauses.during = [&](std::size_t, DWORD milliseconds) {
        sequence.Note("the stop pauses " + std::to_string(milliseconds));
        subscription.Begin();
        sequence.Note("the pause is over");
    };
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
    subscription.Join();
    EXPECT_THAT(sequence.Steps(), ElementsAre("the stop pauses 2000", "the subscription waits",
                                              "the pause is over", "the subscription returns"));
    EXPECT_EQ(SdkCode::kNobodyListens, subscription.Result());
}

TEST_F(ServiceControl, subscription_waits_from_the_first_pause_of_the_start_to_the_last) {
    Sequence sequence;
    Subscription subscription(sequence);
    m_Pauses.secondMs = 0;
    m_Pauses.during = [&](std::size_t count, DWORD) {
        if (count == 1)
            subscription.Begin();
        if (count == 120)
            sequence.Note("the last pause");
    };
    EXPECT_EQ(kFileNotFound, SDK(WyStartService)());
    subscription.Join();
    EXPECT_THAT(sequence.Steps(), ElementsAre("the subscription waits", "the last pause",
                                              "the subscription returns"));
}

// ---- memory

// The thread whose next allocation fails. Only one: the first exception of a thread needs memory.
std::atomic<DWORD> g_uiStarved{0};

void* __cdecl FailOnce(std::size_t size) {
    DWORD thread = GetCurrentThreadId();
    return g_uiStarved.compare_exchange_strong(thread, 0) ? nullptr : std::malloc(size);
}

TEST_F(ServiceControl, lack_of_memory_is_told_and_the_stop_pauses_all_the_same) {
    const IatPatch patch(SdkLibrary::Module(), "msvcrt.dll", "malloc", FailOnce);
    m_Pauses.secondMs = 0;
    g_uiStarved = GetCurrentThreadId();
    EXPECT_EQ(WY_E_OUT_OF_MEMORY, SDK(WyStartService)());
    EXPECT_THAT(m_Pauses.made, IsEmpty());
    g_uiStarved = GetCurrentThreadId();
    EXPECT_EQ(WY_E_OUT_OF_MEMORY, SDK(WyStopService)());
    EXPECT_THAT(m_Pauses.made, ElementsAre(2000U));
    EXPECT_EQ(WY_S_OK, SDK(WyStopService)());
}

}  // namespace
