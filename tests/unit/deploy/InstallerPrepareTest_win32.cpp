// What an installation finds, decides and checks before its first file.

#include "unit/deploy/SetupFixture_win32.h"

namespace {

using deploy_test::kProductCode;
using deploy_test::kProgramsKey;
using deploy_test::kRenameFailed;
using deploy_test::kSuccess;
using deploy_test::kTavrenoxKey;
using deploy_test::Lines;
using deploy_test::PutValue;
using deploy_test::Value;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kLater = 0xe00e000c;

class Installer : public deploy_test::InstallerFixture {
protected:
    const std::wstring m_strCreateKey = L"CreateKey " + kTavrenoxKey;
};

// ---- the folders

TEST_F(Installer, first_installation_goes_where_it_is_told) {
    EXPECT_EQ(SetDirectory(), m_Install.wstring());
    SetDirectory();
    std::wstring used;
    m_Installer.SetDirectory(L"D:\\any\\", L"E:\\package\\", used);
    EXPECT_EQ(used, L"D:\\any\\");
    EXPECT_THAT(InstallerLog(),
                ElementsAre(L"1 [INFO] PackageDir: E:\\package\\, InstallDir: D:\\any\\"));
    EXPECT_THAT(Steps(), IsEmpty());
}

TEST_F(Installer, installed_product_stays_where_it_is) {
    PutInstalled();
    std::wstring used;
    m_Installer.SetDirectory(L"D:\\any", L"E:\\package", used);
    EXPECT_EQ(used, m_Install.wstring());
    EXPECT_THAT(InstallerLog(),
                ElementsAre(L"1 [INFO] The wyvarion product is already installed...",
                            L"1 [INFO] PackageDir: E:\\package, InstallDir: @\\install"));
}

TEST_F(Installer, installed_product_without_a_folder_counts_as_in_that_of_this_program) {
    PutInstalled();
    PutValue(kTavrenoxKey, L"ProductPath", L"");
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    EXPECT_EQ(SetDirectory(), std::filesystem::path(path).parent_path().wstring());
}

TEST_F(Installer, product_counts_as_installed_by_code_identity_and_entry_of_the_programs) {
    const struct {
        const char* what;
        const wchar_t* identity;
        const wchar_t* code;  // null: no value
        bool entry;
        DWORD openError;
        bool installed;
    } rows[] = {
        {"all", L"Tavrenox", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}", true, 0, true},
        {"other case", L"Tavrenox", L"{3d5a91c2-6e0b-4f17-a2c8-91b7e04d3f6a}", true, 0, true},
        {"no code", L"Tavrenox", nullptr, true, 0, false},
        {"empty code", L"Tavrenox", L"", true, 0, false},
        {"other code", L"Tavrenox", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6B}", true, 0, false},
        {"code and more", L"Tavrenox", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A} ", true, 0, false},
        {"no entry", L"Tavrenox", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}", false, 0, false},
        {"entry that cannot be read", L"Tavrenox", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}", false,
         ERROR_ACCESS_DENIED, true},
        {"Wyvarion", L"Wyvarion", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}", true, 0, false},
        {"Mirdoshale", L"Mirdoshale", L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}", true, 0, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Clear();
        m_Machine.failures.clear();
        Frwk::Mode::SetWyvarionId(row.identity);
        const std::wstring key = std::wstring(L"SOFTWARE\\KorvexData\\") + row.identity;
        if (row.code != nullptr)
            PutValue(key, L"ProductGuid", row.code);
        PutValue(key, L"ProductPath", L"C:\\registered");
        if (row.entry)
            PutValue(kProgramsKey + kProductCode, L"DisplayVersion", L"1");
        m_Machine.failures[L"OpenKey " + kProgramsKey + kProductCode] = {row.openError};
        m_Log.Clear();
        CWyInstaller installer(L"1", L"2");
        std::wstring used;
        installer.SetDirectory(L"C:\\given", L"C:\\package", used);
        EXPECT_EQ(used, row.installed ? L"C:\\registered" : L"C:\\given");
        EXPECT_EQ(InstallerLog().size(), row.installed ? 2U : 1U);
    }
}

