// The keys of the registry store: opens, views, closing, lists, and refusals of the system.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Registry.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/StorageFailure.h"

namespace {

using namespace KrCommon::Storage;
using test_support::CodeOf;
using test_support::FailureOf;
using test_support::IatPatch;
using test_support::RegistryKey;
using test_support::StorageFailure;

constexpr std::uint32_t kNothing = StorageFailure::kNothing;
constexpr std::uint32_t kView64 = 2;
constexpr const wchar_t* kPath = L"SOFTWARE\\WyUnitTest Keys";

const Key kKey(Key::kRegistry, HKEY_LOCAL_MACHINE, kPath);

HMODULE Self() {
    return GetModuleHandleW(nullptr);
}

// The five ways to open a key, with the line each raises at.
using OpenFunction = bool (*)(Registry&, const Key&, const std::wstring&);
struct OpenRow {
    const char* what;
    OpenFunction open;
    DWORD access;
    bool creates;
    bool attributes;  // hands security attributes to the system
    std::uint32_t line;
};

const OpenRow kOpens[] = {
    {"read", [](Registry& r, const Key& k, const std::wstring& p) { return r.OpenForRead(k, p); },
     0x1, false, false, 62},
    {"write", [](Registry& r, const Key& k, const std::wstring& p) { return r.OpenForWrite(k, p); },
     0x7, true, true, 129},
    {"create",
     [](Registry& r, const Key& k, const std::wstring& p) {
         return r.CreateKeyWithAllAccess(k, p);
     },
     0xf003f, true, false, 160},
    {"delete",
     [](Registry& r, const Key& k, const std::wstring& p) { return r.OpenForDelete(k, p); },
     0x10002, false, false, 202},
    {"enumerate",
     [](Registry& r, const Key& k, const std::wstring& p) { return r.OpenForEnum(k, p); }, 0x9,
     false, false, 244},
};

// The last call that opened or created a key.
struct OpenCall {
    bool created = false;
    HKEY root = nullptr;
    std::wstring path;
    DWORD options = 77;
    DWORD access = 0;
    bool hasClass = false;
    bool hasAttributes = false;
    bool hasDescriptor = false;
};
OpenCall g_Call;
LSTATUS g_Status = ERROR_SUCCESS;
const HKEY kOpened = reinterpret_cast<HKEY>(std::uintptr_t{0x1234});

LSTATUS WINAPI RecordOpen(HKEY root, const wchar_t* path, DWORD options, REGSAM access,
                          PHKEY opened) {
    g_Call = {false, root, path, options, access};
    *opened = kOpened;
    return g_Status;
}

LSTATUS WINAPI RecordCreate(HKEY root, const wchar_t* path, DWORD, wchar_t* className,
                            DWORD options, REGSAM access, SECURITY_ATTRIBUTES* attributes,
                            PHKEY opened, DWORD*) {
    g_Call = {true,
              root,
              path,
              options,
              access,
              className != nullptr,
              attributes != nullptr,
              attributes != nullptr && attributes->lpSecurityDescriptor != nullptr};
    *opened = kOpened;
    return g_Status;
}

std::vector<HKEY> g_Closed;
LSTATUS WINAPI RecordClose(HKEY key) {
    g_Closed.push_back(key);
    return g_Status;
}

// All opens and closes go to the recorders above.
class RecordedRegistry : public testing::Test {
protected:
    RecordedRegistry()
        : m_Open(Self(), "advapi32.dll", "RegOpenKeyExW", RecordOpen),
          m_Create(Self(), "advapi32.dll", "RegCreateKeyExW", RecordCreate),
          m_Close(Self(), "advapi32.dll", "RegCloseKey", RecordClose) {
        g_Status = ERROR_SUCCESS;
        g_Call = {};
        g_Closed.clear();
    }

private:
    IatPatch m_Open;
    IatPatch m_Create;
    IatPatch m_Close;
};

TEST_F(RecordedRegistry, opens_ask_for_exactly_their_rights) {
    for (const OpenRow& row : kOpens) {
        SCOPED_TRACE(row.what);
        Registry store;
        EXPECT_TRUE(row.open(store, kKey, L"sub"));
        EXPECT_EQ(g_Call.created, row.creates);
        EXPECT_EQ(g_Call.root, HKEY_LOCAL_MACHINE);
        EXPECT_EQ(g_Call.path, std::wstring(kPath) + L"\\sub");
        EXPECT_EQ(g_Call.options, 0U);
        EXPECT_EQ(g_Call.access, row.access);
        EXPECT_FALSE(g_Call.hasClass);
        EXPECT_EQ(g_Call.hasAttributes, row.attributes);
        EXPECT_EQ(g_Call.hasDescriptor, row.attributes);
        EXPECT_EQ(store.GetHandle(), kOpened);
        EXPECT_EQ(store.GetPath(), std::wstring(kPath) + L"\\sub");
    }
}

TEST_F(RecordedRegistry, view_adds_its_flag_to_every_open) {
    const struct {
        std::uint32_t view;
        DWORD flag;
    } views[] = {{0, 0}, {1, 512}, {2, 256}, {3, 0}, {256, 0}, {0xffffffff, 0}};
    for (const auto& view : views) {
        for (const OpenRow& row : kOpens) {
            Registry store(view.view);
            row.open(store, kKey, {});
            EXPECT_EQ(g_Call.access, row.access | view.flag) << row.what << ' ' << view.view;
        }
    }
}

TEST_F(RecordedRegistry, path_is_name_separator_and_sub_path) {
    const struct {
        const wchar_t* name;
        const wchar_t* subPath;
        const wchar_t* path;
    } rows[] = {
        {nullptr, L"", L""},         {L"", L"", L""},
        {nullptr, L"a\\b", L"a\\b"}, {L"", L"a", L"a"},
        {L"n", L"", L"n\\"},         {L"n", L"a", L"n\\a"},
        {L"n\\", L"a", L"n\\a"},     {L"n\\", L"", L"n\\"},
        {L"n", L"\\a", L"n\\\\a"},   {L"\\", L"a", L"\\a"},
        {L"n\\m", L"a", L"n\\m\\a"},
    };
    for (const auto& row : rows) {
        for (const OpenRow& open : kOpens) {
            Registry store;
            open.open(store, Key(Key::kRegistryAlso, HKEY_CURRENT_USER, row.name), row.subPath);
            EXPECT_EQ(g_Call.path, row.path) << &row - rows << ' ' << open.what;
            EXPECT_EQ(g_Call.root, HKEY_CURRENT_USER);
        }
    }
}

TEST_F(RecordedRegistry, refused_open_raises_the_systems_code_at_its_line) {
    for (const OpenRow& row : kOpens) {
        SCOPED_TRACE(row.what);
        Registry store;
        g_Status = ERROR_LOCK_VIOLATION;
        const StorageFailure failure = FailureOf([&] { row.open(store, kKey, L"sub"); });
        EXPECT_EQ(failure.code, 33U);
        EXPECT_EQ(failure.line, row.line);
        EXPECT_EQ(failure.file, "KrComn_Registry");
        EXPECT_FALSE(failure.ofValue);
        EXPECT_FALSE(store.IsOpen());
        EXPECT_EQ(store.GetPath(), L"");
        g_Status = ERROR_SUCCESS;
    }
    EXPECT_TRUE(g_Closed.empty());
}

TEST_F(RecordedRegistry, null_root_raises_160_and_asks_nothing) {
    for (const OpenRow& row : kOpens) {
        Registry store;
        const StorageFailure failure =
            FailureOf([&] { row.open(store, Key(Key::kRegistry, nullptr, kPath), L"sub"); });
        EXPECT_EQ(failure.code, 160U) << row.what;
        EXPECT_EQ(failure.line, row.line) << row.what;
        EXPECT_EQ(g_Call.access, 0U) << row.what;
    }
}

TEST_F(RecordedRegistry, second_open_closes_the_first_key_only_when_it_succeeds) {
    for (const OpenRow& row : kOpens) {
        SCOPED_TRACE(row.what);
        Registry store;
        store.OpenForRead(kKey, L"first");
        g_Status = ERROR_ACCESS_DENIED;
        EXPECT_EQ(CodeOf([&] { row.open(store, kKey, L"second"); }), 5U);
        g_Status = ERROR_SUCCESS;
        EXPECT_TRUE(g_Closed.empty());
        EXPECT_EQ(store.GetPath(), std::wstring(kPath) + L"\\first");
        row.open(store, kKey, L"second");
        EXPECT_EQ(g_Closed, std::vector<HKEY>{kOpened});
        EXPECT_EQ(store.GetPath(), std::wstring(kPath) + L"\\second");
        store.Close(false);
        g_Closed.clear();
    }
}

TEST_F(RecordedRegistry, destructor_closes_what_is_open_and_nothing_else) {
    { const Registry closed; }
    EXPECT_TRUE(g_Closed.empty());
    {
        Registry store;
        store.OpenForRead(kKey, {});
        g_Status = ERROR_ACCESS_DENIED;  // a failure is swallowed
    }
    EXPECT_EQ(g_Closed, std::vector<HKEY>{kOpened});
}

TEST_F(RecordedRegistry, failed_close_raises_and_keeps_the_key) {
    Registry store;
    store.OpenForRead(kKey, {});
    g_Status = ERROR_ACCESS_DENIED;
    EXPECT_EQ(CodeOf([&] { store.Close(false); }), 5U);
    EXPECT_TRUE(store.IsOpen());
}

int g_iFlushes = 0;
LSTATUS WINAPI RecordFlush(HKEY) {
    ++g_iFlushes;
    return g_Status;
}

TEST_F(RecordedRegistry, close_flushes_only_when_asked) {
    const IatPatch patch(Self(), "advapi32.dll", "RegFlushKey", RecordFlush);
    g_iFlushes = 0;
    Registry store;
    store.OpenForRead(kKey, {});
    store.Close(false);
    EXPECT_EQ(g_iFlushes, 0);
    EXPECT_FALSE(store.IsOpen());
    EXPECT_EQ(store.GetPath(), L"");
    store.OpenForRead(kKey, {});
    store.Close(true);
    EXPECT_EQ(g_iFlushes, 1);
    store.OpenForRead(kKey, {});
    g_Status = ERROR_CANTWRITE;
    EXPECT_EQ(CodeOf([&] { store.Flush(); }), 1013U);
    EXPECT_EQ(CodeOf([&] { store.Close(true); }), 1013U);
    EXPECT_TRUE(store.IsOpen());
    EXPECT_EQ(g_Closed.size(), 2U);
}

TEST(RegistryClosed, every_operation_raises_6) {
    Registry never;
    Registry after;
    {
        const RegistryKey key(kPath, KEY_WOW64_64KEY);
        Registry opened(kView64);
        after.OpenForEnum(Key(Key::kRegistry, HKEY_LOCAL_MACHINE, nullptr), L"SOFTWARE");
        after.Close(true);
    }
    Binary binary;
    List list;
    std::uint32_t error = 0;
    for (Registry* store : {&never, &after}) {
        const StorageFailure failures[] = {
            FailureOf([&] { store->ReadBinary(L"n", binary); }),
            FailureOf([&] { store->ReadString(L"n", {}); }),
            FailureOf([&] { store->ReadQword(L"n", 0); }),
            FailureOf([&] { store->ReadDword(L"n", 0); }),
            FailureOf([&] { store->WriteBinary(L"n", {}); }),
            FailureOf([&] { store->WriteString(L"n", {}); }),
            FailureOf([&] { store->WriteQword(L"n", 0); }),
            FailureOf([&] { store->WriteDword(L"n", 0); }),
            FailureOf([&] { store->DeleteSelf(); }),
            FailureOf([&] { store->DeleteValue(L"n"); }),
            FailureOf([&] { store->DeleteValue(std::wstring(L"n")); }),
            FailureOf([&] { store->EnumSubKeys(list); }),
            FailureOf([&] { store->EnumValues(list); }),
            FailureOf([&] { store->Flush(); }),
            FailureOf([&] { store->Close(false); }),
            FailureOf([&] { store->Close(true); }),
        };
        for (const StorageFailure& failure : failures)
            EXPECT_EQ(failure.code, 6U) << &failure - failures;
        EXPECT_EQ(store->ReadDword(L"n", 77, &error), 77U);
        EXPECT_EQ(error, 6U);
    }
}

TEST(RegistryKeys, missing_key_is_code_2_unless_the_open_creates_it) {
    for (const OpenRow& row : kOpens) {
        Registry store(kView64);
        const std::uint32_t code = CodeOf([&] { row.open(store, kKey, {}); });
        EXPECT_EQ(code, row.creates ? kNothing : 2U) << row.what;
        RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kPath, KEY_WOW64_64KEY, 0);
    }
}

