#include "utilRPC/seh_call.h"

#include <cstdio>
#include <thread>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/ProcessFigures.h"
#include "utilRPC/IdlClientHelper.h"
#include "utilRPC/rpc_mode.h"

#include <rpc.h>

namespace {

using test_support::ProcessFigures;

constexpr unsigned long kUntouched = 77;
constexpr unsigned long kOwnCode = 0xe0001234;

struct Outcome {
    int caught;
    unsigned long code;
    bool operator==(const Outcome&) const = default;
};

Outcome Guard(void (*function)(void*), void* argument = nullptr) {
    Outcome outcome{-1, kUntouched};
    outcome.caught = seh_call(function, argument, &outcome.code);
    return outcome;
}

void Raise(void* code) {
    RaiseException(*static_cast<unsigned long*>(code), 0, 0, nullptr);
}

Outcome GuardRaise(unsigned long code) {
    return Guard(Raise, &code);
}

TEST(SehCall, normal_return_leaves_the_code_alone) {
    int calls = 0;
    EXPECT_EQ((Outcome{0, kUntouched}), Guard([](void* n) { ++*static_cast<int*>(n); }, &calls));
    EXPECT_EQ(1, calls);
}

TEST(SehCall, raised_exception_gives_its_code) {
    EXPECT_EQ((Outcome{1, kOwnCode}), GuardRaise(kOwnCode));
    EXPECT_EQ((Outcome{1, 1}), GuardRaise(1));
}

TEST(SehCall, raised_with_arguments_and_not_continuable_gives_its_code) {
    const Outcome outcome = Guard([](void*) {
        const ULONG_PTR arguments[] = {1, 2, 3};
        RaiseException(kOwnCode, EXCEPTION_NONCONTINUABLE, 3, arguments);
    });
    EXPECT_EQ((Outcome{1, kOwnCode}), outcome);
}

// Where results go that nothing reads, so that the compiler computes them all the same.
volatile int g_iSink = 0;

TEST(SehCall, access_violations_are_caught) {
    const Outcome wanted{1, EXCEPTION_ACCESS_VIOLATION};
    volatile int* nowhere = nullptr;
    EXPECT_EQ(wanted,
              Guard([](void* place) { **static_cast<volatile int**>(place) = 1; }, &nowhere));
    EXPECT_EQ(wanted,
              Guard([](void* place) { g_iSink = **static_cast<volatile int**>(place); }, &nowhere));
}

TEST(SehCall, division_by_zero_is_caught) {
    int zero = 0;
    const Outcome outcome =
        Guard([](void* divisor) { g_iSink = 1000 / *static_cast<volatile int*>(divisor); }, &zero);
    EXPECT_EQ((Outcome{1, static_cast<unsigned long>(EXCEPTION_INT_DIVIDE_BY_ZERO)}), outcome);
}

TEST(SehCall, exception_of_the_rpc_runtime_gives_its_status) {
    const Outcome outcome = Guard([](void*) { RpcRaiseException(RPC_S_CALL_FAILED); });
    EXPECT_EQ((Outcome{1, RPC_S_CALL_FAILED}), outcome);
}

TEST(SehCall, inner_call_keeps_its_exception_from_the_outer) {
    Outcome inner{};
    const Outcome outer =
        Guard([](void* result) { *static_cast<Outcome*>(result) = GuardRaise(kOwnCode); }, &inner);
    EXPECT_EQ((Outcome{1, kOwnCode}), inner);
    EXPECT_EQ((Outcome{0, kUntouched}), outer);
}

TEST(SehCall, outer_call_catches_what_comes_after_the_inner) {
    Outcome inner{};
    const Outcome outer = Guard(
        [](void* result) {
            *static_cast<Outcome*>(result) = GuardRaise(1);
            RaiseException(2, 0, 0, nullptr);
        },
        &inner);
    EXPECT_EQ((Outcome{1, 1}), inner);
    EXPECT_EQ((Outcome{1, 2}), outer);
}

// Each level fails after the level below it has failed.
void Descend(void* level) {
    unsigned long depth = *static_cast<unsigned long*>(level);
    if (depth == 0)
        return;
    unsigned long next = depth - 1;
    const Outcome below = Guard(Descend, &next);
    const Outcome wanted = next == 0 ? Outcome{0, kUntouched} : Outcome{1, next};
    RaiseException(below == wanted ? depth : kOwnCode, 0, 0, nullptr);
}

TEST(SehCall, nests_a_hundred_deep) {
    unsigned long depth = 100;
    EXPECT_EQ((Outcome{1, 100}), Guard(Descend, &depth));
}

void RecurseAndRaise(int depth) {
    if (depth == 0) {
        RaiseException(kOwnCode, 0, 0, nullptr);
        return;
    }
    RecurseAndRaise(depth - 1);
    g_iSink = depth;  // no tail call
}

TEST(SehCall, exception_leaves_deep_recursion_at_once) {
    EXPECT_EQ((Outcome{1, kOwnCode}), Guard([](void*) { RecurseAndRaise(1000); }));
}

// Keeps more numbers alive across the exception than there are registers that survive a call.
void RaiseWithBusyRegisters(void* numbers) {
    auto* number = static_cast<volatile unsigned long*>(numbers);
    const unsigned long a = number[0], b = number[1], c = number[2], d = number[3];
    const unsigned long e = number[4], f = number[5], g = number[6], h = number[7];
    RaiseException(kOwnCode, 0, 0, nullptr);
    number[0] = a ^ b ^ c ^ d ^ e ^ f ^ g ^ h;  // not reached
}

TEST(SehCall, registers_of_the_caller_survive) {
    volatile unsigned long numbers[8] = {1, 2, 4, 8, 16, 32, 64, 128};
    const unsigned long a = numbers[0], b = numbers[1], c = numbers[2], d = numbers[3];
    const unsigned long e = numbers[4], f = numbers[5], g = numbers[6], h = numbers[7];
    unsigned long other[8] = {~a, ~b, ~c, ~d, ~e, ~f, ~g, ~h};
    EXPECT_EQ(1, Guard(RaiseWithBusyRegisters, other).caught);
    EXPECT_EQ(255u, a + b + c + d + e + f + g + h);
}

TEST(SehCall, threads_catch_their_own_exceptions) {
    constexpr int kThreads = 8;
    constexpr unsigned long kCalls = 200;
    int wrong[kThreads] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&wrong, i] {
            for (unsigned long n = 1; n <= kCalls; ++n) {
                const unsigned long code = n * kThreads + static_cast<unsigned long>(i);
                wrong[i] += GuardRaise(code) != Outcome{1, code};
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const int count : wrong)
        EXPECT_EQ(0, count);
}

// A binding to an endpoint that nobody serves.
class DeadBinding {
public:
    DeadBinding() {
        wchar_t text[] = L"ncalrpc:[seh-call-test-nobody]";
        EXPECT_EQ(RPC_S_OK,
                  RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(text), &m_hBinding));
    }
    DeadBinding(const DeadBinding&) = delete;
    DeadBinding& operator=(const DeadBinding&) = delete;
    ~DeadBinding() { RpcBindingFree(&m_hBinding); }

