// The checker of a deployed machine sees what it is there to see.

#include "support/DeployedMachine_win32.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "support/PendingMoves_win32.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using test_support::Difference;
using test_support::InstalledProduct;
using test_support::MachineScope;
using test_support::MachineThings;
using test_support::NumberValue;
using test_support::ProductPlaces;
using test_support::TextValue;
using testing::HasSubstr;

constexpr wchar_t kKey[] = L"SOFTWARE\\KorvexData Checker";

void Put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void SetNumber(HKEY root, REGSAM view, const wchar_t* name, DWORD number) {
    HKEY key = nullptr;
    RegCreateKeyExW(root, kKey, 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr, &key, nullptr);
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number);
    RegCloseKey(key);
}

class Machine : public testing::Test {
protected:
    ~Machine() override {
        for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, view, 0);
            RegDeleteKeyExW(HKEY_CURRENT_USER, kKey, view, 0);
        }
    }

    std::wstring At(const wchar_t* name) const { return (m_Folder.Path() / name).wstring(); }
    MachineThings Look() const { return LookAt(m_Scope); }

    const test_support::TemporaryFolder m_Folder{L"wy machine"};
    const ProductPlaces m_Places{L"Wyvarion", At(L"Wy")};
    MachineScope m_Scope = ScopeOf(m_Places, {m_Folder.Path().wstring()});

    // As an install of a product of two files leaves it, next to the things of `clean`.
    MachineThings Installed(const MachineThings& clean) const {
        MachineThings things = clean;
        const auto put = [&](const wchar_t* name, const std::wstring& value) {
            things[ProductValueName(m_Places, name)] = value;
        };
        things[L"folder " + m_Places.installDir] = L"folder";
        things[L"file " + m_Places.installDir + L"\\a.txt"] = L"1 bytes";
        things[L"file " + m_Places.installDir + L"\\Log\\b.txt"] = L"2 bytes";
        put(L"ProductGuid", TextValue(L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}"));
        put(L"SourceDir", TextValue(L"C:\\package"));
        put(L"ProductPath", TextValue(m_Places.installDir));
        put(L"ProductId", TextValue(L"product"));
        put(L"VendorId", TextValue(L"vendor"));
        put(L"WinGuid", TextValue(L"{guid}"));
        put(L"InstallStatus", NumberValue(1));
        return things;
    }

    InstalledProduct Description() const {
        InstalledProduct product;
        product.places = m_Places;
        product.productId = L"product";
        product.vendorId = L"vendor";
        product.packageDir = L"C:\\package";
        product.isPostInstalled = false;
        product.files = {{L"a.txt", L"1 bytes"}};
        product.ownFolders = {L"Log"};
        return product;
    }
};

TEST_F(Machine, same_twice_is_as_before) {
    Put(At(L"file.txt"), "text");
    EXPECT_EQ("", Difference(Look(), Look()));
}

TEST_F(Machine, changed_files_are_told_by_their_bytes) {
    Put(At(L"changed.txt"), "old!");
    Put(At(L"gone.txt"), "gone");
    const MachineThings before = Look();
    Put(At(L"changed.txt"), "new!");
    Put(At(L"deep\\new.txt"), "");
    fs::remove(At(L"gone.txt"));
    const std::string difference = Difference(before, Look());
    EXPECT_THAT(difference, HasSubstr("- file " + fs::path(At(L"gone.txt")).string()));
    EXPECT_THAT(difference,
                HasSubstr("~ file " + fs::path(At(L"changed.txt")).string() + ": 4 bytes, "));
    EXPECT_THAT(difference, HasSubstr("+ folder " + fs::path(At(L"deep")).string() + ": folder\n"));
    EXPECT_THAT(difference,
                HasSubstr("+ file " + fs::path(At(L"deep\\new.txt")).string() + ": 0 bytes, "));
    EXPECT_EQ(4, std::count(difference.begin(), difference.end(), '\n')) << difference;
}

TEST_F(Machine, paths_that_are_left_out_are_not_there) {
    m_Scope.leftOut = {At(L"logs")};
    const MachineThings before = Look();
    Put(At(L"logs\\one.log"), "line");
    EXPECT_EQ("", Difference(before, Look()));
}

TEST_F(Machine, both_hives_and_views_of_the_registry_are_seen) {
    m_Scope.keys.emplace_back(kKey);
    const MachineThings before = Look();
    SetNumber(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, L"machine", 1);
    SetNumber(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, L"old", 2);
    SetNumber(HKEY_CURRENT_USER, KEY_WOW64_64KEY, L"user", 3);
    const std::string difference = Difference(before, Look());
    EXPECT_THAT(difference, HasSubstr("+ HKLM 64 SOFTWARE\\KorvexData Checker: key\n"));
    EXPECT_THAT(difference, HasSubstr("+ HKLM 64 SOFTWARE\\KorvexData Checker: machine: number 1"));
    EXPECT_THAT(difference, HasSubstr("+ HKLM 32 SOFTWARE\\KorvexData Checker: old: number 2\n"));
    EXPECT_THAT(difference, HasSubstr("+ HKCU 64 SOFTWARE\\KorvexData Checker: user: number 3\n"));
}

