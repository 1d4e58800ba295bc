#include "devhost/TreeWalk.h"

#include <utility>
#include <vector>

namespace DevHost {

namespace {

struct Pending {
    FileSystem::Path path;
    std::size_t number = 0;
    double weight = 0;
};

}  // namespace

WalkTotals WalkTree(const FileSystem::Path& root, const WalkVisitor& visitor,
                    const ProgressSpan& span, JobControl& control) {
    WalkTotals totals;
    double done = 0;
    std::vector<Pending> pending;
    pending.push_back({root, 0, 1.0});
    std::vector<FileSystem::Entry> entries;
    while (!pending.empty() && control.Continue()) {
        const Pending folder = std::move(pending.back());
        pending.pop_back();
        control.SetStep({}, FileSystem::ToUtf8(folder.path));
        ++totals.folders;
        if (!FileSystem::ListFolder(folder.path, entries))
            ++totals.unreadable;

        const std::size_t firstChild = pending.size();
        for (FileSystem::Entry& entry : entries) {
            if (entry.isLink) {
                ++totals.links;
            } else if (entry.isFolder) {
                FileSystem::Path path = folder.path / entry.name;
                const std::size_t number =
                    visitor.onFolder ? visitor.onFolder(folder.number, path) : 0;
                pending.push_back({std::move(path), number, 0});
            } else {
                ++totals.files;
                if (visitor.onFile)
                    visitor.onFile(folder.number, folder.path, entry);
            }
        }
        const double share = folder.weight / static_cast<double>(pending.size() - firstChild + 1);
        for (std::size_t i = firstChild; i < pending.size(); ++i)
            pending[i].weight = share;
        done += share;
        control.SetProgress(span.from + (span.to - span.from) * done);
    }
    return totals;
}

}  // namespace DevHost
