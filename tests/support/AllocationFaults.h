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