TEST(RegistryKeys, path_with_separator_at_its_end_is_the_key) {
    RegistryKey key(kPath, KEY_WOW64_64KEY);
    ASSERT_TRUE(key.SetText(L"value", L"text"));
    Registry store(kView64);
    store.OpenForRead(kKey, {});
    EXPECT_EQ(store.GetPath(), std::wstring(kPath) + L"\\");
    EXPECT_EQ(store.ReadString(L"value", {}), L"text");
    store.OpenForWrite(kKey, {});
    EXPECT_EQ(store.ReadString(L"value", {}), L"text");
}

TEST(RegistryKeys, views_are_the_halves_of_a_64_bit_registry) {
    RegistryKey half64(kPath, KEY_WOW64_64KEY);
    RegistryKey half32(kPath, KEY_WOW64_32KEY);
    ASSERT_TRUE(half64.SetText(L"value", L"64"));
    ASSERT_TRUE(half32.SetText(L"value", L"32"));
    const wchar_t* const own = sizeof(void*) == 8 ? L"64" : L"32";
    const struct {
        std::uint32_t view;
        const wchar_t* text;
    } rows[] = {{0, own}, {1, L"32"}, {2, L"64"}, {3, own}};
    for (const auto& row : rows) {
        Registry store(row.view);
        store.OpenForRead(kKey, {});
        EXPECT_EQ(store.ReadString(L"value", {}), row.text) << row.view;
    }
}

