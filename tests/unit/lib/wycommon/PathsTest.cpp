#include "lib/wycommon/WyCommon_Paths.h"

#include <gtest/gtest.h>

#include "utilMode/FrwkMode.h"

namespace {

namespace Utility = WyCommon::Utility;

TEST(Paths, product_key_follows_the_identity) {
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    EXPECT_EQ(Utility::GetProductRegistryKey(), L"SOFTWARE\\KorvexData\\Tavrenox");
    Frwk::Mode::SetWyvarionId({});
    EXPECT_EQ(Utility::GetProductRegistryKey(), L"SOFTWARE\\KorvexData\\Wyvarion");
}

TEST(Paths, product_that_is_not_installed_has_no_values) {
    Frwk::Mode::SetWyvarionId(L"WyUnitTest Missing");
    EXPECT_EQ(Utility::GetProductPath(), L"");
    EXPECT_EQ(Utility::GetWinGuid(), L"");
    EXPECT_EQ(Utility::GetAgentVersion(), L"");
    EXPECT_EQ(Utility::GetProductId(), L"");
    EXPECT_EQ(Utility::GetVendorId(), L"");
    EXPECT_EQ(Utility::GetProductVersion(), L"");
    Frwk::Mode::SetWyvarionId({});
}

TEST(Paths, joined_with_one_separator) {
    const struct {
        const wchar_t* path;
        const wchar_t* part;
        const wchar_t* joined;
    } rows[] = {
        {L"C:\\a", L"b", L"C:\\a\\b"},
        {L"C:\\a\\", L"b", L"C:\\a\\b"},
        {L"C:\\", L"b", L"C:\\b"},
        {L"", L"b", L"b"},
        {L"", L"", L""},
        {L"C:\\a", L"", L"C:\\a\\"},
        {L"C:\\a", L"\\b", L"C:\\a\\\\b"},
        {L"C:\\a/", L"b", L"C:\\a/\\b"},
        {L"C:\\a\\\\", L"b", L"C:\\a\\\\b"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Utility::JoinPath(row.path, row.part), row.joined);
}

TEST(Paths, folders_without_an_installation_lie_below_the_running_program) {
    Frwk::Mode::SetWyvarionId(L"WyUnitTest Missing");
    const std::wstring host = Utility::GetHostModuleFolder();
    EXPECT_FALSE(host.empty());
    EXPECT_NE(host.back(), L'\\');
    EXPECT_EQ(Utility::GetProductPathOrModuleFolder(), host);
    EXPECT_EQ(Utility::GetConfigurationFolder(), host + L"\\Configuration");
    EXPECT_EQ(Utility::GetCacheFolder(), host + L"\\Cache");
    Frwk::Mode::SetWyvarionId({});
}

}  // namespace
