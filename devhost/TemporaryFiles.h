#pragma once

#include "devhost/ScanFeature.h"
#include "devhost/SearchRoot.h"

namespace DevHost {

// Files that nobody misses: temporary files by name below the root, and everything in the folder
// for temporary files of this user.
class TemporaryFiles : public ScanFeature {
public:
    // An empty `temporaryFolder` is not searched.
    TemporaryFiles(SearchRoot root, FileSystem::Path temporaryFolder);

    const char* Name() const override { return "temporaryFiles"; }
    void Run(const Sink& found, JobControl& control) const override;

    // True for *.tmp, *.temp, *.chk, ~*, *~ and thumbs.db, without regard to case.
    static bool IsTemporaryName(const std::string& name);

private:
    SearchRoot m_Root;
    FileSystem::Path m_TemporaryFolder;
};

}  // namespace DevHost
