#include "devhost/EventHub.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <thread>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "EventHub";
constexpr const wchar_t* kLogModule = L"WySvcHost";

}  // namespace

struct EventHub::Counters {
    std::atomic<std::uint64_t> taken = 0;
    std::atomic<std::uint64_t> refused = 0;
    std::atomic<std::uint64_t> lost = 0;
};

// The events of one client. Its thread owns a share of it, so that a thread that is held by a
// client for ever can be left behind.
class EventHub::Queue {
public:
    Queue(Client client, std::shared_ptr<EventChannel> channel, std::shared_ptr<Counters> counters,
          std::function<void(const std::string&)> gone)
        : m_Client(std::move(client)),
          m_pChannel(std::move(channel)),
          m_pCounters(std::move(counters)),
          m_fnGone(std::move(gone)) {}

    static void Start(const std::shared_ptr<Queue>& queue) {
        queue->m_Thread = std::thread([queue] { queue->Run(); });
    }

    void Push(const std::wstring& json) {
        const std::scoped_lock lock(m_Mutex);
        if (m_bStop) {
            ++m_pCounters->lost;
            return;
        }
        if (m_deqEvent.size() >= kQueueLimit) {
            m_deqEvent.pop_front();
            ++m_pCounters->lost;
        }
        m_deqEvent.push_back(json);
        m_Wake.notify_all();
    }

    void RequestStop() {
        const std::scoped_lock lock(m_Mutex);
        m_bStop = true;
        m_pCounters->lost += m_deqEvent.size();
        m_deqEvent.clear();
        m_Wake.notify_all();
    }

    // Joins the thread if it ends in time; must not be called on that thread.
    bool Join(std::chrono::steady_clock::time_point deadline) {
        {
            std::unique_lock lock(m_Mutex);
            if (!m_Wake.wait_until(lock, deadline, [this] { return m_bEnded; })) {
                m_Thread.detach();
                return false;
            }
        }
        m_Thread.join();
        return true;
    }

    bool HasEnded() const {
        const std::scoped_lock lock(m_Mutex);
        return m_bEnded;
    }

private:
    void Run() {
        std::wstring json;
        while (Next(json)) {
            const EventChannel::Outcome outcome = m_pChannel->Deliver(m_Client, json);
            if (outcome == EventChannel::Outcome::kTaken)
                ++m_pCounters->taken;
            if (outcome == EventChannel::Outcome::kRefused)
                ++m_pCounters->refused;
            if (outcome != EventChannel::Outcome::kGone)
                continue;
            ++m_pCounters->lost;
            WY_LOG_WARN << L"client gone: " << m_Client.name << L", pid " << m_Client.processId;
            RequestStop();
            m_fnGone(m_Client.key);
        }
        const std::scoped_lock lock(m_Mutex);
        m_bEnded = true;
        m_Wake.notify_all();
    }

    bool Next(std::wstring& json) {
        std::unique_lock lock(m_Mutex);
        m_Wake.wait(lock, [this] { return m_bStop || !m_deqEvent.empty(); });
        if (m_bStop)
            return false;
        json = std::move(m_deqEvent.front());
        m_deqEvent.pop_front();
        return true;
    }

    const Client m_Client;
    const std::shared_ptr<EventChannel> m_pChannel;
    const std::shared_ptr<Counters> m_pCounters;
    const std::function<void(const std::string&)> m_fnGone;
    mutable std::mutex m_Mutex;
    std::condition_variable m_Wake;
    std::deque<std::wstring> m_deqEvent;
    std::thread m_Thread;
    bool m_bStop = false;
    bool m_bEnded = false;
};

EventHub::EventHub(std::shared_ptr<EventChannel> channel,
                   std::function<void(const std::string&)> gone)
    : m_pChannel(std::move(channel)),
      m_fnGone(std::move(gone)),
      m_pCounters(std::make_shared<Counters>()) {}

EventHub::~EventHub() {
    Stop(kPatience);
}

bool EventHub::Subscribe(const std::string& clientKey, std::uint32_t eventId) {
    const std::scoped_lock lock(m_Mutex);
    std::set<std::uint32_t>& events = m_mapSubscription[clientKey];
    if (events.size() >= kSubscriptionLimit && !events.contains(eventId))
        return false;
    events.insert(eventId);
    return true;
}

bool EventHub::Unsubscribe(const std::string& clientKey, std::uint32_t eventId) {
    const std::scoped_lock lock(m_Mutex);
    const auto found = m_mapSubscription.find(clientKey);
    return found != m_mapSubscription.end() && found->second.erase(eventId) > 0;
}

std::set<std::string> EventHub::Subscribers(std::uint32_t eventId) const {
    const std::scoped_lock lock(m_Mutex);
    std::set<std::string> keys;
    for (const auto& [key, events] : m_mapSubscription) {
        if (events.contains(eventId))
            keys.insert(key);
    }
    return keys;
}

void EventHub::DeliverEvent(const Client& client, const std::wstring& json) {
    const std::scoped_lock lock(m_Mutex);
    if (m_bStopped) {
        ++m_pCounters->lost;
        return;
    }
    std::erase_if(m_vecRetired, [](const std::shared_ptr<Queue>& queue) {
        return queue->HasEnded() && queue->Join(std::chrono::steady_clock::now());
    });
    std::shared_ptr<Queue>& queue = m_mapQueue[client.key];
    if (queue == nullptr) {
        const auto fresh = std::make_shared<Queue>(client, m_pChannel, m_pCounters, m_fnGone);
        Queue::Start(fresh);
        queue = fresh;
    }
    queue->Push(json);
}

void EventHub::ForgetClient(const std::string& clientKey) {
    const std::scoped_lock lock(m_Mutex);
    m_mapSubscription.erase(clientKey);
    const auto found = m_mapQueue.find(clientKey);
    if (found == m_mapQueue.end())
        return;
    found->second->RequestStop();
    m_vecRetired.push_back(found->second);
    m_mapQueue.erase(found);
}

EventHub::Figures EventHub::GetFigures() const {
    return {m_pCounters->taken, m_pCounters->refused, m_pCounters->lost};
}

bool EventHub::Stop(std::chrono::milliseconds patience) {
    std::vector<std::shared_ptr<Queue>> queues;
    {
        const std::scoped_lock lock(m_Mutex);
        m_bStopped = true;
        queues.swap(m_vecRetired);
        for (auto& [key, queue] : m_mapQueue)
            queues.push_back(queue);
        m_mapQueue.clear();
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    bool complete = true;
    for (const std::shared_ptr<Queue>& queue : queues)
        queue->RequestStop();
    for (const std::shared_ptr<Queue>& queue : queues)
        complete &= queue->Join(deadline);
    return complete;
}

}  // namespace DevHost
