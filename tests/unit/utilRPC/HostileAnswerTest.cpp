// Answers that no honest server gives, and what the runtime may do at the wrong moment.

#include <cstdio>

#include "MemoryWatch.h"
#include "RawWireCall.h"

#include <rpcndr.h>

namespace {

using namespace test_support;

// Size, count and array do not fit together: the caller gets a failure and no block.
TEST(HostileAnswer, numbers_that_lie_fail_without_a_block) {
    struct Row {
        const char* name;
        Bytes stubData;
    };
    const Row rows[] = {
        {"no data at all", {}},
        {"half a size", {3, 0}},
        {"a size alone", Words({3})},
        {"a pointer without its array", Words({3, kReferent})},
        {"a count without its array", Words({3, kReferent, 3})},
        {"an array cut short", AnswerOf(3, 3, {0xaa, 0xbb})},
        {"a size above the array's block", AnswerOf(300, 3, {0xaa, 0xbb, 0xcc})},
        {"a size far above the array", AnswerOf(0x00100000, 3, {0xaa, 0xbb, 0xcc})},
        {"the largest size", AnswerOf(0x7fffffff, 3, {0xaa, 0xbb, 0xcc})},
        {"a count above the data", AnswerOf(3, 0x00100000, {0xaa, 0xbb, 0xcc})},
        {"size and count above the data", AnswerOf(0x00100000, 0x00100000, {0xaa, 0xbb, 0xcc})},
    };
    for (const Row& row : rows) {
        const Outcome outcome = OutcomeOf(row.stubData);
        EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception) << row.name;
        EXPECT_FALSE(outcome.block) << row.name;
        EXPECT_EQ(0, outcome.size) << row.name;
    }
}

// The numbers are compared with each other and with the bytes, not with what some block holds.
TEST(HostileAnswer, no_size_above_the_array_is_taken) {
    for (std::uint32_t size = 4; size < 200; size += 3) {
        const Outcome outcome = OutcomeOf(AnswerOf(size, 3, {0xaa, 0xbb, 0xcc}));
        EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception) << size;
        EXPECT_FALSE(outcome.block) << size;
    }
}

TEST(HostileAnswer, claims_of_gigabytes_fail_and_allocate_nothing) {
    constexpr std::size_t kLargestBlock = 1 << 20;
    constexpr std::int64_t kGrowth = 64 << 20;
    const MemoryWatch memory;
    for (const std::uint32_t claim : {0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        for (const Bytes& stubData :
             {AnswerOf(claim, claim, {0xaa, 0xbb, 0xcc}), AnswerOf(3, claim, {0xaa, 0xbb, 0xcc}),
              AnswerOf(0, claim, {}), AnswerOf(claim, 3, {0xaa, 0xbb, 0xcc})}) {
            const Outcome outcome = OutcomeOf(stubData);
            EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception)
                << ToHex(stubData);
            EXPECT_FALSE(outcome.block) << ToHex(stubData);
        }
    }
    EXPECT_LT(memory.LargestBlock(), kLargestBlock);
    EXPECT_LT(memory.PeakGrowth(), kGrowth);
}

TEST(HostileAnswer, answer_without_memory_for_it_is_out_of_memory) {
    RawRpcServer server(Responding(AnswerOf(5432, 5432, Bytes(5432, 0xaa))));
    {
        const Binding binding(server.Endpoint());
        MemoryWatch memory;
        memory.Refuse(5432);
        const Outcome outcome = Take(IdlClientHelper::SendRequest(RpcMode::kFirst, binding.Handle(),
                                                                  kFiveBytes, sizeof kFiveBytes));
        EXPECT_EQ(static_cast<std::uint32_t>(RPC_S_OUT_OF_MEMORY), outcome.exception);
        EXPECT_FALSE(outcome.block);
    }
    server.Finish();
}

TEST(HostileAnswer, hostile_and_honest_answers_leave_nothing_behind) {
    constexpr std::uint32_t kSize = 30000;
    constexpr int kCalls = 100;
    const Bytes array(kSize, 0xaa);
    for (const std::uint32_t count : {kSize, kSize + 1}) {
        const Bytes stubData = AnswerOf(kSize, count, array);
        OutcomeOf(stubData);
        const ProcessFigures before = ProcessFigures::Now();
        for (int i = 0; i < kCalls; ++i)
            EXPECT_EQ(count == kSize, OutcomeOf(stubData).block);
        const ProcessFigures growth = ProcessFigures::Now() - before;
        std::printf("growth in %d answers: %s\n", kCalls, ToText(growth).c_str());
        EXPECT_LE(growth.handles, 4);
        EXPECT_LT(growth.privateBytes, static_cast<std::int64_t>(kCalls) * kSize / 4);
    }
}

