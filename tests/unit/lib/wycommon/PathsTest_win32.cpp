// The product's values and folders, by registry, identity and system.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "support/IatPatch.h"
#include "support/RegistryKey_win32.h"
#include "support/TemporaryFolder.h"
#include "utilMode/FrwkMode.h"

namespace {

namespace Utility = WyCommon::Utility;
using test_support::IatPatch;
using test_support::RegistryKey;

// An identity that no product has, so that nothing of an installation is touched.
constexpr const wchar_t* kId = L"WyUnitTest Product";

HMODULE Program() {
    return GetModuleHandleW(nullptr);
}

REGSAM ProductAccess() {
    return KrCommon::OsVersion::Is64Bit() ? KEY_WOW64_64KEY : 0;
}

class ProductPaths : public testing::Test {
protected:
    void SetUp() override { Frwk::Mode::SetWyvarionId(kId); }
    void TearDown() override { Frwk::Mode::SetWyvarionId({}); }
    const std::wstring m_Key = L"SOFTWARE\\KorvexData\\" + std::wstring(kId);
};

// ---- values of the product key

const struct {
    const wchar_t* name;
    std::wstring (*function)();
} kValues[] = {
    {L"ProductPath", Utility::GetProductPath},   {L"WinGuid", Utility::GetWinGuid},
    {L"AgentVersion", Utility::GetAgentVersion}, {L"ProductId", Utility::GetProductId},
    {L"VendorId", Utility::GetVendorId},         {L"ProductVersion", Utility::GetProductVersion},
};

TEST_F(ProductPaths, each_value_is_the_text_of_its_name) {
    RegistryKey key(m_Key, ProductAccess());
    for (const auto& value : kValues)
        ASSERT_TRUE(key.SetText(value.name, std::wstring(L"caf\x00e9 of ") + value.name));
    for (const auto& value : kValues)
        EXPECT_EQ(value.function(), std::wstring(L"caf\x00e9 of ") + value.name);
}

TEST_F(ProductPaths, missing_values_and_those_of_another_type_are_empty) {
    RegistryKey key(m_Key, ProductAccess());
    for (const auto& value : kValues)
        EXPECT_EQ(value.function(), L"") << value.name;
    for (const auto& value : kValues) {
        ASSERT_TRUE(key.Set(value.name, REG_DWORD, {1, 0, 0, 0}));
        EXPECT_EQ(value.function(), L"") << value.name;
        ASSERT_TRUE(key.Set(value.name, REG_BINARY, {'a', 0, 0, 0}));
        EXPECT_EQ(value.function(), L"") << value.name;
    }
}

TEST_F(ProductPaths, key_of_32_bit_programs_does_not_count_on_a_64_bit_system) {
    if (!KrCommon::OsVersion::Is64Bit()) {
        GTEST_SKIP() << "a 32-bit system has one registry";
    }
    RegistryKey key(m_Key, KEY_WOW64_32KEY);
    for (const auto& value : kValues) {
        ASSERT_TRUE(key.SetText(value.name, L"wrong"));
        EXPECT_EQ(value.function(), L"") << value.name;
    }
}

std::wstring s_Key;
REGSAM s_uiAccess = 0;

LSTATUS WINAPI OpenRecorded(HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(options, 0U);
    s_Key = path;
    s_uiAccess = access;
    return ERROR_ACCESS_DENIED;
}

TEST_F(ProductPaths, values_are_asked_for_with_no_more_than_the_right_to_query_them) {
    const IatPatch patch(Program(), "advapi32.dll", "RegOpenKeyExW", OpenRecorded);
    for (const auto& value : kValues) {
        s_Key.clear();
        EXPECT_EQ(value.function(), L"") << value.name;
        EXPECT_EQ(s_Key, m_Key);
        EXPECT_EQ(s_uiAccess, KEY_QUERY_VALUE | ProductAccess());
    }
}

TEST_F(ProductPaths, key_by_identity) {
    const IatPatch patch(Program(), "advapi32.dll", "RegOpenKeyExW", OpenRecorded);
    for (const wchar_t* id : {L"Wyvarion", L"Tavrenox", L"Mirdoshale"}) {
        Frwk::Mode::SetWyvarionId(id);
        Utility::GetProductPath();
        EXPECT_EQ(s_Key, std::wstring(L"SOFTWARE\\KorvexData\\") + id);
    }
}

// ---- folders below the base

TEST_F(ProductPaths, folders_below_the_installation) {
    const bool is64Bit = KrCommon::OsVersion::Is64Bit();
    const struct {
        const wchar_t* productPath;
        std::wstring base;
    } rows[] = {
        {L"C:\\Product", L"C:\\Product\\"},
        {L"C:\\Product\\", L"C:\\Product\\"},
        {L"P", L"P\\"},
        {L"", Utility::GetHostModuleFolder() + L"\\"},
    };
    RegistryKey key(m_Key, ProductAccess());
    for (const auto& row : rows) {
        ASSERT_TRUE(key.SetText(L"ProductPath", row.productPath));
        const std::wstring base = *row.productPath == L'\0' ? Utility::GetHostModuleFolder()
                                                            : std::wstring(row.productPath);
        EXPECT_EQ(Utility::GetProductPathOrModuleFolder(), base);
        EXPECT_EQ(Utility::GetConfigurationFolder(), row.base + L"Configuration");
        EXPECT_EQ(Utility::GetCacheFolder(), row.base + L"Cache");
        EXPECT_EQ(Utility::GetWin32Folder(), is64Bit ? row.base + L"win32" : base);
    }
}

std::wstring s_ModulePath;
DWORD s_uiLimit = 0;
DWORD WINAPI ModulePathGiven(HMODULE module, LPWSTR path, DWORD size) {
    EXPECT_EQ(module, nullptr);
    s_uiLimit = size;
    // Old systems cut without a NUL.
    const std::size_t length = s_ModulePath.copy(path, size);
    if (length < size)
        path[length] = L'\0';
    return static_cast<DWORD>(length);
}

TEST_F(ProductPaths, host_folder_by_path_of_the_program) {
    const std::wstring deep = L"C:\\" + std::wstring(250, L'd');
    const struct {
        std::wstring module;
        std::wstring folder;
    } rows[] = {
        {L"C:\\a\\b\\x.exe", L"C:\\a\\b"},
        {L"C:\\x.exe", L"C:"},
        {L"x.exe", L""},
        {L"", L""},
        {L"\\\\?\\C:\\a\\x.exe", L"\\\\?\\C:\\a"},
        {deep + L"\\program.exe", deep},
        {deep + L"\\" + std::wstring(40, L'x'), deep},
        {L"C:\\" + std::wstring(300, L'd') + L"\\x.exe", L"C:"},  // cut before its last part
    };
    const IatPatch patch(Program(), "kernel32.dll", "GetModuleFileNameW", ModulePathGiven);
    for (const auto& row : rows) {
        s_ModulePath = row.module;
        EXPECT_EQ(Utility::GetHostModuleFolder(), row.folder) << row.module;
        EXPECT_EQ(s_uiLimit, 260U);
    }
    s_ModulePath = L"x.exe";
    EXPECT_EQ(Utility::GetConfigurationFolder(), L"Configuration");
}

TEST_F(ProductPaths, product_folder_of_a_medium) {
    const std::wstring part = KrCommon::OsVersion::Is64Bit() ? L"x64\\product" : L"win32\\product";
    EXPECT_EQ(Utility::GetMediaProductFolder(L"D:\\"), L"D:\\" + part);
    EXPECT_EQ(Utility::GetMediaProductFolder(L"D:\\setup"), L"D:\\setup\\" + part);
    EXPECT_EQ(Utility::GetMediaProductFolder(L""), part);
}

// ---- folders below the data roots

std::wstring s_Root;
std::vector<int> s_Folders;
HRESULT WINAPI FolderGiven(HWND, int folder, HANDLE, DWORD, LPWSTR path) {
    s_Folders.push_back(folder);
    if (s_Root.empty())
        return E_FAIL;
    path[s_Root.copy(path, MAX_PATH - 1)] = L'\0';
    return S_OK;
}

constexpr int kCommonAppData = 0x23;
constexpr int kLocalAppData = 0x1c;

const struct DataFolder {
    const wchar_t* what;
    std::function<std::wstring()> function;
    int folder;
    const wchar_t* part;
} kDataFolders[] = {
    {L"common cache", Utility::GetCommonCacheFolder, kCommonAppData, L"Cache"},
    {L"external", [] { return Utility::GetExternalFolder(false); }, kCommonAppData, L"External"},
    {L"external for a time", [] { return Utility::GetExternalFolder(true); }, kCommonAppData,
     L"ExternalTmp"},
    {L"local cache", Utility::GetLocalCacheFolder, kLocalAppData, L"Cache"},
};

TEST_F(ProductPaths, data_folders_are_named_and_made) {
    const test_support::TemporaryFolder root(L"wy_paths");
    const IatPatch patch(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    for (const wchar_t* ending : {L"\\a", L"\\b\\"}) {
        s_Root = root.Path().wstring() + ending;
        std::wstring base = root.Path().wstring() + ending;
        if (base.back() != L'\\')
            base += L'\\';
        for (const DataFolder& row : kDataFolders) {
            s_Folders.clear();
            const std::wstring folder = base + L"Korvex Data\\" + kId + L'\\' + row.part;
            EXPECT_EQ(row.function(), folder) << row.what;
            EXPECT_EQ(s_Folders, std::vector<int>{row.folder}) << row.what;
            EXPECT_TRUE(KrCommon::Storage::File::Exists(folder, nullptr)) << row.what;
            EXPECT_EQ(row.function(), folder) << row.what << ", which exists by now";
        }
    }
}

TEST_F(ProductPaths, data_folder_follows_the_identity) {
    const test_support::TemporaryFolder root(L"wy_paths");
    const IatPatch patch(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    s_Root = root.Path().wstring();
    for (const wchar_t* id : {L"Wyvarion", L"Tavrenox", L"Mirdoshale"}) {
        Frwk::Mode::SetWyvarionId(id);
        EXPECT_EQ(Utility::GetCommonCacheFolder(), s_Root + L"\\Korvex Data\\" + id + L"\\Cache");
    }
}

BOOL WINAPI CreateRefused(LPCWSTR, LPSECURITY_ATTRIBUTES) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(ProductPaths, data_folder_that_cannot_be_made_is_named_all_the_same) {
    const test_support::TemporaryFolder root(L"wy_paths");
    const IatPatch folder(Program(), "shell32.dll", "SHGetFolderPathW", FolderGiven);
    const IatPatch create(Program(), "kernel32.dll", "CreateDirectoryW", CreateRefused);
    s_Root = root.Path().wstring();
    for (const DataFolder& row : kDataFolders) {
        EXPECT_EQ(row.function(), s_Root + L"\\Korvex Data\\" + kId + L'\\' + row.part) << row.what;
    }
    EXPECT_FALSE(KrCommon::Storage::File::Exists(s_Root + L"\\Korvex Data", nullptr));
    s_Root.clear();  // the system does not even name the folder
    EXPECT_EQ(Utility::GetCommonCacheFolder(),
              L"#CSIDL_COMMON_APPDATA#\\Korvex Data\\" + std::wstring(kId) + L"\\Cache");
}

}  // namespace
