#pragma once

// One scan with its findings and the repairs of them.

#include <json/value.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "devhost/Remover.h"
#include "devhost/Repair.h"
#include "devhost/ScanFeature.h"
#include "devhost/WorkerJob.h"

namespace DevHost {

// What a caller wants repaired.
struct RepairChoice {
    bool all = false;                   // every problem that was found
    std::vector<std::string> ids;       // of findings
    std::vector<std::string> features;  // every problem that these found
};

// Runs once, from Start() on. Any thread may call.
class ScanSession {
public:
    // Findings of one feature beyond this number are counted and not kept.
    static constexpr std::size_t kFindingLimit = 50'000;
    // Repairs of one session that are remembered; the oldest goes.
    static constexpr std::size_t kRepairLimit = 16;
    // The repair of the interface's first version has no id of its own.
    static constexpr const char* kFirstVersion = "";

    // The features must outlive the session.
    ScanSession(std::string id, std::uint32_t activeSessionId,
                std::vector<const ScanFeature*> features, const Remover& remover);
    ScanSession(const ScanSession&) = delete;
    ScanSession& operator=(const ScanSession&) = delete;

    void Start();
    bool Pause() { return m_Job.Pause(); }
    bool Resume() { return m_Job.Resume(); }
    // Waits for the end of the scan.
    void Cancel();
    WorkerJob::Status GetStatus() const { return m_Job.GetStatus(); }
    // A scan or a repair is at work.
    bool IsActive() const;

    const std::string& Id() const { return m_strId; }

    // State and findings of these features, or of all when the list is empty. Raises RequestError
    // with 0xe0ff0007 for a feature that was not part of the scan.
    Json::Value Result(const std::vector<std::string>& features) const;

    // Notes with the findings of this name that somebody wants them on or off. False when there is
    // none.
    bool NoteStatus(const std::string& feature, const std::string& name, std::uint32_t status);

    // The names of the findings of one feature.
    std::vector<std::string> NamesOf(const std::string& feature) const;

    // Starts a repair under this id. Raises RequestError with 0xe0ff0016 while the scan or another
    // repair of the session runs, with 0xe0ff0007 for a feature that was not part of the scan.
    void StartRepair(const std::string& repairId, const RepairChoice& choice);
    // Raises RequestError with 0xe0ff000e for an unknown id.
    std::shared_ptr<Repair> GetRepair(const std::string& repairId) const;

    // Cancels scan and repairs and waits for them.
    void Stop();

private:
    struct FeatureResult {
        const ScanFeature* feature = nullptr;
        std::vector<Finding> findings;
        std::uint64_t count = 0;
        std::uint64_t problems = 0;
        std::uint64_t size = 0;  // of the problems, bytes
    };
    class PartControl;

    void Run(JobControl& control);
    void AddFinding(FeatureResult& result, Finding finding);
    void MarkRepaired(const std::string& findingId);
    void RequireKnown(const std::vector<std::string>& features) const;
    std::vector<Repair::Item> Choose(const RepairChoice& choice,
                                     std::vector<std::string>& unknown) const;

    const std::string m_strId;
    const std::uint32_t m_uiActiveSessionId;
    const Remover m_Remover;

    mutable std::mutex m_Mutex;
    std::vector<FeatureResult> m_vecResult;  // one per feature, in order
    std::vector<std::pair<std::string, std::shared_ptr<Repair>>> m_vecRepair;  // oldest first

    WorkerJob m_Job;  // last: its thread uses the others
};

}  // namespace DevHost
