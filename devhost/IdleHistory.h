#pragma once

// When nobody used the machine.

#include <cstdint>
#include <deque>
#include <optional>

namespace DevHost {

// Remembers stretches of idle time, as far back as they are asked for. Times are Unix times in
// seconds. Not thread-safe.
class IdleHistory {
public:
    // Stretches that ended more than a day ago, and the oldest beyond this number, are forgotten.
    static constexpr std::int64_t kMemorySeconds = 24 * 60 * 60;
    static constexpr std::size_t kLimit = 10'000;
    // A stretch that is over is kept when it was at least this long.
    static constexpr std::int64_t kShortest = 10;

    // Takes a look at the machine: it is `now`, and the last input was `idleSeconds` ago.
    void Look(std::int64_t now, std::int64_t idleSeconds);

    // The start of the latest idle stretch of at least `duration` seconds, counting only what lies
    // in the last `period` seconds; a stretch that reaches further back starts with the period.
    // Nothing when there is none.
    std::optional<std::int64_t> Find(std::int64_t now, std::uint32_t duration,
                                     std::uint32_t period) const;

private:
    struct Stretch {
        std::int64_t from = 0;
        std::int64_t to = 0;
    };
    std::deque<Stretch> m_deqStretch;  // by time; the last one may still grow
};

}  // namespace DevHost
