#include "devhost/BigFileSearch.h"

#include <algorithm>
#include <utility>

namespace DevHost {

namespace {

bool ComesFirst(const FoundFile& left, const FoundFile& right) {
    return left.size != right.size ? left.size > right.size : left.path < right.path;
}

}  // namespace

BigFileResult SearchBigFiles(const FileQuery& query, JobControl& control) {
    BigFileResult result;
    // While walking this is a heap with the least welcome file on top.
    std::vector<FoundFile>& files = result.files;
    WalkVisitor visitor;
    visitor.onFile = [&](std::size_t, const FileSystem::Path& folder,
                         const FileSystem::Entry& entry) {
        if (entry.size < query.minimumSize)
            return;
        if (!query.category.Takes(FileSystem::NameToUtf8(entry.name)))
            return;
        ++result.matching;
        result.matchingSize += entry.size;
        if (files.size() >= kBigFileLimit && entry.size <= files.front().size)
            return;
        files.push_back({folder / entry.name, entry.size, entry.modified});
        std::push_heap(files.begin(), files.end(), ComesFirst);
        if (files.size() <= kBigFileLimit)
            return;
        std::pop_heap(files.begin(), files.end(), ComesFirst);
        files.pop_back();
    };
    result.totals = WalkTree(query.folder, visitor, {}, control);
    std::sort_heap(files.begin(), files.end(), ComesFirst);
    return result;
}

}  // namespace DevHost
