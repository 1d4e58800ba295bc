// The one-shot operations of the registry, and the removal of whole trees.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"

namespace {

using namespace KrCommon::Storage;
using test_support::IatPatch;
using test_support::RegistryKey;

constexpr const wchar_t* kPath = L"SOFTWARE\\WyUnitTest OneShot";
constexpr std::uint32_t kView64 = 2;
constexpr std::uint32_t kUntouched = 0x5a5a5a5a;
constexpr std::uint32_t kUnknownFailure = 0x800300fd;

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

std::uint32_t LoadNumber(const wchar_t* name, std::uint32_t view = kView64) {
    Registry store(view);
    store.OpenForRead(Key(Key::kRegistry, HKEY_LOCAL_MACHINE, nullptr), kPath);
    return store.ReadDword(name, 0, nullptr);
}

std::wstring LoadText(const wchar_t* name, std::uint32_t view = kView64) {
    return Reg::LoadValue(HKEY_LOCAL_MACHINE, kPath, name, L"none", view);
}

bool KeyExists(const wchar_t* path, REGSAM view) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | view, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

// Removes the key of the tests in both halves of the registry.
class RegOneShot : public testing::Test {
protected:
    RegOneShot() { Remove(); }
    ~RegOneShot() override { Remove(); }

private:
    static void Remove() {
        for (const REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY})
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kPath, view, 0);
    }
};

// One operation in all its forms: with text, with pointers, and where each kind of value ends.
using OneShot = bool (*)(void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
                         std::uint32_t* error);
struct OneShotRow {
    const char* what;
    OneShot run;
    DWORD access;    // of the open
    bool creates;    // makes a missing key
    bool usesValue;  // reads or writes the value
};

const OneShotRow kOneShots[] = {
    {"store a number",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValue(root, std::wstring(path), std::wstring(name), 7U, view, error);
     },
     0x7, true, true},
    {"store a number, pointers",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) { return Reg::StoreValue(root, path, name, 7U, view, error); },
     0x7, true, true},
    {"store a text",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValue(root, std::wstring(path), std::wstring(name), std::wstring(L"x"),
                                view, error);
     },
     0x7, true, true},
    {"store a text, pointers",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) { return Reg::StoreValue(root, path, name, L"x", view, error); },
     0x7, true, true},
    {"store a number, all access",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValueWithAllAccess(root, std::wstring(path), std::wstring(name), 7U, view,
                                             error);
     },
     0xf003f, true, true},
    {"store a number, all access, pointers",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValueWithAllAccess(root, path, name, 7U, view, error);
     },
     0xf003f, true, true},
    {"store a text, all access",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValueWithAllAccess(root, std::wstring(path), std::wstring(name),
                                             std::wstring(L"x"), view, error);
     },
     0xf003f, true, true},
    {"store a text, all access, pointers",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::StoreValueWithAllAccess(root, path, name, L"x", view, error);
     },
     0xf003f, true, true},
    {"create",
     [](void* root, const wchar_t* path, const wchar_t*, std::uint32_t view, std::uint32_t* error) {
         return Reg::CreateKeyWithAllAccess(root, std::wstring(path), view, error);
     },
     0xf003f, true, false},
    {"create, pointers",
     [](void* root, const wchar_t* path, const wchar_t*, std::uint32_t view, std::uint32_t* error) {
         return Reg::CreateKeyWithAllAccess(root, path, view, error);
     },
     0xf003f, true, false},
    {"delete",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) {
         return Reg::DeleteEntry(root, std::wstring(path), std::wstring(name), view, error);
     },
     0x10002, false, true},
    {"delete, pointers",
     [](void* root, const wchar_t* path, const wchar_t* name, std::uint32_t view,
        std::uint32_t* error) { return Reg::DeleteEntry(root, path, name, view, error); },
     0x10002, false, true},
};

DWORD g_uiAccess = 0;
int g_iOpen = 0;
LSTATUS g_ValueStatus = ERROR_SUCCESS;
const HKEY kOpened = reinterpret_cast<HKEY>(std::uintptr_t{0x1234});

LSTATUS WINAPI RecordOpen(HKEY, const wchar_t*, DWORD, REGSAM access, PHKEY opened) {
    g_uiAccess = access;
    ++g_iOpen;
    *opened = kOpened;
    return ERROR_SUCCESS;
}
LSTATUS WINAPI RecordCreate(HKEY, const wchar_t*, DWORD, wchar_t*, DWORD, REGSAM access,
                            SECURITY_ATTRIBUTES*, PHKEY opened, DWORD*) {
    return RecordOpen(nullptr, nullptr, 0, access, opened);
}
LSTATUS WINAPI RecordClose(HKEY key) {
    g_iOpen -= key == kOpened;
    return ERROR_SUCCESS;
}
LSTATUS WINAPI SetValue(HKEY, const wchar_t*, DWORD, DWORD, const BYTE*, DWORD) {
    return g_ValueStatus;
}
LSTATUS WINAPI DeleteOneValue(HKEY, const wchar_t*) {
    return g_ValueStatus;
}

