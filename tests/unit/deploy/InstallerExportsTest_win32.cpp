// The three functions of the library that install and remove: what they do with their phases.

#include <WySdk/WySdk.h>

#include <boost/thread/mutex.hpp>

#include "WySdk/SdkState.h"
#include "unit/deploy/SetupFixture_win32.h"

namespace {

using deploy_test::kProcessesStay;
using deploy_test::kRenameFailed;
using deploy_test::kSuccess;
using deploy_test::kTavrenoxKey;
using deploy_test::Lines;
using deploy_test::PutValue;
using deploy_test::Value;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SetupExports : public deploy_test::SetupFixture {
protected:
    void SetUp() override {
        SetupFixture::SetUp();
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
        m_Machine.onStep = [this](const std::wstring& step) {
            const boost::mutex::scoped_try_lock lock(g_ApiMutex);
            // The functions keep the main log elsewhere, from before they take the lock; here it
            // goes on.
            if (IsOfLog(step)) {
                EXPECT_TRUE(lock.owns_lock());
                return;
            }
            g_pDebugLog = &m_Log;
            ++(lock.owns_lock() ? m_iFreeSteps : m_iLockedSteps);
        };
    }

    // Calls WyInstall for the folders "package" and "install"; `m_strUsed` takes the folder.
    std::uint32_t Install() { return Install(m_Package.wstring(), m_Install.wstring()); }
    std::uint32_t Install(const std::wstring& packageDir, const std::wstring& installDir) {
        Begin();
        wchar_t* used = nullptr;
        const std::uint32_t result =
            WyInstall(L"1000", L"vendor", packageDir.c_str(), installDir.c_str(), &used);
        g_pDebugLog = &m_Log;
        m_strUsed = used != nullptr ? used : L"(none)";
        LocalFree(used);
        return result;
    }
    std::uint32_t Uninstall() {
        Begin();
        const std::uint32_t result = WyUninstall();
        g_pDebugLog = &m_Log;
        return result;
    }
    void Begin() {
        m_Machine.ClearSteps();
        m_Log.Clear();
        m_iLockedSteps = 0;
        m_iFreeSteps = 0;
    }
    static bool IsOfLog(const std::wstring& step) {
        return step.find(L"\\krdbg") != std::wstring::npos;
    }
    // Without those of the main log.
    Lines OwnSteps() const {
        Lines steps = Steps();
        steps.erase(std::remove_if(steps.begin(), steps.end(), IsOfLog), steps.end());
        return steps;
    }
    Lines ExportsLog() const { return ShortLog("Exports_Deployment"); }
    // Where the main log is kept meanwhile, as long as the test lasts.
    std::filesystem::path MoveTemporaryFiles() {
        const std::filesystem::path folder = m_Folder.Path() / L"Temp";
        std::filesystem::create_directories(folder);
        SetEnvironmentVariableW(L"TMP", folder.c_str());
        return folder;
    }
    void TearDown() override {
        SetEnvironmentVariableW(L"TMP", m_strFormerTemp.c_str());
        SetupFixture::TearDown();
    }
    static bool IsLockFree() { return boost::mutex::scoped_try_lock(g_ApiMutex).owns_lock(); }

    const std::wstring m_strFormerTemp = std::filesystem::temp_directory_path().wstring();
    std::wstring m_strUsed;
    int m_iLockedSteps = 0;  // while the lock of the functions was held
    int m_iFreeSteps = 0;
};

// ---- WyInstall

TEST_F(SetupExports, install_lays_the_product_down_under_the_lock) {
    PutPackage();
    EXPECT_EQ(Install(), kSuccess);
    EXPECT_EQ(m_strUsed, m_Install.wstring());
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductId"), L"1000");
    EXPECT_EQ(Value(kTavrenoxKey, L"VendorId"), L"vendor");
    EXPECT_EQ(Status(), 1);
    EXPECT_GT(m_iLockedSteps, 0);
    EXPECT_EQ(m_iFreeSteps, 0);
    EXPECT_TRUE(IsLockFree());
    EXPECT_THAT(ExportsLog(), IsEmpty());
    EXPECT_EQ(WyInstall(L"1", L"2", m_Package.c_str(), m_Install.c_str(), nullptr), kSuccess);
    g_pDebugLog = &m_Log;
}

TEST_F(SetupExports, install_without_a_text_does_nothing) {
    PutPackage();
    const wchar_t* const package = m_Package.c_str();
    const wchar_t* const install = m_Install.c_str();
    const struct {
        const wchar_t* productId;
        const wchar_t* vendorId;
        const wchar_t* packageDir;
        const wchar_t* installDir;
    } rows[] = {{nullptr, L"2", package, install},
                {L"1", nullptr, package, install},
                {L"1", L"2", nullptr, install},
                {L"1", L"2", package, nullptr}};
    for (const auto& row : rows) {
        wchar_t former[] = L"former";
        wchar_t* used = former;
        EXPECT_EQ(WyInstall(row.productId, row.vendorId, row.packageDir, row.installDir, &used),
                  0xe0ff0007U);
        EXPECT_EQ(used, nullptr);
        EXPECT_EQ(ExportsLog().back(), L"256 !WySdk: [ERROR] Invalid param...");
    }
    EXPECT_THAT(Steps(), IsEmpty());
}

HLOCAL WINAPI NoBlock(UINT, SIZE_T) {
    return nullptr;
}

TEST_F(SetupExports, install_without_memory_for_the_name_of_its_folder_is_a_success) {
    PutPackage();
    const test_support::IatPatch patch(GetModuleHandleW(nullptr), "kernel32.dll", "LocalAlloc",
                                       NoBlock);
    EXPECT_EQ(Install(), kSuccess);
    EXPECT_EQ(m_strUsed, L"(none)");
    EXPECT_THAT(ExportsLog(), ElementsAre(L"256 !WySdk: [ERROR] No memory for the name of the "
                                          L"install folder..."));
}

TEST_F(SetupExports, install_logs_by_the_settings_of_the_package) {
    const std::filesystem::path folder = MoveTemporaryFiles();
    PutPackage();
    PutFile(m_Package / Tree() / L"product" / L"krdbg.ini", "[OfThePackage]\r\n");
    EXPECT_EQ(Install(), kSuccess);
    EXPECT_EQ(Content(folder / L"krdbg.ini").find("[OfThePackage]"), 0U);
}

TEST_F(SetupExports, install_without_a_folder_names_an_empty_one) {
    PutPackage();
    EXPECT_EQ(Install(m_Package.wstring(), L""), 0xe0ff0008U);
    EXPECT_EQ(m_strUsed, L"");
    EXPECT_THAT(OwnSteps(), ElementsAre(L"Status 1", L"Status 1"));
    EXPECT_EQ(Status(), 1);
    EXPECT_THAT(ExportsLog(), IsEmpty()) << "the rollback is told of behind Install() alone";
}

TEST_F(SetupExports, install_over_a_product_names_its_folder) {
    PutPackage();
    PutInstalled();
    EXPECT_EQ(Install(m_Package.wstring(), L"D:\\elsewhere"), kSuccess);
    EXPECT_EQ(m_strUsed, m_Install.wstring());
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
    EXPECT_TRUE(Exists(m_Backup / L"old.txt"));
}

TEST_F(SetupExports, install_that_is_refused_rolls_back_and_keeps_its_code) {
    PutPackage();
    PutInstalled(L"3.1.1159");
    EXPECT_EQ(Install(), 0xe00e000cU);
    EXPECT_EQ(m_strUsed, m_Install.wstring());
    EXPECT_FALSE(Exists(m_Install)) << "there was no backup to come back";
    EXPECT_EQ(Status(), 3);
    EXPECT_THAT(ExportsLog(), IsEmpty());
}

TEST_F(SetupExports, install_that_fails_brings_the_former_version_back) {
    PutPackage();
    PutInstalled();
    m_Machine.failures = {{L"CopyFile @\\install\\new.txt", {ERROR_DISK_FULL}}};
    EXPECT_EQ(Install(), 0xe00e0014U);
    EXPECT_THAT(
        ExportsLog(),
        ElementsAre(L"256 !WySdk: [ERROR] Install error, now rollback. retCode = 0xe00e0014"));
    EXPECT_EQ(m_strUsed, m_Install.wstring());
    EXPECT_EQ(Content(m_Install / L"old.txt"), "old");
    EXPECT_EQ(Status(), 2);
    EXPECT_TRUE(IsLockFree());
}

TEST_F(SetupExports, install_drops_the_result_of_its_rollback) {
    PutPackage();
    PutInstalled();
    m_Machine.failures = {{L"CopyFile @\\install\\new.txt", {ERROR_DISK_FULL}},
                          {L"Rename @\\WyvarionBackup -> @\\install", {EACCES}}};
    EXPECT_EQ(Install(), 0xe00e0014U);
    EXPECT_EQ(Status(), 3);
    EXPECT_TRUE(Exists(m_Backup / L"old.txt"));
}

TEST_F(SetupExports, first_install_that_fails_leaves_what_it_has_done) {
    PutPackage();
    m_Machine.failures = {{L"CopyFile @\\install\\new.txt", {ERROR_DISK_FULL}}};
    EXPECT_EQ(Install(), 0xe00e0014U);
    EXPECT_EQ(Steps().back(), L"Status 1");
    EXPECT_EQ(Value(kTavrenoxKey, L"Deployed"), L"new");
    EXPECT_TRUE(Exists(m_Install));
}

// ---- WyPostInstall

TEST_F(SetupExports, post_install_takes_all_from_the_registry_and_no_lock) {
    PutPackage();
    EXPECT_EQ(Install(), kSuccess);
    Begin();
    m_Machine.mailResults = {0x20ff0123};
    EXPECT_EQ(WyPostInstall(), 0x20ff0123U);
    EXPECT_THAT(Steps(), Contains(L"Run \"@\\install\\WySessionAgent_P.exe\" 3"));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(m_iLockedSteps, 0);
    EXPECT_GT(m_iFreeSteps, 0);
    EXPECT_THAT(ExportsLog(), IsEmpty());
    EXPECT_THAT(ShortLog("WyInstaller"),
                Contains(L"1 [INFO] PackageDir: , InstallDir: @\\install"));
}

// The folder of the running program does not stand in for it.
TEST_F(SetupExports, post_install_without_a_registered_folder_works_in_none) {
    EXPECT_EQ(WyPostInstall(), kSuccess);
    EXPECT_THAT(ShortLog("WyInstaller"), ElementsAre(L"1 [INFO] PackageDir: , InstallDir: "));
    EXPECT_THAT(Steps(), Contains(L"Run \"\\WySessionAgent_P.exe\" 3"));
}

TEST_F(SetupExports, post_install_that_fails_deletes_an_installed_product) {
    PutInstalled();
    m_Machine.mailResults = {0xe00106ba};
    EXPECT_EQ(WyPostInstall(), 0xe0fe06baU) << "and not the code of the rollback";
    EXPECT_THAT(
        ExportsLog(),
        ElementsAre(L"256 !WySdk: [ERROR] Post install error, now rollback. retCode = 0xe0fe06ba"));
    EXPECT_FALSE(Exists(m_Install));
    EXPECT_EQ(Status(), 3);
}

TEST_F(SetupExports, post_install_that_fails_leaves_a_first_installation) {
    PutPackage();
    EXPECT_EQ(Install(), kSuccess);
    m_Machine.manager.createErrors = {ERROR_ACCESS_DENIED};
    EXPECT_EQ(WyPostInstall(), 0xe0fe0005U);
    EXPECT_EQ(Content(m_Install / L"new.txt"), "new");
    EXPECT_EQ(Status(), 1);
}

// ---- WyUninstall

TEST_F(SetupExports, uninstall_removes_the_product_under_the_lock) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    PutInstalled();
    PutFile(m_Backup / L"older.txt");
    EXPECT_EQ(Uninstall(), kSuccess);
    EXPECT_FALSE(Exists(m_Install));
    EXPECT_EQ(Value(kTavrenoxKey, L"ProductGuid"), L"(none)");
    EXPECT_TRUE(Exists(m_Backup / L"older.txt"));
    EXPECT_GT(m_iLockedSteps, 0);
    EXPECT_EQ(m_iFreeSteps, 0);
    EXPECT_TRUE(IsLockFree());
}

