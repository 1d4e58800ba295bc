#pragma once

// One repair of findings: it removes the files among them that may be removed, and says of
// everything else why it was left alone.

#include <json/value.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "devhost/Remover.h"
#include "devhost/ScanFeature.h"
#include "devhost/WorkerJob.h"

namespace DevHost {

// Runs once. Any thread may ask.
class Repair {
public:
    // A chosen finding, and the feature it belongs to.
    struct Item {
        std::string feature;
        Finding finding;
    };

    // `unknown` are ids that the caller chose and no finding has. `repaired` is told the id of
    // each finding that is done, on the repair's thread.
    Repair(std::vector<Item> items, std::vector<std::string> unknown, const Remover& remover,
           std::function<void(const std::string& id)> repaired);

    void Start();
    void Cancel();
    WorkerJob::Status GetStatus() const { return m_Job.GetStatus(); }
    bool IsActive() const { return m_Job.IsActive(); }

    // State and report as far as the repair got. Of the given features alone, unless there are
    // none.
    Json::Value Report(const std::vector<std::string>& features) const;

private:
    void Run(JobControl& control);
    Removal Mend(const Item& item) const;

    const std::vector<Item> m_vecItem;
    const std::vector<std::string> m_vecUnknown;
    const Remover m_Remover;
    const std::function<void(const std::string&)> m_fnRepaired;

    mutable std::mutex m_Mutex;
    std::vector<Removal> m_vecOutcome;  // of the first items, in order

    WorkerJob m_Job;  // last: its thread uses the others
};

}  // namespace DevHost
