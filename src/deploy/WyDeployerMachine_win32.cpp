#include <memory>
#include <new>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_FileFind_win32.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/WyDeployerMachine.h"
#include "lib/wycommon/WyCommon_Folders.h"

namespace WyDeployHelper::DeployCommon {

namespace {

namespace File = KrCommon::Storage::File;
namespace Reg = KrCommon::Storage::Reg;
namespace Utility = WyCommon::Utility;

HKEY HandleOf(RootKey root) noexcept {
    switch (root) {
        case RootKey::kLocalMachine:
            return HKEY_LOCAL_MACHINE;
        case RootKey::kCurrentUser:
            return HKEY_CURRENT_USER;
        case RootKey::kNone:
            break;
    }
    return nullptr;
}

template <class Value>
bool Store(RootKey root, const std::wstring& key, const std::wstring& name, const Value& value,
           bool allAccess, std::uint32_t view, std::uint32_t& error) noexcept {
    HKEY const handle = HandleOf(root);
    return allAccess ? Reg::StoreValueWithAllAccess(handle, key, name, value, view, &error)
                     : Reg::StoreValue(handle, key, name, value, view, &error);
}

class SystemMachine : public DeployMachine {
public:
    bool Is64Bit() override { return KrCommon::OsVersion::Is64Bit(); }

    bool CreateKey(RootKey root, const std::wstring& key, std::uint32_t view,
                   std::uint32_t& error) override {
        return Reg::CreateKeyWithAllAccess(HandleOf(root), key, view, &error);
    }
    bool DeleteKey(RootKey root, const std::wstring& key) override {
        return Reg::DeleteAllSection(HandleOf(root), key);
    }
    bool StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                   const std::wstring& value, bool allAccess, std::uint32_t view,
                   std::uint32_t& error) override {
        return Store(root, key, name, value, allAccess, view, error);
    }
    bool StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t value, bool allAccess, std::uint32_t view,
                     std::uint32_t& error) override {
        return Store(root, key, name, value, allAccess, view, error);
    }
    bool DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name,
                     std::uint32_t view, std::uint32_t& error) override {
        return Reg::DeleteEntry(HandleOf(root), key, name, view, &error);
    }

    bool Exists(const std::wstring& path) override { return File::Exists(path, nullptr); }
    void ListFiles(const std::wstring& folder, const std::wstring& pattern,
                   std::vector<std::wstring>& names) override {
        Utility::EnumFilesOnlyInDirectory(folder, names, pattern);
    }
    bool CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                   const std::wstring& targetDir, bool failIfExists) override {
        return File::CopyFile(sourceDir, name, targetDir, failIfExists);
    }
    bool CopyFolder(const std::wstring& source, const std::wstring& target) override {
        return Utility::CopyDirectory(source, target, false);
    }
    void MakeFolders(const std::wstring& path) override { File::CreateDirectories(path, nullptr); }
    void ClearReadOnly(const std::wstring& path) override {
        KrCommon::Storage::ClearReadOnly(path);
    }
    bool RemoveFile(const std::wstring& path, std::uint32_t& error) override {
        if (DeleteFileW(path.c_str()) != 0)
            return true;
        error = GetLastError();
        return false;
    }
    bool EmptyFolder(const std::wstring& path, bool& rebootNeeded, std::uint32_t& error) override {
        return File::DeleteAllFiles(path, rebootNeeded, &error);
    }
    bool RemoveFolder(const std::wstring& path) override {
        return RemoveDirectoryW(path.c_str()) != 0;
    }
    void DeleteAtNextStart(const std::wstring& path) override {
        MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }

    VersionAnswer ReadVersion(const std::wstring& path, FileVersion& out,
                              std::uint32_t& error) override {
        DWORD ignored = 0;
        const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &ignored);
        if (size == 0) {
            error = GetLastError();
            return VersionAnswer::kNoSize;
        }
        const std::unique_ptr<char[]> block(new (std::nothrow) char[size]);
        if (block == nullptr)
            return VersionAnswer::kNoMemory;
        if (GetFileVersionInfoW(path.c_str(), 0, size, block.get()) == 0)
            return VersionAnswer::kNoData;
        void* root = nullptr;
        UINT length = 0;
        if (VerQueryValueW(block.get(), L"\\", &root, &length) == 0 || root == nullptr ||
            length < sizeof(VS_FIXEDFILEINFO)) {
            return VersionAnswer::kNoRoot;
        }
        const auto* const fixed = static_cast<const VS_FIXEDFILEINFO*>(root);
        out.ms = fixed->dwFileVersionMS;
        out.ls = fixed->dwFileVersionLS;
        return VersionAnswer::kFound;
    }
};

}  // namespace

DeployMachine& DeployMachine::OfSystem() noexcept {
    static SystemMachine s_Machine;
    return s_Machine;
}

}  // namespace WyDeployHelper::DeployCommon