TEST_F(RegOneShot, opens_with_its_rights_in_the_view_and_always_closes) {
    const IatPatch open(Self(), "advapi32.dll", "RegOpenKeyExW", RecordOpen);
    const IatPatch create(Self(), "advapi32.dll", "RegCreateKeyExW", RecordCreate);
    const IatPatch close(Self(), "advapi32.dll", "RegCloseKey", RecordClose);
    const IatPatch set(Self(), "advapi32.dll", "RegSetValueExW", SetValue);
    const IatPatch remove(Self(), "advapi32.dll", "RegDeleteValueW", DeleteOneValue);
    const struct {
        std::uint32_t view;
        DWORD flag;
    } views[] = {{0, 0}, {1, 512}, {2, 256}, {3, 0}};
    for (const OneShotRow& row : kOneShots) {
        SCOPED_TRACE(row.what);
        for (const auto& view : views) {
            std::uint32_t error = kUntouched;
            g_ValueStatus = ERROR_SUCCESS;
            EXPECT_TRUE(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", view.view, &error));
            EXPECT_EQ(error, 0U);
            EXPECT_EQ(g_uiAccess, row.access | view.flag);
            EXPECT_EQ(g_iOpen, 0);
        }
        std::uint32_t error = kUntouched;
        g_ValueStatus = ERROR_CANTWRITE;
        EXPECT_EQ(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", 0, &error), !row.usesValue);
        EXPECT_EQ(error, row.usesValue ? 1013U : 0U);
        EXPECT_EQ(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", 0, nullptr), !row.usesValue);
        EXPECT_EQ(g_iOpen, 0);
    }
}

TEST_F(RegOneShot, null_root_is_160) {
    for (const OneShotRow& row : kOneShots) {
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(row.run(nullptr, kPath, L"n", kView64, &error)) << row.what;
        EXPECT_EQ(error, 160U) << row.what;
    }
    List list;
    EXPECT_FALSE(Reg::EnumKeys(list, nullptr, kPath, kView64));
}

TEST_F(RegOneShot, missing_key_is_made_or_code_2) {
    for (const OneShotRow& row : kOneShots) {
        std::uint32_t error = kUntouched;
        EXPECT_EQ(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", kView64, &error), row.creates)
            << row.what;
        EXPECT_EQ(error, row.creates ? 0U : 2U) << row.what;
        EXPECT_EQ(KeyExists(kPath, KEY_WOW64_64KEY), row.creates) << row.what;
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY, 0);
    }
}

LSTATUS WINAPI ThrowRoot(HKEY, const wchar_t*, DWORD, REGSAM, PHKEY) {
    KrCommon::Exception::Raise<KrCommon::Exception::Base>();
}
LSTATUS WINAPI ThrowOther(HKEY, const wchar_t*, DWORD, wchar_t*, DWORD, REGSAM,
                          SECURITY_ATTRIBUTES*, PHKEY, DWORD*) {
    throw 5;
}

TEST_F(RegOneShot, other_exceptions_become_their_one_code) {
    const IatPatch open(Self(), "advapi32.dll", "RegOpenKeyExW", ThrowRoot);
    const IatPatch create(Self(), "advapi32.dll", "RegCreateKeyExW", ThrowOther);
    for (const OneShotRow& row : kOneShots) {
        std::uint32_t error = kUntouched;
        EXPECT_FALSE(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", kView64, &error)) << row.what;
        EXPECT_EQ(error, kUnknownFailure) << row.what;
        EXPECT_FALSE(row.run(HKEY_LOCAL_MACHINE, kPath, L"n", kView64, nullptr)) << row.what;
    }
    List list;
    EXPECT_FALSE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, kPath, kView64));
    EXPECT_FALSE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, std::wstring(kPath), kView64));
    EXPECT_EQ(LoadText(L"n"), L"none");
    EXPECT_EQ(Reg::LoadValue(nullptr, std::wstring(kPath), L"n", L"d", 0), L"d");
}

