#pragma once

// The three file searches as the API sees them: start, progress, result, remove, cancel.

#include <memory>

#include "devhost/ApiRouter.h"
#include "devhost/DuplicateSearch.h"
#include "devhost/Remover.h"

namespace DevHost {

// One search of each kind at a time; a finished one is replaced by the next. Must outlive the
// router that its handlers are entered in.
//
// Codes: 0xe0ff0016 for a start while the same search runs, 0xe0ff000e for progress or result
// before the first start, 0xe0fe04c7 for the progress of a cancelled search, 0xe0ff0001 for that
// of a failed one.
class FileSearchHandlers {
public:
    FileSearchHandlers(SearchRoot root, Remover remover, DigestFunction digest);
    FileSearchHandlers(const FileSearchHandlers&) = delete;
    FileSearchHandlers& operator=(const FileSearchHandlers&) = delete;
    ~FileSearchHandlers();

    void AddTo(ApiRouter& router);

    // Cancels the searches and waits for their threads.
    void Stop();

private:
    void AddBigFiles(ApiRouter& router);
    void AddDuplicates(ApiRouter& router);
    void AddDiskUsage(ApiRouter& router);

    const SearchRoot m_Root;
    const Remover m_Remover;
    const DigestFunction m_fnDigest;

    class BigFiles;
    class Duplicates;
    class DiskUsage;

    std::unique_ptr<BigFiles> m_pBigFiles;
    std::unique_ptr<Duplicates> m_pDuplicates;
    std::unique_ptr<DiskUsage> m_pDiskUsage;
};

}  // namespace DevHost
