#pragma once

// Taking the product off the machine. For Windows builds alone.
//
// What stays, and is meant to: "WyvarionBackup" beside the install folder, the folders "Korvex
// Data" above the data folders, the product's two entries in the system's list of programs, the
// maker's key while another product or the shared key lies in it, the data of other users, and the
// mark of a pending restart.

#include <cstdint>
#include <string>
#include <vector>

namespace WyDeployHelper::RemoveHelper {

// One removal, for the length of one call of an application.
//
//     CWyRemover remover;
//     if (Succeeded(remover.PreRemove(installDir)))
//         remover.Remove();
//
// A removal goes as far as it can: what is not said to be a failure below is logged and passed
// over. Results are result codes as of KrComn_Result.h. Raises std::bad_alloc alone. Belongs to one
// thread.
class CWyRemover {
public:
    CWyRemover();
    CWyRemover(const CWyRemover&) = delete;
    CWyRemover& operator=(const CWyRemover&) = delete;
    virtual ~CWyRemover();

    // Tells the service, ends everything of the product and takes away what starts it.
    //
    // 0xe00e0003 when the processes cannot be ended, and then nothing of the rest is done.
    // Otherwise the result of UninstallWyStartups().
    std::uint32_t PreRemove(const std::wstring& installDir);

    // Deletes the folders and then the keys of the product, in the folder given to PreRemove().
    //
    // A folder in use is left to the next start of the system. 0xe00e0016 when the keys under
    // HKEY_LOCAL_MACHINE or under HKEY_CURRENT_USER cannot be deleted, 0x20ff0000 otherwise.
    std::uint32_t Remove();

    // Tells the service that the product goes. A service that does not run is started for it; the
    // code of the step that failed, or of the service.
    static std::uint32_t PublishEvent();

private:
    // In the order of their removal. The whole list is made before the first goes, since where the
    // logs lie stands in a file of the install folder.
    std::vector<std::wstring> Folders() const;

    std::wstring m_strInstallDir;
    bool m_bTavrenoxMode;
};

}  // namespace WyDeployHelper::RemoveHelper
