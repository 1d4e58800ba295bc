#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Continues a millisecond counter of 32 bits beyond its wrap after 49.7 days.
///
/// `last` holds the answer of the latest call and starts as 0; `now` is the counter. The answer
/// grows from call to call as long as two calls lie less than 24 days apart. Any number of threads
/// may call it for one `last`, and one that comes late with an older counter does not disturb it.
uint64_t wy_extend_ticks(uint64_t* last, uint32_t now);

#ifdef __cplusplus
}
#endif
