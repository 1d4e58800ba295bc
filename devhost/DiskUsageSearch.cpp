#include "devhost/DiskUsageSearch.h"

#include <algorithm>

namespace DevHost {

namespace {

struct Node {
    std::size_t parent = 0;
    FolderUsage usage;
};

bool ComesFirst(const FolderUsage& left, const FolderUsage& right) {
    return left.size != right.size ? left.size > right.size : left.path < right.path;
}

// A folder is numbered after its parent, so one pass from the end adds every folder to its parent
// when it is complete itself.
void AddUpwards(std::vector<Node>& nodes) {
    for (std::size_t i = nodes.size() - 1; i > 0; --i) {
        nodes[nodes[i].parent].usage.size += nodes[i].usage.size;
        nodes[nodes[i].parent].usage.files += nodes[i].usage.files;
    }
}

}  // namespace

DiskUsageResult MeasureDiskUsage(const FileSystem::Path& folder, JobControl& control) {
    DiskUsageResult result;
    result.folder = folder;
    std::vector<Node> nodes(1);
    nodes[0].usage.path = folder;

    WalkVisitor visitor;
    visitor.onFolder = [&](std::size_t parent, const FileSystem::Path& path) {
        nodes.push_back({parent, {path, 0, 0, nodes[parent].usage.depth + 1}});
        return nodes.size() - 1;
    };
    visitor.onFile = [&](std::size_t parent, const FileSystem::Path&,
                         const FileSystem::Entry& file) {
        nodes[parent].usage.size += file.size;
        ++nodes[parent].usage.files;
        CategoryUsage& category = result.categories[static_cast<std::size_t>(
            CategoryOfName(FileSystem::NameToUtf8(file.name)))];
        category.size += file.size;
        ++category.files;
    };
    result.totals = WalkTree(folder, visitor, {}, control);

    AddUpwards(nodes);
    result.size = nodes[0].usage.size;
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        if (nodes[i].usage.depth == 1)
            result.children.push_back(nodes[i].usage);
        result.biggest.push_back(nodes[i].usage);
    }
    std::sort(result.children.begin(), result.children.end(), ComesFirst);
    std::sort(result.biggest.begin(), result.biggest.end(), ComesFirst);
    if (result.biggest.size() > kBiggestFolders)
        result.biggest.resize(kBiggestFolders);
    return result;
}

}  // namespace DevHost
