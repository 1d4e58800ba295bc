#include "devhost/ScanSession.h"

#include <algorithm>
#include <set>
#include <utility>

#include "devhost/ApiTypes.h"

namespace DevHost {

namespace {

Json::UInt64 Number(std::uint64_t value) {
    return static_cast<Json::UInt64>(value);
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

Json::Value OfFinding(const Finding& finding) {
    Json::Value value(Json::objectValue);
    value["id"] = finding.id;
    value["kind"] = finding.kind;
    value["object"] = finding.object;
    value["name"] = finding.name;
    value["size"] = Number(finding.size);
    value["problem"] = finding.isProblem;
    value["repaired"] = finding.isRepaired;
    value["detail"] = finding.detail;
    return value;
}

}  // namespace

// The control that a feature sees: its progress is a part of the scan's, its name the step.
class ScanSession::PartControl : public JobControl {
public:
    PartControl(JobControl& scan, const char* name, std::size_t number, std::size_t count)
        : m_Scan(scan), m_szName(name), m_Number(number), m_Count(count) {}

    bool Continue() override { return m_Scan.Continue(); }
    void SetProgress(double fraction) override {
        m_Scan.SetProgress((static_cast<double>(m_Number) + std::clamp(fraction, 0.0, 1.0)) /
                           static_cast<double>(m_Count));
    }
    void SetStep(const std::string&, const std::string& object) override {
        m_Scan.SetStep(m_szName, object);
    }

private:
    JobControl& m_Scan;
    const char* m_szName;
    std::size_t m_Number;
    std::size_t m_Count;
};

ScanSession::ScanSession(std::string id, std::uint32_t activeSessionId,
                         std::vector<const ScanFeature*> features, const Remover& remover)
    : m_strId(std::move(id)), m_uiActiveSessionId(activeSessionId), m_Remover(remover) {
    m_vecResult.resize(features.size());
    for (std::size_t i = 0; i < features.size(); ++i)
        m_vecResult[i].feature = features[i];
}

void ScanSession::Start() {
    m_Job.Start([this](JobControl& control) { Run(control); });
}

void ScanSession::Cancel() {
    m_Job.Cancel();
    m_Job.Wait();
}

void ScanSession::Run(JobControl& control) {
    for (std::size_t i = 0; i < m_vecResult.size() && control.Continue(); ++i) {
        FeatureResult& result = m_vecResult[i];
        PartControl part(control, result.feature->Name(), i, m_vecResult.size());
        part.SetStep({}, {});
        result.feature->Run([&](Finding finding) { AddFinding(result, std::move(finding)); }, part);
        part.SetProgress(1);
    }
}

void ScanSession::AddFinding(FeatureResult& result, Finding finding) {
    const std::scoped_lock lock(m_Mutex);
    ++result.count;
    finding.id = std::string(result.feature->Name()) + "-" + std::to_string(result.count);
    if (finding.isProblem) {
        ++result.problems;
        result.size += finding.size;
    }
    if (result.findings.size() < kFindingLimit)
        result.findings.push_back(std::move(finding));
}

bool ScanSession::IsActive() const {
    if (m_Job.IsActive())
        return true;
    const std::scoped_lock lock(m_Mutex);
    return std::any_of(m_vecRepair.begin(), m_vecRepair.end(),
                       [](const auto& entry) { return entry.second->IsActive(); });
}

void ScanSession::RequireKnown(const std::vector<std::string>& features) const {
    for (const std::string& name : features) {
        const bool known = std::any_of(
            m_vecResult.begin(), m_vecResult.end(),
            [&](const FeatureResult& result) { return name == result.feature->Name(); });
        if (!known) {
            throw RequestError(KrCommon::Result::kInvalidArgument,
                               "\"" + name + "\" was not part of this scan");
        }
    }
}

Json::Value ScanSession::Result(const std::vector<std::string>& features) const {
    const WorkerJob::Status status = m_Job.GetStatus();
    const std::scoped_lock lock(m_Mutex);
    RequireKnown(features);
    Json::Value items(Json::arrayValue);
    for (const FeatureResult& result : m_vecResult) {
        if (!features.empty() && !Contains(features, result.feature->Name()))
            continue;
        Json::Value findings(Json::arrayValue);
        for (const Finding& finding : result.findings)
            findings.append(OfFinding(finding));
        Json::Value item(Json::objectValue);
        item["feature"] = result.feature->Name();
        item["count"] = Number(result.count);
        item["problems"] = Number(result.problems);
        item["size"] = Number(result.size);
        item["findings"] = std::move(findings);
        items.append(std::move(item));
    }
    Json::Value value(Json::objectValue);
    value["sessionId"] = m_strId;
    value["activeSessionId"] = m_uiActiveSessionId;
    value["state"] = JobStateName(status.state);
    value["progress"] = status.progress;
    value["items"] = std::move(items);
    return value;
}

bool ScanSession::NoteStatus(const std::string& feature, const std::string& name,
                             std::uint32_t status) {
    const std::scoped_lock lock(m_Mutex);
    bool found = false;
    for (FeatureResult& result : m_vecResult) {
        if (feature != result.feature->Name())
            continue;
        for (Finding& finding : result.findings) {
            if (finding.name != name)
                continue;
            finding.detail["wantedStatus"] = status;
            found = true;
        }
    }
    return found;
}

std::vector<std::string> ScanSession::NamesOf(const std::string& feature) const {
    const std::scoped_lock lock(m_Mutex);
    std::vector<std::string> names;
    for (const FeatureResult& result : m_vecResult) {
        if (feature != result.feature->Name())
            continue;
        for (const Finding& finding : result.findings)
            names.push_back(finding.name);
    }
    return names;
}

void ScanSession::MarkRepaired(const std::string& findingId) {
    const std::scoped_lock lock(m_Mutex);
    for (FeatureResult& result : m_vecResult) {
        for (Finding& finding : result.findings) {
            if (finding.id == findingId)
                finding.isRepaired = true;
        }
    }
}

std::vector<Repair::Item> ScanSession::Choose(const RepairChoice& choice,
                                              std::vector<std::string>& unknown) const {
    std::set<std::string> ids(choice.ids.begin(), choice.ids.end());
    std::vector<Repair::Item> items;
    for (const FeatureResult& result : m_vecResult) {
        const bool wholeFeature = choice.all || Contains(choice.features, result.feature->Name());
        for (const Finding& finding : result.findings) {
            const bool named = ids.erase(finding.id) > 0;
            if (named || (wholeFeature && finding.isProblem)) {
                items.push_back({result.feature->Name(), finding});
            }
        }
    }
    unknown.assign(ids.begin(), ids.end());
    return items;
}

void ScanSession::StartRepair(const std::string& repairId, const RepairChoice& choice) {
    if (m_Job.IsActive()) {
        throw RequestError(KrCommon::Result::kRecordInUse, "the scan is still running");
    }
    const std::scoped_lock lock(m_Mutex);
    RequireKnown(choice.features);
    const bool busy = std::any_of(m_vecRepair.begin(), m_vecRepair.end(),
                                  [](const auto& entry) { return entry.second->IsActive(); });
    if (busy) {
        throw RequestError(KrCommon::Result::kRecordInUse, "a repair of this scan is running");
    }
    std::vector<std::string> unknown;
    std::vector<Repair::Item> items = Choose(choice, unknown);
    auto repair = std::make_shared<Repair>(std::move(items), std::move(unknown), m_Remover,
                                           [this](const std::string& id) { MarkRepaired(id); });
    std::erase_if(m_vecRepair, [&](const auto& entry) { return entry.first == repairId; });
    if (m_vecRepair.size() >= kRepairLimit)
        m_vecRepair.erase(m_vecRepair.begin());
    m_vecRepair.emplace_back(repairId, repair);
    repair->Start();
}

std::shared_ptr<Repair> ScanSession::GetRepair(const std::string& repairId) const {
    const std::scoped_lock lock(m_Mutex);
    for (const auto& [id, repair] : m_vecRepair) {
        if (id == repairId)
            return repair;
    }
    throw RequestError(KrCommon::Result::kNotFound, "no such repair was started");
}

void ScanSession::Stop() {
    Cancel();
    std::vector<std::pair<std::string, std::shared_ptr<Repair>>> repairs;
    {
        const std::scoped_lock lock(m_Mutex);
        repairs = m_vecRepair;
    }
    for (const auto& [id, repair] : repairs)
        repair->Cancel();
}

}  // namespace DevHost