// Sub-keys and values of one key, made by the system's own calls.
class RegistryLists : public testing::Test {
protected:
    RegistryLists() : m_Key(kPath, KEY_WOW64_64KEY), m_Store(kView64) {
        m_Store.CreateKeyWithAllAccess(kKey, {});
    }
    ~RegistryLists() override {
        for (const std::wstring& name : m_SubKeys)
            RegDeleteKeyW(static_cast<HKEY>(m_Store.GetHandle()), name.c_str());
    }

    void AddSubKey(const std::wstring& name) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(static_cast<HKEY>(m_Store.GetHandle()), name.c_str(), 0, nullptr,
                                  0, KEY_READ, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        RegCloseKey(key);
        m_SubKeys.push_back(name);
    }

    RegistryKey m_Key;
    Registry m_Store;
    List m_SubKeys;
};

TEST_F(RegistryLists, names_are_appended) {
    List list = {L"before"};
    EXPECT_TRUE(m_Store.EnumSubKeys(list));
    EXPECT_TRUE(m_Store.EnumValues(list));
    EXPECT_EQ(list, List{L"before"});
    AddSubKey(L"b");
    AddSubKey(L"a");
    ASSERT_TRUE(m_Key.SetText(L"v", L"text"));
    ASSERT_TRUE(m_Key.SetText(nullptr, L"own"));
    EXPECT_TRUE(m_Store.EnumSubKeys(list));
    std::sort(list.begin() + 1, list.end());
    EXPECT_EQ(list, (List{L"before", L"a", L"b"}));
    list.resize(1);
    EXPECT_TRUE(m_Store.EnumValues(list));
    std::sort(list.begin() + 1, list.end());
    EXPECT_EQ(list, (List{L"before", L"", L"v"}));
}

