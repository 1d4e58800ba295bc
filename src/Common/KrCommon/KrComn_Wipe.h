#pragma once

// Clears memory that held a secret.

#include <cstddef>
#include <cstring>

namespace KrCommon {

// Zeroes the memory, and does so too when nobody reads it any more, where a compiler would leave a
// plain memset out (SecureZeroMemory).
inline void Wipe(void* memory, std::size_t size) noexcept {
    std::memset(memory, 0, size);
    __asm__ __volatile__("" : : "r"(memory) : "memory");
}

// Wipes what `memory` points to when the scope ends.
class WipeAtEnd {
public:
    WipeAtEnd(void* memory, std::size_t size) noexcept : m_pMemory(memory), m_uiSize(size) {}
    WipeAtEnd(const WipeAtEnd&) = delete;
    WipeAtEnd& operator=(const WipeAtEnd&) = delete;
    ~WipeAtEnd() { Wipe(m_pMemory, m_uiSize); }

private:
    void* m_pMemory;
    std::size_t m_uiSize;
};

}  // namespace KrCommon
