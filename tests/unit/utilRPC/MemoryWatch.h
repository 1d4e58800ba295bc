#pragma once

// What memory a scope asked for, under the RPC runtime as well as in this program.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "support/IatPatch.h"
#include "support/ProcessFigures.h"

namespace test_support {

// Watches this program's calls of malloc, which the stub allocator comes down to, and the most
// memory that the process ever had, which tells of whatever the runtime cleared for itself.
class MemoryWatch {
public:
    MemoryWatch()
        : m_iPeakBefore(PeakWorkingSetBytes()),
          m_Patch(GetModuleHandleW(nullptr), "msvcrt.dll", "malloc", Malloc) {
        s_uiLargest = 0;
        s_uiRefused = 0;
    }

    // The largest block that was asked for, granted or not.
    std::size_t LargestBlock() const { return s_uiLargest; }
    // How much the process's memory grew above all it ever had before.
    std::int64_t PeakGrowth() const { return PeakWorkingSetBytes() - m_iPeakBefore; }
    // From now on there is no block of exactly this size.
    void Refuse(std::size_t size) { s_uiRefused = size; }

private:
    static void* __cdecl Malloc(std::size_t size) {
        using Function = void*(__cdecl*)(std::size_t);
        static const auto original = reinterpret_cast<Function>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
        for (std::size_t largest = s_uiLargest;
             largest < size && !s_uiLargest.compare_exchange_weak(largest, size);) {
        }
        return size != 0 && size == s_uiRefused ? nullptr : original(size);
    }

    static inline std::atomic<std::size_t> s_uiLargest;
    static inline std::atomic<std::size_t> s_uiRefused;

    std::int64_t m_iPeakBefore;
    IatPatch m_Patch;
};

}  // namespace test_support