TEST_F(Machine, events_marks_and_what_waits_for_the_next_start_are_seen) {
    const MachineThings before = Look();
    const std::wstring name = L"Global\\WATCHDOG_EVENT_STOP_WATCHDOGWyvarion";
    HANDLE const event = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
    const std::vector<test_support::PendingMove> moves = test_support::PendingMoves();
    MoveFileExW(At(L"x").c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    const fs::path mark = fs::path(windows) / L"temp" / L"WyvarionTemp.dat";
    Put(mark, "");
    const std::string difference = Difference(before, Look());
    CloseHandle(event);
    fs::remove(mark);
    EXPECT_THAT(difference, HasSubstr("+ event Global\\WATCHDOG_EVENT_STOP_WATCHDOGWyvarion"));
    EXPECT_THAT(difference, HasSubstr("WyvarionTemp.dat: 0 bytes"));
    EXPECT_THAT(difference, HasSubstr("+ at the next start: \\??\\" + fs::path(At(L"x")).string() +
                                      " -> : once\n"));
}

TEST_F(Machine, installed_product_has_all_that_belongs_to_it) {
    MachineThings now = Installed(Look());
    EXPECT_EQ("", NotInstalled(Description(), now));

    now[ProductValueName(m_Places, L"VendorId")] = TextValue(L"another");
    now.erase(ProductValueName(m_Places, L"WinGuid"));
    now[L"file " + m_Places.installDir + L"\\c.txt"] = L"3 bytes";
    now.erase(L"file " + m_Places.installDir + L"\\a.txt");
    const std::string text = NotInstalled(Description(), now);
    EXPECT_THAT(text, HasSubstr("VendorId: text \"another\", and not text \"vendor\""));
    EXPECT_THAT(text, HasSubstr("missing: WinGuid"));
    EXPECT_THAT(text, HasSubstr("too much: file"));
    EXPECT_THAT(text, HasSubstr("missing: file"));
}

TEST_F(Machine, started_product_has_service_and_autorun_too) {
    InstalledProduct product = Description();
    product.isPostInstalled = true;
    product.isTavrenox = true;
    product.places.id = L"Tavrenox";
    const std::string text = NotInstalled(product, Installed(Look()));
    EXPECT_THAT(text, HasSubstr("missing: service Tavrenox Host Service: type 16, start 2"));
    EXPECT_THAT(text, HasSubstr("missing: service Tavrenox Host Service, state: running"));
    EXPECT_THAT(text, HasSubstr("CurrentVersion\\Run: Tavrenox: text"));
    EXPECT_THAT(text, HasSubstr("WySessionAgent_P.exe\" 1"));
    EXPECT_THAT(text, HasSubstr("Reamer: WorkingId: text \"Tavrenox\""));
    EXPECT_THAT(text, HasSubstr("DisplayVersion: text \"3.1.1158\""));
}

TEST_F(Machine, product_that_is_gone_leaves_what_stays_by_intention) {
    const MachineThings clean = Look();
    EXPECT_THAT(NotGone(clean, Installed(clean), m_Places), HasSubstr("+ file "));

    MachineThings now = clean;
    const std::wstring entry =
        L"HKLM 64 SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"
        L"{3D5A91C2-6E0B-4F17-A2C8-91B7E04D3F6A}";
    now[entry] = L"key";
    now[entry + L": DisplayVersion"] = TextValue(L"3.1.1158");
    now[L"HKLM 64 SOFTWARE\\KorvexData"] = L"key";
    now[L"HKLM 64 SOFTWARE\\KorvexData\\Reamer"] = L"key";
    now[L"folder " + At(L"WyvarionBackup")] = L"folder";
    now[L"file " + At(L"WyvarionBackup\\a.txt")] = L"1 bytes";
    EXPECT_EQ("", NotGone(clean, now, m_Places));

    now[L"HKLM 64 SOFTWARE\\KorvexData\\Reamer: WorkingId"] = TextValue(L"Wyvarion");
    EXPECT_THAT(NotGone(clean, now, m_Places), HasSubstr("+ HKLM 64 SOFTWARE\\KorvexData\\Reamer"));
}

TEST_F(Machine, empty_key_of_the_maker_is_left_behind) {
    const MachineThings clean = Look();
    MachineThings now = clean;
    now[L"HKCU 64 SOFTWARE\\KorvexData"] = L"key";
    EXPECT_THAT(NotGone(clean, now, m_Places), HasSubstr("an empty key"));
}

TEST_F(Machine, files_in_use_may_wait_for_the_reboot_where_that_is_said) {
    const MachineThings clean = Look();
    MachineThings now = clean;
    now[L"file " + At(L"Wy\\locked.txt")] = L"1 bytes";
    now[L"at the next start: \\??\\" + At(L"Wy\\locked.txt") + L" -> "] = L"once";
    EXPECT_NE("", NotGone(clean, now, m_Places));
    EXPECT_EQ("", NotGone(clean, now, m_Places, true));
    now[L"file " + At(L"foreign.txt")] = L"1 bytes";
    EXPECT_NE("", NotGone(clean, now, m_Places, true));
}

TEST_F(Machine, foreign_things_are_told_from_those_of_the_product) {
    const MachineThings before = Look();
    EXPECT_EQ("", ForeignDifference(before, Installed(before), m_Places));
    MachineThings now = Installed(before);
    now[L"file " + At(L"Wy2\\foreign.txt")] = L"1 bytes";
    now[L"HKLM 64 SOFTWARE\\KorvexData\\Tavrenox"] = L"key";
    now[L"service Another"] = L"its configuration";
    const std::string text = ForeignDifference(before, now, m_Places);
    EXPECT_THAT(text, HasSubstr("foreign.txt"));
    EXPECT_THAT(text, HasSubstr("KorvexData\\Tavrenox"));
    EXPECT_THAT(text, HasSubstr("service Another"));

    ProductPlaces more = m_Places;
    more.more = {L"file " + At(L"wy2"), L"HKLM 64 SOFTWARE\\KorvexData\\Tavrenox",
                 L"service Another"};
    EXPECT_EQ("", ForeignDifference(before, now, more));
}

}  // namespace
