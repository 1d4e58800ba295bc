// wyctl leftovers: what is on the machine after a removal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Handle.h"
#include "Common/KrCommon/KrComn_String.h"
#include "ProgramFixture.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using KrCommon::String::ToUtf8;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Texts = std::vector<std::string>;

constexpr const wchar_t* kMakerKey = L"SOFTWARE\\KorvexData";
constexpr const wchar_t* kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

// A product that lay in "Wy", of which nothing is left.
class Leftovers : public ProgramFixture {
protected:
    void SetUp() override { Clean(); }
    void TearDown() override { Clean(); }

    void Clean() const {
        std::error_code ignored;
        for (const std::wstring& root :
             {WyCommon::Utility::GetCommonDataRoot(), WyCommon::Utility::GetLocalDataRoot()})
            fs::remove_all(fs::path(root).parent_path(), ignored);
        fs::remove(Marker(), ignored);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kMakerKey);
        RegDeleteTreeW(HKEY_CURRENT_USER, kMakerKey);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kRunKey, L"Wyvarion");
    }
    static fs::path Marker() { return L"C:\\windows\\Temp\\WyvarionTemp.dat"; }
    static fs::path Common(const wchar_t* name) {
        return fs::path(WyCommon::Utility::GetCommonDataRoot()) / name;
    }
    static void Key(HKEY root, const std::wstring& path, REGSAM view = 0) {
        HKEY key = nullptr;
        RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key,
                        nullptr);
        RegCloseKey(key);
    }

    // The JSON answer for the product's folder.
    Json::Value Look(int exitCode) {
        EXPECT_EQ(Run({"--json", "leftovers", ToUtf8((m_Folder.Path() / "Wy").wstring())}),
                  exitCode)
            << m_Terminal.out << m_Terminal.err;
        EXPECT_EQ(OneJson()["ok"], Json::Value(exitCode == 0));
        return OneJson();
    }
    // "STATE WHAT" of everything that is there.
    Texts There(int exitCode) {
        Texts lines;
        const Json::Value answer = Look(exitCode);
        for (const Json::Value& place : answer["places"]) {
            if (place["state"] != Json::Value("absent"))
                lines.push_back(place["state"].asString() + " " + place["what"].asString());
        }
        return lines;
    }

    test_support::TemporaryFolder m_Folder{L"wyctl leftovers \u00e4"};
};

// Has the next restart remove a path.
class Removal {
public:
    explicit Removal(const fs::path& path) {
        std::wstring texts = L"\\??\\" + path.wstring() + L'\0' + L'\0' + L'\0';
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kName, REG_MULTI_SZ, texts.data(),
                        static_cast<DWORD>(texts.size() * sizeof(wchar_t)));
    }
    Removal(const Removal&) = delete;
    Removal& operator=(const Removal&) = delete;
    ~Removal() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, kName); }

private:
    static constexpr const wchar_t* kKey = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
    static constexpr const wchar_t* kName = L"PendingFileRenameOperations";
};

TEST_F(Leftovers, machine_without_the_product_has_none) {
    const Json::Value answer = Look(0);
    EXPECT_EQ(answer["productId"], Json::Value("Wyvarion"));
    EXPECT_EQ(answer["installed"], Json::Value(false));
    EXPECT_EQ(answer["counts"]["unexpected"].asUInt(), 0U);
    EXPECT_EQ(answer["counts"]["stays"].asUInt(), 0U);
    EXPECT_EQ(answer["counts"]["absent"].asUInt(), answer["places"].size());
    EXPECT_FALSE(fs::exists(Common(L"")));
    EXPECT_EQ(Run({"leftovers"}), 0);
    EXPECT_THAT(
        m_Terminal.out,
        HasSubstr(" place(s) looked at: 0 unexpected, 0 go with the next restart, 0 stay\n"));
    EXPECT_EQ(m_Terminal.err,
              "note: nothing tells where the product lay; name its FOLDER to have it looked at\n");
    EXPECT_EQ(FakeSdk::Get().calls, Texts{});
}

TEST_F(Leftovers, folders_that_a_removal_takes_are_unexpected) {
    for (const wchar_t* name : {L"External", L"ExternalTmp", L"Cache", L"dump"})
        fs::create_directories(Common(name));
    fs::create_directories(WyCommon::Utility::GetLocalDataRoot());
    fs::create_directories(m_Folder.Path() / "Wy" / "sub");
    fs::create_directories(m_Folder.Path() / "WyAuTemp");
    EXPECT_THAT(
        There(1),
        ElementsAre("unexpected product folder", "unexpected update folder",
                    "unexpected external tools", "unexpected external tools, waiting",
                    "unexpected cache", "unexpected memory dumps", "stays data of the machine",
                    "stays maker's folder", "unexpected data of the user", "stays maker's folder"));
    EXPECT_EQ(OneJson()["places"][3]["remark"], Json::Value("1 file(s) and folder(s) in it"));
}

