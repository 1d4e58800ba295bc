#pragma once

// What this process holds at the moment: handles, threads, private memory.
//
// For tests that repeat something many times and then look for growth. The figures come from the
// system's own tables, since GetProcessHandleCount and PrivateUsage answer 0 under Wine.

#include <cstdint>
#include <string>

namespace test_support {

struct ProcessFigures {
    std::int64_t handles;
    std::int64_t threads;
    std::int64_t privateBytes;

    static ProcessFigures Now();

    ProcessFigures operator-(const ProcessFigures& before) const {
        return {handles - before.handles, threads - before.threads,
                privateBytes - before.privateBytes};
    }
};

// The handles alone, which are quicker to count.
std::int64_t CountHandles();

// The most physical memory that this process ever had; it never sinks.
std::int64_t PeakWorkingSetBytes();

// Handles of this process on the object that `handle` stands for, itself among them.
int CountHandlesOn(void* handle);

// "handles 12, threads 3, private 456 KiB"
std::string ToText(const ProcessFigures& figures);

}  // namespace test_support
