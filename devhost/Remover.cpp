#include "devhost/Remover.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"

namespace DevHost {

namespace {

constexpr const char* kLogSource = "Remover";
constexpr const wchar_t* kLogModule = L"WySvcHost";

}  // namespace

Removal Remover::Remove(const FileSystem::Path& file,
                        const std::optional<FileSystem::FileFacts>& expected) const {
    if (!m_bAllowed || m_Root.IsEmpty())
        return {false, "not-allowed", 0};
    Removal removal;
    const FileSystem::RemoveOutcome outcome =
        FileSystem::RemoveBelow(m_Root.Get(), file, expected, removal.systemError);
    removal.removed = outcome == FileSystem::RemoveOutcome::kRemoved;
    if (outcome != FileSystem::RemoveOutcome::kFailed)
        removal.systemError = 0;
    if (!removal.removed)
        removal.reason = FileSystem::RemoveOutcomeName(outcome);
    WY_LOG_INFO << (removal.removed ? L"remove " : L"keep ")
                << KrCommon::String::FromUtf8(FileSystem::ToUtf8(file)) << L" " << removal.reason;
    return removal;
}

void RemovalReport::Removed(const FileSystem::Path& file, std::uint64_t size,
                            const std::string& id) {
    Json::Value entry(Json::objectValue);
    if (!id.empty())
        entry["id"] = id;
    entry["path"] = FileSystem::ToUtf8(file);
    entry["size"] = static_cast<Json::UInt64>(size);
    m_Removed.append(std::move(entry));
    m_uiSize += size;
}

void RemovalReport::Skipped(const std::string& name, const Removal& removal,
                            const std::string& id) {
    Json::Value entry(Json::objectValue);
    if (!id.empty())
        entry["id"] = id;
    entry["path"] = name;
    entry["reason"] = removal.reason;
    if (removal.systemError != 0)
        entry["systemError"] = removal.systemError;
    m_Skipped.append(std::move(entry));
}

void RemovalReport::Skipped(const std::string& name, const char* reason, const std::string& id) {
    Skipped(name, Removal{false, reason, 0}, id);
}

Json::Value RemovalReport::ToJson() const {
    Json::Value report(Json::objectValue);
    report["removed"] = m_Removed;
    report["skipped"] = m_Skipped;
    report["removedSize"] = static_cast<Json::UInt64>(m_uiSize);
    return report;
}

}  // namespace DevHost
