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

std::deque<ReceivedEvent> EventFeed::TakeAll() {
    const std::lock_guard lock(m_Mutex);
    return std::exchange(m_Events, {});
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
