#include "devhost/DuplicateSearch.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace DevHost {

namespace {

// Walking is quick beside reading.
constexpr double kWalkShare = 0.2;

std::vector<FoundFile> CollectFiles(const FileQuery& query, WalkTotals& totals,
                                    JobControl& control) {
    std::vector<FoundFile> files;
    WalkVisitor visitor;
    visitor.onFile = [&](std::size_t, const FileSystem::Path& folder,
                         const FileSystem::Entry& entry) {
        if (entry.size == 0 || entry.size < query.minimumSize)
            return;
        if (!query.category.Takes(FileSystem::NameToUtf8(entry.name)))
            return;
        files.push_back({folder / entry.name, entry.size, entry.modified});
    };
    totals = WalkTree(query.folder, visitor, {0, kWalkShare}, control);
    return files;
}

// Keeps the files whose size occurs more than once, ordered by size and path.
void KeepCandidates(std::vector<FoundFile>& files) {
    std::sort(files.begin(), files.end(), [](const FoundFile& left, const FoundFile& right) {
        return left.size != right.size ? left.size > right.size : left.path < right.path;
    });
    std::vector<FoundFile> kept;
    for (auto first = files.begin(); first != files.end();) {
        const auto last = std::find_if(
            first, files.end(), [&](const FoundFile& file) { return file.size != first->size; });
        if (last - first > 1) {
            std::move(first, last, std::back_inserter(kept));
        }
        first = last;
    }
    files = std::move(kept);
}

// The digesting half of a search.
class Comparison {
public:
    Comparison(const DigestFunction& digest, JobControl& control, DuplicateResult& result)
        : m_fnDigest(digest), m_Control(control), m_Result(result) {}

    void Run(const std::vector<FoundFile>& files) {
        for (const FoundFile& file : files)
            m_uiTotal += file.size;
        for (auto first = files.begin(); first != files.end();) {
            const auto last = std::find_if(first, files.end(), [&](const FoundFile& file) {
                return file.size != first->size;
            });
            if (!CompareEqualSizes(first, last))
                return;
            first = last;
        }
    }

private:
    using Iterator = std::vector<FoundFile>::const_iterator;

    // False when the job is cancelled; groups that are complete enough to be one are kept.
    bool CompareEqualSizes(Iterator first, Iterator last) {
        std::map<std::string, std::vector<FoundFile>> byDigest;
        std::set<FileSystem::FileIdentity> seen;
        bool running = true;
        for (auto file = first; file != last && running; ++file) {
            const auto facts = FileSystem::Inspect(file->path);
            if (!facts.has_value() || facts->size != file->size) {
                ++m_Result.unreadable;
                Advance(file->size);
                continue;
            }
            if (!seen.insert(facts->identity).second) {
                Advance(file->size);
                continue;
            }
            const std::string digest = Digest(*file, running);
            if (!digest.empty()) {
                byDigest[digest].push_back(*file);
            } else if (running) {
                ++m_Result.unreadable;
            }
        }
        for (auto& [digest, files] : byDigest) {
            if (files.size() < 2)
                continue;
            m_Result.groups.push_back({first->size, digest, std::move(files)});
        }
        return running;
    }

    std::string Digest(const FoundFile& file, bool& running) {
        m_Control.SetStep({}, FileSystem::ToUtf8(file.path));
        std::uint64_t read = 0;
        std::string digest = m_fnDigest(file.path, [&](std::uint64_t bytes) {
            read += bytes;
            Advance(bytes);
            running = m_Control.Continue();
            return running;
        });
        running = running && m_Control.Continue();
        // A file that grew or shrank while it was read is no longer what was compared by size.
        if (read != file.size)
            return {};
        ++m_Result.digested;
        return digest;
    }

    void Advance(std::uint64_t bytes) {
        m_uiDone += bytes;
        const double fraction = static_cast<double>(m_uiDone) /
                                static_cast<double>(std::max<std::uint64_t>(m_uiTotal, 1));
        m_Control.SetProgress(kWalkShare + (1 - kWalkShare) * fraction);
    }

    const DigestFunction& m_fnDigest;
    JobControl& m_Control;
    DuplicateResult& m_Result;
    std::uint64_t m_uiTotal = 0;
    std::uint64_t m_uiDone = 0;
};

}  // namespace

DuplicateResult SearchDuplicates(const FileQuery& query, const DigestFunction& digest,
                                 JobControl& control) {
    DuplicateResult result;
    std::vector<FoundFile> files = CollectFiles(query, result.totals, control);
    KeepCandidates(files);
    result.candidates = files.size();
    if (!control.Continue())
        return result;
    Comparison(digest, control, result).Run(files);
    std::sort(result.groups.begin(), result.groups.end(),
              [](const DuplicateGroup& left, const DuplicateGroup& right) {
                  return left.Wasted() != right.Wasted()
                             ? left.Wasted() > right.Wasted()
                             : left.files.front().path < right.files.front().path;
              });
    return result;
}

}  // namespace DevHost
