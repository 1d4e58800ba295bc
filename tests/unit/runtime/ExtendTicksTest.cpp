#include "runtime/ExtendTicks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(ExtendTicks, first_call_answers_the_counter) {
    uint64_t last = 0;
    EXPECT_EQ(wy_extend_ticks(&last, 1234), 1234u);
    EXPECT_EQ(last, 1234u);
}

TEST(ExtendTicks, wrap_carries_into_the_upper_half) {
    uint64_t last = 0xfffffff0u;
    EXPECT_EQ(wy_extend_ticks(&last, 0x10), 0x1'0000'0010u);
    EXPECT_EQ(wy_extend_ticks(&last, 0x10), 0x1'0000'0010u);
    EXPECT_EQ(wy_extend_ticks(&last, 0x7fffffff), 0x1'7fff'ffffu);
    EXPECT_EQ(wy_extend_ticks(&last, 0xfffffffe), 0x1'ffff'fffeu);
    EXPECT_EQ(wy_extend_ticks(&last, 1), 0x2'0000'0001u);
}

TEST(ExtendTicks, late_reader_with_an_older_counter_is_not_a_wrap) {
    uint64_t last = 0x1'0000'0005u;
    EXPECT_EQ(wy_extend_ticks(&last, 3), 0x1'0000'0005u);
    EXPECT_EQ(wy_extend_ticks(&last, 0xffffffff), 0x1'0000'0005u);
    EXPECT_EQ(last, 0x1'0000'0005u);
}

TEST(ExtendTicks, many_threads_agree_on_one_growing_count) {
    constexpr uint32_t start = 0xffff'8000u;
    constexpr uint32_t steps = 20000;
    uint64_t last = start;
    std::atomic<uint32_t> counter{start};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&last, &counter] {
            uint64_t before = 0;
            for (uint32_t step = 0; step < steps; ++step) {
                const uint64_t now = wy_extend_ticks(&last, ++counter);
                ASSERT_GE(now, before);
                before = now;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(last, uint64_t{start} + 4 * steps);
}
