#pragma once

// Everything that a host is made of, put together.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "devhost/ApiRouter.h"
#include "devhost/EventEmitter.h"
#include "devhost/EventHandlers.h"
#include "devhost/FileSearchHandlers.h"
#include "devhost/HostServer.h"
#include "devhost/MonitoringHandlers.h"
#include "devhost/ScanHandlers.h"
#include "devhost/SettingsStore.h"

namespace DevHost {

// What a host is made with.
struct HostParts {
    SearchRoot root;
    bool allowRemove = false;
    bool allowKill = false;
    std::unique_ptr<SystemProbe> probe;
    std::vector<std::unique_ptr<ScanFeature>> features;
    DigestFunction digest;
    std::function<std::string()> makeId;
    std::vector<Emission> emissions;
    std::uint32_t ownProcessId = 0;  // the publisher of the emissions
    std::shared_ptr<EventChannel> channel;
    std::function<std::uint64_t(std::uint32_t processId)> duplicateOwnHandle;
    std::function<void(FaultPlan::End, std::uint32_t absenceMs)> end;
};

// The host without its endpoint: a request handler with all that stands behind it.
class HostApplication {
public:
    explicit HostApplication(HostParts parts);
    HostApplication(const HostApplication&) = delete;
    HostApplication& operator=(const HostApplication&) = delete;
    ~HostApplication();

    // The script may be filled before the first request comes.
    FaultScript& Faults() { return m_Faults; }
    HostServer& Server() { return *m_pServer; }
    const ApiRouter& Router() const { return m_Router; }
    const ClientRegistry& Clients() const { return m_Clients; }
    EventHub& Events() { return *m_pEvents; }

    void Start();

    // Before the endpoint is given up: lets delayed requests through.
    void PrepareStop();
    // After the endpoint was given up: ends all threads. False when a client holds a delivery, and
    // the process has to end without its thread.
    bool Stop();

private:
    std::unique_ptr<SystemProbe> m_pProbe;
    ClientRegistry m_Clients;
    FaultScript m_Faults;
    ApiRouter m_Router;
    Sampler m_Sampler;
    ScanEngine m_ScanEngine;
    ScanHandlers m_ScanHandlers;
    FileSearchHandlers m_FileSearches;
    MonitoringHandlers m_Monitoring;
    SettingsStore m_Settings;
    std::unique_ptr<EventHub> m_pEvents;
    EventHandlers m_EventHandlers;
    EventEmitter m_Emitter;
    std::unique_ptr<HostServer> m_pServer;
};

}  // namespace DevHost
