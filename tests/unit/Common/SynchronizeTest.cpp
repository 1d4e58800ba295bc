#include "Common/KrCommon/KrComn_Synchronize.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

namespace {

using KrCommon::Synchronize::CriticalSection;
using KrCommon::Synchronize::SingleLock;

TEST(CriticalSection, keeps_threads_apart) {
    CriticalSection section;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < 5000; ++n) {
                const SingleLock lock(section);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(CriticalSection, one_thread_may_take_it_again) {
    CriticalSection section;
    ASSERT_TRUE(section.IsValid());
    const SingleLock outer(section);
    const SingleLock inner(section);
    SUCCEED();  // reaching this line is the point: a lock that is not recursive would hang
}

// Counts, so that a guard's calls can be seen.
class CountingLock : public KrCommon::Synchronize::Base {
public:
    void Lock() override { ++m_iHeld; }
    void Unlock() override { --m_iHeld; }
    int m_iHeld = 0;
};

TEST(SingleLock, holds_for_its_scope) {
    CountingLock lock;
    {
        const SingleLock guard(lock);
        EXPECT_EQ(lock.m_iHeld, 1);
    }
    EXPECT_EQ(lock.m_iHeld, 0);
}

TEST(SingleLock, release_gives_up_early_and_once) {
    CountingLock lock;
    {
        SingleLock guard(lock);
        guard.Release();
        EXPECT_EQ(lock.m_iHeld, 0);
        guard.Release();
    }
    EXPECT_EQ(lock.m_iHeld, 0);
}

TEST(Sleep, lasts_at_least_its_time) {
    const auto start = std::chrono::steady_clock::now();
    KrCommon::Synchronize::SleepMilliseconds(30);
    const auto passed = std::chrono::steady_clock::now() - start;
    // Windows counts in ticks of about 15 ms, the first of which may be half over.
    EXPECT_GE(passed, std::chrono::milliseconds(14));
}

}  // namespace
