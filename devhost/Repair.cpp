#include "devhost/Repair.h"

#include <algorithm>
#include <utility>

namespace DevHost {

Repair::Repair(std::vector<Item> items, std::vector<std::string> unknown, const Remover& remover,
               std::function<void(const std::string& id)> repaired)
    : m_vecItem(std::move(items)),
      m_vecUnknown(std::move(unknown)),
      m_Remover(remover),
      m_fnRepaired(std::move(repaired)) {}

void Repair::Start() {
    m_Job.Start([this](JobControl& control) { Run(control); });
}

void Repair::Cancel() {
    m_Job.Cancel();
    m_Job.Wait();
}

void Repair::Run(JobControl& control) {
    for (std::size_t i = 0; i < m_vecItem.size() && control.Continue(); ++i) {
        control.SetStep(m_vecItem[i].feature, m_vecItem[i].finding.object);
        const Removal removal = Mend(m_vecItem[i]);
        if (removal.removed)
            m_fnRepaired(m_vecItem[i].finding.id);
        {
            const std::scoped_lock lock(m_Mutex);
            m_vecOutcome.push_back(removal);
        }
        control.SetProgress(static_cast<double>(i + 1) / static_cast<double>(m_vecItem.size()));
    }
}

// The root that removals are confined to is a folder; whatever is no file cannot lie below it.
Removal Repair::Mend(const Item& item) const {
    if (item.finding.isRepaired)
        return {false, "already-repaired", 0};
    if (!item.finding.file.has_value())
        return {false, "not-a-file", 0};
    return m_Remover.Remove(*item.finding.file, item.finding.facts);
}

Json::Value Repair::Report(const std::vector<std::string>& features) const {
    const WorkerJob::Status status = m_Job.GetStatus();
    const auto wanted = [&](const Item& item) {
        return features.empty() ||
               std::find(features.begin(), features.end(), item.feature) != features.end();
    };
    RemovalReport report;
    {
        const std::scoped_lock lock(m_Mutex);
        for (std::size_t i = 0; i < m_vecOutcome.size(); ++i) {
            const Finding& finding = m_vecItem[i].finding;
            if (!wanted(m_vecItem[i]))
                continue;
            if (m_vecOutcome[i].removed) {
                report.Removed(*finding.file, finding.size, finding.id);
            } else {
                report.Skipped(finding.object, m_vecOutcome[i], finding.id);
            }
        }
    }
    for (const std::string& id : m_vecUnknown)
        report.Skipped({}, "unknown-id", id);
    Json::Value value = report.ToJson();
    value["state"] = JobStateName(status.state);
    value["progress"] = status.progress;
    return value;
}

}  // namespace DevHost