TEST_F(Leftovers, folders_that_stay_are_no_difference) {
    fs::create_directories(Common(L""));
    fs::create_directories(m_Folder.Path() / "WyvarionBackup");
    EXPECT_THAT(There(0), ElementsAre("stays backup folder", "stays data of the machine",
                                      "stays maker's folder"));
    EXPECT_EQ(Run({"leftovers", ToUtf8((m_Folder.Path() / "Wy\\").wstring())}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("stays  backup folder"));
    EXPECT_THAT(m_Terminal.out, HasSubstr("empty; an upgrade has left it"));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Leftovers, what_goes_with_the_restart_is_told_apart) {
    fs::create_directories(m_Folder.Path() / "Wy");
    {
        const Removal queued(m_Folder.Path() / "Wy");
        EXPECT_THAT(There(0), ElementsAre("restart product folder"));
    }
    EXPECT_THAT(There(1), ElementsAre("unexpected product folder"));
}

TEST_F(Leftovers, marker_of_the_restart_goes_with_it_or_is_unexpected) {
    fs::create_directories(Marker().parent_path());
    std::ofstream{Marker()};
    {
        const Removal queued(Marker());
        EXPECT_THAT(There(0), ElementsAre("restart restart marker"));
    }
    EXPECT_THAT(There(1), ElementsAre("unexpected restart marker"));
}

TEST_F(Leftovers, keys_of_the_product_are_unexpected_in_both_views) {
    Key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY);
    Key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_32KEY);
    Key(HKEY_CURRENT_USER, L"SOFTWARE\\KorvexData\\Wyvarion");
    EXPECT_THAT(There(1), ElementsAre("unexpected product key", "unexpected maker's key",
                                      "unexpected product key", "unexpected maker's key",
                                      "unexpected product key", "unexpected maker's key"));
    const Json::Value places = OneJson()["places"];
    Texts names;
    for (const Json::Value& place : places) {
        if (place["what"] == Json::Value("product key"))
            names.push_back(place["name"].asString());
    }
    EXPECT_THAT(names, ElementsAre("HKLM\\SOFTWARE\\KorvexData\\Wyvarion",
                                   "HKLM\\SOFTWARE\\KorvexData\\Wyvarion (32-bit view)",
                                   "HKCU\\SOFTWARE\\KorvexData\\Wyvarion"));
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_32KEY, 0);
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kMakerKey, KEY_WOW64_32KEY, 0);
}

TEST_F(Leftovers, keys_of_others_and_the_shared_one_stay_and_keep_the_makers) {
    Key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData\\Reamer");
    Key(HKEY_LOCAL_MACHINE, L"SOFTWARE\\KorvexData\\Tavrenox");
    EXPECT_THAT(There(0), ElementsAre("stays maker's key", "stays shared key",
                                      "stays another product's key"));
}

TEST_F(Leftovers, entries_of_the_list_of_programs_stay) {
    constexpr const wchar_t* kEntry =
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{6B02C7AE-41D9-4C3E-8F15-2AD96C70E1B4}";
    const test_support::RegistryKey entry(kEntry, KEY_WOW64_64KEY);
    EXPECT_THAT(There(0), ElementsAre("stays list of programs"));
}

TEST_F(Leftovers, list_of_programs_tells_the_folder) {
    test_support::RegistryKey entry(
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}",
        KEY_WOW64_64KEY);
    ASSERT_TRUE(entry.SetText(L"InstallLocation", (m_Folder.Path() / "Wy").wstring()));
    fs::create_directories(m_Folder.Path() / "Wy");
    EXPECT_EQ(Run({"--json", "leftovers"}), 1);
    EXPECT_EQ(OneJson()["folder"], Json::Value(ToUtf8((m_Folder.Path() / "Wy").wstring())));
    EXPECT_EQ(m_Terminal.err, "");
}

TEST_F(Leftovers, autorun_value_and_task_are_unexpected) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kRunKey, L"Wyvarion", REG_SZ, L"x", 4);
    const fs::path task = L"C:\\windows\\System32\\Tasks\\Downloader of Korvex Data Wyvarion";
    fs::create_directories(task.parent_path());
    std::ofstream{task};
    EXPECT_THAT(There(1), ElementsAre("unexpected autorun value", "unexpected scheduled task"));
    fs::remove(task);
}

TEST_F(Leftovers, service_is_unexpected) {
    const KrCommon::UniqueServiceHandle manager(
        OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    ASSERT_NE(manager, nullptr);
    const KrCommon::UniqueServiceHandle service(
        CreateServiceW(manager.get(), L"Wyvarion Host Service", nullptr, DELETE,
                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                       L"C:\\x.exe", nullptr, nullptr, nullptr, nullptr, nullptr));
    ASSERT_NE(service, nullptr);
    EXPECT_THAT(There(1), ElementsAre("unexpected service"));
    EXPECT_EQ(OneJson()["places"][0]["remark"], Json::Value("stopped"));
    EXPECT_NE(DeleteService(service.get()), 0);
}

TEST_F(Leftovers, keys_of_other_users_stay) {
    const std::wstring path = L".DEFAULT\\SOFTWARE\\KorvexData\\Wyvarion";
    Key(HKEY_USERS, path);
    EXPECT_THAT(There(0), ElementsAre("stays another user's key"));
    RegDeleteTreeW(HKEY_USERS, L".DEFAULT\\SOFTWARE\\KorvexData");
}

TEST_F(Leftovers, product_that_is_still_installed_is_told) {
    test_support::RegistryKey key(L"SOFTWARE\\KorvexData\\Wyvarion", KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"ProductPath", m_Folder.Path().wstring()));
    EXPECT_EQ(Run({"--json", "leftovers"}), 1);
    EXPECT_EQ(OneJson()["installed"], Json::Value(true));
    EXPECT_EQ(OneJson()["folder"], Json::Value(ToUtf8(m_Folder.Path().wstring())));
    EXPECT_EQ(m_Terminal.err, "note: Wyvarion is registered as installed in " +
                                  ToUtf8(m_Folder.Path().wstring()) + "\n");
}

}  // namespace
