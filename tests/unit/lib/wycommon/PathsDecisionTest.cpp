// Every folder by what the system answers. This program brings its own answers instead of the
// system's, so that both widths and every failure can be had anywhere.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "lib/wycommon/WyCommon_Paths.h"
#include "lib/wycommon/WyCommon_PathsPlatform.h"
#include "utilMode/FrwkMode.h"

namespace {

std::map<std::wstring, std::wstring> s_Values;
std::wstring s_strKey;
bool s_bIs64Bit = false;
std::map<int, std::wstring> s_Folders;
std::vector<std::wstring> s_Ensured;

}  // namespace

namespace WyCommon::PathsPlatform {

std::wstring LoadMachineValue(const std::wstring& key, const wchar_t* name) {
    s_strKey = key;
    return s_Values[name];
}
bool Is64BitSystem() {
    return s_bIs64Bit;
}
std::optional<std::wstring> FolderPath(int folder) {
    const auto found = s_Folders.find(folder);
    return found != s_Folders.end() ? std::optional(found->second) : std::nullopt;
}
void EnsureFolder(const std::wstring& folder) {
    s_Ensured.push_back(folder);
}

}  // namespace WyCommon::PathsPlatform

namespace {

namespace Utility = WyCommon::Utility;
using Paths = std::vector<std::wstring>;

constexpr int kCommonAppData = 0x23;
constexpr int kLocalAppData = 0x1c;

TEST(PathsDecision, every_folder_on_32_and_64_bit_systems) {
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    s_Values = {{L"ProductPath", L"C:\\P"}};
    s_Folders = {{kCommonAppData, L"C:\\Data"}, {kLocalAppData, L"C:\\User"}};
    const struct {
        const char* what;
        std::function<std::wstring()> function;
        const wchar_t* on32;
        const wchar_t* on64;
        bool made;
    } rows[] = {
        {"product", Utility::GetProductPath, L"C:\\P", L"C:\\P", false},
        {"base", Utility::GetProductPathOrModuleFolder, L"C:\\P", L"C:\\P", false},
        {"configuration", Utility::GetConfigurationFolder, L"C:\\P\\Configuration",
         L"C:\\P\\Configuration", false},
        {"cache", Utility::GetCacheFolder, L"C:\\P\\Cache", L"C:\\P\\Cache", false},
        {"win32", Utility::GetWin32Folder, L"C:\\P", L"C:\\P\\win32", false},
        {"medium", [] { return Utility::GetMediaProductFolder(L"D:"); }, L"D:\\win32\\product",
         L"D:\\x64\\product", false},
        {"common cache", Utility::GetCommonCacheFolder, L"C:\\Data\\Korvex Data\\Tavrenox\\Cache",
         L"C:\\Data\\Korvex Data\\Tavrenox\\Cache", true},
        {"external", [] { return Utility::GetExternalFolder(false); },
         L"C:\\Data\\Korvex Data\\Tavrenox\\External", L"C:\\Data\\Korvex Data\\Tavrenox\\External",
         true},
        {"external for a time", [] { return Utility::GetExternalFolder(true); },
         L"C:\\Data\\Korvex Data\\Tavrenox\\ExternalTmp",
         L"C:\\Data\\Korvex Data\\Tavrenox\\ExternalTmp", true},
        {"local cache", Utility::GetLocalCacheFolder, L"C:\\User\\Korvex Data\\Tavrenox\\Cache",
         L"C:\\User\\Korvex Data\\Tavrenox\\Cache", true},
    };
    for (const auto& row : rows) {
        for (const bool is64Bit : {false, true}) {
            s_bIs64Bit = is64Bit;
            s_Ensured.clear();
            const std::wstring folder = row.function();
            EXPECT_EQ(folder, is64Bit ? row.on64 : row.on32) << row.what;
            EXPECT_EQ(s_Ensured, row.made ? Paths{folder} : Paths{}) << row.what;
        }
    }
    Frwk::Mode::SetWyvarionId({});
}

TEST(PathsDecision, values_by_name) {
    s_Values = {{L"ProductPath", L"1"}, {L"WinGuid", L"2"},  {L"AgentVersion", L"3"},
                {L"ProductId", L"4"},   {L"VendorId", L"5"}, {L"ProductVersion", L"6"}};
    EXPECT_EQ(Utility::GetProductPath(), L"1");
    EXPECT_EQ(Utility::GetWinGuid(), L"2");
    EXPECT_EQ(Utility::GetAgentVersion(), L"3");
    EXPECT_EQ(Utility::GetProductId(), L"4");
    EXPECT_EQ(Utility::GetVendorId(), L"5");
    EXPECT_EQ(Utility::GetProductVersion(), L"6");
    EXPECT_EQ(s_strKey, Utility::GetProductRegistryKey());
}

TEST(PathsDecision, nothing_that_the_system_tells) {
    Frwk::Mode::SetWyvarionId(L"Mirdoshale");
    s_Values.clear();
    s_Folders.clear();
    s_bIs64Bit = true;
    const std::wstring host = Utility::GetHostModuleFolder();
    EXPECT_EQ(Utility::GetProductPath(), L"");
    EXPECT_EQ(Utility::GetProductPathOrModuleFolder(), host);
    EXPECT_EQ(Utility::GetWin32Folder(), host + L"\\win32");
    EXPECT_EQ(Utility::GetCommonCacheFolder(),
              L"#CSIDL_COMMON_APPDATA#\\Korvex Data\\Mirdoshale\\Cache");
    EXPECT_EQ(Utility::GetLocalCacheFolder(),
              L"#CSIDL_LOCAL_APPDATA#\\Korvex Data\\Mirdoshale\\Cache");
    Frwk::Mode::SetWyvarionId({});
}

TEST(PathsDecision, data_root_that_ends_in_a_separator) {
    Frwk::Mode::SetWyvarionId(L"Wyvarion");
    s_Folders = {{kCommonAppData, L"C:\\"}};
    EXPECT_EQ(Utility::GetExternalFolder(true), L"C:\\Korvex Data\\Wyvarion\\ExternalTmp");
    Frwk::Mode::SetWyvarionId({});
}

}  // namespace