// ---- versions

TEST_F(Installer, only_a_later_version_refuses) {
    const struct {
        const wchar_t* installed;  // against 3.1.1158
        bool later;
    } rows[] = {
        {L"3.1.1158", false},
        {L"3.1.1159", true},
        {L"3.1.1157", false},
        {L"3.0.9999", false},
        {L"3.2.0", true},
        {L"2.9.9999", false},
        {L"4.0.0", true},
        {L"", false},
        // Four numbers: the third plays no part.
        {L"3.1.0.2000", true},
        {L"3.1.9999.1158", false},
        {L"3.1.1158.1", false},
        {L"3.1.0.1159", true},
        {L"3.2.0.0", true},
        // Any other count is no version.
        {L"9", false},
        {L"9.9", false},
        {L"9.9.9.9.9", false},
        // Empty numbers do not count.
        {L"3..1.1159", true},
        {L".3.1...1159", true},
        {L"3.1.1159.", true},
        {L"3.1.2.1159. ", true},
        {L"9..9", false},
        {L"3.1..2000", true},
        {L"...", false},
        // What is no number is 0, and a number ends where its digits do.
        {L"a.b.c", false},
        {L"3.x.9999", false},
        {L"3.1.x", false},
        {L"3.1.1159beta", true},
        {L"3.1. 1159", true},
        {L"x.1.9999", false},
        // Without a sign, 32 bits wide, the first in the upper half and the second over both.
        {L"3.1.-1", true},
        {L"-1.0.0", true},
        {L"3.1.2147483647", true},
        {L"3.-1.0", true},
        {L"32768.0.0", true},
        {L"65539.1.1158", false},
        {L"65539.1.1159", true},
        {L"2.65537.1159", true},
        {L"3.65537.1158", false},
    };
    // What comes next fails, so that no row does more.
    m_Machine.watchdogError = ERROR_ACCESS_DENIED;
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.installed)));
        SetReinstall(row.installed);
        EXPECT_EQ(m_Installer.PreInstall(), row.later ? kLater : deploy_test::kProcessesStay);
        const std::wstring line = std::wstring(L"1 [INFO] Product version check. Old version: ") +
                                  row.installed + L"New version:3.1.1158";
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(line, row.later ? L"256 [ERROR] A later version is already "
                                                  L"installed in this computer..."
                                                : L"256 [ERROR] Terminate exe failed..."));
        EXPECT_EQ(Did(L"StopWatchdog"), !row.later);
    }
}

TEST_F(Installer, version_that_is_not_registered_is_never_later) {
    PutInstalled();
    const HKEY key = [] {
        HKEY opened = nullptr;
        const bool view = KrCommon::Storage::Reg::ProductView() != 0;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, kTavrenoxKey.c_str(), 0,
                      KEY_ALL_ACCESS | (view ? KEY_WOW64_64KEY : 0), &opened);
        return opened;
    }();
    RegDeleteValueW(key, L"ProductVersion");
    RegCloseKey(key);
    SetDirectory();
    m_Machine.watchdogError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(m_Installer.PreInstall(), deploy_test::kProcessesStay);
    EXPECT_EQ(InstallerLog().front(),
              L"1 [INFO] Product version check. Old version: New version:3.1.1158");
}

// ---- what stands in the way

