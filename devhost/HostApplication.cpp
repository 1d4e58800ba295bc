#include "devhost/HostApplication.h"

#include <utility>

#include "devhost/CloudSamples.h"

namespace DevHost {

HostApplication::HostApplication(HostParts parts)
    : m_pProbe(std::move(parts.probe)),
      m_Sampler(*m_pProbe),
      m_ScanEngine(std::move(parts.features), Remover(parts.allowRemove, parts.root),
                   std::move(parts.makeId)),
      m_ScanHandlers(m_ScanEngine),
      m_FileSearches(parts.root, Remover(parts.allowRemove, parts.root), std::move(parts.digest)),
      m_Monitoring(*m_pProbe, m_Sampler, parts.allowKill, [this] { return m_ScanEngine.IsBusy(); }),
      m_pEvents(std::make_unique<EventHub>(std::move(parts.channel),
                                           [this](const std::string& key) {
                                               m_Clients.Unregister(key, kNoProcess);
                                               m_pEvents->ForgetClient(key);
                                           })),
      m_EventHandlers(m_Clients, *m_pEvents),
      m_Emitter(std::move(parts.emissions),
                [this, pid = parts.ownProcessId](std::uint32_t eventId, std::uint64_t number) {
                    Json::Value param(Json::objectValue);
                    param["number"] = static_cast<Json::UInt64>(number);
                    std::uint32_t subscribers = 0;
                    m_EventHandlers.Publish(eventId, &param, pid, subscribers);
                }),
      m_pServer(std::make_unique<HostServer>(
          m_Router, m_Clients, *m_pEvents, m_Faults,
          HostProcessHooks{std::move(parts.duplicateOwnHandle), std::move(parts.end)})) {
    m_ScanHandlers.AddTo(m_Router);
    m_FileSearches.AddTo(m_Router);
    m_Monitoring.AddTo(m_Router);
    m_Settings.AddTo(m_Router);
    m_EventHandlers.AddTo(m_Router);
    CloudSamples::AddTo(m_Router, m_ScanHandlers.GetStartupNames());
}

HostApplication::~HostApplication() = default;

void HostApplication::Start() {
    m_Sampler.Start();
    m_Emitter.Start();
}

void HostApplication::PrepareStop() {
    m_pServer->CutDelays();
}

bool HostApplication::Stop() {
    m_Emitter.Stop();
    m_Sampler.Stop();
    m_FileSearches.Stop();
    m_ScanEngine.Stop();
    return m_pEvents->Stop(EventHub::kPatience);
}

}  // namespace DevHost
