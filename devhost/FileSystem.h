#pragma once

// What the host does to files, and nothing more: list, look at, resolve, remove. Long paths work;
// links are reported and never followed by a listing. Nothing here raises but std::bad_alloc.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace DevHost::FileSystem {

using Path = std::filesystem::path;

// One entry of a folder.
struct Entry {
    Path::string_type name;
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // Unix time in seconds
    bool isFolder = false;
    bool isLink = false;  // a link or junction of any kind
};

// Which file it is, whatever the name: two names of one file have equal identities.
struct FileIdentity {
    std::uint64_t volume = 0;
    std::uint64_t index = 0;

    friend auto operator<=>(const FileIdentity&, const FileIdentity&) = default;
};

struct FileFacts {
    std::uint64_t size = 0;
    std::int64_t modified = 0;  // Unix time in seconds
    FileIdentity identity;
};

struct DiskSpace {
    std::uint64_t total = 0;
    std::uint64_t free = 0;
};

// Why a file was not removed, by the word that reports use.
enum class RemoveOutcome {
    kRemoved,
    kMissing,      // "missing"
    kNotAFile,     // "not-a-file"
    kOutsideRoot,  // "outside-root": where the path really leads is not below the root
    kIndirect,     // "link": the path is not the file's own name
    kChanged,      // "changed": size or time are not those expected
    kFailed        // "failed": the system refused
};
const char* RemoveOutcomeName(RemoveOutcome outcome);

// The entries of a folder, without "." and ".." (FindFirstFileW). False when it cannot be read.
bool ListFolder(const Path& folder, std::vector<Entry>& entries);

// The real path, with every link followed; nothing when it does not exist
// (GetFinalPathNameByHandleW).
std::optional<Path> Resolve(const Path& path);

bool IsFolder(const Path& path);

// Facts of a file (GetFileInformationByHandle); nothing for a folder or what cannot be opened.
std::optional<FileFacts> Inspect(const Path& file);

// Removes one file below `root`, which must be resolved. The file is opened once, looked at and
// removed through that same handle, so that nothing can be put in its place in between.
// `systemError` is set with kFailed.
RemoveOutcome RemoveBelow(const Path& root, const Path& file,
                          const std::optional<FileFacts>& expected, std::uint32_t& systemError);

// Size and free space of the disk that the folder lies on (GetDiskFreeSpaceExW).
std::optional<DiskSpace> GetDiskSpace(const Path& folder);

// True when `path` lies below `root` or, with `orSame`, is it. Both are resolved paths; on Windows
// the case of letters does not matter.
bool IsBelow(const Path& root, const Path& path, bool orSame);

// The form of a path in which the system takes it however long it is.
Path::string_type ForSystem(const Path& path);

// Paths in JSON: UTF-8, with what is no character replaced.
std::string ToUtf8(const Path& path);
std::string NameToUtf8(const Path::string_type& name);
Path FromUtf8(const std::string& text);

}  // namespace DevHost::FileSystem
