// Servers that come and go while calls come in. Not run under Wine, whose RpcServerUnregisterIf can
// miss the end of a call that ends at the same moment, and then waits for ever.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "RpcServing.h"

using std::chrono::milliseconds;
using test_support::Call;
using test_support::IsFailure;
using test_support::kEcho77;
using test_support::Serving;

namespace {

TEST(RpcServer, server_ended_and_made_while_calls_come_in_never_serves_a_dead_handler) {
    const std::wstring name = L"churn";
    std::atomic<bool> stop = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> callers;
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&] {
            while (!stop) {
                const std::string answer = Call(name);
                // Served, not served any more, or nobody there.
                wrong += answer == kEcho77 || answer.empty() || IsFailure(answer) ? 0 : 1;
            }
        });
    }
    for (int round = 0; round < 10; ++round) {
        const Serving serving(name);
        std::this_thread::sleep_for(milliseconds(5));
    }
    stop = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(wrong, 0);
}

}  // namespace
