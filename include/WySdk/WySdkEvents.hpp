// WySdkEvents.hpp: events for C++17 applications. Part of <WySdk/WySdk.hpp>.
//
// Two ways to take events, for different numbers of one process as it likes:
//   - wy::subscription calls a function on a thread of the library, under the two rules of WySdk.h
//     for callbacks.
//   - wy::event_queue gathers events, and hands them out on the application's own thread when it
//     calls pump. It also subscribes anew after the service was restarted, which the library itself
//     does not do.
#ifndef WYSDK_WYSDKEVENTS_HPP
#define WYSDK_WYSDKEVENTS_HPP

#include <WySdk/WySdkResult.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace wy {

inline result<void> publish(std::uint32_t event_id) {
    return result<void>(WyPublishEvent(event_id));
}
// `param` is JSON text.
inline result<void> publish(std::uint32_t event_id, const wchar_t* param) {
    return result<void>(WyPublishEventEx(event_id, param));
}

// Takes one event, as WyEventCallback. What it raises becomes a failure code for the service.
using event_handler = std::function<std::uint32_t(std::uint32_t event_id, const wchar_t* event)>;

namespace detail {

// The handlers of this module by event. The callback of WySdk.h has no context of its own.
//
// The library delivers under its lock and asks here; so nothing here may call the library while it
// holds the mutex.
class handler_table {
public:
    using entry = std::shared_ptr<const event_handler>;

    // Lives until the process ends, since a delivery may be on its way when statics die.
    static handler_table& instance() {
        static auto* const table = new handler_table;
        return *table;
    }

    // Puts a handler in the place of an earlier one, which is returned.
    entry replace(std::uint32_t event_id, entry handler) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::swap(m_handlers[event_id], handler);
        return handler;
    }

    // Sets the handler back to `earlier` (null: none) if it is still `handler`.
    bool withdraw(std::uint32_t event_id, const entry& handler, entry earlier) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_handlers.find(event_id);
        if (found == m_handlers.end() || found->second != handler)
            return false;
        if (earlier == nullptr)
            m_handlers.erase(found);
        else
            found->second = std::move(earlier);
        return true;
    }

    static std::uint32_t WYAPI deliver(std::uint32_t event_id, const wchar_t* event) noexcept {
        try {
            const entry handler = instance().find(event_id);
            return handler != nullptr ? (*handler)(event_id, event) : WY_E_NOT_FOUND;
        } catch (const std::bad_alloc&) {
            return WY_E_OUT_OF_MEMORY;
        } catch (...) {
            return WY_E_FAILURE;
        }
    }

private:
    entry find(std::uint32_t event_id) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_handlers.find(event_id);
        return found != m_handlers.end() ? found->second : nullptr;
    }

    std::mutex m_mutex;
    std::map<std::uint32_t, entry> m_handlers;
};

}  // namespace detail

// A subscription, taken back with its owner. When the destructor returns, the handler is not
// running and will not run again, even if the service could not be told. Must not die in a handler,
// and should die before the session.
class subscription {
public:
    subscription() noexcept = default;
    subscription(subscription&& other) noexcept
        : m_event_id(other.m_event_id), m_handler(std::move(other.m_handler)) {}
    subscription& operator=(subscription&& other) noexcept {
        if (this != &other) {
            (void)cancel();
            m_event_id = other.m_event_id;
            m_handler = std::move(other.m_handler);
        }
        return *this;
    }
    subscription(const subscription&) = delete;
    subscription& operator=(const subscription&) = delete;
    ~subscription() { (void)cancel(); }

    // Takes the place of an earlier subscription of this module to the same event, whose object
    // then has nothing left to take back.
    static result<subscription> open(std::uint32_t event_id, event_handler handler) {
        auto entry = std::make_shared<const event_handler>(std::move(handler));
        detail::handler_table& table = detail::handler_table::instance();
        auto earlier = table.replace(event_id, entry);
        const std::uint32_t code = WySubscribeEvent(event_id, detail::handler_table::deliver);
        if (WY_FAILED(code)) {
            table.withdraw(event_id, entry, std::move(earlier));
            return {code, subscription()};
        }
        return {code, subscription(event_id, std::move(entry))};
    }

    // Tells the service again, which a restarted one has to be.
    result<void> renew() const noexcept {
        if (m_handler == nullptr)
            return result<void>(WY_E_NOT_FOUND);
        return result<void>(WySubscribeEvent(m_event_id, detail::handler_table::deliver));
    }

    // Takes it back now and tells what the service answered; WY_S_OK when there is nothing.
    result<void> cancel() noexcept {
        const auto handler = std::exchange(m_handler, nullptr);
        if (handler == nullptr ||
            !detail::handler_table::instance().withdraw(m_event_id, handler, nullptr)) {
            return result<void>(WY_S_OK);
        }
        // Waits for a handler that runs, whatever becomes of the call.
        return result<void>(WyUnsubscribeEvent(m_event_id));
    }

    std::uint32_t event_id() const noexcept { return m_event_id; }
    // False once it was cancelled, moved from, or never opened.
    explicit operator bool() const noexcept { return m_handler != nullptr; }

private:
    subscription(std::uint32_t event_id, detail::handler_table::entry handler) noexcept
        : m_event_id(event_id), m_handler(std::move(handler)) {}

    std::uint32_t m_event_id = 0;
    detail::handler_table::entry m_handler;
};

struct event {
    std::uint32_t id = 0;
    std::wstring json;  // the whole event, with "eventId"
};

