#pragma once

// Adds up what lies in a tree: by folder, with all that lies below, and by category.

#include <array>
#include <cstdint>
#include <vector>

#include "devhost/FileCategory.h"
#include "devhost/TreeWalk.h"

namespace DevHost {

struct FolderUsage {
    FileSystem::Path path;
    std::uint64_t size = 0;   // bytes, with all folders below
    std::uint64_t files = 0;  // with all folders below
    std::size_t depth = 0;    // 1: directly below the folder searched
};

struct CategoryUsage {
    std::uint64_t size = 0;
    std::uint64_t files = 0;
};

struct DiskUsageResult {
    FileSystem::Path folder;  // that was measured
    std::uint64_t size = 0;
    std::vector<FolderUsage> children;  // of depth 1, biggest first
    std::vector<FolderUsage> biggest;   // of any depth, biggest first; at most kBiggestFolders
    std::array<CategoryUsage, kFileCategories.size()> categories;  // by the category's number
    WalkTotals totals;
};

constexpr std::size_t kBiggestFolders = 50;

// Blocks until the tree is walked or the job is cancelled; then it is the sum of what was met.
DiskUsageResult MeasureDiskUsage(const FileSystem::Path& folder, JobControl& control);

}  // namespace DevHost
