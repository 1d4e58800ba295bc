#include "lib/wycommon/WyCommon_Paths.h"

#include <gtest/gtest.h>

#include "utilMode/FrwkMode.h"

namespace {

TEST(Paths, product_key_follows_the_identity) {
    Frwk::Mode::SetWyvarionId(L"Tavrenox");
    EXPECT_EQ(WyCommon::Utility::GetProductRegistryKey(), L"SOFTWARE\\KorvexData\\Tavrenox");
    Frwk::Mode::SetWyvarionId({});
    EXPECT_EQ(WyCommon::Utility::GetProductRegistryKey(), L"SOFTWARE\\KorvexData\\Wyvarion");
}

TEST(Paths, product_that_is_not_installed_has_no_path) {
    Frwk::Mode::SetWyvarionId(L"WyUnitTest Missing");
    EXPECT_EQ(WyCommon::Utility::GetProductPath(), L"");
    Frwk::Mode::SetWyvarionId({});
}

}  // namespace
