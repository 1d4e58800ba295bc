#pragma once

// A package, a product that may be installed already, and the machine for both.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "deploy/WyInstaller.h"
#include "lib/wycommon/WyLocaleHelper.h"
#include "support/RunProgram.h"
#include "support/TemporaryFolder.h"
#include "unit/deploy/DeployFixture_win32.h"
#include "unit/deploy/SetupMachine_win32.h"

namespace deploy_test {

const std::wstring kTavrenoxKey = L"SOFTWARE\\KorvexData\\Tavrenox";
const std::wstring kSharedKey = L"SOFTWARE\\KorvexData\\Reamer";
const std::wstring kProductCode = L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}";
const std::wstring kProgramsKey = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr char kKeysElsewhere[] =
    "a 32-bit program does not reach the product's keys of a 64-bit system";
constexpr std::uint32_t kProcessesStay = 0xe00e0003;
constexpr std::uint32_t kRenameFailed = 0xe00e0018;

// The identity is Tavrenox, unless a test chooses another one; the product key is that of Tavrenox
// all the same.
class SetupFixture : public DeployFixture {
protected:
    // An installer takes its identity when it is made.
    SetupFixture() { Frwk::Mode::SetWyvarionId(L"Tavrenox"); }
    void SetUp() override {
        Clear();
        std::filesystem::create_directories(m_Package);
    }
    void TearDown() override {
        EXPECT_EQ(m_Machine.manager.openHandles, 0);
        EXPECT_EQ(m_Machine.guidTexts, 0);
        EXPECT_EQ(m_Machine.tasks.started, 0);
        m_Machine.failures.clear();
        Clear();
        Frwk::Mode::SetWyvarionId(L"Wyvarion");
    }

    static void Clear() {
        DeleteTree(L"SOFTWARE\\KorvexData");
        DeleteTree(kProgramsKey + kProductCode);
        DeleteTree(kProgramsKey + L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}");
        RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\KorvexData");
        RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\KorvexData");
    }