TEST_F(Installer, empty_folders_are_refused_before_anything_else) {
    m_Machine.watchdogError = ERROR_ACCESS_DENIED;
    PutFile(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
    const struct {
        std::wstring installDir;
        std::wstring packageDir;
    } rows[] = {{L"", m_Package.wstring()}, {m_Install.wstring(), L""}, {L"", L""}};
    for (const auto& row : rows) {
        m_Machine.ClearSteps();
        std::wstring used = L"former";
        m_Installer.SetDirectory(row.installDir, row.packageDir, used);
        m_Log.Clear();
        EXPECT_EQ(used, row.installDir);
        EXPECT_EQ(m_Installer.PreInstall(), 0xe0ff0008U);
        EXPECT_THAT(InstallerLog(), ElementsAre(L"256 [ERROR] The path is invalid..."));
        EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
        EXPECT_EQ(Status(), 1);
        EXPECT_EQ(m_Installer.RollbackWy(), kSuccess);
        EXPECT_EQ(Status(), 1);
    }
    EXPECT_FALSE(Exists(m_Install));
}

TEST_F(Installer, pending_restart_refuses_every_installation) {
    PutFile(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
    PutPackage();
    for (const bool installed : {false, true}) {
        if (installed)
            PutInstalled(L"9.9.9");
        SetDirectory();
        EXPECT_EQ(m_Installer.PreInstall(), 0xe00e000aU);
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(L"16 [WARN] Need to reboot computer before install..."));
        EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
    }
}

TEST_F(Installer, pending_restart_matters_to_one_identity_alone) {
    PutFile(m_Folder.Path() / L"Windows" / L"temp" / L"WyvarionTemp.dat");
    PutFile(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
    PutPackage();
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    CWyInstaller installer(L"1", L"2");
    std::wstring used;
    installer.SetDirectory(m_Install.wstring(), m_Package.wstring(), used);
    EXPECT_EQ(installer.PreInstall(), kSuccess);
}

// ---- re-install

TEST_F(Installer, reinstall_ends_the_product_moves_it_and_takes_away_what_starts_it) {
    PutPackage();
    PutShortcuts(m_Install);
    PutFile(m_Backup / L"older.txt");
    SetReinstall(L"3.0.9999");
    EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
    EXPECT_THAT(Steps(), ElementsAre(L"Status 1", L"StopWatchdog", L"Remove @\\WyvarionBackup",
                                     L"Rename @\\install -> @\\WyvarionBackup", L"DeleteService",
                                     L"Run \"@\\WyvarionBackup\\Shortcut_P.exe\" -Delete "
                                     L"\"@\\WyvarionBackup\" \"@\\WyvarionBackup\\" +
                                         Description() + L"\"",
                                     L"DeleteValue Tavrenox"));
    EXPECT_TRUE(Exists(m_Backup / L"old.txt"));
    EXPECT_FALSE(Exists(m_Backup / L"older.txt"));
    EXPECT_TRUE(Exists(m_Install)) << "made anew";
    EXPECT_FALSE(Exists(m_Install / L"old.txt"));
    EXPECT_EQ(Status(), 1);
    EXPECT_THAT(InstallerLog(), ElementsAre(L"1 [INFO] Product version check. Old version: "
                                            L"3.0.9999New version:3.1.1158"));
}

TEST_F(Installer, backup_lies_beside_the_install_folder) {
    PutPackage();
    PutInstalled();
    PutFile(m_Install / L"sub" / L"old.txt");
    PutValue(kTavrenoxKey, L"ProductPath", (m_Install / L"sub").wstring() + L"\\");
    SetDirectory();
    m_Machine.failures[L"Rename @\\install\\sub\\ -> @\\install\\WyvarionBackup"] = {EACCES};
    EXPECT_EQ(m_Installer.PreInstall(), kRenameFailed);
    EXPECT_TRUE(Did(L"Rename @\\install\\sub\\ -> @\\install\\WyvarionBackup"));
}

TEST_F(Installer, first_installation_leaves_a_backup_alone) {
    PutPackage();
    PutFile(m_Backup / L"older.txt");
    PutFile(m_Install / L"there.txt");
    SetDirectory();
    EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
    EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
    EXPECT_TRUE(Exists(m_Backup / L"older.txt"));
    EXPECT_TRUE(Exists(m_Install / L"there.txt"));
}

TEST_F(Installer, other_identity_is_installed_over_itself) {
    PutPackage();
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    PutValue(L"SOFTWARE\\KorvexData\\Wyvarion", L"ProductGuid", kProductCode);
    PutValue(L"SOFTWARE\\KorvexData\\Wyvarion", L"ProductVersion", L"9.9.9");
    PutValue(kProgramsKey + kProductCode, L"DisplayVersion", L"9.9.9");
    CWyInstaller installer(L"1", L"2");
    std::wstring used;
    installer.SetDirectory(m_Install.wstring(), m_Package.wstring(), used);
    m_Machine.ClearSteps();
    EXPECT_EQ(installer.PreInstall(), kSuccess);
    EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
    EXPECT_FALSE(Exists(m_Backup));
}

TEST_F(Installer, reinstall_ends_at_the_step_that_fails) {
    const std::wstring version =
        L"1 [INFO] Product version check. Old version: 3.1.1158New version:3.1.1158";
    const std::wstring renamed = L"Rename @\\install -> @\\WyvarionBackup";
    const struct {
        const char* what;
        std::wstring call;
        DWORD error;
        std::uint32_t result;
        int status;
        Lines lines;
        Lines steps;
    } rows[] = {
        {"old backup, emptied and not removed",
         L"Remove @\\WyvarionBackup",
         ERROR_SHARING_VIOLATION,
         0xe0fe0020,
         1,
         {version, L"256 [ERROR] Backup install folder failed...retCode: 0xe0fe0020"},
         {L"Status 1", L"StopWatchdog", L"Remove @\\WyvarionBackup",
          L"AtRestart @\\WyvarionBackup"}},
        {"old backup that cannot be listed",
         L"Find @\\WyvarionBackup\\*",
         ERROR_ACCESS_DENIED,
         0xe0fe0005,
         1,
         {version, L"256 [ERROR] Backup install folder failed...retCode: 0xe0fe0005"},
         {L"Status 1", L"StopWatchdog"}},
        {"backup",
         renamed,
         EACCES,
         kRenameFailed,
         4,
         {version,
          L"256 [ERROR] _wrename failed... error code(C Style Error Code): 0xdOld name: "
          L"@\\install, New name: @\\WyvarionBackup",
          L"256 [ERROR] Backup install folder failed...retCode: 0xe00e0018"},
         {L"Status 1", L"StopWatchdog", L"Remove @\\WyvarionBackup", renamed, L"Status 4"}},
        {"autorun value",
         L"DeleteValue Tavrenox",
         ERROR_ACCESS_DENIED,
         0xe00e0005,
         1,
         {version},
         {L"Status 1", L"StopWatchdog", L"Remove @\\WyvarionBackup", renamed, L"DeleteService",
          L"DeleteValue Tavrenox"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        PutFile(m_Backup / L"older.txt");
        PutValue(deploy_test::kRunKey, L"Tavrenox", L"line");
        SetReinstall();
        m_Machine.failures = {{row.call, {row.error}}};
        EXPECT_EQ(m_Installer.PreInstall(), row.result);
        EXPECT_EQ(Status(), row.status);
        EXPECT_EQ(InstallerLog(), row.lines);
        EXPECT_EQ(Steps(), row.steps);
        m_Machine.failures.clear();
        std::filesystem::remove_all(m_Backup);
    }
}

TEST_F(Installer, reinstall_fails_with_the_service_that_stays) {
    SetReinstall();
    m_Machine.manager.failures["OpenServiceW"] = ERROR_ACCESS_DENIED;
    EXPECT_EQ(m_Installer.PreInstall(), 0xe0fe0005U) << "Setup.ini is not looked for";
    EXPECT_TRUE(Exists(m_Backup / L"old.txt"));
    EXPECT_FALSE(Exists(m_Install));
}

// ---- the package and the machine

TEST_F(Installer, package_without_a_setup_file_is_refused) {
    SetDirectory();
    EXPECT_EQ(m_Installer.PreInstall(), 0xe00e0013U);
    EXPECT_THAT(InstallerLog(), ElementsAre(L"256 [ERROR] Parse setup config file error..."));
    EXPECT_FALSE(Exists(m_Install));
    EXPECT_THAT(Steps(), ElementsAre(L"Status 1"));
}

TEST_F(Installer, package_folder_may_end_in_a_separator) {
    PutPackage();
    std::wstring used;
    m_Installer.SetDirectory(m_Install.wstring() + L"\\", m_Package.wstring() + L"\\", used);
    EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
    EXPECT_EQ(m_Installer.Install(), kSuccess);
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
}

std::string Demanding() {
    std::string text = "[Check]\r\nCheckOS=1\r\n";
    for (const char* section :
         {"CheckWinXP", "CheckWinVista", "CheckWin7", "CheckWin8", "CheckWin8.1", "CheckWin10"})
        text += std::string("[") + section + "]\r\nMinBuildNumber=4294967295\r\n";
    return text;
}

TEST_F(Installer, system_that_the_package_does_not_accept_is_refused) {
    PutPackage(Demanding());
    SetDirectory();
    EXPECT_EQ(m_Installer.PreInstall(), 0xe00e0012U);
    EXPECT_THAT(InstallerLog(),
                ElementsAre(L"256 [ERROR] Check all system items failed... RetCode = 0xe00e0012"));
    EXPECT_FALSE(Exists(m_Install));
}

TEST_F(Installer, other_identity_accepts_every_system) {
    PutPackage(Demanding());
    Frwk::Mode::SetWyvarionId(L"Mirdoshale");
    CWyInstaller installer(L"1", L"2");
    std::wstring used;
    installer.SetDirectory(m_Install.wstring(), m_Package.wstring(), used);
    EXPECT_EQ(installer.PreInstall(), kSuccess);
    EXPECT_TRUE(Exists(m_Install));
}

TEST_F(Installer, install_folder_that_cannot_be_made_is_a_failure) {
    PutPackage();
    PutValue(kTavrenoxKey + L"\\sub", L"kept", L"1");
    const struct {
        DWORD error;
        std::uint32_t result;
        const wchar_t* code;
    } rows[] = {{ERROR_ACCESS_DENIED, 0xe00e0011, L"0x5"}, {ERROR_DISK_FULL, 0xe0ff0001, L"0x70"}};
    for (const auto& row : rows) {
        SetDirectory();
        m_Machine.failures = {{L"CreateDirectory @\\install", {row.error}},
                              // The status comes first; the check of the key is not reached.
                              {m_strCreateKey, {0, ERROR_ACCESS_DENIED}}};
        EXPECT_EQ(m_Installer.PreInstall(), row.result);
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(L"256 [ERROR] Check file install path failed... ErrorCode=" +
                                std::wstring(row.code)));
    }
    EXPECT_EQ(Value(kTavrenoxKey + L"\\sub", L"kept"), L"1");
}

TEST_F(Installer, product_key_that_refuses_is_made_anew) {
    PutPackage();
    PutValue(kTavrenoxKey + L"\\sub", L"lost", L"1");
    SetDirectory();
    m_Machine.failures = {{m_strCreateKey, {0, ERROR_ACCESS_DENIED, 0}}};
    EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
    EXPECT_EQ(Value(kTavrenoxKey + L"\\sub", L"lost"), L"(none)");
    EXPECT_EQ(Status(), -1) << "gone with the rest";
    EXPECT_THAT(InstallerLog(), IsEmpty());
}

TEST_F(Installer, product_key_that_refuses_twice_is_a_failure) {
    PutPackage();
    const struct {
        DWORD second;
        std::uint32_t result;
        const wchar_t* code;
    } rows[] = {{ERROR_ACCESS_DENIED, 0xe00e0011, L"0x5"},
                {ERROR_NO_SYSTEM_RESOURCES, 0xe0ff0001, L"0x5aa"}};
    for (const auto& row : rows) {
        SetDirectory();
        m_Machine.failures = {{m_strCreateKey, {0, ERROR_BADKEY, row.second, 0}}};
        EXPECT_EQ(m_Installer.PreInstall(), row.result);
        EXPECT_THAT(InstallerLog(),
                    ElementsAre(L"256 [ERROR] Check registry install path failed... ErrorCode=" +
                                std::wstring(row.code)));
        EXPECT_TRUE(Exists(m_Install));
    }
}

TEST_F(Installer, status_that_cannot_be_stored_is_told_and_no_more) {
    PutPackage();
    SetDirectory();
    m_Machine.failures = {{L"Status 1", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(m_Installer.PreInstall(), kSuccess);
    EXPECT_EQ(Status(), -1);
    EXPECT_THAT(
        InstallerLog(),
        ElementsAre(L"256 [ERROR] KrCommon::Storage::Reg::StoreValueWithAllAccess failed... 0x5"));
}

}  // namespace
