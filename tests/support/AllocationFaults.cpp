#include "support/AllocationFaults.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace test_support {

namespace {

struct State {
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t largest = 0;
    std::size_t left = 0;
    bool armed = false;
    bool once = false;
    bool happened = false;
};

thread_local State t_State;

void* Allocate(std::size_t size) noexcept {
    State& state = t_State;
    ++state.count;
    state.bytes += size;
    state.largest = std::max(state.largest, size);
    if (state.armed) {
        if (state.left == 0) {
            state.happened = true;
            if (state.once)
                state.armed = false;
            return nullptr;
        }
        --state.left;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* AllocateOrThrow(std::size_t size) {
    void* const block = Allocate(size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

}  // namespace

std::size_t AllocationCount() {
    return t_State.count;
}

AllocationMeter::AllocationMeter()
    : m_uiCountBefore(t_State.count),
      m_uiBytesBefore(t_State.bytes),
      m_uiLargestOutside(t_State.largest) {
    t_State.largest = 0;
}

AllocationMeter::~AllocationMeter() {
    t_State.largest = std::max(t_State.largest, m_uiLargestOutside);
}

std::size_t AllocationMeter::Count() const {
    return t_State.count - m_uiCountBefore;
}

std::size_t AllocationMeter::Bytes() const {
    return t_State.bytes - m_uiBytesBefore;
}

std::size_t AllocationMeter::Largest() const {
    return t_State.largest;
}

FailAllocations::FailAllocations(std::size_t passed, Mode mode) {
    t_State.left = passed;
    t_State.once = mode == Mode::kOnce;
    t_State.happened = false;
    t_State.armed = true;
}

FailAllocations::~FailAllocations() {
    t_State.armed = false;
}

bool FailAllocations::Happened() const {
    return t_State.happened;
}

}  // namespace test_support

void* operator new(std::size_t size) {
    return test_support::AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return test_support::AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return test_support::Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return test_support::Allocate(size);
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