TEST(HostileAnswer, negative_size_with_an_array_fails_and_gives_no_bytes) {
    const Outcome outcome = OutcomeOf(AnswerOf(0xffffffff, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception);
    EXPECT_TRUE(outcome.bytes.empty());
}

TEST(HostileAnswer, big_endian_integers_are_refused) {
    constexpr std::size_t kIntegerLabel = 4;
    const Exchange exchange = Call(RpcMode::kFirst, [](std::uint32_t callId) {
        Bytes pdu = rpc::MakeResponse(callId, FromHex("00000003 00020000 00000003 aabbcc"));
        pdu[kIntegerLabel] = 0;
        return pdu;
    });
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), exchange.outcome.exception);
}

// ---- the runtime's calls, replaced in this program's import table

template <class Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"rpcrt4.dll"), name)));
}

// The runtime under the tests does not hand up the label of an answer; here it does.
unsigned char* RPC_ENTRY ReceiveBigEndian(PMIDL_STUB_MESSAGE stub, unsigned char* end) {
    Real<decltype(NdrSendReceive)>("NdrSendReceive")(stub, end);
    stub->RpcMsg->DataRepresentation = 0;
    return nullptr;
}

TEST(HostileAnswer, label_of_big_endian_integers_is_refused_whatever_the_numbers) {
    const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "NdrSendReceive",
                         ReceiveBigEndian);
    const Outcome outcome = OutcomeOf(Words({0, 0}));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), outcome.exception);
}

int s_iReleased = 0;

void RPC_ENTRY CountRelease(PMIDL_STUB_MESSAGE stub) {
    ++s_iReleased;
    Real<decltype(NdrFreeBuffer)>("NdrFreeBuffer")(stub);
}

TEST(HostileAnswer, buffer_is_given_back_once_whatever_the_outcome) {
    const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "NdrFreeBuffer", CountRelease);
    const RawRpcServer::Answer answers[] = {
        Responding(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc})),
        Responding(Words({0, 0})),
        Responding(AnswerOf(4, 3, {0xaa, 0xbb, 0xcc})),
        [](std::uint32_t callId) { return rpc::MakeFault(callId, 1234); },
        [](std::uint32_t) { return Bytes(); },
    };
    for (const RawRpcServer::Answer& answer : answers) {
        s_iReleased = 0;
        Call(RpcMode::kFirst, answer);
        EXPECT_EQ(1, s_iReleased) << &answer - answers;
    }
}

void RPC_ENTRY RaiseAfterRelease(PMIDL_STUB_MESSAGE stub) {
    Real<decltype(NdrFreeBuffer)>("NdrFreeBuffer")(stub);
    RpcRaiseException(RPC_S_INVALID_BINDING);
}

TEST(HostileAnswer, exception_while_the_buffer_is_given_back_does_not_change_the_outcome) {
    const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "NdrFreeBuffer",
                         RaiseAfterRelease);
    const Outcome good = OutcomeOf(AnswerOf(3, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_EQ(0u, good.exception);
    EXPECT_EQ("aa bb cc", ToHex(good.bytes));
    const Outcome bad = OutcomeOf(AnswerOf(4, 3, {0xaa, 0xbb, 0xcc}));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_X_BAD_STUB_DATA), bad.exception);
}

unsigned char* RPC_ENTRY NoBuffer(PMIDL_STUB_MESSAGE, unsigned long, RPC_BINDING_HANDLE) {
    RpcRaiseException(RPC_S_OUT_OF_MEMORY);
    return nullptr;
}

TEST(HostileAnswer, request_without_a_buffer_is_the_exception) {
    const IatPatch patch(GetModuleHandleW(nullptr), "rpcrt4.dll", "NdrGetBuffer", NoBuffer);
    const Binding binding(L"1");
    const Outcome outcome = Take(IdlClientHelper::SendRequest(RpcMode::kFirst, binding.Handle(),
                                                              kFiveBytes, sizeof kFiveBytes));
    EXPECT_EQ(static_cast<std::uint32_t>(RPC_S_OUT_OF_MEMORY), outcome.exception);
    EXPECT_FALSE(outcome.block);
}

}  // namespace