TEST_F(RegistryLists, many_names_come_all) {
    List expected;
    for (int i = 100; i < 400; ++i) {
        expected.push_back(std::to_wstring(i));
        AddSubKey(expected.back());
        ASSERT_TRUE(m_Key.SetText(expected.back().c_str(), L"x"));
    }
    List keys;
    List values;
    EXPECT_TRUE(m_Store.EnumSubKeys(keys));
    EXPECT_TRUE(m_Store.EnumValues(values));
    std::sort(keys.begin(), keys.end());
    std::sort(values.begin(), values.end());
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(values, expected);
}

TEST_F(RegistryLists, names_up_to_the_limits_come_whole) {
    for (const std::size_t length : {254U, 255U}) {
        const std::wstring name(length, L'k');
        AddSubKey(name);
        List list;
        EXPECT_TRUE(m_Store.EnumSubKeys(list));
        EXPECT_EQ(list.back(), name) << length;
    }
    for (const std::size_t length : {255U, 256U}) {
        const std::wstring name(length, L'v');
        ASSERT_TRUE(m_Key.SetText(name.c_str(), L"x"));
        List list;
        EXPECT_TRUE(m_Store.EnumValues(list));
        EXPECT_EQ(list.back(), name) << length;
    }
    ASSERT_TRUE(m_Key.SetText(std::wstring(257, L'w').c_str(), L"x"));
    List list;
    EXPECT_EQ(CodeOf([&] { m_Store.EnumValues(list); }), 234U);
    EXPECT_EQ(list.size(), 2U);
}

// The system's calls that list, with the size offered for a name.
DWORD g_uiOffered = 0;
LSTATUS WINAPI RefuseName(HKEY, DWORD, wchar_t*, DWORD* length, DWORD*, wchar_t*, DWORD*,
                          FILETIME*) {
    g_uiOffered = *length;
    return ERROR_KEY_DELETED;
}
LSTATUS WINAPI RefuseValueName(HKEY, DWORD, wchar_t*, DWORD* length, DWORD*, DWORD*, BYTE*,
                               DWORD*) {
    g_uiOffered = *length;
    return ERROR_KEY_DELETED;
}

TEST_F(RegistryLists, refusal_of_the_system_raises_its_code) {
    const IatPatch keys(Self(), "advapi32.dll", "RegEnumKeyExW", RefuseName);
    const IatPatch values(Self(), "advapi32.dll", "RegEnumValueW", RefuseValueName);
    List list;
    EXPECT_EQ(CodeOf([&] { m_Store.EnumSubKeys(list); }), 1018U);
    EXPECT_EQ(g_uiOffered, 256U);
    EXPECT_EQ(CodeOf([&] { m_Store.EnumValues(list); }), 1018U);
    EXPECT_EQ(g_uiOffered, 257U);
    EXPECT_TRUE(list.empty());
}

}  // namespace
