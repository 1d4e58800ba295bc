#include "wyctl/EventFeed.h"

#include <utility>

namespace WyCtl {

EventFeed& EventFeed::Instance() {
    // Never destroyed: a delivery may come in while the process ends.
    static auto* const s_pFeed = new EventFeed;
    return *s_pFeed;
}

void EventFeed::Push(std::uint32_t id, const wchar_t* text) {
    ReceivedEvent event{id, text};
    const std::lock_guard lock(m_Mutex);
    m_Events.push_back(std::move(event));
    if (m_Events.size() > kCapacity) {
        m_Events.pop_front();
        ++m_uiDropped;
    }
}

std::optional<ReceivedEvent> EventFeed::Pop() {
    const std::lock_guard lock(m_Mutex);
    if (m_Events.empty()) {
        return std::nullopt;
    }
    ReceivedEvent event = std::move(m_Events.front());
    m_Events.pop_front();
    return event;
}

std::uint64_t EventFeed::Dropped() const {
    const std::lock_guard lock(m_Mutex);
    return m_uiDropped;
}

void EventFeed::Clear() {
    const std::lock_guard lock(m_Mutex);
    m_Events.clear();
    m_uiDropped = 0;
}

}  // namespace WyCtl
