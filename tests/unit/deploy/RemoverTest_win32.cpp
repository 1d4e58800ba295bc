// Taking the product off the machine.

#include "deploy/WyRemover.h"

#include "Common/KrCommon/KrComn_OsVersion.h"
#include "support/FileFixture_win32.h"
#include "support/ProcessFigures.h"
#include "unit/deploy/SetupFixture_win32.h"

namespace {

using deploy_test::kProcessesStay;
using deploy_test::kProductCode;
using deploy_test::kProgramsKey;
using deploy_test::kRunKey;
using deploy_test::kSharedKey;
using deploy_test::kSuccess;
using deploy_test::kTavrenoxKey;
using deploy_test::Lines;
using deploy_test::PutValue;
using deploy_test::Value;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using WyDeployHelper::RemoveHelper::CWyRemover;

constexpr std::uint32_t kNoService = 0xe0fe06ba;
constexpr std::uint32_t kKeysStay = 0xe00e0016;
const std::wstring kBegin = L"1 [INFO] Uninstall Wyvarion...";
const std::wstring kGoingMail = L"Mail {\"eventId\":15}";

bool KeyExists(HKEY root, const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

class Remover : public deploy_test::SetupFixture {
protected:
    Lines RemoverLog() const { return ShortLog("WyRemover"); }

    std::uint32_t PreRemove() {
        m_Machine.ClearSteps();
        m_Log.Clear();
        return m_Remover.PreRemove(m_Install.wstring());
    }
    // Removes what PreRemove() was told.
    std::uint32_t Remove() {
        PreRemove();
        m_Machine.ClearSteps();
        m_Log.Clear();
        return m_Remover.Remove();
    }
    // The folders that this product has, with a file in each.
    void PutFolders() const {
        for (const std::filesystem::path& folder :
             {m_Install, m_Folder.Path() / L"Local" / L"Korvex Data" / L"Tavrenox",
              m_Data / L"External", m_Data / L"ExternalTmp", m_Data / L"Cache", m_Data / L"dump",
              m_Folder.Path() / L"logs"})
            PutFile(folder / L"file.txt");
        PutFile(m_Install / L"krdbg.ini",
                "[ServiceSession]\r\nLogFolder=" + (m_Folder.Path() / L"logs").string() + "\r\n");
        PutValue(kTavrenoxKey, L"ProductPath", m_Install.wstring());
    }
    static void PutUserValue(const std::wstring& key) {
        EXPECT_TRUE(
            KrCommon::Storage::Reg::StoreValue(HKEY_CURRENT_USER, key, L"any", L"1", 0, nullptr));
    }
    bool IsMarked() const {
        return Exists(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
    }

    CWyRemover m_Remover;
};

// ---- the first part

TEST_F(Remover, first_part_tells_ends_and_takes_away_what_starts_the_product) {
    PutShortcuts(m_Install);
    PutValue(kTavrenoxKey, L"ProductVersion", L"3.0.7");
    PutValue(kRunKey, L"Tavrenox", L"line");
    PutValue(kSharedKey, L"WorkingId", L"Tavrenox");
    m_Machine.tasks.task.clear();
    EXPECT_EQ(PreRemove(), kSuccess);
    EXPECT_THAT(
        Steps(),
        ElementsAre(L"Mail {\"category\":\"uninstall\",\"eventId\":112,\"param\":{\"ea\":\"\","
                    L"\"ec\":\"Uninstall\",\"ev\":\"0\"}}",
                    L"Mail {\"category\":\"versionUsage\",\"eventId\":112,\"param\":{\"ea\":"
                    L"\"3.0.7\",\"ec\":\"VersionUsage\",\"ev\":\"-1\"}}",
                    kGoingMail, L"StopWatchdog", L"DeleteService",
                    L"Run \"@\\install\\Shortcut_P.exe\" -Delete \"@\\install\" \"@\\install\\" +
                        Description() + L"\"",
                    L"DeleteValue Tavrenox", L"DeleteValue WorkingId"));
    EXPECT_THAT(RemoverLog(), ElementsAre(kBegin));
    EXPECT_EQ(Value(kRunKey, L"Tavrenox"), L"(none)");
    EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"(none)");
    const bool task = KrCommon::OsVersion::Is(KrCommon::OsVersion::Condition::kNt60OrLater);
    EXPECT_EQ(m_Machine.tasks.task, task ? L"Downloader of Korvex Data Tavrenox" : L"");
}

TEST_F(Remover, other_identity_has_no_shortcuts_no_working_id_and_no_usage_events) {
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    PutFile(m_Install / L"Shortcut.exe");
    PutFile(m_Install / Description());
    PutValue(kRunKey, L"Wyvarion", L"line");
    PutValue(kSharedKey, L"WorkingId", L"Wyvarion");
    CWyRemover remover;
    m_Machine.ClearSteps();
    EXPECT_EQ(remover.PreRemove(m_Install.wstring()), kSuccess);
    EXPECT_THAT(Steps(), ElementsAre(kGoingMail, L"StopWatchdog", L"DeleteService",
                                     L"DeleteValue Wyvarion"));
    EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"Wyvarion");
}

TEST_F(Remover, results_of_the_mails_are_dropped) {
    m_Machine.mailResults = {0xe0ff0001};
    EXPECT_EQ(PreRemove(), kSuccess);
    EXPECT_THAT(RemoverLog(),
                ElementsAre(kBegin, L"256 [ERROR] WyPublishEvent failed... RetCode = 0xe0ff0001"));
    EXPECT_TRUE(Did(L"DeleteService"));
}

TEST_F(Remover, processes_that_stay_end_the_removal) {
    m_Machine.watchdogError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(PreRemove(), kProcessesStay);
    EXPECT_EQ(RemoverLog().back(), L"256 [ERROR] Terminate exe failed...");
    EXPECT_EQ(Steps().back(), L"StopWatchdog");
    EXPECT_EQ(m_Machine.tasks.task, L"");
}

DWORD WINAPI NameOfSetup(HMODULE, LPWSTR path, DWORD) {
    return static_cast<DWORD>(std::wcslen(std::wcscpy(path, L"C:\\pkg\\Setup_P.exe")));
}

TEST_F(Remover, no_process_of_the_product_is_excluded) {
    if (!KrCommon::OsVersion::Is64Bit())
        GTEST_SKIP() << "32-bit system: no launcher is told what to end";
    m_Machine.watchdogError = 0;
    m_Machine.processes.waitResult = WAIT_OBJECT_0;
    {
        const test_support::IatPatch name(GetModuleHandleW(nullptr), "kernel32.dll",
                                          "GetModuleFileNameW", NameOfSetup);
        EXPECT_EQ(PreRemove(), kSuccess);
    }
    m_Machine.processes.waitResult.reset();
    EXPECT_THAT(Steps(), Contains(testing::EndsWith(L",ForceKillProcessWrapper,")));
}

TEST_F(Remover, failure_of_the_startups_is_the_result_and_the_rest_goes_on) {
    const bool task = KrCommon::OsVersion::Is(KrCommon::OsVersion::Condition::kNt60OrLater);
    const struct {
        std::map<std::string, DWORD> service;
        std::wstring call;
        std::uint32_t result;
    } rows[] = {{{{"OpenServiceW", ERROR_ACCESS_DENIED}}, L"", 0xe0fe0005},
                {{}, L"DeleteValue Tavrenox", 0xe00e0005}};
    for (const auto& row : rows) {
        m_Machine.manager.failures = row.service;
        m_Machine.failures = {{row.call, {ERROR_ACCESS_DENIED}}};
        PutValue(kRunKey, L"Tavrenox", L"line");
        PutValue(kSharedKey, L"WorkingId", L"Tavrenox");
        m_Machine.tasks.task.clear();
        EXPECT_EQ(PreRemove(), row.result);
        EXPECT_THAT(RemoverLog(), ElementsAre(kBegin));
        EXPECT_EQ(Value(kSharedKey, L"WorkingId"), L"(none)");
        EXPECT_EQ(!m_Machine.tasks.task.empty(), task);
    }
    m_Machine.failures.clear();
    EXPECT_EQ(PreRemove(), kSuccess);
}

TEST_F(Remover, working_id_that_stays_is_no_failure) {
    PutValue(kSharedKey, L"WorkingId", L"Tavrenox");
    m_Machine.failures = {{L"DeleteValue WorkingId", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(PreRemove(), kSuccess);
    EXPECT_THAT(RemoverLog(), ElementsAre(kBegin));
}

TEST_F(Remover, task_that_cannot_be_deleted_is_told_and_no_more) {
    if (!KrCommon::OsVersion::Is(KrCommon::OsVersion::Condition::kNt60OrLater))
        GTEST_SKIP() << "no task before Windows Vista";
    m_Machine.tasks.connect = E_FAIL;
    EXPECT_EQ(PreRemove(), kSuccess);
    EXPECT_THAT(RemoverLog(),
                ElementsAre(kBegin,
                            L"256 [ERROR] The task cannot be deleted: Downloader of Korvex "
                            L"Data Tavrenox"));
}

// ---- telling the service

TEST_F(Remover, service_that_is_away_is_started_for_the_event) {
    const std::wstring failed = L"256 [ERROR] WyPublishEvent failed... RetCode = ";
    const struct {
        const char* what;
        std::deque<std::uint32_t> answers;
        std::map<std::string, DWORD> service;
        std::uint32_t result;
        Lines lines;
        Lines steps;
    } rows[] = {
        {"told", {0x20ff0007}, {}, 0x20ff0007, {}, {kGoingMail}},
        {"told at the second try",
         {kNoService, 0x20ff0007},
         {},
         0x20ff0007,
         {},
         {kGoingMail, L"StartService", L"Sleep 2000", kGoingMail}},
        {"away all the same",
         {kNoService},
         {},
         kNoService,
         {failed + L"0xe0fe06ba"},
         {kGoingMail, L"StartService", L"Sleep 2000", kGoingMail}},
        {"refused at the second try",
         {kNoService, 0xe0ff0007},
         {},
         0xe0ff0007,
         {failed + L"0xe0ff0007"},
         {kGoingMail, L"StartService", L"Sleep 2000", kGoingMail}},
        {"refused", {0xe00106bb}, {}, 0xe00106bb, {failed + L"0xe00106bb"}, {kGoingMail}},
        {"cannot be started",
         {kNoService},
         {{"OpenServiceW", ERROR_SERVICE_DOES_NOT_EXIST}},
         0xe0fe0424,
         {L"256 [ERROR] WyCommon::Utility::StartSvcViaScm failed, error = 0xe0fe0424"},
         {kGoingMail}},
        {"does not start",
         {kNoService},
         {{"StartServiceW", ERROR_SERVICE_LOGON_FAILED}},
         0xe0fe042d,
         {L"256 [ERROR] WyCommon::Utility::StartSvcViaScm failed, error = 0xe0fe042d"},
         {kGoingMail, L"StartService"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        m_Machine.ClearSteps();
        m_Log.Clear();
        m_Machine.mailResults = row.answers;
        m_Machine.manager.failures = row.service;
        m_Machine.manager.states = {SERVICE_STOPPED, SERVICE_RUNNING};
        EXPECT_EQ(CWyRemover::PublishEvent(), row.result);
        EXPECT_EQ(RemoverLog(), row.lines);
        EXPECT_EQ(Steps(), row.steps);
    }
}

// ---- folders

TEST_F(Remover, all_folders_go_in_their_order) {
    PutFolders();
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_THAT(
        Steps(),
        ElementsAre(L"Remove @\\install", L"Remove @\\Local\\Korvex Data\\Tavrenox\\Cache\\",
                    L"Remove @\\Local\\Korvex Data\\Tavrenox",
                    L"Remove @\\Common\\Korvex Data\\Tavrenox\\External",
                    L"Remove @\\Common\\Korvex Data\\Tavrenox\\ExternalTmp",
                    L"Remove @\\Common\\Korvex Data\\Tavrenox\\Cache", L"Remove @\\logs",
                    L"Remove @\\Common\\Korvex Data\\Tavrenox\\dump"));
    EXPECT_FALSE(Exists(m_Folder.Path() / L"logs")) << "the file that names it went before";
    EXPECT_TRUE(Exists(m_Data)) << "stays, and so do the folders above";
    EXPECT_TRUE(Exists(m_Folder.Path() / L"Local" / L"Korvex Data"));
    EXPECT_THAT(RemoverLog(), IsEmpty());
    EXPECT_FALSE(IsMarked());
}

TEST_F(Remover, data_folder_goes_when_it_is_that_of_the_logs) {
    PutFolders();
    PutFile(m_Install / L"krdbg.ini",
            "[ServiceSession]\r\nLogFolder=%commonappdata%\\Korvex Data\\Tavrenox\r\n");
    PutFile(m_Backup / L"older.txt");
    PutValue(kProgramsKey + kProductCode, L"DisplayVersion", L"1");
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_FALSE(Exists(m_Data)) << "and the folder of the dumps with it";
    EXPECT_TRUE(Exists(m_Folder.Path() / L"Common" / L"Korvex Data"));
    EXPECT_TRUE(Exists(m_Backup / L"older.txt"));
    EXPECT_EQ(Value(kProgramsKey + kProductCode, L"DisplayVersion"), L"1");
    EXPECT_THAT(RemoverLog(), IsEmpty());
}

TEST_F(Remover, folders_that_are_gone_are_passed_over_in_silence) {
    PutValue(kTavrenoxKey, L"ProductPath", m_Install.wstring());
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_THAT(RemoverLog(), IsEmpty());
    // Those whose names are asked for are made by that.
    EXPECT_THAT(Steps(), ElementsAre(L"Remove @\\Local\\Korvex Data\\Tavrenox\\Cache\\",
                                     L"Remove @\\Local\\Korvex Data\\Tavrenox",
                                     L"Remove @\\Common\\Korvex Data\\Tavrenox\\External",
                                     L"Remove @\\Common\\Korvex Data\\Tavrenox\\ExternalTmp",
                                     L"Remove @\\Common\\Korvex Data\\Tavrenox\\Cache"));
    EXPECT_FALSE(IsMarked());
}

TEST_F(Remover, file_in_use_leaves_the_folder_to_the_next_start) {
    PutFolders();
    PutFile(m_Install / L"used.dll");
    std::uint32_t result = 0;
    {
        const test_support::LockedFile used((m_Install / L"used.dll").wstring());
        result = Remove();
    }
    EXPECT_EQ(result, kSuccess);
    EXPECT_TRUE(Exists(m_Install / L"used.dll"));
    EXPECT_FALSE(Exists(m_Install / L"file.txt"));
    EXPECT_THAT(RemoverLog(), ElementsAre(L"256 [ERROR] RemoveDirectory failed! Dir: "
                                          L"@\\install,dwErrorCode=0x91"));
    const auto steps = Steps();
    ASSERT_GE(steps.size(), 3U);
    EXPECT_THAT(Lines(steps.begin(), steps.begin() + 3),
                ElementsAre(L"AtRestart @\\install\\used.dll", L"Remove @\\install",
                            L"AtRestart @\\install"));
    EXPECT_TRUE(Did(L"Remove @\\logs")) << "the others go";
    EXPECT_TRUE(IsMarked());
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kTavrenoxKey));
}

TEST_F(Remover, mark_of_the_restart_is_for_one_identity_alone) {
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    CWyRemover remover;
    PutFile(m_Install / L"file.txt");
    remover.PreRemove(m_Install.wstring());
    m_Machine.failures = {{L"Remove @\\install", {ERROR_SHARING_VIOLATION}}};
    EXPECT_EQ(remover.Remove(), kSuccess);
    EXPECT_TRUE(Did(L"AtRestart @\\install"));
    EXPECT_FALSE(Exists(m_Folder.Path() / L"Windows" / L"temp" / L"WyvarionTemp.dat"));
}

TEST_F(Remover, mark_of_the_restart_goes_by_the_identity_at_the_removal) {
    PutFile(m_Install / L"file.txt");
    PreRemove();
    m_Machine.failures = {{L"Remove @\\install", {ERROR_SHARING_VIOLATION}}};
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    EXPECT_EQ(m_Remover.Remove(), kSuccess);
    EXPECT_FALSE(IsMarked());
    EXPECT_FALSE(Exists(m_Folder.Path() / L"Windows" / L"temp" / L"WyvarionTemp.dat"));
}

TEST_F(Remover, each_folder_fails_on_its_own) {
    const std::wstring data = L"@\\Common\\Korvex Data\\Tavrenox\\";
    for (const std::wstring& folder :
         {std::wstring(L"@\\install"), std::wstring(L"@\\Local\\Korvex Data\\Tavrenox"),
          data + L"External", data + L"ExternalTmp", data + L"Cache", std::wstring(L"@\\logs"),
          data + L"dump"}) {
        SCOPED_TRACE(testing::PrintToString(folder));
        m_Machine.failures.clear();
        std::filesystem::remove(m_Folder.Path() / L"Windows" / L"temp" / L"TavrenoxTemp.dat");
        PutFolders();
        m_Machine.failures = {{L"Remove " + folder, {ERROR_SHARING_VIOLATION}}};
        EXPECT_EQ(Remove(), kSuccess);
        EXPECT_THAT(RemoverLog(), ElementsAre(L"256 [ERROR] RemoveDirectory failed! Dir: " +
                                              folder + L",dwErrorCode=0x20"));
        EXPECT_TRUE(Did(L"AtRestart " + folder));
        EXPECT_TRUE(IsMarked());
        EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kTavrenoxKey));
    }
}

TEST_F(Remover, folder_that_cannot_be_listed_is_told_and_tried_all_the_same) {
    PutFolders();
    m_Machine.failures = {{L"Find @\\logs\\*", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_THAT(RemoverLog(),
                ElementsAre(L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed! Dir: "
                            L"@\\logsdwErrorCode=0x5",
                            L"256 [ERROR] RemoveDirectory failed! Dir: @\\logs,dwErrorCode=0x91"));
    EXPECT_TRUE(IsMarked());
}

TEST_F(Remover, folder_that_is_empty_and_cannot_be_listed_goes_without_a_restart) {
    PutFolders();
    std::filesystem::remove(m_Folder.Path() / L"logs" / L"file.txt");
    m_Machine.failures = {{L"Find @\\logs\\*", {ERROR_FILE_NOT_FOUND}}};
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_THAT(RemoverLog(),
                ElementsAre(L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed! Dir: "
                            L"@\\logsdwErrorCode=0x2"));
    EXPECT_FALSE(IsMarked());
}

TEST_F(Remover, folder_of_the_user_that_the_shell_does_not_name_is_an_empty_one) {
    PutFolders();
    m_Machine.failures = {{L"SpecialFolder", {ERROR_FILE_NOT_FOUND}}};
    EXPECT_EQ(Remove(), kSuccess);
    const Lines lines = RemoverLog();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0],
              L"256 [ERROR] KrCommon::Storage::File::DeleteAllFiles failed! Dir: dwErrorCode=0xa0");
    EXPECT_TRUE(lines[1].starts_with(L"256 [ERROR] RemoveDirectory failed! Dir: ,dwErrorCode=0x"));
    EXPECT_THAT(Steps(), Not(Contains(L"AtRestart "))) << "a folder without a name is not queued";
    EXPECT_TRUE(IsMarked());
}

TEST_F(Remover, dumps_lie_in_the_folder_of_all_users_when_the_shell_does_not_name_another) {
    PutFolders();
    PutFile(m_Folder.Path() / L"AllUsers" / L"Korvex Data" / L"Tavrenox" / L"dump" / L"a.dmp");
    m_Machine.failures = {{L"FolderPath 35 made", {ERROR_FILE_NOT_FOUND}}};
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_FALSE(Exists(m_Folder.Path() / L"AllUsers" / L"Korvex Data" / L"Tavrenox" / L"dump"));
    EXPECT_TRUE(Exists(m_Data / L"dump"));
}

TEST_F(Remover, folder_that_cannot_be_queued_is_no_failure) {
    PutFolders();
    m_Machine.failures = {{L"Remove @\\install", {ERROR_SHARING_VIOLATION}},
                          {L"AtRestart @\\install", {ERROR_PRIVILEGE_NOT_HELD}}};
    EXPECT_EQ(Remove(), kSuccess);
    EXPECT_TRUE(IsMarked());
    EXPECT_EQ(RemoverLog().front(),
              L"256 [ERROR] RemoveDirectory failed! Dir: @\\install,dwErrorCode=0x20");
}

// ---- keys

TEST_F(Remover, keys_of_the_maker_go_unless_another_product_has_one) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    const struct {
        const char* what;
        std::vector<std::wstring> keys;  // below the maker's
        std::vector<std::wstring> left;
    } rows[] = {
        {"no product", {}, {}},
        {"this product", {L"Tavrenox"}, {}},
        {"this product in other letters", {L"TAVRENOX"}, {}},
        {"another product alone", {L"Wyvarion"}, {L"Wyvarion"}},
        {"two products", {L"Tavrenox", L"Wyvarion"}, {L"Wyvarion"}},
        {"the shared key", {L"Tavrenox", L"Reamer"}, {L"Reamer"}},
        {"a longer name", {L"Tavrenox2"}, {L"Tavrenox2"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        // In one tree, while the other has this product alone, and the other way about.
        for (const bool user : {false, true}) {
            Clear();
            const std::wstring maker = L"Software\\KorvexData\\";
            PutUserValue(maker + L"Tavrenox");
            PutValue(maker + L"Tavrenox", L"any", L"1");
            if (user) {
                RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\KorvexData\\Tavrenox");
                RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\KorvexData\\Tavrenox");
            } else {
                deploy_test::DeleteTree(maker + L"Tavrenox");
            }
            for (const std::wstring& key : row.keys) {
                if (user)
                    PutUserValue(maker + key);
                else
                    PutValue(maker + key, L"any", L"1");
            }
            EXPECT_EQ(Remove(), kSuccess);
            const HKEY root = user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
            const HKEY other = user ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
            for (const std::wstring& key : row.keys) {
                const bool left =
                    std::find(row.left.begin(), row.left.end(), key) != row.left.end();
                EXPECT_EQ(KeyExists(root, maker + key), left) << testing::PrintToString(key);
            }
            EXPECT_EQ(KeyExists(root, L"Software\\KorvexData"), !row.left.empty());
            EXPECT_FALSE(KeyExists(other, L"Software\\KorvexData"));
        }
    }
}

TEST_F(Remover, key_of_the_maker_that_cannot_be_read_counts_as_of_this_product) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    PutValue(kTavrenoxKey, L"any", L"1");
    PutValue(L"SOFTWARE\\KorvexData\\Wyvarion", L"any", L"1");
    PreRemove();
    m_Machine.failures = {{L"OpenKey Software\\KorvexData", {ERROR_ACCESS_DENIED, 0}}};
    EXPECT_EQ(m_Remover.Remove(), kSuccess);
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData"));
}

TEST_F(Remover, keys_that_stay_are_the_one_failure_of_the_second_part) {
    if (KeysAreElsewhere())
        GTEST_SKIP() << deploy_test::kKeysElsewhere;
    const std::wstring line = L"256 [ERROR] KrCommon::Storage::Reg::DeleteAllSection() failed...";
    PutFolders();
    PutUserValue(kTavrenoxKey);
    m_Machine.failures = {{L"DeleteKey HKLM Software\\KorvexData", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(Remove(), kKeysStay);
    EXPECT_THAT(RemoverLog(), ElementsAre(line));
    EXPECT_FALSE(Exists(m_Install)) << "the folders go before";
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, kTavrenoxKey)) << "not tried any more";

    m_Machine.failures = {{L"DeleteKey HKCU Software\\KorvexData", {ERROR_ACCESS_DENIED}}};
    EXPECT_EQ(Remove(), kKeysStay);
    EXPECT_THAT(RemoverLog(), ElementsAre(line));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData"));
}

TEST_F(Remover, repetition_leaves_no_handles) {
    PutFolders();
    Remove();
    const auto before = test_support::ProcessFigures::Now();
    for (int round = 0; round < 10; ++round) {
        PutFolders();
        EXPECT_EQ(Remove(), kSuccess);
    }
    EXPECT_LE((test_support::ProcessFigures::Now() - before).handles, 1);
}

}  // namespace
