// Very many calls and sessions of one loaded library: none fails, and the process holds no more
// afterwards than the library's own contract lets it keep.

#include <atomic>
#include <cstdio>
#include <thread>

#include "abi/SdkLibrary.h"
#include "support/ProcessFigures.h"
#include "support/ServiceHost.h"

namespace {

using test_support::ProcessFigures;
using test_support::ServiceHost;

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 2000;
constexpr int kSessions = 200;
constexpr int kWarmUp = 40;

// Threads and handles of the RPC runtime come and go by a few at any moment.
constexpr std::int64_t kNoiseInHandles = 8;
constexpr std::int64_t kNoiseInThreads = 4;
constexpr std::int64_t kNoiseInBytes = 1024 * 1024;
// What the runtime keeps for an open endpoint.
constexpr std::int64_t kHandlesPerEndpoint = 3;

// One call with an output number, one with an output text.
bool CallTwice() {
    std::uint32_t load = 777;
    if (SDK(WyGetSysCpuUsage)(&load) != WY_S_OK || load > 100)
        return false;
    wchar_t* text = nullptr;
    const std::uint32_t code = SDK(WyGetBatteryUsage)(&text);
    LocalFree(text);
    return code == WY_S_OK;
}

// Failures in `calls` calls of each of the threads.
int CallFromAllThreads(int calls) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&failures, calls] {
            for (int n = 0; n < calls; n += 2)
                failures += CallTwice() ? 0 : 1;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return failures;
}

bool OpenUseAndClose() {
    const SdkSession session;
    return session.Code() == WY_S_OK && CallTwice();
}

// Measures what a stretch of work leaves behind.
class Growth {
public:
    Growth() : m_Before(Settled()), m_iEndpoints(SdkLibrary::OpenEndpoints()) {}

    // Checks that nothing is kept but the endpoints that were opened, and `handles`.
    void ExpectNoMoreThan(std::int64_t handles, const char* work) const {
        const ProcessFigures growth = Settled() - m_Before;
        const int endpoints = SdkLibrary::OpenEndpoints() - m_iEndpoints;
        std::printf("growth in %s: %s, endpoints %d\n", work, ToText(growth).c_str(), endpoints);
        EXPECT_LE(growth.handles, handles + endpoints * kHandlesPerEndpoint + kNoiseInHandles);
        EXPECT_LE(growth.threads, kNoiseInThreads);
        EXPECT_LE(growth.privateBytes, kNoiseInBytes);
    }

private:
    // Idle threads of the RPC runtime go by themselves in a while.
    static ProcessFigures Settled() {
        Sleep(2000);
        return ProcessFigures::Now();
    }

    ProcessFigures m_Before;
    int m_iEndpoints;
};

class Soak : public testing::Test {
protected:
    static void SetUpTestSuite() { s_pHost = new ServiceHost; }
    static void TearDownTestSuite() { delete s_pHost; }

private:
    static inline ServiceHost* s_pHost;
};

TEST_F(Soak, calls_of_eight_threads_within_a_session) {
    const SdkSession session;
    ASSERT_EQ(WY_S_OK, session.Code());
    EXPECT_EQ(0, CallFromAllThreads(kWarmUp));
    const Growth growth;
    EXPECT_EQ(0, CallFromAllThreads(kCallsPerThread));
    growth.ExpectNoMoreThan(0, "8 x 2000 calls within a session");
}

TEST_F(Soak, calls_of_eight_threads_without_a_session) {
    EXPECT_EQ(0, CallFromAllThreads(kWarmUp));
    const Growth growth;
    EXPECT_EQ(0, CallFromAllThreads(kCallsPerThread));
    growth.ExpectNoMoreThan(0, "8 x 2000 calls without a session");
}

// The handle on the service stays open when a session is closed.
TEST_F(Soak, sessions_one_after_the_other) {
    for (int i = 0; i < kWarmUp; ++i)
        EXPECT_TRUE(OpenUseAndClose());
    const Growth growth;
    for (int i = 0; i < kSessions; ++i)
        EXPECT_TRUE(OpenUseAndClose()) << i;
    growth.ExpectNoMoreThan(kSessions, "200 sessions");
}

}  // namespace