TEST_F(SetupExports, uninstall_logs_by_the_settings_of_the_product) {
    const std::filesystem::path folder = MoveTemporaryFiles();
    PutInstalled();
    PutFile(m_Install / L"krdbg.ini", "[OfTheProduct]\r\n");
    EXPECT_EQ(Uninstall(), kSuccess);
    EXPECT_EQ(Content(folder / L"krdbg.ini").find("[OfTheProduct]"), 0U);
}

TEST_F(SetupExports, uninstall_ends_behind_a_first_part_that_fails) {
    PutInstalled();
    m_Machine.watchdogError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Uninstall(), kProcessesStay);
    EXPECT_TRUE(Exists(m_Install / L"old.txt"));
    EXPECT_EQ(Steps().back(), L"StopWatchdog");

    m_Machine.watchdogError = ERROR_FILE_NOT_FOUND;
    PutValue(deploy_test::kRunKey, L"Tavrenox", L"line");
    m_Machine.failures = {{L"DeleteValue Tavrenox", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(Uninstall(), 0xe00e0005U);
    EXPECT_TRUE(Exists(m_Install / L"old.txt"));
    EXPECT_NE(Value(kTavrenoxKey, L"ProductGuid"), L"(none)");
    m_Machine.failures.clear();
    EXPECT_EQ(Uninstall(), kSuccess);
}

TEST_F(SetupExports, uninstall_fails_with_the_keys_that_stay) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    PutInstalled();
    m_Machine.failures = {{L"DeleteKey HKLM Software\\KorvexData", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(Uninstall(), 0xe00e0016U);
    EXPECT_FALSE(Exists(m_Install));
}

// ---- both

TEST_F(SetupExports, file_in_use_at_the_removal_refuses_the_next_installation) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    PutPackage();
    PutInstalled();
    m_Machine.failures = {{L"DeleteFile @\\install\\old.txt", {ERROR_SHARING_VIOLATION}}};
    EXPECT_EQ(Uninstall(), kSuccess);
    EXPECT_EQ(Install(), 0xe00e000aU);
    EXPECT_EQ(Status(), 1);
    // The next start of the system deletes the mark.
    std::filesystem::remove(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
    EXPECT_EQ(Install(), kSuccess);
}

}  // namespace
