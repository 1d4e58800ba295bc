#pragma once

// Walks a folder tree, folder by folder, without following links.

#include <cstddef>
#include <cstdint>
#include <functional>

#include "devhost/FileSystem.h"
#include "devhost/WorkerJob.h"

namespace DevHost {

// What a walk met.
struct WalkTotals {
    std::uint64_t files = 0;
    std::uint64_t folders = 0;     // the root included
    std::uint64_t links = 0;       // not followed
    std::uint64_t unreadable = 0;  // folders that could not be listed
};

// What a walk calls. A folder is known by a number that the visitor gives it; the root is 0.
struct WalkVisitor {
    // A folder was found in the folder `parent`; gives its number.
    std::function<std::size_t(std::size_t parent, const FileSystem::Path& folder)> onFolder;
    // A file was found. `folder` is the path of the folder that it lies in.
    std::function<void(std::size_t parent, const FileSystem::Path& folder,
                       const FileSystem::Entry& file)>
        onFile;
};

// A stretch of a job's progress: the walk moves it from `from` to `to`, both between 0 and 1.
struct ProgressSpan {
    double from = 0;
    double to = 1;
};

// Walks the tree and reports progress. How much of a tree is done is estimated: each folder shares
// its weight out evenly among itself and its subfolders. Comes back early, with what was met until
// then, when the job is cancelled.
WalkTotals WalkTree(const FileSystem::Path& root, const WalkVisitor& visitor,
                    const ProgressSpan& span, JobControl& control);

}  // namespace DevHost
