#include "runtime/ExtendTicks.h"

// NOLINTNEXTLINE(readability-non-const-parameter): the built-in function writes through it
uint64_t wy_extend_ticks(uint64_t* last, uint32_t now) {
    uint64_t known = __atomic_load_n(last, __ATOMIC_ACQUIRE);
    for (;;) {
        const uint32_t step = now - (uint32_t)known;
        // A step of more than half the range is a counter read before `last` was written.
        if (step > UINT32_MAX / 2) {
            return known;
        }
        const uint64_t extended = known + step;
        if (__atomic_compare_exchange_n(last, &known, extended, 0, __ATOMIC_ACQ_REL,
                                        __ATOMIC_ACQUIRE)) {
            return extended;
        }
    }
}
