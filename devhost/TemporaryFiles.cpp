#include "devhost/TemporaryFiles.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "devhost/TreeWalk.h"

namespace DevHost {

namespace {

char LowerAscii(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

void FindIn(const FileSystem::Path& folder, bool everything, const ProgressSpan& span,
            const ScanFeature::Sink& found, JobControl& control) {
    WalkVisitor visitor;
    visitor.onFile = [&](std::size_t, const FileSystem::Path& parent,
                         const FileSystem::Entry& entry) {
        std::string name = FileSystem::NameToUtf8(entry.name);
        if (!everything && !TemporaryFiles::IsTemporaryName(name))
            return;
        Finding finding;
        finding.kind = "file";
        finding.file = parent / entry.name;
        finding.object = FileSystem::ToUtf8(*finding.file);
        finding.name = std::move(name);
        finding.size = entry.size;
        finding.facts.size = entry.size;
        finding.facts.modified = entry.modified;
        finding.detail["modified"] = static_cast<Json::Int64>(entry.modified);
        found(std::move(finding));
    };
    WalkTree(folder, visitor, span, control);
}

}  // namespace

TemporaryFiles::TemporaryFiles(SearchRoot root, FileSystem::Path temporaryFolder)
    : m_Root(std::move(root)), m_TemporaryFolder(std::move(temporaryFolder)) {}

bool TemporaryFiles::IsTemporaryName(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
    const std::string_view view = lower;
    return view.ends_with(".tmp") || view.ends_with(".temp") || view.ends_with(".chk") ||
           view.starts_with("~") || view.ends_with("~") || view == "thumbs.db";
}

void TemporaryFiles::Run(const Sink& found, JobControl& control) const {
    const bool apart =
        m_Root.IsEmpty() ||
        (!m_TemporaryFolder.empty() && !FileSystem::IsBelow(m_Root.Get(), m_TemporaryFolder, true));
    if (!m_Root.IsEmpty())
        FindIn(m_Root.Get(), false, {0, 0.5}, found, control);
    if (apart && !m_TemporaryFolder.empty()) {
        FindIn(m_TemporaryFolder, true, {0.5, 1}, found, control);
    }
}

}  // namespace DevHost
