// Counters that never move would let every growth test pass.

#include "support/ProcessFigures.h"

#include <cstring>

#include "Common/KrCommon/KrComn_Windows.h"

namespace {

using test_support::ProcessFigures;

TEST(ProcessFigures, new_handles_are_counted) {
    constexpr int kEvents = 20;
    const ProcessFigures before = ProcessFigures::Now();
    HANDLE events[kEvents];
    for (HANDLE& event : events)
        event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_EQ(kEvents, (ProcessFigures::Now() - before).handles);
    for (const HANDLE event : events)
        CloseHandle(event);
    EXPECT_EQ(0, (ProcessFigures::Now() - before).handles);
}

DWORD WINAPI DoNothing(void*) {
    return 0;
}

TEST(ProcessFigures, new_thread_is_counted) {
    const ProcessFigures before = ProcessFigures::Now();
    const HANDLE thread = CreateThread(nullptr, 0, DoNothing, nullptr, CREATE_SUSPENDED, nullptr);
    ASSERT_NE(nullptr, thread);
    EXPECT_EQ(1, (ProcessFigures::Now() - before).threads);
    ResumeThread(thread);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
    CloseHandle(thread);
    EXPECT_EQ(0, (ProcessFigures::Now() - before).threads);
}

TEST(ProcessFigures, new_memory_is_counted) {
    constexpr SIZE_T kSize = 8 << 20;
    const ProcessFigures before = ProcessFigures::Now();
    void* const block = VirtualAlloc(nullptr, kSize, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(nullptr, block);
    std::memset(block, 1, kSize);
    EXPECT_GE((ProcessFigures::Now() - before).privateBytes, static_cast<std::int64_t>(kSize));
    VirtualFree(block, 0, MEM_RELEASE);
}

TEST(ProcessFigures, handles_on_one_object_are_told_from_others) {
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE other = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    EXPECT_EQ(1, test_support::CountHandlesOn(event));
    HANDLE second = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), event, GetCurrentProcess(), &second,
                                SYNCHRONIZE, FALSE, 0));
    EXPECT_EQ(2, test_support::CountHandlesOn(event));
    EXPECT_EQ(1, test_support::CountHandlesOn(other));
    CloseHandle(second);
    CloseHandle(other);
    EXPECT_EQ(1, test_support::CountHandlesOn(event));
    CloseHandle(event);
}

}  // namespace
