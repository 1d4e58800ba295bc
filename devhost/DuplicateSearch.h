#pragma once

// Finds files of equal content: first by size, then by digest.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "devhost/BigFileSearch.h"

namespace DevHost {

// Computes the digest of a file's content as text. `progress` is called with the number of bytes
// read since the last call, and stops the reading by answering false. Empty when the file cannot
// be read to its end or the reading was stopped.
using DigestFunction = std::function<std::string(
    const FileSystem::Path& file, const std::function<bool(std::uint64_t bytes)>& progress)>;

// SHA-256 in hexadecimal digits, by the platform's crypto interface (BCryptHashData).
std::string Sha256OfFile(const FileSystem::Path& file,
                         const std::function<bool(std::uint64_t bytes)>& progress);

struct DuplicateGroup {
    std::uint64_t size = 0;  // of each file
    std::string digest;
    std::vector<FoundFile> files;  // by path; two names of one file are there once

    std::uint64_t Wasted() const { return size * (files.size() - 1); }
};

struct DuplicateResult {
    std::vector<DuplicateGroup> groups;  // those that waste most first
    std::uint64_t candidates = 0;        // files whose size another file has too
    std::uint64_t digested = 0;
    std::uint64_t unreadable = 0;  // candidates that could not be read
    WalkTotals totals;
};

// Blocks until all candidates are compared or the job is cancelled; then the groups are those of
// the files compared until then. Empty files are nobody's duplicates.
DuplicateResult SearchDuplicates(const FileQuery& query, const DigestFunction& digest,
                                 JobControl& control);

}  // namespace DevHost
