#pragma once

// The scan sessions of the host.

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "devhost/ScanSession.h"

namespace DevHost {

// Any thread may call.
class ScanEngine {
public:
    // Sessions that are remembered; the oldest that is not at work goes for a new one.
    static constexpr std::size_t kSessionLimit = 16;

    // `makeId` gives a text that was never given before.
    ScanEngine(std::vector<std::unique_ptr<ScanFeature>> features, Remover remover,
               std::function<std::string()> makeId);
    ScanEngine(const ScanEngine&) = delete;
    ScanEngine& operator=(const ScanEngine&) = delete;
    ~ScanEngine();

    // Starts a scan of these features, or of all when the list is empty. Raises RequestError with
    // 0xe0ff0007 for an unknown feature and 0xe0ff0016 when too many scans are at work.
    std::shared_ptr<ScanSession> Start(std::uint32_t activeSessionId,
                                       const std::vector<std::string>& features);

    // Raises RequestError with 0xe0ff000e for an unknown session.
    std::shared_ptr<ScanSession> Get(const std::string& sessionId) const;

    std::string MakeId() const { return m_fnMakeId(); }

    // A scan or a repair is at work.
    bool IsBusy() const;

    // Ends all scans and repairs and waits for them.
    void Stop();

private:
    std::vector<std::shared_ptr<ScanSession>> Sessions() const;
    void MakeRoom();

    const std::vector<std::unique_ptr<ScanFeature>> m_vecFeature;
    const Remover m_Remover;
    const std::function<std::string()> m_fnMakeId;
    mutable std::mutex m_Mutex;
    std::vector<std::shared_ptr<ScanSession>> m_vecSession;  // oldest first
};

}  // namespace DevHost