// Events for a thread of the application's own.
//
// The queue holds a bounded number of events; when it is full the oldest goes, and is counted.
// `pump` also looks after the subscriptions: it asks for the process of the service
// (WyGetSvchostPid), and when the service was away or is another process it subscribes anew, again
// and again for a few seconds, since the library needs a moment to register this process first.
// Events that were published while the service was away are lost. Without calls of `pump` nothing
// is renewed.
//
// All operations may run on any thread, `pump` on one at a time. Needs a session.
class event_queue {
public:
    using clock = std::chrono::steady_clock;

    struct options {
        std::size_t capacity = 1024;                     // events
        std::chrono::milliseconds watch_interval{500};   // between two looks at the service
        std::chrono::milliseconds renewal_window{5000};  // of repeated subscriptions after a repair
        // A service that was replaced between two looks under the same process id is not noticed;
        // so everything is subscribed anew from time to time in any case.
        std::chrono::milliseconds refresh_interval{10000};
    };

    event_queue() : event_queue(options{}) {}
    explicit event_queue(const options& settings)
        : m_options(settings), m_store(std::make_shared<store>(settings.capacity)) {}
    event_queue(const event_queue&) = delete;
    event_queue& operator=(const event_queue&) = delete;
    // Takes all subscriptions back.
    ~event_queue() = default;

    result<void> subscribe(std::uint32_t event_id) {
        auto opened = subscription::open(
            event_id, [store = m_store](std::uint32_t id, const wchar_t* json) -> std::uint32_t {
                store->push(id, json);
                return WY_S_OK;
            });
        if (opened) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_subscriptions[event_id] = std::make_shared<subscription>(std::move(*opened));
        }
        return result<void>(opened.code());
    }

    result<void> unsubscribe(std::uint32_t event_id) {
        std::shared_ptr<subscription> taken;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            const auto found = m_subscriptions.find(event_id);
            if (found == m_subscriptions.end())
                return result<void>(WY_S_OK);
            taken = std::move(found->second);
            m_subscriptions.erase(found);
        }
        return taken->cancel();
    }

    // Waits until there are events or the time is over, and calls `handler(event)` for each one
    // that is there then, oldest first, on this thread. Returns their number. What the handler
    // raises comes out; the event at hand is gone then, the others stay.
    template <class Handler>
    std::size_t pump(std::chrono::milliseconds timeout, Handler&& handler) {
        const clock::time_point end = clock::now() + timeout;
        do {
            watch();
        } while (!m_store->wait_until(std::min(end, m_next_watch)) && clock::now() < end);
        std::size_t handed = 0;
        // Those that come in the meantime are for the next time, so that a storm of events cannot
        // hold the thread for ever.
        for (std::size_t count = m_store->size(); handed < count; ++handed) {
            event next;
            if (!m_store->pop(next))
                break;
            handler(static_cast<const event&>(next));
        }
        return handed;
    }

    // Events that were lost since the start because the queue was full.
    std::uint64_t dropped() const { return m_store->dropped(); }
    // Repairs of the session after which this queue has subscribed anew.
    std::uint64_t renewals() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_renewals;
    }
    std::size_t size() const { return m_store->size(); }

private:
    // What handlers and queue share; a handler may outlive the queue for the length of a call.
    class store {
    public:
        explicit store(std::size_t capacity) : m_capacity(std::max<std::size_t>(capacity, 1)) {}

        void push(std::uint32_t id, const wchar_t* json) {
            event next{id, json};
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                m_events.push_back(std::move(next));
                if (m_events.size() > m_capacity) {
                    m_events.pop_front();
                    ++m_dropped;
                }
            }
            m_arrived.notify_one();
        }
        bool pop(event& next) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_events.empty())
                return false;
            next = std::move(m_events.front());
            m_events.pop_front();
            return true;
        }
        bool wait_until(clock::time_point end) {
            std::unique_lock<std::mutex> lock(m_mutex);
            return m_arrived.wait_until(lock, end, [this] { return !m_events.empty(); });
        }
        std::size_t size() const {
            const std::lock_guard<std::mutex> lock(m_mutex);
            return m_events.size();
        }
        std::uint64_t dropped() const {
            const std::lock_guard<std::mutex> lock(m_mutex);
            return m_dropped;
        }

    private:
        mutable std::mutex m_mutex;
        std::condition_variable m_arrived;
        std::deque<event> m_events;
        std::size_t m_capacity;
        std::uint64_t m_dropped = 0;
    };

    // Looks at the service when it is time for it.
    void watch() {
        const clock::time_point now = clock::now();
        if (now < m_next_watch)
            return;
        m_next_watch = now + m_options.watch_interval;
        std::uint32_t service = 0;
        if (WY_FAILED(WyGetSvchostPid(&service))) {
            m_away = true;
            return;
        }
        const bool repaired = m_away || (m_service != 0 && service != m_service);
        m_away = false;
        m_service = service;
        if (repaired) {
            m_renew_until = now + m_options.renewal_window;
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_renewals;
        }
        if (now < m_renew_until || now >= m_next_refresh) {
            m_next_refresh = now + m_options.refresh_interval;
            renew_all();
        }
    }

    void renew_all() {
        std::vector<std::shared_ptr<subscription>> all;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            for (const auto& each : m_subscriptions)
                all.push_back(each.second);
        }
        // A refusal is met by the next round.
        for (const auto& each : all)
            (void)each->renew();
    }

    const options m_options;
    const std::shared_ptr<store> m_store;
    mutable std::mutex m_mutex;
    std::map<std::uint32_t, std::shared_ptr<subscription>> m_subscriptions;
    std::uint64_t m_renewals = 0;

    // Of the thread that pumps.
    clock::time_point m_next_watch{};
    clock::time_point m_next_refresh = clock::now() + m_options.refresh_interval;
    clock::time_point m_renew_until{};
    std::uint32_t m_service = 0;
    bool m_away = false;
};

}  // namespace wy

#endif
