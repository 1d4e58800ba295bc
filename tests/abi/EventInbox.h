#pragma once

// Where the events of a test arrive.

#include <WySdk/WySdk.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

// One for the process, because a callback has no context of its own. `Take` is the callback.
class EventInbox {
public:
    struct Event {
        std::uint32_t id;
        std::wstring text;
    };

    static EventInbox& Instance() {
        static auto* const s_pInbox = new EventInbox;  // a late delivery must find it
        return *s_pInbox;
    }

    // Empties it, and takes what `onEvent` returns as the result of the callback from now on. It
    // runs on the thread of the delivery.
    void Reset(std::function<std::uint32_t(const Event&)> onEvent = {}) {
        const std::lock_guard lock(m_Mutex);
        m_vecEvent.clear();
        m_fnOnEvent = std::move(onEvent);
    }

    static std::uint32_t WYAPI Take(std::uint32_t id, const wchar_t* text) {
        return Instance().Put({id, text});
    }

    // Waits until so many events have come. False when they do not come in half a minute.
    bool WaitFor(std::size_t count) {
        std::unique_lock lock(m_Mutex);
        return m_Arrived.wait_for(lock, std::chrono::seconds(30),
                                  [&] { return m_vecEvent.size() >= count; });
    }
    // The same with a time of the caller's own.
    bool WaitFor(std::size_t count, std::chrono::milliseconds time) {
        std::unique_lock lock(m_Mutex);
        return m_Arrived.wait_for(lock, time, [&] { return m_vecEvent.size() >= count; });
    }

    std::vector<Event> Events() {
        const std::lock_guard lock(m_Mutex);
        return m_vecEvent;
    }

private:
    std::uint32_t Put(Event event) {
        std::function<std::uint32_t(const Event&)> onEvent;
        {
            const std::lock_guard lock(m_Mutex);
            onEvent = m_fnOnEvent;
        }
        const std::uint32_t result = onEvent != nullptr ? onEvent(event) : WY_S_OK;
        const std::lock_guard lock(m_Mutex);
        m_vecEvent.push_back(std::move(event));
        m_Arrived.notify_all();
        return result;
    }

    std::mutex m_Mutex;
    std::condition_variable m_Arrived;
    std::vector<Event> m_vecEvent;
    std::function<std::uint32_t(const Event&)> m_fnOnEvent;
};
