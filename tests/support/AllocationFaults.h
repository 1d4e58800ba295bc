#pragma once

// Counts the allocations of a test program and makes chosen ones fail.
//
// A program that uses it links AllocationFaults, which replaces operator new and delete for the
// whole program. There is no such target under ThreadSanitizer, whose runtime brings its own;
// such programs are built `if(TARGET AllocationFaults)`. Counting and failing concern the calling
// thread alone.

#include <cstddef>

namespace test_support {

// Allocations by operator new that this thread has made so far, failed ones included.
std::size_t AllocationCount();

// What this thread asked for since the object was made.
class AllocationMeter {
public:
    AllocationMeter();
    AllocationMeter(const AllocationMeter&) = delete;
    AllocationMeter& operator=(const AllocationMeter&) = delete;
    ~AllocationMeter();

    std::size_t Count() const;
    std::size_t Bytes() const;
    // The largest single request, granted or not.
    std::size_t Largest() const;

private:
    std::size_t m_uiCountBefore;
    std::size_t m_uiBytesBefore;
    std::size_t m_uiLargestOutside;
};

// While it lives, allocations of this thread fail with std::bad_alloc: after `passed` ones that
// work, either the next one alone or all that follow.
class FailAllocations {
public:
    enum class Mode { kOnce, kFromThenOn };
    explicit FailAllocations(std::size_t passed, Mode mode = Mode::kFromThenOn);
    FailAllocations(const FailAllocations&) = delete;
    FailAllocations& operator=(const FailAllocations&) = delete;
    ~FailAllocations();

    // True when an allocation was made to fail: the scenario reached this point.
    bool Happened() const;
};

}  // namespace test_support
