#include "devhost/FileSystem.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "Common/KrCommon/KrComn_String.h"

namespace DevHost::FileSystem {

namespace {

FileFacts FactsOf(const struct stat& info) {
    FileFacts facts;
    facts.size = static_cast<std::uint64_t>(info.st_size);
    facts.modified = info.st_mtime;
    facts.identity = {info.st_dev, info.st_ino};
    return facts;
}

}  // namespace

Path::string_type ForSystem(const Path& path) {
    return path.native();
}

bool ListFolder(const Path& folder, std::vector<Entry>& entries) {
    entries.clear();
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.c_str()), closedir);
    if (directory == nullptr)
        return false;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream belongs to this call alone
    while (const dirent* const item = readdir(directory.get())) {
        const std::string name = item->d_name;
        if (name == "." || name == "..")
            continue;
        struct stat info;
        if (lstat((folder / name).c_str(), &info) != 0)
            continue;
        Entry entry;
        entry.name = name;
        entry.size = S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0;
        entry.modified = info.st_mtime;
        entry.isFolder = S_ISDIR(info.st_mode);
        entry.isLink = !entry.isFolder && !S_ISREG(info.st_mode);
        entries.push_back(std::move(entry));
    }
    return true;
}

std::optional<Path> Resolve(const Path& path) {
    const std::unique_ptr<char, void (*)(void*)> real(realpath(path.c_str(), nullptr), std::free);
    if (real == nullptr)
        return std::nullopt;
    return Path(real.get());
}

bool IsFolder(const Path& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::optional<FileFacts> Inspect(const Path& file) {
    struct stat info;
    if (stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    return FactsOf(info);
}

RemoveOutcome RemoveBelow(const Path& root, const Path& file,
                          const std::optional<FileFacts>& expected, std::uint32_t& systemError) {
    struct stat info;
    if (lstat(file.c_str(), &info) != 0)
        return RemoveOutcome::kMissing;
    const std::optional<Path> real = Resolve(file);
    if (!real.has_value())
        return RemoveOutcome::kIndirect;
    if (!IsBelow(root, *real, false))
        return RemoveOutcome::kOutsideRoot;
    if (S_ISDIR(info.st_mode))
        return RemoveOutcome::kNotAFile;
    if (!S_ISREG(info.st_mode) || *real != file.lexically_normal()) {
        return RemoveOutcome::kIndirect;
    }
    if (expected.has_value()) {
        const FileFacts facts = FactsOf(info);
        if (facts.size != expected->size || facts.modified != expected->modified) {
            return RemoveOutcome::kChanged;
        }
    }
    if (unlink(real->c_str()) != 0) {
        systemError = static_cast<std::uint32_t>(errno);
        return RemoveOutcome::kFailed;
    }
    return RemoveOutcome::kRemoved;
}

std::optional<DiskSpace> GetDiskSpace(const Path& folder) {
    struct statvfs info;
    if (statvfs(folder.c_str(), &info) != 0)
        return std::nullopt;
    return DiskSpace{info.f_blocks * info.f_frsize, info.f_bfree * info.f_frsize};
}

bool IsBelow(const Path& root, const Path& path, bool orSame) {
    std::string base = root.native();
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    const std::string& text = path.native();
    if (base.empty() || !text.starts_with(base))
        return false;
    const std::string rest = text.substr(base.size());
    if (rest.find_first_not_of('/') == std::string::npos)
        return orSame;
    return rest.front() == '/';
}

std::string NameToUtf8(const Path::string_type& name) {
    return KrCommon::String::ToUtf8(KrCommon::String::FromUtf8(name));
}

Path FromUtf8(const std::string& text) {
    return Path(text);
}

}  // namespace DevHost::FileSystem