TEST_F(RegOneShot, numbers_and_texts_are_stored_under_their_names) {
    std::uint32_t error = kUntouched;
    EXPECT_TRUE(Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath, L"a", 0xffffffffU, kView64, &error));
    EXPECT_EQ(LoadNumber(L"a"), 0xffffffffU);
    EXPECT_TRUE(Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath, L"b", L"text", kView64, &error));
    EXPECT_EQ(LoadText(L"b"), L"text");
    EXPECT_TRUE(
        Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, kPath, L"c", 17U, kView64, &error));
    EXPECT_EQ(LoadNumber(L"c"), 17U);
    EXPECT_TRUE(
        Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, kPath, L"d", L"more", kView64, &error));
    EXPECT_EQ(LoadText(L"d"), L"more");
    EXPECT_TRUE(Reg::DeleteEntry(HKEY_LOCAL_MACHINE, kPath, L"b", kView64, &error));
    EXPECT_EQ(error, 0U);
    EXPECT_EQ(LoadText(L"b"), L"none");
    EXPECT_FALSE(Reg::DeleteEntry(HKEY_LOCAL_MACHINE, kPath, L"b", kView64, &error));
    EXPECT_EQ(error, 2U);
}

TEST_F(RegOneShot, null_pointers_stand_for_empty_texts) {
    std::uint32_t error = kUntouched;
    const wchar_t* const none = nullptr;
    EXPECT_TRUE(Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath, none, L"own", kView64, &error));
    EXPECT_EQ(LoadText(L""), L"own");
    EXPECT_EQ(LoadText(nullptr), L"own");
    EXPECT_TRUE(Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath, L"e", none, kView64, &error));
    EXPECT_EQ(LoadText(L"e"), L"");
    EXPECT_TRUE(Reg::DeleteEntry(HKEY_LOCAL_MACHINE, kPath, none, kView64, &error));
    EXPECT_EQ(LoadText(L""), L"none");
    EXPECT_EQ(Reg::LoadValue(nullptr, kPath, L"missing", none, kView64), L"");
    List list;
    EXPECT_TRUE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, none, kView64));
    EXPECT_NE(std::find(list.begin(), list.end(), L"Software"), list.end());
}

TEST_F(RegOneShot, views_are_the_halves_of_a_64_bit_registry) {
    EXPECT_TRUE(Reg::StoreValue(HKEY_LOCAL_MACHINE, kPath, L"n", 64U, 2, nullptr));
    EXPECT_TRUE(Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, kPath, L"n", 32U, 1, nullptr));
    EXPECT_EQ(LoadNumber(L"n", 2), 64U);
    EXPECT_EQ(LoadNumber(L"n", 1), 32U);
    EXPECT_TRUE(Reg::DeleteEntry(HKEY_LOCAL_MACHINE, kPath, L"n", 1, nullptr));
    EXPECT_EQ(LoadNumber(L"n", 2), 64U);
}

TEST_F(RegOneShot, sub_keys_are_listed) {
    const RegistryKey key(kPath, KEY_WOW64_64KEY);
    const RegistryKey a(std::wstring(kPath) + L"\\a", KEY_WOW64_64KEY);
    const RegistryKey b(std::wstring(kPath) + L"\\b", KEY_WOW64_64KEY);
    List list = {L"before"};
    EXPECT_TRUE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, std::wstring(kPath), kView64));
    EXPECT_TRUE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, kPath, kView64));
    EXPECT_EQ(list, (List{L"before", L"a", L"b", L"a", L"b"}));
    EXPECT_FALSE(Reg::EnumKeys(list, HKEY_LOCAL_MACHINE, L"SOFTWARE\\WyUnitTest None", kView64));
    EXPECT_EQ(list.size(), 5U);
}

// A tree in the view of this process, which is the view of the removal.
constexpr const wchar_t* kTree = L"SOFTWARE\\WyUnitTest Tree";

void MakeKey(const std::wstring& path) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegSetValueExW(key, L"value", 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4);
    RegCloseKey(key);
}

TEST(RegDeleteAllSection, missing_key_is_true) {
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, std::wstring(kTree) + L"\\deeper"));
}

TEST(RegDeleteAllSection, trees_go_whole) {
    std::wstring deep = kTree;
    for (int i = 0; i < 100; ++i)
        deep += L"\\k" + std::to_wstring(i);
    const struct {
        const char* what;
        std::vector<std::wstring> keys;
    } rows[] = {
        {"one key", {kTree}},
        {"100 levels", {deep}},
        {"siblings and cousins",
         {std::wstring(kTree) + L"\\a\\1", std::wstring(kTree) + L"\\a\\2",
          std::wstring(kTree) + L"\\b", std::wstring(kTree) + L"\\c\\d\\e"}},
        {"longest name", {std::wstring(kTree) + L"\\" + std::wstring(255, L'n') + L"\\sub"}},
    };
    for (const auto& row : rows) {
        for (const std::wstring& key : row.keys)
            MakeKey(key);
        ASSERT_TRUE(KeyExists(kTree, 0)) << row.what;
        EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, std::wstring(kTree))) << row.what;
        EXPECT_FALSE(KeyExists(kTree, 0)) << row.what;
    }
}

