#pragma once

// Finds the biggest files of a tree.

#include <cstdint>
#include <vector>

#include "devhost/FileCategory.h"
#include "devhost/TreeWalk.h"

namespace DevHost {

struct FileQuery {
    FileSystem::Path folder;
    CategoryFilter category;
    std::uint64_t minimumSize = 0;  // bytes
};

struct FoundFile {
    FileSystem::Path path;
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // Unix time in seconds
};

struct BigFileResult {
    // Biggest first; at most kBigFileLimit.
    std::vector<FoundFile> files;
    // Of all that fit the query, also those beyond the limit.
    std::uint64_t matching = 0;
    std::uint64_t matchingSize = 0;
    WalkTotals totals;
};

constexpr std::size_t kBigFileLimit = 100'000;

// Blocks until the tree is walked or the job is cancelled.
BigFileResult SearchBigFiles(const FileQuery& query, JobControl& control);

}  // namespace DevHost
