#pragma once

// What the deployer asks of the machine, and does to it.
//
// The deployer decides what is done and in which order; each operation here is one step of it,
// with its result. Whoever wants to know what a package would do gives the deployer a machine that
// notes the steps instead.

#include <cstdint>
#include <string>
#include <vector>

namespace WyDeployHelper::DeployCommon {

// The root of a registry path. kNone is no root: the registry refuses it.
enum class RootKey : std::uint8_t { kNone, kLocalMachine, kCurrentUser };

// The binary version of a file (VS_FIXEDFILEINFO).
struct FileVersion {
    std::uint32_t ms = 0;  // major and minor number
    std::uint32_t ls = 0;  // build and private number
};

// How far the question for a file's version came: kFound, or what failed.
enum class VersionAnswer : std::uint8_t { kFound, kNoSize, kNoMemory, kNoData, kNoRoot };

// Paths of folders come with a "\" at their end where a method does not say otherwise. `view` is
// that of KrComn_Reg.h. An `error` receives the code of the system where the result is false.
// Only a lack of memory raises (std::bad_alloc).
class DeployMachine {
public:
    DeployMachine() = default;
    DeployMachine(const DeployMachine&) = delete;
    DeployMachine& operator=(const DeployMachine&) = delete;
    virtual ~DeployMachine() = default;

    // The machine that this process runs on. For Windows builds alone.
    static DeployMachine& OfSystem() noexcept;

    // True on a 64-bit system, whatever this process is.
    virtual bool Is64Bit() = 0;

    virtual bool CreateKey(RootKey root, const std::wstring& key, std::uint32_t view,
                           std::uint32_t& error) = 0;
    // With all that is below it, in the view of this process. A key that is missing is no failure.
    virtual bool DeleteKey(RootKey root, const std::wstring& key) = 0;
    // With `allAccess` the key is opened or made with full access for everyone.
    virtual bool StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                           const std::wstring& value, bool allAccess, std::uint32_t view,
                           std::uint32_t& error) = 0;
    virtual bool StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                             std::uint32_t value, bool allAccess, std::uint32_t view,
                             std::uint32_t& error) = 0;
    virtual bool DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name,
                             std::uint32_t view, std::uint32_t& error) = 0;

    // True when a file or folder has this name, which has no "\" at its end.
    virtual bool Exists(const std::wstring& path) = 0;
    // Appends the names of the files in a folder that match a pattern.
    virtual void ListFiles(const std::wstring& folder, const std::wstring& pattern,
                           std::vector<std::wstring>& names) = 0;
    virtual bool CopyFiles(const std::wstring& sourceDir, const std::wstring& name,
                           const std::wstring& targetDir, bool failIfExists) = 0;
    // With all that is in it; files that exist are replaced.
    virtual bool CopyFolder(const std::wstring& source, const std::wstring& target) = 0;
    virtual void MakeFolders(const std::wstring& path) = 0;
    virtual void ClearReadOnly(const std::wstring& path) = 0;
    virtual bool RemoveFile(const std::wstring& path, std::uint32_t& error) = 0;
    // Deletes all that is in a folder. What is left to the next start of the system is no failure
    // and makes `rebootNeeded` true.
    virtual bool EmptyFolder(const std::wstring& path, bool& rebootNeeded,
                             std::uint32_t& error) = 0;
    // An empty folder; the path has no "\" at its end.
    virtual bool RemoveFolder(const std::wstring& path) = 0;
    // A file or an empty folder; the path has no "\" at its end.
    virtual void DeleteAtNextStart(const std::wstring& path) = 0;

    // `error` is set for kNoSize alone.
    virtual VersionAnswer ReadVersion(const std::wstring& path, FileVersion& out,
                                      std::uint32_t& error) = 0;
};

}  // namespace WyDeployHelper::DeployCommon
