#pragma once

// What lies in a package's folders. Nothing is changed by looking.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace WyCtl {

struct PackageFile {
    std::wstring name;       // relative to the folder that was listed
    std::uint64_t size = 0;  // bytes
};

// Names of folders are given without a "\" at their end.
class PackageFiles {
public:
    enum class Kind : std::uint8_t { None, File, Folder };

    PackageFiles() = default;
    PackageFiles(const PackageFiles&) = delete;
    PackageFiles& operator=(const PackageFiles&) = delete;
    virtual ~PackageFiles() = default;

    // What has this name.
    virtual Kind KindOf(const std::wstring& path) = 0;
    // The names in a folder that a pattern means to the deployment.
    virtual std::vector<std::wstring> Matching(const std::wstring& folder,
                                               const std::wstring& pattern) = 0;
    // All files of a folder and of those in it; none when it cannot be listed.
    virtual std::vector<PackageFile> Below(const std::wstring& folder) = 0;
    // Whether the deployment can read a version of this file.
    virtual bool HasVersion(const std::wstring& path) = 0;
};

// All files of a folder of the system and of those in it. For Windows builds alone.
std::vector<PackageFile> FilesBelow(const std::wstring& folder);

// Those of the system, as the deployment asks for them. For Windows builds alone.
std::unique_ptr<PackageFiles> MakePackageFiles();

}  // namespace WyCtl
