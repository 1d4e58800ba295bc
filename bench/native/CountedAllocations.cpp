#include "native/CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> g_Allocations{0};

}  // namespace

std::uint64_t CountedAllocations() {
    return g_Allocations.load(std::memory_order_relaxed);
}

void* operator new(std::size_t size) {
    g_Allocations.fetch_add(1, std::memory_order_relaxed);
    void* block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
