#include "devhost/EventEmitter.h"

#include <algorithm>
#include <utility>

#include "devhost/NumberText.h"

namespace DevHost {

namespace {

constexpr std::uint32_t kLongestIntervalMs = 24 * 60 * 60 * 1000;

}  // namespace

std::optional<Emission> ParseEmission(std::string_view text) {
    const std::size_t colon = text.find(':');
    Emission emission;
    if (colon == std::string_view::npos || !ParseNumber(text.substr(0, colon), emission.eventId) ||
        !ParseNumber(text.substr(colon + 1), emission.intervalMs) || emission.intervalMs == 0 ||
        emission.intervalMs > kLongestIntervalMs) {
        return std::nullopt;
    }
    return emission;
}

EventEmitter::EventEmitter(std::vector<Emission> emissions, Publish publish)
    : m_vecEmission(std::move(emissions)), m_fnPublish(std::move(publish)) {}

EventEmitter::~EventEmitter() {
    Stop();
}

void EventEmitter::Start() {
    if (!m_vecEmission.empty() && !m_Thread.joinable())
        m_Thread = std::thread([this] { Run(); });
}

void EventEmitter::Stop() {
    {
        const std::scoped_lock lock(m_Mutex);
        m_bStop = true;
        m_Wake.notify_all();
    }
    if (m_Thread.joinable())
        m_Thread.join();
}

void EventEmitter::Run() {
    struct Turn {
        Emission emission;
        Clock::time_point due;
        std::uint64_t number = 0;
    };
    std::vector<Turn> turns;
    const Clock::time_point start = Clock::now();
    for (const Emission& emission : m_vecEmission) {
        turns.push_back({emission, start + std::chrono::milliseconds(emission.intervalMs), 0});
    }
    const auto earlier = [](const Turn& left, const Turn& right) { return left.due < right.due; };
    for (;;) {
        Turn& next = *std::min_element(turns.begin(), turns.end(), earlier);
        {
            std::unique_lock lock(m_Mutex);
            if (m_Wake.wait_until(lock, next.due, [this] { return m_bStop; }))
                return;
        }
        m_fnPublish(next.emission.eventId, next.number++);
        const auto interval = std::chrono::milliseconds(next.emission.intervalMs);
        next.due = std::max(next.due + interval, Clock::now());
    }
}

}  // namespace DevHost
