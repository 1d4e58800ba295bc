#pragma once

// Counts the blocks of memory that a library has and has not given back, and refuses it more.

#include <atomic>
#include <cstdlib>

#include "support/IatPatch.h"

namespace test_support {

// What a library asks malloc for on this thread while the object lives, operator new and thrown
// exceptions among it: behind `passed` requests that are met, `failing` ones fail. Concerns the
// library that LibraryBlocks counts; one at a time in a thread.
class LibraryFaults {
public:
    static constexpr std::size_t kAll = static_cast<std::size_t>(-1);

    // Counts only.
    LibraryFaults() : LibraryFaults(0, 0) {}
    LibraryFaults(std::size_t passed, std::size_t failing)
        : m_uiPassed(passed), m_uiFailing(failing) {
        t_pCurrent = this;
    }
    LibraryFaults(const LibraryFaults&) = delete;
    LibraryFaults& operator=(const LibraryFaults&) = delete;
    ~LibraryFaults() { t_pCurrent = nullptr; }

    std::size_t Count() const { return m_uiCount; }

private:
    friend class LibraryBlocks;

    static bool FailsNext() {
        if (t_pCurrent == nullptr)
            return false;
        const std::size_t position = t_pCurrent->m_uiCount++;
        return position >= t_pCurrent->m_uiPassed &&
               position - t_pCurrent->m_uiPassed < t_pCurrent->m_uiFailing;
    }

    static inline thread_local LibraryFaults* t_pCurrent = nullptr;

    const std::size_t m_uiPassed;
    const std::size_t m_uiFailing;
    std::size_t m_uiCount = 0;
};

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
    static void* Malloc(std::size_t size) {
        return LibraryFaults::FailsNext() ? nullptr : Counted(std::malloc(size));
    }
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