TEST(RegDeleteAllSection, wide_tree_goes_whole) {
    for (int i = 0; i < 500; ++i)
        MakeKey(std::wstring(kTree) + L"\\k" + std::to_wstring(i));
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
    EXPECT_FALSE(KeyExists(kTree, 0));
}

TEST(RegDeleteAllSection, path_may_end_in_a_separator) {
    MakeKey(std::wstring(kTree) + L"\\a\\b");
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, std::wstring(kTree) + L"\\"));
    EXPECT_FALSE(KeyExists(kTree, 0));
}

std::wstring g_strRefused;
LSTATUS WINAPI RefuseOneDelete(HKEY root, const wchar_t* path) {
    return g_strRefused == path ? ERROR_ACCESS_DENIED : RegDeleteKeyExW(root, path, 0, 0);
}

TEST(RegDeleteAllSection, refused_key_ends_it_and_the_rest_stays) {
    MakeKey(std::wstring(kTree) + L"\\a");
    MakeKey(std::wstring(kTree) + L"\\b\\c");
    MakeKey(std::wstring(kTree) + L"\\d");
    {
        const IatPatch patch(Self(), "advapi32.dll", "RegDeleteKeyW", RefuseOneDelete);
        g_strRefused = std::wstring(kTree) + L"\\b\\c";
        EXPECT_FALSE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
    }
    EXPECT_FALSE(KeyExists((std::wstring(kTree) + L"\\a").c_str(), 0));
    EXPECT_TRUE(KeyExists((std::wstring(kTree) + L"\\b\\c").c_str(), 0));
    EXPECT_TRUE(KeyExists((std::wstring(kTree) + L"\\d").c_str(), 0));
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
}

int g_iDeletes = 0;
LSTATUS WINAPI PretendDelete(HKEY, const wchar_t* path) {
    ++g_iDeletes;
    return std::wstring(path) == kTree ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

TEST(RegDeleteAllSection, key_that_stays_behind_its_removal_ends_it) {
    MakeKey(std::wstring(kTree) + L"\\a");
    {
        const IatPatch patch(Self(), "advapi32.dll", "RegDeleteKeyW", PretendDelete);
        g_iDeletes = 0;
        EXPECT_FALSE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
        EXPECT_EQ(g_iDeletes, 3);  // the tree, its key, the tree again
    }
    EXPECT_TRUE(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree));
}

LSTATUS g_OpenStatus = ERROR_SUCCESS;
LSTATUS WINAPI RefuseOpen(HKEY, const wchar_t*, DWORD, REGSAM access, PHKEY) {
    g_uiAccess = access;
    return g_OpenStatus;
}
LSTATUS WINAPI RefuseDelete(HKEY, const wchar_t*) {
    return ERROR_ACCESS_DENIED;
}

TEST(RegDeleteAllSection, key_that_cannot_be_opened) {
    const IatPatch open(Self(), "advapi32.dll", "RegOpenKeyExW", RefuseOpen);
    const IatPatch remove(Self(), "advapi32.dll", "RegDeleteKeyW", RefuseDelete);
    const struct {
        LSTATUS status;
        bool result;
    } rows[] = {{ERROR_FILE_NOT_FOUND, true},
                {ERROR_PATH_NOT_FOUND, false},
                {ERROR_ACCESS_DENIED, false},
                {ERROR_INVALID_HANDLE, false}};
    for (const auto& row : rows) {
        g_OpenStatus = row.status;
        EXPECT_EQ(Reg::DeleteAllSection(HKEY_LOCAL_MACHINE, kTree), row.result) << row.status;
        EXPECT_EQ(g_uiAccess, 131097U);  // KEY_READ
    }
}

TEST(RegDeleteAllSection, empty_path_spares_what_is_below_the_root) {
    MakeKey(std::wstring(kTree) + L"\\a");
    HKEY root = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kTree, 0, KEY_ALL_ACCESS, &root), ERROR_SUCCESS);
    EXPECT_FALSE(Reg::DeleteAllSection(root, std::wstring()));
    EXPECT_FALSE(Reg::DeleteAllSection(root, static_cast<const wchar_t*>(nullptr)));
    EXPECT_TRUE(KeyExists((std::wstring(kTree) + L"\\a").c_str(), 0));
    EXPECT_TRUE(Reg::DeleteAllSection(root, L"a"));
    EXPECT_TRUE(Reg::DeleteAllSection(root, L""));
    RegCloseKey(root);
    EXPECT_FALSE(KeyExists(kTree, 0));
}

}  // namespace
