#pragma once

// Counts the blocks of memory that a library has and has not given back.

#include <atomic>
#include <cstdlib>

#include "support/IatPatch.h"

namespace test_support {

// Blocks that the module has asked the C run-time library for while the object lives, on any
// thread. One at a time.
class LibraryBlocks {
public:
    explicit LibraryBlocks(HMODULE module)
        : m_Malloc(module, "msvcrt.dll", "malloc", Malloc),
          m_Calloc(module, "msvcrt.dll", "calloc", Calloc),
          m_Realloc(module, "msvcrt.dll", "realloc", Realloc),
          m_Free(module, "msvcrt.dll", "free", Free) {}

    int Count() const { return s_iBlocks; }

private:
    static void* Counted(void* block) {
        s_iBlocks += block != nullptr ? 1 : 0;
        return block;
    }
    static void* Malloc(std::size_t size) { return Counted(std::malloc(size)); }
    static void* Calloc(std::size_t count, std::size_t size) {
        return Counted(std::calloc(count, size));
    }
    static void* Realloc(void* block, std::size_t size) {
        return block == nullptr ? Malloc(size) : std::realloc(block, size);
    }
    static void Free(void* block) {
        s_iBlocks -= block != nullptr ? 1 : 0;
        std::free(block);
    }

    static inline std::atomic<int> s_iBlocks{0};

    IatPatch m_Malloc;
    IatPatch m_Calloc;
    IatPatch m_Realloc;
    IatPatch m_Free;
};

}  // namespace test_support