    static void PutFile(const std::filesystem::path& path, const std::string& text = "") {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    static bool Exists(const std::filesystem::path& path) {
        return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    }
    static std::string Content(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // A package with a file, a registry value, and external tools of all trees. `setup` stands in
    // Setup.ini.
    void PutPackage(const std::string& setup = "") const {
        PutFile(m_Package / L"Setup.ini", setup);
        PutFile(m_Package / L"InstCfg.xml",
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n<RegistryGroup>"
                "<RegistryValue Id=\"v\" Action=\"write\" AllAccess=\"yes\" Root=\"HKLM\" "
                "Key=\"SOFTWARE\\KorvexData\\Tavrenox\" Name=\"Deployed\" Value=\"new\" "
                "Type=\"string\"/></RegistryGroup>\n<FileGroup>"
                "<File Id=\"f\" Action=\"write\" Overwrite=\"yes\" Name=\"new.txt\" "
                "SourceDir=\"common\" TargetDir=\"\"/></FileGroup>\n</Product>\n");
        PutFile(m_Package / L"common" / L"new.txt", "new");
        // What reads the manifest comes from the package.
        std::filesystem::create_directories(XmlLibrary().parent_path());
        std::filesystem::copy_file(test_support::ProgramFolder() / "libexpat.dll", XmlLibrary(),
                                   std::filesystem::copy_options::overwrite_existing);
        for (const wchar_t* tree : {L"x64", L"win32", L"common"})
            PutFile(m_Package / tree / L"product" / L"External" / (std::wstring(tree) + L".txt"),
                    "tool");
    }

    // The names of the package's trees for this system and for the other kind.
    static std::wstring Tree() { return KrCommon::OsVersion::Is64Bit() ? L"x64" : L"win32"; }
    static std::wstring OtherTree() { return KrCommon::OsVersion::Is64Bit() ? L"win32" : L"x64"; }
    std::filesystem::path XmlLibrary() const {
        return m_Package / Tree() / L"foundation" / L"libexpat.dll";
    }

    // A product that counts as installed, in the folder "install".
    void PutInstalled(const std::wstring& version = L"3.1.1158") const {
        PutFile(m_Install / L"old.txt", "old");
        PutValue(kTavrenoxKey, L"ProductGuid", kProductCode);
        PutValue(kTavrenoxKey, L"ProductPath", m_Install.wstring());
        PutValue(kTavrenoxKey, L"ProductVersion", version);
        PutValue(kProgramsKey + kProductCode, L"DisplayVersion", version);
    }

    static void PutShortcuts(const std::filesystem::path& folder) {
        PutFile(folder / L"Shortcut_P.exe");
        PutFile(folder / Description());
    }
    static std::wstring Description() {
        std::wstring locale;
        WyCommon::Utility::GetLocaleName(locale, L"no such file");
        return L"Configuration\\Shortcut\\" + locale + L"\\Shortcut.xml";
    }

    // A removal deletes keys in this program's own half of the registry, and on a 64-bit system
    // those of the product lie in the other half for a 32-bit program.
    static bool KeysAreElsewhere() { return sizeof(void*) == 4 && KrCommon::OsVersion::Is64Bit(); }

    // The number InstallStatus; -1 without one.
    static int Status() {
        HKEY key = nullptr;
        if (RegOpenKeyExW(
                HKEY_LOCAL_MACHINE, kTavrenoxKey.c_str(), 0,
                KEY_READ | (KrCommon::Storage::Reg::ProductView() != 0 ? KEY_WOW64_64KEY : 0),
                &key) != ERROR_SUCCESS)
            return -1;
        DWORD number = 0;
        DWORD size = sizeof number;
        const LSTATUS read = RegQueryValueExW(key, L"InstallStatus", nullptr, nullptr,
                                              reinterpret_cast<BYTE*>(&number), &size);
        RegCloseKey(key);
        return read == ERROR_SUCCESS ? static_cast<int>(number) : -1;
    }

    // The lines of a source, the test's folder written "@".
    Lines ShortLog(const std::string& source) const {
        Lines lines = Log(source);
        for (std::wstring& line : lines)
            line = m_Machine.Short(line);
        return lines;
    }
    std::vector<std::wstring> Steps() const { return m_Machine.Steps(); }
    bool Did(const std::wstring& step) const {
        const auto steps = Steps();
        return std::find(steps.begin(), steps.end(), step) != steps.end();
    }

    test_support::TemporaryFolder m_Folder{L"wy setup"};
    const std::filesystem::path m_Package = m_Folder.Path() / L"package";
    const std::filesystem::path m_Install = m_Folder.Path() / L"install";
    const std::filesystem::path m_Backup = m_Folder.Path() / L"WyvarionBackup";
    const std::filesystem::path m_Data = m_Folder.Path() / L"Common" / L"Korvex Data" / L"Tavrenox";
    SetupMachine m_Machine{m_Folder.Path().wstring()};
};

class InstallerFixture : public SetupFixture {
protected:
    using CWyInstaller = WyDeployHelper::SetupHelper::CWyInstaller;

    // Prepares for the folders "install" and "package"; returns the folder that is really used.
    std::wstring SetDirectory() {
        std::wstring used;
        m_Installer.SetDirectory(m_Install.wstring(), m_Package.wstring(), used);
        m_Machine.ClearSteps();
        m_Log.Clear();
        return used;
    }
    // The same for a product that is installed.
    void SetReinstall(const std::wstring& version = L"3.1.1158") {
        PutInstalled(version);
        SetDirectory();
    }
    // Up to and with the first phase.
    void Prepare() {
        EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
        m_Machine.ClearSteps();
        m_Log.Clear();
    }
    Lines InstallerLog() const { return ShortLog("WyInstaller"); }

    CWyInstaller m_Installer{L"1000", L"vendor"};
};

}  // namespace deploy_test
