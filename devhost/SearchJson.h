#pragma once

// The JSON of search results, and the reading of removal requests.

#include <json/value.h>

#include <string>
#include <vector>

#include "devhost/BigFileSearch.h"
#include "devhost/DiskUsageSearch.h"
#include "devhost/DuplicateSearch.h"
#include "devhost/WorkerJob.h"

namespace DevHost::SearchJson {

// At most `highBound` files; 0 is no bound.
Json::Value OfBigFiles(const BigFileResult& result, std::uint32_t highBound, JobState state);
Json::Value OfDuplicates(const DuplicateResult& result, JobState state);
Json::Value OfDiskUsage(const DiskUsageResult& result, JobState state);

// The paths of a removal: {"files": [...]}, {"groups": [{"files": [...]}]} as a result has them,
// or a plain array; a file is a path or an object with a "path". Raises RequestError with
// 0xe0ff0007 for anything else.
std::vector<std::string> PathsToRemove(const Json::Value& data);

}  // namespace DevHost::SearchJson
