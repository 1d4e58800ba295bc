#include "devhost/FileSearchHandlers.h"

#include <algorithm>
#include <map>
#include <utility>

#include "devhost/JsonFields.h"
#include "devhost/SearchJson.h"
#include "devhost/SearchSlot.h"

namespace DevHost {

namespace {

namespace ApiId {
constexpr std::uint32_t kScanBigFile = 400010000;
constexpr std::uint32_t kGetBigFileProgress = 400010001;
constexpr std::uint32_t kGetBigFileResult = 400010002;
constexpr std::uint32_t kRemoveBigFile = 400010003;
constexpr std::uint32_t kCancelBigFileScan = 400010004;
constexpr std::uint32_t kScanDupFile = 400010010;
constexpr std::uint32_t kGetDupFileProgress = 400010011;
constexpr std::uint32_t kGetDupFileResult = 400010012;
constexpr std::uint32_t kRemoveDupFile = 400010013;
constexpr std::uint32_t kCancelDupFileScan = 400010014;
constexpr std::uint32_t kScanDiskUsage = 400010020;
constexpr std::uint32_t kGetDiskUsageProgress = 400010021;
constexpr std::uint32_t kGetDiskUsageResult = 400010022;
constexpr std::uint32_t kCancelDiskUsageScan = 400010023;
}  // namespace ApiId

FileQuery ReadQuery(const Json::Value& request, const SearchRoot& root) {
    const JsonFields fields(request);
    FileQuery query;
    query.minimumSize = fields.UInt64("filterParamFileSize");
    const auto category = ParseCategoryFilter(fields.Text("category"));
    if (!category.has_value()) {
        throw RequestError(KrCommon::Result::kInvalidArgument,
                           "\"category\" is none of all, video, audio, image, document, archive, "
                           "program, other");
    }
    query.category = *category;
    query.folder = root.Map(fields.Text("filterParamDiskDrive"));
    return query;
}

FileSystem::FileFacts FactsOf(const FoundFile& file, std::uint64_t size) {
    FileSystem::FileFacts facts;
    facts.size = size;
    facts.modified = file.modified;
    return facts;
}

ApiAnswer ReportAnswer(const RemovalReport& report) {
    ApiAnswer answer;
    answer.data = report.ToJson();
    return answer;
}

}  // namespace

class FileSearchHandlers::DiskUsage : public SearchSlot<DiskUsageResult> {};

class FileSearchHandlers::BigFiles : public SearchSlot<BigFileResult> {
public:
    // Only what the last search found is removed, and only if it is still what was found.
    ApiAnswer Remove(const Json::Value& request, const Remover& remover) {
        const auto paths = SearchJson::PathsToRemove(JsonFields(request).Member("data"));
        RemovalReport report;
        ChangeResult([&](BigFileResult& result) {
            std::map<std::string, std::size_t> found;
            for (std::size_t i = 0; i < result.files.size(); ++i) {
                found.emplace(FileSystem::ToUtf8(result.files[i].path), i);
            }
            std::vector<bool> gone(result.files.size(), false);
            for (const std::string& path : paths) {
                const auto entry = found.find(path);
                if (entry == found.end() || gone[entry->second]) {
                    report.Skipped(path, "not-in-result");
                    continue;
                }
                const FoundFile& file = result.files[entry->second];
                const Removal removal = remover.Remove(file.path, FactsOf(file, file.size));
                if (!removal.removed) {
                    report.Skipped(path, removal);
                    continue;
                }
                report.Removed(file.path, file.size);
                gone[entry->second] = true;
                --result.matching;
                result.matchingSize -= file.size;
            }
            std::size_t i = 0;
            std::erase_if(result.files, [&](const FoundFile&) { return gone[i++]; });
        });
        return ReportAnswer(report);
    }
};

class FileSearchHandlers::Duplicates : public SearchSlot<DuplicateResult> {
public:
    // As with big files; and the last file of a group always stays.
    ApiAnswer Remove(const Json::Value& request, const Remover& remover) {
        const auto paths = SearchJson::PathsToRemove(JsonFields(request).Member("data"));
        RemovalReport report;
        ChangeResult([&](DuplicateResult& result) {
            std::map<std::string, DuplicateGroup*> found;
            for (DuplicateGroup& group : result.groups) {
                for (const FoundFile& file : group.files) {
                    found.emplace(FileSystem::ToUtf8(file.path), &group);
                }
            }
            for (const std::string& path : paths) {
                const auto entry = found.find(path);
                if (entry == found.end()) {
                    report.Skipped(path, "not-in-result");
                } else {
                    RemoveFromGroup(path, *entry->second, remover, report);
                }
            }
            std::erase_if(result.groups,
                          [](const DuplicateGroup& group) { return group.files.size() < 2; });
        });
        return ReportAnswer(report);
    }

private:
    static void RemoveFromGroup(const std::string& path, DuplicateGroup& group,
                                const Remover& remover, RemovalReport& report) {
        const auto file = std::find_if(
            group.files.begin(), group.files.end(),
            [&](const FoundFile& candidate) { return FileSystem::ToUtf8(candidate.path) == path; });
        if (file == group.files.end()) {
            report.Skipped(path, "not-in-result");
            return;
        }
        const bool another =
            std::any_of(group.files.begin(), group.files.end(), [&](const FoundFile& candidate) {
                const auto facts = FileSystem::Inspect(candidate.path);
                return &candidate != &*file && facts.has_value() && facts->size == group.size &&
                       facts->modified == candidate.modified;
            });
        if (!another) {
            report.Skipped(path, "last-copy");
            return;
        }
        const Removal removal = remover.Remove(file->path, FactsOf(*file, group.size));
        if (!removal.removed) {
            report.Skipped(path, removal);
            return;
        }
        report.Removed(file->path, group.size);
        group.files.erase(file);
    }
};

FileSearchHandlers::FileSearchHandlers(SearchRoot root, Remover remover, DigestFunction digest)
    : m_Root(std::move(root)),
      m_Remover(std::move(remover)),
      m_fnDigest(std::move(digest)),
      m_pBigFiles(std::make_unique<BigFiles>()),
      m_pDuplicates(std::make_unique<Duplicates>()),
      m_pDiskUsage(std::make_unique<DiskUsage>()) {}

FileSearchHandlers::~FileSearchHandlers() = default;

void FileSearchHandlers::Stop() {
    m_pBigFiles->Cancel();
    m_pDuplicates->Cancel();
    m_pDiskUsage->Cancel();
}

void FileSearchHandlers::AddTo(ApiRouter& router) {
    AddBigFiles(router);
    AddDuplicates(router);
    AddDiskUsage(router);
}

void FileSearchHandlers::AddBigFiles(ApiRouter& router) {
    router.Add(ApiId::kScanBigFile, [this](const Json::Value& request, const CallContext&) {
        return m_pBigFiles->Start([query = ReadQuery(request, m_Root)](JobControl& control) {
            return SearchBigFiles(query, control);
        });
    });
    router.Add(ApiId::kGetBigFileProgress,
               [this](const Json::Value&, const CallContext&) { return m_pBigFiles->Progress(); });
    router.Add(ApiId::kGetBigFileResult, [this](const Json::Value& request, const CallContext&) {
        const std::uint32_t highBound = JsonFields(request).UInt32("filterParamHighBound");
        ApiAnswer answer;
        m_pBigFiles->WithResult([&](const BigFileResult& result, JobState state) {
            answer.data = SearchJson::OfBigFiles(result, highBound, state);
        });
        return answer;
    });
    router.Add(ApiId::kRemoveBigFile, [this](const Json::Value& request, const CallContext&) {
        return m_pBigFiles->Remove(request, m_Remover);
    });
    router.Add(ApiId::kCancelBigFileScan,
               [this](const Json::Value&, const CallContext&) { return m_pBigFiles->Cancel(); });
}

void FileSearchHandlers::AddDuplicates(ApiRouter& router) {
    router.Add(ApiId::kScanDupFile, [this](const Json::Value& request, const CallContext&) {
        return m_pDuplicates->Start(
            [this, query = ReadQuery(request, m_Root)](JobControl& control) {
                return SearchDuplicates(query, m_fnDigest, control);
            });
    });
    router.Add(ApiId::kGetDupFileProgress, [this](const Json::Value&, const CallContext&) {
        return m_pDuplicates->Progress();
    });
    router.Add(ApiId::kGetDupFileResult, [this](const Json::Value&, const CallContext&) {
        ApiAnswer answer;
        m_pDuplicates->WithResult([&](const DuplicateResult& result, JobState state) {
            answer.data = SearchJson::OfDuplicates(result, state);
        });
        return answer;
    });
    router.Add(ApiId::kRemoveDupFile, [this](const Json::Value& request, const CallContext&) {
        return m_pDuplicates->Remove(request, m_Remover);
    });
    router.Add(ApiId::kCancelDupFileScan,
               [this](const Json::Value&, const CallContext&) { return m_pDuplicates->Cancel(); });
}

void FileSearchHandlers::AddDiskUsage(ApiRouter& router) {
    router.Add(ApiId::kScanDiskUsage, [this](const Json::Value& request, const CallContext&) {
        const std::string drive = JsonFields(request).Text("filterParamDiskDrive");
        return m_pDiskUsage->Start([folder = m_Root.Map(drive)](JobControl& control) {
            return MeasureDiskUsage(folder, control);
        });
    });
    router.Add(ApiId::kGetDiskUsageProgress,
               [this](const Json::Value&, const CallContext&) { return m_pDiskUsage->Progress(); });
    router.Add(ApiId::kGetDiskUsageResult, [this](const Json::Value&, const CallContext&) {
        ApiAnswer answer;
        m_pDiskUsage->WithResult([&](const DiskUsageResult& result, JobState state) {
            answer.data = SearchJson::OfDiskUsage(result, state);
        });
        return answer;
    });
    router.Add(ApiId::kCancelDiskUsageScan,
               [this](const Json::Value&, const CallContext&) { return m_pDiskUsage->Cancel(); });
}

}  // namespace DevHost
