#pragma once

// Installing, re-installing and upgrading the product from an unpacked package. For Windows builds
// alone.
//
// The work has two phases, which share no memory: PreInstall() and Install() lay down files and
// registry; PostInstall() starts the product and records that it is installed, mostly in another
// process. What one tells the other stands in the product key: ProductPath, ProductGuid, ProductId,
// VendorId, ProductVersion, and the InstallStatus that is written here and never read.

#include <cstdint>
#include <string>

namespace WyDeployHelper::SetupHelper {

// The version of this build.
constexpr wchar_t WY_PRODUCT_VERSION[] = L"3.1.1158";

// How far an installation came: the number InstallStatus of the product key.
enum class InstallStatus : std::uint32_t {
    kComplete = 0,
    kInProgress = 1,  // also a first installation that has failed
    kRolledBack = 2,  // the former version is back and was started
    kRollbackFailed = 3,
    kBackupFailed = 4,  // the folder could not be renamed; a rollback follows at once
};

// What the session agent is told about who started it.
namespace StartMode {
constexpr int kAfterRollback = 2;
constexpr int kAfterInstall = 3;
}  // namespace StartMode

// Where a re-install moves the product: "WyvarionBackup" beside its folder, which may end in "\",
// so that the backup is a rename and no copy. Raises std::bad_alloc.
std::wstring BackupFolderOf(const std::wstring& installDir);

// One installation, for the length of one call of an application.
//
//     CWyInstaller installer(productId, vendorId);
//     installer.SetDirectory(installDir, packageDir, used);
//     if (Failed(installer.PreInstall()) || Failed(installer.Install()))
//         installer.RollbackWy();
//
// All results are result codes as of KrComn_Result.h. Failures leave a line in the log and nothing
// is taken back but by RollbackWy(). Folders are given with or without a "\" at their end. Raises
// std::bad_alloc alone. Belongs to one thread; only one installation of a machine at a time, which
// nothing here sees to.
class CWyInstaller {
public:
    CWyInstaller(std::wstring productId, std::wstring vendorId);
    CWyInstaller(const CWyInstaller&) = delete;
    CWyInstaller& operator=(const CWyInstaller&) = delete;
    virtual ~CWyInstaller();

    // Decides whether this is a re-install, and with that where the product goes: an installed
    // product stays in its folder, whatever `installDir` says. `installDirOut` receives that
    // folder.
    void SetDirectory(const std::wstring& installDir, const std::wstring& packageDir,
                      std::wstring& installDirOut);

    // Everything that can stand in the way, before the first file is written: folders that are
    // given, no restart pending since a removal, a readable Setup.ini, a system that it accepts, an
    // install folder and a product key that can be written. A re-install moves the installed
    // product beside itself (BackupFolderOf) and takes away what starts it.
    //
    // 0xe0ff0008, 0xe00e000a, 0xe00e000c, 0xe00e0003, 0xe00e0018, 0xe00e0013, 0xe00e0012,
    // 0xe00e0011, 0xe0ff0001, or a code of DeleteFolder() or UninstallWyStartups().
    std::uint32_t PreInstall();

    // Carries out the package's manifest, adds its external tools and writes the identity.
    //
    // 0xe00e0013, 0xe00e0014, 0xe0ff0001 or a code of MoveAllFilesAfterReboot(). Identity values
    // that cannot be stored are no failure.
    std::uint32_t Install();

    // Starts the product, records its version, tells the service and marks the installation as
    // complete. `startMode` is handed to the session agent.
    //
    // A code of InstallWyStartups(), StartServiceByName(), StartWySessionAgent() or PublishEvent().
    std::uint32_t PostInstall(int startMode);

    // Puts the former version back from its backup and starts it; a first installation leaves
    // what it has laid down.
    //
    // It does not ask how far the installation came, and that is meant so: without a backup of
    // this object, because PreInstall() failed before it or because this is PostInstall()'s object,
    // the install folder is deleted all the same, and the rename of the backup fails with
    // 0xe00e0018. What Install() did to the registry stays.
    //
    // Also 0xe00e0003 and the codes of DeleteFolder() and of the steps that start the product.
    std::uint32_t RollbackWy();

    // Whether the registered version is later than this build's, which refuses a re-install.
    static bool IsLaterVersionInstalled();

private:
    struct Version {
        std::uint32_t first = 0;   // major number in the upper 16 bits, minor in the lower
        std::uint32_t second = 0;  // the build
    };

    // An identity other than Tavrenox's never counts as installed.
    bool IsInstalled() const;

    std::uint32_t PreReInstall();
    static void ParseVersion(const std::wstring& text, Version& out);
    std::uint32_t BackupInstallFolder();
    std::uint32_t PreCheck() const;
    std::uint32_t CheckInstallKey() const;
    static bool InstallVcrt(const std::wstring& packageDir);

    static std::uint32_t Install(const std::wstring& installDir, const std::wstring& packageDir,
                                 bool isReinstall, const std::wstring& productId,
                                 const std::wstring& vendorId, bool deployRegistry);
    // The tools of a re-install may be running: they wait in a second folder for the next start of
    // the system.
    static std::uint32_t InstallExternalTools(const std::wstring& packageDir, bool isReinstall);

    std::uint32_t StartWy(int startMode) const;
    void PublishUsage(const std::wstring& oldVersion) const;
    static bool IsRunningInSystemSession();
    // A failure is logged and no more.
    static void SetInstallStatus(InstallStatus status);

    std::wstring m_strInstallDir;
    std::wstring m_strPackageDir;
    std::wstring m_strProductId;
    std::wstring m_strVendorId;
    std::wstring m_strBackupDir;  // empty until BackupInstallFolder() has run in this object
    bool m_bReinstall = false;
    bool m_bTavrenoxMode;
};

}  // namespace WyDeployHelper::SetupHelper
