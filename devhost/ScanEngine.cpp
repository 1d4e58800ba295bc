#include "devhost/ScanEngine.h"

#include <algorithm>
#include <utility>

#include "devhost/ApiTypes.h"

namespace DevHost {

ScanEngine::ScanEngine(std::vector<std::unique_ptr<ScanFeature>> features, Remover remover,
                       std::function<std::string()> makeId)
    : m_vecFeature(std::move(features)),
      m_Remover(std::move(remover)),
      m_fnMakeId(std::move(makeId)) {}

ScanEngine::~ScanEngine() {
    Stop();
}

std::shared_ptr<ScanSession> ScanEngine::Start(std::uint32_t activeSessionId,
                                               const std::vector<std::string>& features) {
    std::vector<const ScanFeature*> chosen;
    for (const auto& feature : m_vecFeature) {
        const bool named =
            std::find(features.begin(), features.end(), feature->Name()) != features.end();
        if (features.empty() || named)
            chosen.push_back(feature.get());
    }
    for (const std::string& name : features) {
        const bool known =
            std::any_of(chosen.begin(), chosen.end(),
                        [&](const ScanFeature* feature) { return name == feature->Name(); });
        if (!known) {
            throw RequestError(KrCommon::Result::kInvalidArgument,
                               "\"" + name + "\" is no feature of the scan");
        }
    }
    auto session = std::make_shared<ScanSession>(m_fnMakeId(), activeSessionId, chosen, m_Remover);
    const std::scoped_lock lock(m_Mutex);
    MakeRoom();
    session->Start();
    m_vecSession.push_back(session);
    return session;
}

void ScanEngine::MakeRoom() {
    if (m_vecSession.size() < kSessionLimit)
        return;
    const auto oldest = std::find_if(m_vecSession.begin(), m_vecSession.end(),
                                     [](const auto& session) { return !session->IsActive(); });
    if (oldest == m_vecSession.end()) {
        throw RequestError(KrCommon::Result::kRecordInUse, "too many scans are running");
    }
    m_vecSession.erase(oldest);
}

std::shared_ptr<ScanSession> ScanEngine::Get(const std::string& sessionId) const {
    const std::scoped_lock lock(m_Mutex);
    for (const auto& session : m_vecSession) {
        if (session->Id() == sessionId)
            return session;
    }
    throw RequestError(KrCommon::Result::kNotFound, "no such scan session");
}

std::vector<std::shared_ptr<ScanSession>> ScanEngine::Sessions() const {
    const std::scoped_lock lock(m_Mutex);
    return m_vecSession;
}

bool ScanEngine::IsBusy() const {
    const auto sessions = Sessions();
    return std::any_of(sessions.begin(), sessions.end(),
                       [](const auto& session) { return session->IsActive(); });
}

void ScanEngine::Stop() {
    for (const auto& session : Sessions())
        session->Stop();
}

}  // namespace DevHost
