#include "wyctl/CallThunk.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using WyCtl::CallExport;
using WyCtl::ExportAddress;
using WyCtl::SlotClass;

constexpr SlotClass k8 = SlotClass::UInt8;
constexpr SlotClass k32 = SlotClass::UInt32;
constexpr SlotClass k64 = SlotClass::UInt64;
constexpr SlotClass kPtr = SlotClass::Pointer;

std::uint64_t g_seen[5];

template <class F>
std::uint32_t Call(F* function, std::vector<SlotClass> classes, std::vector<std::uint64_t> slots) {
    return CallExport(reinterpret_cast<ExportAddress>(function), classes, slots);
}

std::uint64_t AddressOf(void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

std::uint32_t WYAPI Nothing() {
    return 0xe0ff0007;
}

TEST(CallThunk, no_argument_returns_the_code) {
    EXPECT_EQ(Call(Nothing, {}, {}), 0xe0ff0007U);
}

std::uint32_t WYAPI Mixed(std::uint32_t a, std::uint64_t b, std::uint32_t c, std::uint64_t d,
                          void* e) {
    g_seen[0] = a;
    g_seen[1] = b;
    g_seen[2] = c;
    g_seen[3] = d;
    g_seen[4] = AddressOf(e);
    return 5;
}

TEST(CallThunk, numbers_of_both_widths_and_pointers_arrive_in_place) {
    int target = 0;
    EXPECT_EQ(
        Call(Mixed, {k32, k64, k32, k64, kPtr},
             {0xffffffffU, 0x1122334455667788ULL, 3, 0xfedcba9876543210ULL, AddressOf(&target)}),
        5U);
    EXPECT_EQ(g_seen[0], 0xffffffffU);
    EXPECT_EQ(g_seen[1], 0x1122334455667788ULL);
    EXPECT_EQ(g_seen[2], 3U);
    EXPECT_EQ(g_seen[3], 0xfedcba9876543210ULL);
    EXPECT_EQ(g_seen[4], AddressOf(&target));
}

std::uint32_t WYAPI FiveWide(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d,
                             std::uint64_t e) {
    return a == 1 && b == 2 && c == 3 && d == 4 && e == 1ULL << 63 ? 1 : 0;
}

// On i686 a wrong clean-up of the stack shows when the call is repeated.
TEST(CallThunk, repeated_calls_keep_the_stack_in_balance) {
    for (int i = 0; i < 100000; ++i) {
        ASSERT_EQ(Call(FiveWide, {k64, k64, k64, k64, k64}, {1, 2, 3, 4, 1ULL << 63}), 1U);
    }
}

std::uint32_t WYAPI Bytes(std::uint8_t day, std::uint8_t hour) {
    return static_cast<std::uint32_t>(day) << 8 | hour;
}

TEST(CallThunk, two_bytes_are_passed_as_bytes) {
    EXPECT_EQ(Call(Bytes, {k8, k8}, {7, 23}), 0x717U);
}

TEST(CallThunk, unsupported_signature_calls_nothing) {
    EXPECT_THROW(Call(Nothing, {k8}, {1}), std::invalid_argument);
    EXPECT_THROW(Call(Nothing, {k32, k32, k32, k32, k32, k32}, {1, 2, 3, 4, 5, 6}),
                 std::invalid_argument);
    EXPECT_THROW(Call(Nothing, {k32}, {}), std::invalid_argument);
}

}  // namespace