    std::uint32_t Call() const {
        const std::uint8_t request[] = {1, 2, 3, 4};
        return IdlClientHelper::SendRequest(RpcMode::kFirst, m_hBinding, request, sizeof request)
            .uiException;
    }

private:
    RPC_BINDING_HANDLE m_hBinding = nullptr;
};

// The frames of the RPC runtime are unwound, not jumped over: what they hold is given back.
TEST(SehCall, three_thousand_failing_calls_leave_nothing_behind) {
    constexpr int kWarmUp = 200;
    constexpr int kCalls = 3000;
    const DeadBinding binding;
    for (int i = 0; i < kWarmUp; ++i)
        ASSERT_EQ(static_cast<std::uint32_t>(RPC_S_SERVER_UNAVAILABLE), binding.Call());
    const ProcessFigures before = ProcessFigures::Now();
    for (int i = 0; i < kCalls; ++i)
        ASSERT_EQ(static_cast<std::uint32_t>(RPC_S_SERVER_UNAVAILABLE), binding.Call());
    const ProcessFigures growth = ProcessFigures::Now() - before;
    std::printf("growth in %d failing calls: %s\n", kCalls, ToText(growth).c_str());
    EXPECT_LE(growth.handles, 2);
    EXPECT_LE(growth.threads, 0);
    EXPECT_LE(growth.privateBytes, 256 * 1024);
}

TEST(SehCall, three_thousand_raised_exceptions_leave_nothing_behind) {
    constexpr unsigned long kCalls = 3000;
    const ProcessFigures before = ProcessFigures::Now();
    for (unsigned long n = 1; n <= kCalls; ++n)
        ASSERT_EQ((Outcome{1, n}), GuardRaise(n));
    const ProcessFigures growth = ProcessFigures::Now() - before;
    std::printf("growth in %lu exceptions: %s\n", kCalls, ToText(growth).c_str());
    EXPECT_LE(growth.handles, 2);
    EXPECT_LE(growth.threads, 0);
    EXPECT_LE(growth.privateBytes, 256 * 1024);
}

}  // namespace
