#include <utility>

#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployerMachine.h"
#include "wyctl/Errors.h"
#include "wyctl/FolderTree.h"
#include "wyctl/PackageFiles.h"

namespace WyCtl {

namespace {

namespace Deploy = WyDeployHelper::DeployCommon;

class SystemFiles : public PackageFiles {
public:
    Kind KindOf(const std::wstring& path) override {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) {
            return Kind::None;
        }
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::Folder : Kind::File;
    }
    std::vector<std::wstring> Matching(const std::wstring& folder,
                                       const std::wstring& pattern) override {
        std::vector<std::wstring> names;
        Deploy::DeployMachine::OfSystem().ListFiles(folder + L'\\', pattern, names);
        return names;
    }
    std::vector<PackageFile> Below(const std::wstring& folder) override {
        return FilesBelow(folder);
    }
    bool HasVersion(const std::wstring& path) override {
        Deploy::FileVersion version;
        std::uint32_t error = 0;
        return Deploy::DeployMachine::OfSystem().ReadVersion(path, version, error) ==
               Deploy::VersionAnswer::kFound;
    }
};

}  // namespace

std::vector<PackageFile> FilesBelow(const std::wstring& folder) {
    std::vector<PackageFile> files;
    try {
        for (TreeEntry& entry : ListTree(folder)) {
            if (!entry.folder) {
                files.push_back({std::move(entry.name), entry.size});
            }
        }
    } catch (const Failure&) {
        files.clear();
    }
    return files;
}

std::unique_ptr<PackageFiles> MakePackageFiles() {
    return std::make_unique<SystemFiles>();
}

}  // namespace WyCtl
