#pragma once

// What a package demands of the machine and of its own set-up: the package's Setup.ini.
//
//     [Check]
//     CheckOS=1            "1" switches the check of the operating system on, anything else off
//     OS=Win7              the lowest system: WinVista, Win7, Win8 or Win8.1; any other text, and
//                          none, means Windows XP with Service Pack 2
//
//     [CheckWin7]          one section for each system: CheckWinVista, CheckWin7, CheckWin8,
//                          CheckWin8.1, CheckWin10, and CheckWinXP for all others
//     ServicePack=1        the lowest service pack on this system, 0 for none
//     MinBuildNumber=7601  the lowest build of this system, 0 for none
//
//     [MsiConfig]
//     ShowWyEula=1         for the set-up program; nothing here asks for it
//     UpdateRegistry=1     "0": a re-install leaves the registry items of the manifest alone
//
// Keys that are missing leave a text empty, a number 0, and the two of MsiConfig "1".

#include <cstdint>
#include <string>

namespace KrCommon::Storage {
class Base;
class Key;
}  // namespace KrCommon::Storage

namespace WyDeployHelper::SetupHelper {

// The content of one Setup.ini, as far as this machine is concerned.
//
// Not for several threads: whoever reads a file while others look at the object locks around both.
class CSetupConfig {
public:
    CSetupConfig() = default;
    CSetupConfig(const CSetupConfig&) = delete;
    CSetupConfig& operator=(const CSetupConfig&) = delete;
    virtual ~CSetupConfig();

    // Reads the file, section by section; of the six sections for systems only the one of the
    // running system. `path` is a whole path: a bare name would be looked for in two places.
    //
    // True when all was read. False when there is no such file, and then nothing has changed; and
    // when the store raises or memory is short, and then the values read before that are the new
    // ones and those after it the old ones. Both leave a line in the log.
    bool ReadConfig(const std::wstring& path) noexcept;

    // False until ReadConfig() has found the check switched on.
    bool IsOsChecked() const noexcept { return m_bCheckOs; }
    const std::wstring& GetOs() const noexcept { return m_strOs; }
    std::uint32_t GetServicePack() const noexcept { return m_uiServicePack; }
    std::uint32_t GetMinBuildNumber() const noexcept { return m_uiMinBuildNumber; }
    const std::wstring& GetShowWyEula() const noexcept { return m_strShowWyEula; }
    // A copy, that of the last read.
    std::wstring GetUpdateRegistry() const { return m_strUpdateRegistry; }

private:
    void ReadSections(KrCommon::Storage::Base& store, const KrCommon::Storage::Key& key);

    bool m_bCheckOs = false;
    std::wstring m_strOs;
    std::uint32_t m_uiServicePack = 0;
    std::uint32_t m_uiMinBuildNumber = 0;
    std::wstring m_strShowWyEula;
    std::wstring m_strUpdateRegistry;
};

// The object of this process. The installer reads the package's file into it under the lock of its
// export, and the system check looks at it.
extern CSetupConfig g_SetupConfig;

}  // namespace WyDeployHelper::SetupHelper
