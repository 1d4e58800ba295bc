#pragma once

// Events on their way from the library's thread to the thread of a command.

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace WyCtl {

struct ReceivedEvent {
    std::uint32_t id = 0;
    std::wstring text;  // JSON, the whole event
};

// One for the process, because the library's callback has no context of its own. A feed that
// nobody reads keeps its newest events.
class EventFeed {
public:
    static constexpr std::size_t kCapacity = 10000;

    static EventFeed& Instance();

    void Push(std::uint32_t id, const wchar_t* text);
    // All that is there, oldest first; the feed is empty then.
    std::deque<ReceivedEvent> TakeAll();
    // Events that were pushed out since the last Clear.
    std::uint64_t Dropped() const;
    void Clear();

private:
    mutable std::mutex m_Mutex;
    std::deque<ReceivedEvent> m_Events;
    std::uint64_t m_uiDropped = 0;
};

}  // namespace WyCtl
