#pragma once

// Carries a package's manifest out: from the unpacked package into the product's folder and the
// registry.
//
//     keyword      of                         meaning
//     Action       RegistryKey                "create", "delete"
//                  others                     "write", "delete"
//     Root         RegistryKey/-Value         "HKLM", "HKCU"; anything else is no root, at which
//                                             the registry fails
//     AllAccess    RegistryValue              "yes": the key is opened to everyone
//     Type         RegistryValue              "string", "dword" (a decimal number)
//     Overwrite    File, Folder               "yes": what exists may be replaced, see below
//     Platform     all but RegistryKey        "win32" not on 64-bit systems, "x64" not on others
//
// Keywords are compared without regard to the case of ASCII letters. An item whose action or type
// is no keyword does nothing, and that is a success: a slip of the pen in a manifest is not told.
//
// The platform is that of the system, never of the process. A RegistryKey is carried out on both,
// whatever it says. That is meant so: only the values below a key can be for one platform alone.
//
// A manifest is trusted like the programs that come with it; it is not kept inside its two folders.
// ".." in SourceDir and TargetDir goes up and out, and so it does in the Name of a file that is
// deleted; an empty TargetDir is the product's folder itself. A Name with a folder in it is looked
// for there, but copied from SourceDir itself: another file of that name, or none, which fails. An
// absolute path or a device is appended to the folder like any other text: that of a drive gives a
// name that no file can have, a share lies below the folder.

#include <cstdint>
#include <string>

#include "deploy/PackageManifest.h"
#include "deploy/WyDeployerMachine.h"

namespace WyDeployHelper::DeployCommon {

// Whether an item with this Platform is carried out on such a system.
bool IsForPlatform(const std::wstring& platform, bool is64Bit) noexcept;

// One manifest and the pass over it. Belongs to one thread.
class CWyDeployer : public PackageManifest {
public:
    // For the machine that this process runs on. In Windows builds alone.
    CWyDeployer();
    // `machine` must outlive the object.
    explicit CWyDeployer(DeployMachine& machine) noexcept : m_pMachine(&machine) {}
    CWyDeployer(const CWyDeployer&) = delete;
    CWyDeployer& operator=(const CWyDeployer&) = delete;
    virtual ~CWyDeployer();

    // Fills the lists by PackageManifest::Read(), those of the registry only when deployRegistry
    // is set. `pathOfDll` is the folder of the XML library. False leaves a line in the log.
    bool ParseConfig(const std::wstring& pathOfDll, const std::wstring& configPath) noexcept;

    // Carries the lists out: keys, values, folders, files, each list in its order. The folders are
    // given with or without a "\" at their end.
    //
    // True when every item succeeded or was skipped. The first that fails ends the pass with false
    // and a line in the log; nothing that was done is taken back. A lack of memory ends it alike.
    bool Deploy(const std::wstring& packageDir, const std::wstring& installDir) noexcept;

    // Whether ParseConfig() reads the items of the registry. Set it before.
    bool deployRegistry = false;

private:
    bool DeployLists(const std::wstring& packageDir, const std::wstring& installDir);

    bool DeployRegistryKey(const RegistryKeyRecord& record, std::uint32_t view);
    bool DeployRegistryValue(const RegistryValueRecord& record, std::uint32_t view);
    bool StoreRegistryValue(const RegistryValueRecord& record, std::uint32_t view);

    // A source that is missing is no failure, also where it was meant to be there.
    bool DeployFolder(const FileRecord& record, const std::wstring& packageDir,
                      const std::wstring& installDir);
    bool IsFolderToCopy(const FileRecord& record, const std::wstring& source,
                        const std::wstring& target, bool targetExists);
    void RemoveEmptiedFolder(const std::wstring& path, bool rebootNeeded);

    // A name with a "*" stands for all files of the source folder that match it, also where files
    // are deleted: what the package does not hold is not deleted by a pattern. A name with a "?"
    // and no "*" is one name, which the system takes for a pattern when it looks and copies.
    bool DeployFile(const FileRecord& record, const std::wstring& packageDir,
                    const std::wstring& installDir);
    bool WriteFile(const FileRecord& record, const std::wstring& source, const std::wstring& name,
                   const std::wstring& target);
    // What is in use is left to the next start of the system, and is no failure.
    void DeleteOneFile(const std::wstring& name, const std::wstring& target);

    static RootKey GetRootKey(const std::wstring& root) noexcept;

    // Whether an existing file may be replaced. Programs and libraries (".exe", ".dll") only by a
    // greater version; all other files, and those without a version that can be read, always.
    bool IsSourceFileNewer(const std::wstring& source, const std::wstring& target);
    bool GetFileVersionNumber(const std::wstring& path, FileVersion& out);

    DeployMachine* m_pMachine;
};

}  // namespace WyDeployHelper::DeployCommon
