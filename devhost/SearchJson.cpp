#include "devhost/SearchJson.h"

#include <algorithm>
#include <utility>

#include "devhost/ApiTypes.h"
#include "devhost/JsonFields.h"

namespace DevHost::SearchJson {

namespace {

Json::UInt64 Number(std::uint64_t value) {
    return static_cast<Json::UInt64>(value);
}

Json::Value OfTotals(const WalkTotals& totals) {
    Json::Value value(Json::objectValue);
    value["files"] = Number(totals.files);
    value["folders"] = Number(totals.folders);
    value["links"] = Number(totals.links);
    value["unreadable"] = Number(totals.unreadable);
    return value;
}

Json::Value OfFile(const FoundFile& file) {
    Json::Value value(Json::objectValue);
    value["path"] = FileSystem::ToUtf8(file.path);
    value["modified"] = static_cast<Json::Int64>(file.modified);
    return value;
}

Json::Value OfFolders(const std::vector<FolderUsage>& folders) {
    Json::Value list(Json::arrayValue);
    for (const FolderUsage& folder : folders) {
        Json::Value value(Json::objectValue);
        value["path"] = FileSystem::ToUtf8(folder.path);
        value["size"] = Number(folder.size);
        value["files"] = Number(folder.files);
        value["depth"] = Number(folder.depth);
        list.append(std::move(value));
    }
    return list;
}

void CollectPaths(const Json::Value& files, std::vector<std::string>& paths) {
    for (const Json::Value& file : files) {
        const Json::Value& path = file.isObject() ? file["path"] : file;
        if (!path.isString() || paths.size() >= JsonFields::kListLimit) {
            throw RequestError(KrCommon::Result::kInvalidArgument,
                               "a file is a path or an object with a \"path\", and there are at "
                               "most 100000 of them");
        }
        paths.push_back(path.asString());
    }
}

}  // namespace

Json::Value OfBigFiles(const BigFileResult& result, std::uint32_t highBound, JobState state) {
    const std::size_t count = highBound == 0
                                  ? result.files.size()
                                  : std::min<std::size_t>(highBound, result.files.size());
    Json::Value files(Json::arrayValue);
    for (std::size_t i = 0; i < count; ++i) {
        Json::Value file = OfFile(result.files[i]);
        file["size"] = Number(result.files[i].size);
        file["category"] =
            FileCategoryName(CategoryOfName(FileSystem::ToUtf8(result.files[i].path.filename())));
        files.append(std::move(file));
    }
    Json::Value value(Json::objectValue);
    value["state"] = JobStateName(state);
    value["files"] = std::move(files);
    value["matching"] = Number(result.matching);
    value["matchingSize"] = Number(result.matchingSize);
    value["searched"] = OfTotals(result.totals);
    return value;
}

Json::Value OfDuplicates(const DuplicateResult& result, JobState state) {
    Json::Value groups(Json::arrayValue);
    std::uint64_t wasted = 0;
    for (const DuplicateGroup& group : result.groups) {
        Json::Value files(Json::arrayValue);
        for (const FoundFile& file : group.files)
            files.append(OfFile(file));
        Json::Value entry(Json::objectValue);
        entry["size"] = Number(group.size);
        entry["digest"] = group.digest;
        entry["wasted"] = Number(group.Wasted());
        entry["files"] = std::move(files);
        groups.append(std::move(entry));
        wasted += group.Wasted();
    }
    Json::Value value(Json::objectValue);
    value["state"] = JobStateName(state);
    value["groups"] = std::move(groups);
    value["wasted"] = Number(wasted);
    value["candidates"] = Number(result.candidates);
    value["digested"] = Number(result.digested);
    value["unreadableFiles"] = Number(result.unreadable);
    value["searched"] = OfTotals(result.totals);
    return value;
}

Json::Value OfDiskUsage(const DiskUsageResult& result, JobState state) {
    Json::Value categories(Json::arrayValue);
    for (const FileCategory category : kFileCategories) {
        const CategoryUsage& usage = result.categories[static_cast<std::size_t>(category)];
        Json::Value entry(Json::objectValue);
        entry["category"] = FileCategoryName(category);
        entry["size"] = Number(usage.size);
        entry["files"] = Number(usage.files);
        categories.append(std::move(entry));
    }
    Json::Value value(Json::objectValue);
    value["state"] = JobStateName(state);
    value["folder"] = FileSystem::ToUtf8(result.folder);
    value["size"] = Number(result.size);
    value["folders"] = OfFolders(result.children);
    value["biggestFolders"] = OfFolders(result.biggest);
    value["categories"] = std::move(categories);
    value["searched"] = OfTotals(result.totals);
    if (const auto space = FileSystem::GetDiskSpace(result.folder)) {
        value["diskTotal"] = Number(space->total);
        value["diskFree"] = Number(space->free);
    }
    return value;
}

std::vector<std::string> PathsToRemove(const Json::Value& data) {
    std::vector<std::string> paths;
    if (data.isArray()) {
        CollectPaths(data, paths);
        return paths;
    }
    if (data.isObject() && data["files"].isArray()) {
        CollectPaths(data["files"], paths);
        return paths;
    }
    if (data.isObject() && data["groups"].isArray()) {
        for (const Json::Value& group : data["groups"]) {
            if (group.isObject() && group["files"].isArray())
                CollectPaths(group["files"], paths);
        }
        return paths;
    }
    throw RequestError(KrCommon::Result::kInvalidArgument,
                       "\"data\" must be a list of files or an object with \"files\"");
}

}  // namespace DevHost::SearchJson
