#include "devhost/IdleHistory.h"

#include <algorithm>

namespace DevHost {

namespace {

// Two looks at one stretch may place its start a second apart.
constexpr std::int64_t kTolerance = 1;

}  // namespace

void IdleHistory::Look(std::int64_t now, std::int64_t idleSeconds) {
    const std::int64_t from = now - std::max<std::int64_t>(idleSeconds, 0);
    if (!m_deqStretch.empty() && from < m_deqStretch.back().from - kTolerance) {
        m_deqStretch.clear();  // the clock was set back
    }
    if (!m_deqStretch.empty() && from <= m_deqStretch.back().from + kTolerance) {
        m_deqStretch.back().to = now;
    } else {
        if (!m_deqStretch.empty()) {
            Stretch& last = m_deqStretch.back();
            last.to = from;
            if (last.to - last.from < kShortest)
                m_deqStretch.pop_back();
        }
        m_deqStretch.push_back({from, now});
    }
    while (m_deqStretch.size() > kLimit || m_deqStretch.front().to < now - kMemorySeconds) {
        m_deqStretch.pop_front();
    }
}

std::optional<std::int64_t> IdleHistory::Find(std::int64_t now, std::uint32_t duration,
                                              std::uint32_t period) const {
    const std::int64_t earliest = now - static_cast<std::int64_t>(period);
    for (auto stretch = m_deqStretch.rbegin(); stretch != m_deqStretch.rend(); ++stretch) {
        const std::int64_t from = std::max(stretch->from, earliest);
        if (stretch->to - from >= static_cast<std::int64_t>(duration))
            return from;
    }
    return std::nullopt;
}

}  // namespace DevHost
