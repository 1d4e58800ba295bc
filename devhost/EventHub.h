#pragma once

// Events: who wants which, and their way to the clients.
//
// Each client with something to receive has a queue and a thread of its own, so that a client
// that is slow in its callback delays nobody else, and so that a client may publish from a thread
// on which it could not take an event at the same time.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "devhost/ClientRegistry.h"

namespace DevHost {

// The road to one client.
class EventChannel {
public:
    enum class Outcome {
        kTaken,    // the client answered with success
        kRefused,  // the client answered with a failure of its own
        kGone      // nobody answers at the endpoint, or it does not know the registration any more
    };

    EventChannel() = default;
    EventChannel(const EventChannel&) = delete;
    EventChannel& operator=(const EventChannel&) = delete;
    virtual ~EventChannel() = default;

    // Blocks until the client has answered. Raises nothing.
    virtual Outcome Deliver(const Client& client, const std::wstring& json) = 0;
};

// Subscriptions and deliveries. All operations may run on any thread.
class EventHub {
public:
    // A queue that is full loses its oldest event.
    static constexpr std::size_t kQueueLimit = 1024;
    // Subscriptions of one client.
    static constexpr std::size_t kSubscriptionLimit = 4096;
    // How long the destructor waits for deliveries that are under way.
    static constexpr std::chrono::milliseconds kPatience{5000};

    // `gone` is told the key of a client that turned out to have gone; it runs on a delivery
    // thread and may call ForgetClient.
    EventHub(std::shared_ptr<EventChannel> channel, std::function<void(const std::string&)> gone);
    EventHub(const EventHub&) = delete;
    EventHub& operator=(const EventHub&) = delete;
    ~EventHub();

    // False when the client has too many subscriptions.
    bool Subscribe(const std::string& clientKey, std::uint32_t eventId);
    // False when there was no such subscription.
    bool Unsubscribe(const std::string& clientKey, std::uint32_t eventId);
    // The keys of the clients that want the event.
    std::set<std::string> Subscribers(std::uint32_t eventId) const;

    // Queues an event for one client.
    void DeliverEvent(const Client& client, const std::wstring& json);

    // Drops what the client subscribed to and what is queued for it.
    void ForgetClient(const std::string& clientKey);

    struct Figures {
        std::uint64_t taken = 0;
        std::uint64_t refused = 0;
        std::uint64_t lost = 0;  // pushed out of a full queue, or the client was gone
    };
    Figures GetFigures() const;

    // Ends all deliveries. False when a client still held a delivery after `patience`: its thread
    // is then left to itself, and the process has to end without it.
    bool Stop(std::chrono::milliseconds patience);

private:
    class Queue;

    std::shared_ptr<EventChannel> m_pChannel;
    std::function<void(const std::string&)> m_fnGone;
    mutable std::mutex m_Mutex;
    std::map<std::string, std::set<std::uint32_t>> m_mapSubscription;  // by client key
    std::map<std::string, std::shared_ptr<Queue>> m_mapQueue;          // by client key
    std::vector<std::shared_ptr<Queue>> m_vecRetired;  // their threads may still run
    bool m_bStopped = false;

    struct Counters;
    std::shared_ptr<Counters> m_pCounters;
};

}  // namespace DevHost
