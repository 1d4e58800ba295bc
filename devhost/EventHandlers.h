#pragma once

// Subscriptions and publications as the API sees them.

#include "devhost/ApiRouter.h"
#include "devhost/ClientRegistry.h"
#include "devhost/EventHub.h"

namespace DevHost {

// Must outlive the router that its handlers are entered in, as must what it is made of.
//
// A subscription of a process that has not registered is accepted and has no effect: there is
// nowhere to deliver to.
class EventHandlers {
public:
    EventHandlers(ClientRegistry& clients, EventHub& events)
        : m_Clients(clients), m_Events(events) {}

    void AddTo(ApiRouter& router);

    // Sends an event on its way to all who want it, and tells how many. False when it is too long.
    bool Publish(std::uint32_t eventId, const Json::Value* param, std::uint32_t publisherPid,
                 std::uint32_t& subscribers);

private:
    ApiAnswer Subscribe(const Json::Value& request, const CallContext& caller);
    ApiAnswer Unsubscribe(const Json::Value& request, const CallContext& caller);
    ApiAnswer PublishFor(const Json::Value& request, const CallContext& caller);

    ClientRegistry& m_Clients;
    EventHub& m_Events;
};

// The text of an event: "eventId", "publisherPid", and "param" when the publisher gave one.
std::wstring EventText(std::uint32_t eventId, const Json::Value* param, std::uint32_t publisherPid);

}  // namespace DevHost
